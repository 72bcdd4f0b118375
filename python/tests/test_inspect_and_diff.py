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
