"""inspect and diff from Python: the documents `deflash inspect --json` and
`deflash diff --json` print, as dictionaries."""

import json
import os
import subprocess

import pytest

import deflash

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
MODULE = os.path.join(SOURCE, "examples", "module")
CALIBRATION = os.path.join(MODULE, "calibration.json")
CLOSE = os.path.join(MODULE, "calib_close.ini")
LONG = os.path.join(MODULE, "calib_long.ini")


def test_inspect_of_a_calibration_image_passes_every_check():
    image = deflash.calibration_image(CALIBRATION, [CLOSE, LONG], timestamp=1700000000)
    report = deflash.inspect(image)
    assert report["schema"] == 1
    assert report["kind"] == "calibration"
    assert report["size"] == 20480
    assert report["ok"] is True
    assert report["failures"] == []


def test_inspect_names_a_broken_crc():
    image = bytearray(deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000))
    image[4] ^= 0xFF
    report = deflash.inspect(bytes(image))
    assert report["ok"] is False
    assert len(report["failures"]) >= 1
    assert report["failures"][0]["section"].startswith("0x08")


def test_inspect_refuses_bytes_of_no_known_kind():
    with pytest.raises(deflash.Error):
        deflash.inspect(b"\x00" * 100)


def test_diff_matches_items_by_digest_and_names_the_changed_field():
    old = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    new = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000001)
    same = deflash.diff(old, old)
    assert same == {"schema": 1, "kind": "calibration", "equal": True, "differences": []}
    changed = deflash.diff(old, new)
    assert changed["equal"] is False
    assert changed["differences"]
    assert all(set(d) == {"section", "item", "field", "old", "new"}
               for d in changed["differences"])


def test_diff_refuses_two_kinds():
    calib = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    rows = deflash.start_row_image(CALIBRATION, [CLOSE])
    with pytest.raises(deflash.Error):
        deflash.diff(calib, rows)


def _tool_document(path):
    """The document `deflash inspect --json` prints for the file, without the
    file's name: what inspect() returns for its bytes."""
    run = subprocess.run([os.environ["DEFLASH_CLI"], "inspect", "--json", path],
                         capture_output=True, check=False)
    assert run.returncode in (0, 1), run.stderr
    document = json.loads(run.stdout)
    del document["file"]
    return document


def _first_field(node, name):
    for field in node["fields"]:
        if field["name"] == name:
            return field
    for child in node["children"]:
        found = _first_field(child, name)
        if found is not None:
            return found
    return None


def _images(tmp_path):
    """Files of every kind deflash writes, and damaged ones: one with a broken
    CRC, one whose first focal length is not a number (JSON's null)."""
    calib, raw = deflash.calibration_images(CALIBRATION, [CLOSE, LONG], timestamp=1700000000)
    broken = bytearray(calib)
    broken[4] ^= 0xFF
    not_a_number = bytearray(calib)
    fx = _first_field({"fields": [], "children": deflash.inspect(calib)["sections"]}, "fx")
    word = int(fx["raw"], 16) if isinstance(fx["raw"], str) else fx["raw"]
    at = bytes(calib).index(word.to_bytes(4, "little"))
    not_a_number[at:at + 4] = (0x7FC00000).to_bytes(4, "little")
    files = {"calib.bin": calib, "raw.bin": raw, "broken.bin": bytes(broken),
             "nan.bin": bytes(not_a_number),
             "startrow.bin": deflash.start_row_image(CALIBRATION, [CLOSE, LONG]),
             "deconfig.bin": deflash.depth_engine_image(
                 [os.path.join(MODULE, "dpu_close.ini"), os.path.join(MODULE, "dpu_long.ini")],
                 os.path.join(MODULE, "d2c.ini"), os.path.join(MODULE, "ir_pre.ini"))}
    paths = {}
    for name, data in files.items():
        paths[name] = tmp_path / name
        paths[name].write_bytes(data)
    return paths


def test_inspect_builds_the_tools_document(tmp_path):
    for name, path in _images(tmp_path).items():
        document = deflash.inspect(path.read_bytes())
        assert document == _tool_document(str(path)), name
        # Same order of members too, as json.loads of the text keeps it.
        assert json.dumps(document) == json.dumps(_tool_document(str(path))), name


def test_inspect_names_a_focal_length_that_is_not_a_number(tmp_path):
    document = deflash.inspect(_images(tmp_path)["nan.bin"].read_bytes())
    fx = _first_field({"fields": [], "children": document["sections"]}, "fx")
    assert fx["value"] == "nan"
    assert fx["raw"] in ("0x7fc00000", "0x7FC00000", 0x7FC00000)
    assert document["ok"] is False


def test_inspect_leaves_the_cycle_collector_as_it_found_it():
    import gc
    image = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    assert gc.isenabled()
    deflash.inspect(image)
    assert gc.isenabled()
    gc.disable()
    try:
        deflash.inspect(image)
        assert not gc.isenabled()
    finally:
        gc.enable()
