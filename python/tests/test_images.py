"""The Python module's images equal the tool's, and its failures carry the
library's result and message."""

import json
import logging
import os
import subprocess
import threading

import numpy as np
import pytest

import deflash

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
MODULE = os.path.join(SOURCE, "examples", "module")
CALIBRATION = os.path.join(MODULE, "calibration.json")
CLOSE = os.path.join(MODULE, "calib_close.ini")
LONG = os.path.join(MODULE, "calib_long.ini")


def module_dict():
    with open(CALIBRATION) as f:
        return json.load(f)


def u32(data, offset):
    return int.from_bytes(data[offset:offset + 4], "little")


def test_version_is_the_librarys():
    assert deflash.version() == "2.2.0.4"


def test_calibration_image_from_a_dict_equals_the_one_from_the_file():
    from_dict = deflash.calibration_image(module_dict(), [CLOSE, LONG], timestamp=1700000000)
    from_file = deflash.calibration_image(CALIBRATION, [CLOSE, LONG], timestamp=1700000000)
    assert len(from_dict) == 20480
    assert from_dict == from_file
    # Section 0x08 at offset 0: magic, two modes, the time stamp asked for.
    assert u32(from_dict, 0) == 0x46447308
    assert u32(from_dict, 20) == 1700000000
    assert u32(from_dict, 52) == 2


def test_serial_number_lands_in_every_header_and_does_not_stick():
    serial = bytes(range(24))
    image = deflash.calibration_image(module_dict(), [CLOSE], timestamp=1, serial=serial)
    for section in (0x0000, 0x2000, 0x4000):
        assert image[section + 24:section + 48] == serial
    again = deflash.calibration_image(module_dict(), [CLOSE], timestamp=1)
    assert again[24:48] == bytes(24)


def test_raw_calibration_image_is_its_section_on_a_page():
    image, raw = deflash.calibration_images(module_dict(), [CLOSE], timestamp=1700000000)
    assert len(image) == 20480
    assert len(raw) == 8192
    assert u32(raw, 0) == 0x46447316
    assert u32(raw, 8) == 60 + 6288


def test_start_row_image_is_its_section_on_a_page():
    image = deflash.start_row_image(module_dict(), [CLOSE])
    length = u32(image, 8)
    assert u32(image, 0) == 0x46447318
    assert len(image) == (length + 4095) // 4096 * 4096
    assert image[length:] == b"\xff" * (len(image) - length)


def test_a_refused_calibration_raises_with_the_librarys_result_and_message(caplog):
    calibration = module_dict()
    calibration["temperatures"]["left_ir"] = 0.0  # the library wants at least 1e-5
    with caplog.at_level(logging.INFO, logger="deflash"):
        with pytest.raises(deflash.LibraryError) as failure:
            deflash.calibration_image(calibration, [CLOSE])
    assert failure.value.code == -2
    assert isinstance(failure.value, deflash.Error)
    # The library ends its temperature line without a line break.
    message = ("invalid calibration temperature,left:0.000000,right:35.599998,ldm:38.099998"
               "error: align_ir_ir_rgb_params_to_register_converter for config number=0, "
               "error code=-2")
    assert failure.value.message == message
    assert str(failure.value) == "result -2 (DRIVER_HELPER_INVALID_PARAM): " + message
    records = [(r.levelno, r.getMessage()) for r in caplog.records]
    assert (logging.INFO, "input config params is file path") in records
    assert (logging.ERROR, message) in records


def test_a_malformed_calibration_dict_is_refused_before_the_library():
    calibration = module_dict()
    calibration["left_ir"]["fxx"] = 1.0
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.calibration_image(calibration, [CLOSE])
    assert str(failure.value) == 'calibration: unknown key "left_ir.fxx"'
    assert failure.value.code is None


def test_a_missing_configuration_file_is_refused_as_the_tool_refuses_it():
    with pytest.raises(deflash.UsageError) as failure:
        deflash.calibration_image(module_dict(), ["missing.ini"])
    assert str(failure.value) == "missing.ini: cannot be read (No such file or directory)"
    assert isinstance(failure.value, deflash.CalibrationError)


def test_console_lines_do_not_reach_standard_output(capfd):
    deflash.calibration_image(module_dict(), [CLOSE], timestamp=1)
    out, err = capfd.readouterr()
    assert out == ""
    assert err == ""


