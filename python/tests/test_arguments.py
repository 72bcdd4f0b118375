"""Every argument is checked as the tool checks its option, before anything
is built: a wrong value raises a deflash.Error subclass naming the argument,
a wrong Python type TypeError."""

import json
import logging
import os
import resource
import sys
import threading

import numpy as np
import pytest

import deflash

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
EXAMPLES = os.path.join(SOURCE, "examples")
MODULE = os.path.join(EXAMPLES, "module")
CALIBRATION = os.path.join(MODULE, "calibration.json")
CLOSE = os.path.join(MODULE, "calib_close.ini")
TEMPERATURES = [35.2, 35.6, 38.1]


def module_dict():
    with open(CALIBRATION) as f:
        return json.load(f)


def refusal(error, call):
    with pytest.raises(error) as failure:
        call()
    return str(failure.value)


def test_a_timestamp_the_headers_cannot_hold_is_refused_not_wrapped():
    assert refusal(deflash.UsageError, lambda: deflash.calibration_image(
        CALIBRATION, [CLOSE], timestamp=2**32)) == (
        "timestamp 4294967296 does not fit the headers' 32-bit time stamp (at most 4294967295)")
    assert refusal(deflash.UsageError, lambda: deflash.calibration_image(
        CALIBRATION, [CLOSE], timestamp=-1)) == (
        'timestamp "-1" must be a non-negative whole number of seconds')
    assert refusal(deflash.UsageError, lambda: deflash.calibration_images(
        CALIBRATION, [CLOSE], timestamp=2**70)).startswith('timestamp "1180591620717411303424"')
    image = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=2**32 - 1)
    assert int.from_bytes(image[20:24], "little") == 2**32 - 1
    for wrong in (1.5, "5", True, None):
        assert refusal(TypeError, lambda: deflash.calibration_image(
            CALIBRATION, [CLOSE], timestamp=wrong)).startswith("timestamp must be an int")


def test_an_image_needs_a_camera_mode():
    assert refusal(deflash.UsageError,
                   lambda: deflash.calibration_image(module_dict(), [])) == "configs is required"
    assert refusal(deflash.UsageError,
                   lambda: deflash.start_row_image(module_dict(), [])) == "configs is required"
    assert refusal(TypeError, lambda: deflash.calibration_image(module_dict(), CLOSE)) == (
        "configs must be a list of paths, not str")


def test_the_plausibility_checks_run_on_a_dict_and_allow_implausible_lets_them_pass(caplog):
    calibration = module_dict()
    calibration["right_ir_extrinsics"]["translation"] = [-5, -50, 0]
    message = ("calibration: right_ir_extrinsics.tx: the baseline (-5, -50, 0) mm does not run "
               "mainly along x (allow_implausible=True lets it pass)")
    assert refusal(deflash.CalibrationError,
                   lambda: deflash.calibration_image(calibration, [CLOSE])) == message
    assert refusal(deflash.CalibrationError,
                   lambda: deflash.start_row_image(calibration, [CLOSE])) == message
    assert refusal(deflash.CalibrationError,
                   lambda: deflash.load_calibration(calibration)) == message
    with caplog.at_level(logging.WARNING, logger="deflash"):
        image = deflash.calibration_image(calibration, [CLOSE], allow_implausible=True)
    assert len(image) == 20480
    assert ("warning: calibration: right_ir_extrinsics.tx: the baseline (-5, -50, 0) mm does not "
            "run mainly along x") in caplog.messages
    assert refusal(TypeError, lambda: deflash.calibration_image(
        calibration, [CLOSE], allow_implausible="yes")).startswith("allow_implausible must be")


def test_several_problems_are_all_named():
    calibration = module_dict()
    calibration["left_ir"]["fx"] = 0
    calibration["rgb"]["fy"] = -1
    with pytest.raises(deflash.CalibrationError) as failure:
        deflash.calibration_image(calibration, [CLOSE])
    assert failure.value.lines == [
        "calibration: left_ir.fx: 0 is not a positive focal length in pixels "
        "(allow_implausible=True lets it pass)",
        "calibration: rgb.fy: -1 is not a positive focal length in pixels "
        "(allow_implausible=True lets it pass)"]
    assert failure.value.message == failure.value.lines[-1]


