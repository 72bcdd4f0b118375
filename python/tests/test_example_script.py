"""examples/python/build_images.py writes the module's images, the same the
tool writes."""

import json
import os
import subprocess
import sys

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
MODULE = os.path.join(SOURCE, "examples", "module")


def test_example_script_writes_the_tools_images(tmp_path):
    script = os.path.join(SOURCE, "examples", "python", "build_images.py")
    run = subprocess.run([sys.executable, script, str(tmp_path / "out")], capture_output=True,
                         text=True)
    assert run.returncode == 0, run.stderr
    assert run.stderr == ""
    assert ("calib.bin: calibration, 20480 bytes, checks pass\n"
            "  section 0x08 rectification, 596 bytes, 2 items\n") in run.stdout
    assert ("deconfig.bin: depth-engine, 16384 bytes, checks pass\n"
            "  block DPU modes, 180 bytes, 2 items\n"
            "  block D2C groups, 252 bytes, 3 items\n"
            "  block IR pre-ISP groups, 348 bytes, 2 items\n") in run.stdout
    out = tmp_path / "out"
    with open(os.path.join(MODULE, "calibration.json")) as f:
        module = json.load(f)
    del module["description"]
    assert json.loads((out / "module.json").read_text()) == module
    # The start-row image carries no time stamp: byte for byte the tool's.
    tool = os.environ["DEFLASH_CLI"]
    subprocess.run([tool, "startrow", "--calibration", os.path.join(MODULE, "calibration.json"),
                    "--config", os.path.join(MODULE, "calib_close.ini"), "--config",
                    os.path.join(MODULE, "calib_long.ini"), "--out", str(tmp_path / "tool.bin")],
                   check=True, capture_output=True)
    assert (out / "startrow.bin").read_bytes() == (tmp_path / "tool.bin").read_bytes()
    assert len((out / "calib.bin").read_bytes()) == 20480
    assert len((out / "deconfig.bin").read_bytes()) == 16384
    assert not [p for p in os.listdir(out) if p.endswith(".tmp")]
    # The rectify-check picture is the tool's, pixel for pixel and byte for byte.
    (tmp_path / "tool").mkdir()
    assert run.stdout.endswith(f"wrote {out / 'side_by_side.png'} (2560x800, 8-bit)\n")
    subprocess.run([tool, "rectify-check", "--calibration",
                    os.path.join(MODULE, "calibration.json"), "--config",
                    os.path.join(MODULE, "calib_close.ini"), "--left",
                    os.path.join(MODULE, "scene_left.png"), "--right",
                    os.path.join(MODULE, "scene_right.png"), "--out-dir", str(tmp_path / "tool")],
                   check=True, capture_output=True)
    assert ((out / "side_by_side.png").read_bytes()
            == (tmp_path / "tool" / "side_by_side.png").read_bytes())