def test_threads_get_the_same_images_as_one_thread():
    expected = deflash.calibration_image(module_dict(), [CLOSE], timestamp=5)
    results = []

    def build():
        for _ in range(5):
            results.append(deflash.calibration_image(module_dict(), [CLOSE], timestamp=5))
            deflash.start_row_image(module_dict(), [LONG])

    threads = [threading.Thread(target=build) for _ in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert len(results) == 20
    assert all(r == expected for r in results)


def rotation(a0, a1, a2):
    """Rz(a2) @ Rx(a0) @ Ry(a1)."""
    rx = np.array([[1, 0, 0], [0, np.cos(a0), -np.sin(a0)], [0, np.sin(a0), np.cos(a0)]])
    ry = np.array([[np.cos(a1), 0, np.sin(a1)], [0, 1, 0], [-np.sin(a1), 0, np.cos(a1)]])
    rz = np.array([[np.cos(a2), -np.sin(a2), 0], [np.sin(a2), np.cos(a2), 0], [0, 0, 1]])
    return rz @ rx @ ry


def test_rotation_angles_follow_the_calibrations_convention():
    angles = deflash.rotation_angles(rotation(0.0021, -0.0034, 0.0009))
    assert angles == pytest.approx((0.0021, -0.0034, 0.0009), abs=1e-15)
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.rotation_angles(np.diag([1.0, 1.0, -1.0]))
    assert str(failure.value) == ("the matrix is not a rotation: the angles recompose it only "
                                  "to within 2 (at most 1e-06 allowed)")


def test_numpy_values_in_the_calibration_dict_give_the_same_image():
    calibration = module_dict()
    r = rotation(*calibration["right_ir_extrinsics"]["angles"])
    calibration["right_ir_extrinsics"] = {
        "angles": np.array(deflash.rotation_angles(r)),
        "translation": np.array([-50.012, 0.103, 0.207])}
    calibration["left_ir"]["fx"] = np.float64(643.52)
    assert (deflash.calibration_image(calibration, [CLOSE], timestamp=1) ==
            deflash.calibration_image(module_dict(), [CLOSE], timestamp=1))


def test_debug_check_rectifies_and_reprojects_numpy_images():
    flat = np.full((800, 1280), 100, dtype=np.uint8)
    result = deflash.check_calib_debug(module_dict(), CLOSE, left=flat, right=flat)
    assert set(result) == {"left", "right"}
    for image in result.values():
        assert image.dtype == np.uint8
        assert image.shape == (800, 1280)
        # A flat source stays flat where the rectified view sees it.
        assert set(np.unique(image)) <= {0, 100}
        assert (image == 100).mean() > 0.9
    depth = np.full((800, 1280), 1000, dtype=np.uint16)
    rgb = deflash.check_calib_debug(module_dict(), CLOSE, depth=depth)["depth"]
    assert rgb.dtype == np.uint16
    assert rgb.shape == (1080, 1920)
    assert set(np.unique(rgb)) == {0, 1000}


def test_debug_check_refuses_a_wrong_image_size():
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.check_calib_debug(module_dict(), CLOSE, left=np.zeros((10, 10), np.uint8))
    assert str(failure.value) == "left: 10x10 pixels, but the left IR camera's image is 1280x800"
    with pytest.raises(TypeError) as failure:
        deflash.check_calib_debug(module_dict(), CLOSE, left=np.zeros((800, 1280), np.float32))
    assert str(failure.value) == ("left must be a 2-D array of uint8 or uint16, not a 2-D array "
                                  "of float32")


def test_pictures_round_trip_through_png(tmp_path):
    ramp = (np.arange(64 * 48, dtype=np.uint32).reshape(48, 64) * 21).astype(np.uint16)
    deflash.write_picture(tmp_path / "ramp.png", ramp)
    back = deflash.read_picture(tmp_path / "ramp.png")
    assert back.dtype == np.uint16
    assert np.array_equal(back, ramp)
    scene = deflash.read_picture(os.path.join(MODULE, "scene_left.png"))
    assert scene.dtype == np.uint8
    assert scene.shape == (800, 1280)
    assert not [p for p in os.listdir(tmp_path) if p != "ramp.png"]


def test_pictures_refuse_what_is_no_greyscale_picture(tmp_path):
    with pytest.raises(TypeError) as failure:
        deflash.write_picture(tmp_path / "x.png", np.zeros((4, 4, 3), np.uint8))
    assert str(failure.value) == ("picture must be a 2-D array of uint8 or uint16, not a 3-D "
                                  "array of uint8")
    (tmp_path / "text.png").write_text("not a picture")
    with pytest.raises(deflash.UsageError) as failure:
        deflash.read_picture(tmp_path / "text.png")
    assert str(failure.value) == (f"{tmp_path / 'text.png'}: cannot be read (neither a PNG nor a "
                                  "binary PGM (P5) picture)")
    assert not (tmp_path / "x.png").exists()