def test_a_dict_with_a_number_json_cannot_hold_names_it():
    calibration = module_dict()
    calibration["left_ir"]["fx"] = float("nan")
    assert refusal(deflash.CalibrationError,
                   lambda: deflash.calibration_image(calibration, [CLOSE])) == (
        'calibration: "left_ir.fx" must be a finite number')
    calibration = module_dict()
    calibration["right_ir_extrinsics"]["angles"] = np.array([0.0, np.inf, 0.0])
    assert refusal(deflash.CalibrationError,
                   lambda: deflash.calibration_image(calibration, [CLOSE])) == (
        'calibration: "right_ir_extrinsics.angles[1]" must be a finite number')
    assert refusal(TypeError, lambda: deflash.calibration_image(5, [CLOSE])).startswith(
        "calibration must be a dict or the path")


def test_the_serial_number_is_24_bytes():
    assert refusal(deflash.UsageError, lambda: deflash.calibration_image(
        CALIBRATION, [CLOSE], serial=b"12345")) == (
        "serial: 5 bytes; a serial number is 24 bytes")
    assert refusal(TypeError, lambda: deflash.calibration_image(
        CALIBRATION, [CLOSE], serial="abc")) == "serial must be bytes, not str"


def test_the_updates_check_their_values_and_the_image():
    image = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    for value in (float("nan"), float("inf"), 1e300):
        assert refusal(deflash.UsageError, lambda: deflash.update_baseline(image, value)) == (
            "baseline: not a finite number")
    assert refusal(deflash.CalibrationError, lambda: deflash.update_baseline(
        b"\0" * 4096, 50.0)).endswith("image: does not verify; nothing patched")
    assert refusal(deflash.UsageError, lambda: deflash.update_baseline(b"\0" * 100, 50.0)) == (
        "image: not a deflash flash file (100 bytes, magic 0x00000000)")
    assert refusal(TypeError, lambda: deflash.update_baseline(4096, 50.0)) == (
        "image must be bytes, not int")
    assert refusal(TypeError, lambda: deflash.update_baseline(image, "50")) == (
        "baseline must be a number, not str")
    assert refusal(deflash.UsageError, lambda: deflash.update_baseline(image, 50.0, 2**40)) == (
        "index 1099511627776 is outside -2147483648 to 2147483647")
    assert refusal(deflash.UsageError, lambda: deflash.update_multi_fb_d2c(
        image, [(float("nan"), 50.0)])) == (
        "pair nan:50.0: expected FOCAL:BASELINE, two finite numbers")
    assert refusal(deflash.CalibrationError, lambda: deflash.update_multi_baseline(image, [])) == (
        "image: depth-calculation entry 0 (focal length 645.07) has no pair within 1 of it; "
        "the depth-calculation entries' focal lengths are 645.07")
    assert refusal(deflash.UsageError, lambda: deflash.update_baseline(image, -50.0, -1)) == (
        "index -1 must be 0 or more; leave index out to update every entry")
    assert refusal(TypeError, lambda: deflash.update_multi_baseline(image, [1.0, 2.0])) == (
        "pairs[0] must be a (focal length, baseline) pair")
    rows = deflash.start_row_image(CALIBRATION, [CLOSE])
    assert refusal(deflash.UsageError, lambda: deflash.update_multi_fb_d2c(
        rows, [(643.5, 50.0)])) == (
        "image: a start-row file; expected a calibration image (20480 or 24576 bytes)")


def test_the_debug_check_takes_pictures_of_their_cameras_sizes_and_depths():
    flat = np.full((800, 1280), 100, np.uint8)
    assert refusal(deflash.CalibrationError, lambda: deflash.check_calib_debug(
        CALIBRATION, CLOSE, left=np.ascontiguousarray(flat.T))) == (
        "left: 800x1280 pixels, but the left IR camera's image is 1280x800")
    assert refusal(deflash.CalibrationError, lambda: deflash.check_calib_debug(
        CALIBRATION, CLOSE, right=flat.reshape(1, -1))) == (
        "right: 1024000x1 pixels, but the right IR camera's image is 1280x800")
    assert refusal(deflash.CalibrationError, lambda: deflash.check_calib_debug(
        CALIBRATION, CLOSE, depth=flat)) == "depth: 8-bit picture; depth must be 16 bits per pixel"
    assert refusal(deflash.CalibrationError, lambda: deflash.check_calib_debug(
        CALIBRATION, CLOSE, left=flat, right=flat.astype(np.uint16))) == (
        "left has 8 bits per pixel but right has 16; both IR pictures must have the same depth")
    assert refusal(TypeError, lambda: deflash.check_calib_debug(
        CALIBRATION, CLOSE, left=np.zeros((800, 1280), np.int16))) == (
        "left must be a 2-D array of uint8 or uint16, not a 2-D array of int16")
    # A view with other strides is the same picture.
    wide = np.full((800, 2560), 100, np.uint8)
    strided = deflash.check_calib_debug(CALIBRATION, CLOSE, left=wide[:, ::2])["left"]
    assert np.array_equal(strided, deflash.check_calib_debug(CALIBRATION, CLOSE,
                                                             left=flat)["left"])
    # 8-bit IR and 16-bit depth in one call, as the tool takes them.
    both = deflash.check_calib_debug(CALIBRATION, CLOSE, left=flat,
                                     depth=np.full((800, 1280), 1000, np.uint16))
    assert both["left"].dtype == np.uint8
    assert both["depth"].dtype == np.uint16
    assert both["depth"].shape == (1080, 1920)


