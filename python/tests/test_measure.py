"""deflash.measure_rectification gives the figures rectify-check gives, and
refuses what cannot be measured."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest

import deflash

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
MODULE = os.path.join(SOURCE, "examples", "module")
CALIBRATION = os.path.join(MODULE, "calibration.json")
CLOSE = os.path.join(MODULE, "calib_close.ini")
LEFT = os.path.join(MODULE, "scene_left.png")
RIGHT = os.path.join(MODULE, "scene_right.png")


def rectified(calibration=CALIBRATION):
    return deflash.check_calib_debug(calibration, CLOSE, left=deflash.read_picture(LEFT),
                                     right=deflash.read_picture(RIGHT))


def pitched(milliradians):
    with open(CALIBRATION) as f:
        module = json.load(f)
    module["right_ir_extrinsics"]["angles"][0] += milliradians * 1e-3
    return module


def test_the_figures_are_the_tools(tmp_path):
    pair = rectified()
    result = deflash.measure_rectification(pair["left"], pair["right"])
    run = subprocess.run([os.environ["DEFLASH_CLI"], "rectify-check", "--calibration",
                          CALIBRATION, "--config", CLOSE, "--left", LEFT, "--right", RIGHT,
                          "--out-dir", str(tmp_path), "--json"],
                         capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert result == json.loads(run.stdout)["row_error"]
    assert result["matches"] == 1112
    assert result["mean_px"] == 0.02
    assert result["pass"] is True
    assert result["threshold_px"] == 0.5
    assert [len(line) for line in result["regions"]] == [3, 3, 3]


def test_a_pitched_right_camera_fails_the_default_limit_and_passes_a_wider_one():
    pair = rectified(pitched(3.0))
    result = deflash.measure_rectification(pair["left"], pair["right"])
    assert result["pass"] is False
    assert result["mean_px"] == pytest.approx(643.5 * 3e-3, rel=0.15)
    assert all(region["mean_dy_px"] > 1.5 for line in result["regions"] for region in line)
    wider = deflash.measure_rectification(pair["left"], pair["right"], max_row_error=2.5)
    assert wider["pass"] is True
    assert wider["threshold_px"] == 2.5
    assert wider["mean_px"] == result["mean_px"]


def test_sixteen_bit_pictures_measure_alike():
    pair = rectified()
    eight = deflash.measure_rectification(pair["left"], pair["right"])
    sixteen = deflash.measure_rectification(pair["left"].astype(np.uint16) * 257,
                                            pair["right"].astype(np.uint16) * 257)
    # The texture a patch needs is counted in the picture's own levels: the
    # same pictures in 16 bits lose fewer patches to it.
    assert sixteen["matches"] >= eight["matches"]
    assert sixteen["mean_px"] == pytest.approx(eight["mean_px"], abs=0.01)


def test_a_blank_pair_is_refused_with_its_count():
    blank = np.full((800, 1280), 128, np.uint8)
    with pytest.raises(deflash.MeasurementError) as caught:
        deflash.measure_rectification(blank, blank)
    assert caught.value.matches == 0
    assert str(caught.value) == (
        "row error not measured: 0 matches, at least 100 needed (a dark, blank or untextured "
        "pair, or pictures that do not show the same scene)")
    assert isinstance(caught.value, ValueError)


def test_pictures_and_limits_it_cannot_take_are_refused():
    pair = rectified()
    with pytest.raises(deflash.MeasurementError, match="must be a 2-D array of uint8 or uint16"):
        deflash.measure_rectification(pair["left"].astype(np.float32), pair["right"])
    with pytest.raises(deflash.MeasurementError, match="must have the same type"):
        deflash.measure_rectification(pair["left"], pair["right"].astype(np.uint16))
    with pytest.raises(deflash.MeasurementError,
                       match="the row-error limit must be a positive number of pixels"):
        deflash.measure_rectification(pair["left"], pair["right"], max_row_error=0)
    small = np.zeros((20, 20), np.uint8)
    with pytest.raises(deflash.MeasurementError, match="too small to measure"):
        deflash.measure_rectification(small, small)


def test_the_example_script_passes_the_example_and_fails_the_pitch():
    script = os.path.join(SOURCE, "examples", "python", "check_rectification.py")
    run = subprocess.run([sys.executable, script], capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert run.stderr == ""
    assert run.stdout == (
        "example calibration: 1112 matches, mean 0.02 px, p95 0.06 px, max 0.16 px: PASS "
        "(limit 0.50 px)\n"
        "      -0.00   +0.01   +0.01\n"
        "      -0.00   -0.01   -0.00\n"
        "      +0.01   +0.01   +0.01\n"
        "right camera pitched by 3 mrad: 826 matches, mean 2.17 px, p95 2.55 px, max 2.68 px: "
        "FAIL (limit 0.50 px)\n"
        "      +2.29   +2.31   +2.29\n"
        "      +1.96   +1.95   +1.96\n"
        "      +2.24   +2.21   +2.24\n")
