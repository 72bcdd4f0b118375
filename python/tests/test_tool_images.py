"""The module's images are the tool's, byte for byte, for the example module:
against the build tree's tool, and against the installed `deflash` command
when the suite runs on a pip-installed package."""

import os
import subprocess

import deflash

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
MODULE = os.path.join(SOURCE, "examples", "module")
CALIBRATION = os.path.join(MODULE, "calibration.json")
CLOSE = os.path.join(MODULE, "calib_close.ini")
LONG = os.path.join(MODULE, "calib_long.ini")
TIMESTAMP = 1700000000


def tool(*args, cwd):
    return subprocess.run([os.environ["DEFLASH_CLI"], *args], cwd=cwd, capture_output=True,
                          text=True)


def without_clock(raw):
    """The raw image with its CRC and time stamp zeroed: the raw section carries
    the time it was written whatever --timestamp says, so two writes a second
    apart differ there and only there."""
    return raw[:4] + bytes(4) + raw[8:20] + bytes(4) + raw[24:]


def test_calibration_images_equal_the_tools(tmp_path):
    run = tool("calib", "--calibration", CALIBRATION, "--config", CLOSE, "--config", LONG,
               "--timestamp", str(TIMESTAMP), "--out", "calib.bin", "--raw-out", "raw.bin",
               cwd=tmp_path)
    assert (run.returncode, run.stdout, run.stderr) == (
        0, "wrote calib.bin (20480 bytes)\nwrote raw.bin (16384 bytes)\n", "")
    image, raw = deflash.calibration_images(CALIBRATION, [CLOSE, LONG], timestamp=TIMESTAMP)
    assert image == (tmp_path / "calib.bin").read_bytes()
    assert without_clock(raw) == without_clock((tmp_path / "raw.bin").read_bytes())


def test_start_row_image_equals_the_tools(tmp_path):
    run = tool("startrow", "--calibration", CALIBRATION, "--config", CLOSE, "--config", LONG,
               "--out", "startrow.bin", cwd=tmp_path)
    assert run.returncode == 0, run.stderr
    image = deflash.start_row_image(CALIBRATION, [CLOSE, LONG])
    assert run.stdout == f"wrote startrow.bin ({len(image)} bytes)\n"
    assert image == (tmp_path / "startrow.bin").read_bytes()