def test_the_depth_engine_image_checks_each_file_is_what_its_argument_says():
    d2c = os.path.join(MODULE, "d2c.ini")
    ir_pre = os.path.join(MODULE, "ir_pre.ini")
    assert refusal(deflash.UsageError, lambda: deflash.depth_engine_image(
        ["/tmp"], d2c, ir_pre)) == "/tmp: cannot be read (it is a folder)"
    assert refusal(deflash.UsageError, lambda: deflash.depth_engine_image([], d2c, ir_pre)) == (
        "give at least one dpu file: without one the image's DPU block stays erased flash, "
        "which inspect rejects")
    assert refusal(deflash.CalibrationError, lambda: deflash.depth_engine_image(
        [CLOSE], d2c, ir_pre)) == (
        f"{CLOSE}: not a DPU configuration: section [mode] is missing or empty")
    assert refusal(TypeError, lambda: deflash.depth_engine_image(
        os.path.join(MODULE, "dpu_close.ini"), d2c, ir_pre)) == (
        "dpu must be a list of paths, not str")


def test_a_temporary_folder_that_cannot_be_used_is_named(tmp_path, monkeypatch):
    # The library writes the depth-engine image and the updates only to
    # files: their scratch files need the temporary folder, and nothing may
    # land in the working folder instead.
    monkeypatch.setenv("TMPDIR", str(tmp_path / "absent"))
    monkeypatch.chdir(tmp_path)
    line = (f"TMPDIR={tmp_path}/absent: cannot be used as the temporary folder "
            "(No such file or directory)")
    assert refusal(deflash.UsageError, lambda: deflash.depth_engine_image(
        [os.path.join(MODULE, "dpu_close.ini")], os.path.join(MODULE, "d2c.ini"),
        os.path.join(MODULE, "ir_pre.ini"))) == line
    image = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    assert refusal(deflash.UsageError, lambda: deflash.update_multi_fb_d2c(
        image, [(645.0, -60.0)])) == line
    assert os.listdir(tmp_path) == []


def test_an_integer_beyond_a_double_is_refused_by_its_argument_name():
    image = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    assert refusal(deflash.UsageError, lambda: deflash.update_baseline(image, -2**2000)) == (
        "baseline: not a finite number")
    assert refusal(deflash.UsageError, lambda: deflash.update_multi_fb_d2c(
        image, [(2**2000, -50.0)])) == (
        "pair inf:-50.0: expected FOCAL:BASELINE, two finite numbers")
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "kalibr", temperatures=(2**2000, 35, 38),
        camchain=os.path.join(EXAMPLES, "kalibr", "camchain.yaml"))) == (
        'temperatures "inf,35.0,38.0" must be three numbers L,R,LDM (degrees Celsius)')


def test_update_multi_fb_d2c_needs_a_pair():
    image = deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1700000000)
    assert refusal(deflash.UsageError, lambda: deflash.update_multi_fb_d2c(image, [])) == (
        "give at least one pair")


