#!/usr/bin/env python3
"""Rectifies the example scene as the close-range mode's depth engine will and
measures the row error of the rectified pair: once with the example module's
calibration, once with its right camera pitched by 3 mrad, the error a person
cannot see in a side-by-side picture. Exits 0 when the correct calibration
passes and the pitched one fails, as they should.

    PYTHONPATH=build/release/python python3 examples/python/check_rectification.py
"""

import copy
import json
import os
import sys

import deflash

HERE = os.path.dirname(os.path.abspath(__file__))
MODULE = os.path.join(os.path.dirname(HERE), "module")

#: The pitch given to the right camera: about f * 3 mrad = 2 px of row error.
PITCH = 0.003


def measure(name, calibration, left, right):
    rectified = deflash.check_calib_debug(calibration, os.path.join(MODULE, "calib_close.ini"),
                                          left=left, right=right)
    result = deflash.measure_rectification(rectified["left"], rectified["right"])
    print(f"{name}: {result['matches']} matches, mean {result['mean_px']:.2f} px, "
          f"p95 {result['p95_px']:.2f} px, max {result['max_px']:.2f} px: "
          f"{'PASS' if result['pass'] else 'FAIL'} (limit {result['threshold_px']:.2f} px)")
    for line in result["regions"]:
        print("   " + "".join(f"{region['mean_dy_px']:+8.2f}" for region in line))
    return result


def main():
    with open(os.path.join(MODULE, "calibration.json")) as f:
        calibration = json.load(f)
    pitched = copy.deepcopy(calibration)
    pitched["right_ir_extrinsics"]["angles"][0] += PITCH
    left = deflash.read_picture(os.path.join(MODULE, "scene_left.png"))
    right = deflash.read_picture(os.path.join(MODULE, "scene_right.png"))
    correct = measure("example calibration", calibration, left, right)
    wrong = measure("right camera pitched by 3 mrad", pitched, left, right)
    return 0 if correct["pass"] and not wrong["pass"] else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except deflash.Error as e:
        print(f"deflash: {e}", file=sys.stderr)
        sys.exit(1)
