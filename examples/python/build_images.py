#!/usr/bin/env python3
"""Imports the example module's OpenCV stereo calibration, writes every flash
image of the module, prints what each image's sections hold and draws the
rectify-check picture of the close-range mode.

    PYTHONPATH=build/release/python python3 examples/python/build_images.py OUT_DIR
"""

import argparse
import json
import logging
import os
import sys

import numpy as np

import deflash

HERE = os.path.dirname(os.path.abspath(__file__))
EXAMPLES = os.path.dirname(HERE)
MODULE = os.path.join(EXAMPLES, "module")
OPENCV = os.path.join(EXAMPLES, "opencv")

#: Rows between two guide lines of the side-by-side picture: a point of the
#: scene must sit at the same height against them in both halves.
GUIDE_LINE_SPACING = 40


def write(path, data):
    # A temporary name and a rename: a failed run leaves no half file.
    with open(path + ".tmp", "wb") as f:
        f.write(data)
    os.replace(path + ".tmp", path)
    print(f"wrote {path} ({len(data)} bytes)")


def show(name, image):
    """One line per section: its name, length and item count, and the
    checks inspect ran on the image."""
    report = deflash.inspect(image)
    print(f"{name}: {report['kind']}, {report['size']} bytes, "
          f"{'checks pass' if report['ok'] else 'CHECKS FAIL'}")
    for section in report["sections"]:
        header = next((c for c in section["children"] if c["name"] == "header"), None)
        fields = {f["name"]: f["value"] for f in header["fields"]} if header else {}
        items = [c for c in section["children"] if c["name"].startswith(("item", "entry"))]
        length = f", {fields['length']} bytes" if "length" in fields else ""
        print(f"  {section['name']}{length}, {len(items)} items")


def side_by_side(left, right):
    """Both rectified pictures next to each other with horizontal guide lines."""
    both = np.concatenate([left, right], axis=1)
    both[::GUIDE_LINE_SPACING, :] = np.iinfo(both.dtype).max
    return both


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("out_dir", help="folder for module.json, the images and the picture")
    args = parser.parse_args()
    logging.basicConfig(level=logging.WARNING, format="deflash: %(message)s")

    calibration = deflash.import_calibration(
        "opencv", temperatures=[35.2, 35.6, 38.1],
        ir_pair=[os.path.join(OPENCV, "intrinsics.yml"), os.path.join(OPENCV, "extrinsics.yml")],
        ir_rgb=[os.path.join(OPENCV, "ir_rgb.xml")])
    close = os.path.join(MODULE, "calib_close.ini")
    configs = [close, os.path.join(MODULE, "calib_long.ini")]
    image, raw = deflash.calibration_images(calibration, configs)
    start_rows = deflash.start_row_image(calibration, configs)
    depth_engine = deflash.depth_engine_image(
        [os.path.join(MODULE, "dpu_close.ini"), os.path.join(MODULE, "dpu_long.ini")],
        os.path.join(MODULE, "d2c.ini"), os.path.join(MODULE, "ir_pre.ini"))

    os.makedirs(args.out_dir, exist_ok=True)
    outputs = {"module.json": json.dumps(calibration, indent=2).encode() + b"\n",
               "calib.bin": image, "raw.bin": raw, "startrow.bin": start_rows,
               "deconfig.bin": depth_engine}
    for name, data in outputs.items():
        write(os.path.join(args.out_dir, name), data)

    show("calib.bin", image)
    show("raw.bin", raw)
    show("startrow.bin", start_rows)
    show("deconfig.bin", depth_engine)

    # The scene as the depth engine will see it after rectification: rows of
    # the left and right picture must meet on the same guide line.
    rectified = deflash.check_calib_debug(
        calibration, close, left=deflash.read_picture(os.path.join(MODULE, "scene_left.png")),
        right=deflash.read_picture(os.path.join(MODULE, "scene_right.png")))
    picture = os.path.join(args.out_dir, "side_by_side.png")
    both = side_by_side(rectified["left"], rectified["right"])
    deflash.write_picture(picture, both)
    print(f"wrote {picture} ({both.shape[1]}x{both.shape[0]}, 8-bit)")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except deflash.Error as e:
        print(f"deflash: {e}", file=sys.stderr)
        sys.exit(1)