def test_the_import_refuses_arguments_meant_for_another_source():
    opencv = os.path.join(EXAMPLES, "opencv")
    pair = [os.path.join(opencv, "intrinsics.yml"), os.path.join(opencv, "extrinsics.yml")]
    rgb = [os.path.join(opencv, "ir_rgb.xml")]
    camchain = os.path.join(EXAMPLES, "kalibr", "camchain.yaml")
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "kalibr", temperatures=TEMPERATURES, camchain=camchain, ir_pair=pair)) == (
        "source kalibr takes the camchain file (camchain FILE) and no ir_pair or ir_rgb")
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "opencv", temperatures=TEMPERATURES, ir_pair=pair, ir_rgb=rgb, camchain=camchain)) == (
        "camchain goes with source kalibr; give ir_pair FILE... ir_rgb FILE...")
    ros = os.path.join(EXAMPLES, "ros")
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "ros", temperatures=TEMPERATURES, ir_size=(1280, 800),
        ir_pair=[os.path.join(ros, "ir_left.yaml"), os.path.join(ros, "ir_right.yaml")],
        ir_rgb=[os.path.join(ros, "ir_rgb_left.yaml"), os.path.join(ros, "ir_rgb_rgb.yaml")])) == (
        "ir_size and rgb_size go with source opencv; ros files carry their image sizes")
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "opencv", temperatures=TEMPERATURES, ir_pair=pair, ir_rgb=rgb,
        ir_size=(2**40, 800))) == (
        'ir_size "1099511627776x800" must be WxH, whole numbers from 1 to 65535')
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "opencv", temperatures=[float("nan"), 35.6, 38.1], ir_pair=pair, ir_rgb=rgb)) == (
        'temperatures "nan,35.6,38.1" must be three numbers L,R,LDM (degrees Celsius)')
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "opencv", temperatures=[35.2, 35.6], ir_pair=pair, ir_rgb=rgb)) == (
        'temperatures "35.2,35.6" must be three numbers L,R,LDM (degrees Celsius)')
    assert refusal(deflash.UsageError, lambda: deflash.import_calibration(
        "opencv", temperatures=TEMPERATURES, ir_pair=pair, ir_rgb=rgb, unit="km")) == (
        'unit "km" must be m or mm')
    assert refusal(TypeError, lambda: deflash.import_calibration(
        "opencv", temperatures=TEMPERATURES, ir_pair=pair, ir_rgb=rgb,
        ir_size=(1280.5, 800))) == "ir_size width must be an int, not float"


def test_an_oversized_picture_is_refused_before_anything_is_allocated(tmp_path):
    # A view of one byte claims 2^31 columns: nothing may be copied for it.
    huge = np.broadcast_to(np.zeros(1, np.uint8), (1, 2**31))
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    assert refusal(deflash.UsageError, lambda: deflash.write_picture(
        tmp_path / "huge.png", huge)) == (
        "picture: 2147483648x1 pixels; a picture is 1 to 65535 pixels a side and at most "
        "33554432 pixels")
    grown_kib = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before
    assert grown_kib < 64 * 1024
    assert os.listdir(tmp_path) == []
    assert refusal(deflash.UsageError, lambda: deflash.write_picture(
        tmp_path / "empty.png", np.zeros((0, 5), np.uint8))).startswith("picture: 5x0 pixels")


def test_lines_other_threads_write_during_a_call_reach_their_streams(capfd, caplog):
    stop = threading.Event()
    written = []

    def chatter():
        n = 0
        while not stop.is_set() or n < 50:
            print(f"chatter out {n}", flush=True)
            sys.stderr.write(f"chatter err {n}\n")
            sys.stderr.flush()
            os.write(1, f"chatter fd {n}\n".encode())
            written.append(n)
            n += 1

    writer = threading.Thread(target=chatter)
    with caplog.at_level(logging.INFO, logger="deflash"):
        writer.start()
        try:
            for _ in range(10):
                deflash.start_row_image(CALIBRATION, [CLOSE])
                deflash.calibration_image(CALIBRATION, [CLOSE], timestamp=1)
        finally:
            stop.set()
            writer.join()
    out, err = capfd.readouterr()
    count = len(written)
    assert count >= 50
    out_lines = out.splitlines()
    assert [l for l in out_lines if l.startswith("chatter out")] == [
        f"chatter out {n}" for n in range(count)]
    assert [l for l in out_lines if l.startswith("chatter fd")] == [
        f"chatter fd {n}" for n in range(count)]
    assert err.splitlines() == [f"chatter err {n}" for n in range(count)]
    # The library's own lines went to the logger, none of the thread's.
    assert "input config params is file path" in caplog.messages
    assert not [m for m in caplog.messages if "chatter" in m]
    assert "input config params is file path" not in out
