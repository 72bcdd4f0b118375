"""Importers, depth-engine image and image updates through the Python module."""

import json
import os
import struct

import pytest

import deflash

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
EXAMPLES = os.path.join(SOURCE, "examples")
MODULE = os.path.join(EXAMPLES, "module")
CLOSE = os.path.join(MODULE, "calib_close.ini")
LONG = os.path.join(MODULE, "calib_long.ini")
TEMPERATURES = [35.2, 35.6, 38.1]

# Depth-calculation section and its items' baseline and focal-length fields.
DEPTH_SECTION = 0x4000
DEPTH_ITEM = 60
BASELINE_OFFSET = 36
FOCAL_LENGTH_OFFSET = 44


def module_dict():
    with open(os.path.join(MODULE, "calibration.json")) as f:
        module = json.load(f)
    del module["description"]
    return module


def opencv():
    return deflash.import_calibration(
        "opencv", temperatures=TEMPERATURES,
        ir_pair=[os.path.join(EXAMPLES, "opencv", "intrinsics.yml"),
                 os.path.join(EXAMPLES, "opencv", "extrinsics.yml")],
        ir_rgb=[os.path.join(EXAMPLES, "opencv", "ir_rgb.xml")])


def test_opencv_import_gives_the_example_module():
    assert opencv() == module_dict()


def test_ros_import_gives_the_example_module():
    ros = os.path.join(EXAMPLES, "ros")
    imported = deflash.import_calibration(
        "ros", temperatures=TEMPERATURES,
        ir_pair=[os.path.join(ros, "ir_left.yaml"), os.path.join(ros, "ir_right.yaml")],
        ir_rgb=[os.path.join(ros, "ir_rgb_left.yaml"), os.path.join(ros, "ir_rgb_rgb.yaml")])
    assert imported == module_dict()


def test_kalibr_import_gives_the_module_without_k3_to_k6():
    imported = deflash.import_calibration(
        "kalibr", temperatures=TEMPERATURES,
        camchain=os.path.join(EXAMPLES, "kalibr", "camchain.yaml"))
    expected = module_dict()
    for camera in ("left_ir", "right_ir", "rgb"):
        expected[camera]["k3"] = 0
        for key in ("k4", "k5", "k6"):
            expected[camera].pop(key, None)
    assert imported == expected


def test_an_imported_calibration_builds_the_modules_image():
    a = deflash.calibration_image(opencv(), [CLOSE, LONG], timestamp=1700000000)
    b = deflash.calibration_image(module_dict(), [CLOSE, LONG], timestamp=1700000000)
    assert a == b


def test_import_failures_name_the_file_and_key(tmp_path):
    bad = tmp_path / "extrinsics.yml"
    bad.write_text("%YAML:1.0\n---\nR: !!opencv-matrix\n   rows: 3\n   cols: 3\n   dt: d\n"
                   "   data: [ 2., 0., 0., 0., 1., 0., 0., 0., 1. ]\nT: [ -50., 0., 0. ]\n")
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.import_calibration(
            "opencv", temperatures=TEMPERATURES,
            ir_pair=[os.path.join(EXAMPLES, "opencv", "intrinsics.yml"), bad],
            ir_rgb=[os.path.join(EXAMPLES, "opencv", "ir_rgb.xml")])
    assert str(failure.value) == (
        f'{bad}:3: "R": is not a rotation: the angles recompose it only to within 1 '
        "(at most 1e-06 allowed)")
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.import_calibration("matlab", temperatures=TEMPERATURES)
    assert str(failure.value) == 'source "matlab" must be opencv, ros or kalibr'


def test_depth_engine_image_has_its_three_blocks():
    image = deflash.depth_engine_image(
        [os.path.join(MODULE, "dpu_close.ini"), os.path.join(MODULE, "dpu_long.ini")],
        os.path.join(MODULE, "d2c.ini"), os.path.join(MODULE, "ir_pre.ini"))
    assert len(image) == 16384
    assert struct.unpack_from("<I", image, 0x0000)[0] == 0x46447306
    assert struct.unpack_from("<I", image, 0x0008)[0] == 36 + 2 * 72
    assert struct.unpack_from("<I", image, 0x2000)[0] == 0x46447307
    assert struct.unpack_from("<I", image, 0x3000)[0] == 0x4644730E


def test_depth_engine_image_refuses_a_missing_file_and_no_dpu_file():
    with pytest.raises(deflash.UsageError) as failure:
        deflash.depth_engine_image([os.path.join(MODULE, "dpu_close.ini")], "missing_d2c.ini",
                                   os.path.join(MODULE, "ir_pre.ini"))
    assert failure.value.code is None
    assert failure.value.message == "missing_d2c.ini: cannot be read (No such file or directory)"
    with pytest.raises(deflash.UsageError) as failure:
        deflash.depth_engine_image([], os.path.join(MODULE, "d2c.ini"),
                                   os.path.join(MODULE, "ir_pre.ini"))
    assert failure.value.message == (
        "give at least one dpu file: without one the image's DPU block stays erased flash, "
        "which inspect rejects")


def test_update_baseline_patches_the_depth_section():
    image = deflash.calibration_image(module_dict(), [CLOSE, LONG], timestamp=1700000000)
    before = struct.unpack_from("<f", image, DEPTH_SECTION + DEPTH_ITEM + BASELINE_OFFSET)[0]
    assert before == pytest.approx(-50.0125, abs=1e-4)
    updated = deflash.update_baseline(image, -55.5)
    assert len(updated) == 4096
    for item in range(2):
        at = DEPTH_ITEM + item * 60 + BASELINE_OFFSET
        assert struct.unpack_from("<f", updated, at)[0] == -55.5


def test_update_multi_fb_d2c_refuses_an_unknown_focal_length():
    image = deflash.calibration_image(module_dict(), [CLOSE], timestamp=1700000000)
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.update_multi_fb_d2c(image, [(1.0, 51.0)])
    assert failure.value.code is None
    assert failure.value.message == (
        "image: pair 1:51 matches no depth-to-colour entry (within 6 of its focal length); the "
        "depth-to-colour entries' focal lengths are 645.07")


def test_update_multi_baseline_patches_the_entry_of_the_matching_focal_length():
    image = deflash.calibration_image(module_dict(), [CLOSE, LONG], timestamp=1700000000)
    focal = struct.unpack_from("<f", image, DEPTH_SECTION + DEPTH_ITEM + FOCAL_LENGTH_OFFSET)[0]
    updated = deflash.update_multi_baseline(image, [(focal + 0.5, -48.25)])
    assert struct.unpack_from("<f", updated, DEPTH_ITEM + BASELINE_OFFSET)[0] == -48.25


def test_load_calibration_checks_as_the_tool_does(tmp_path):
    assert deflash.load_calibration(os.path.join(MODULE, "calibration.json"))["rgb"]["fx"] == \
        1381.46
    bad = tmp_path / "bad.json"
    bad.write_text('{"left_ir": 1}')
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.load_calibration(bad)
    assert str(failure.value) == f'{bad}: "left_ir" must be an object'
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.load_calibration(tmp_path / "missing.json")
    assert str(failure.value) == f"{tmp_path / 'missing.json'}: cannot be read (No such file or directory)"
