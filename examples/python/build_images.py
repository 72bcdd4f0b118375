#!/usr/bin/env python3
"""Imports the example module's OpenCV stereo calibration, writes every flash
image of the module and prints what each image's sections hold.

    PYTHONPATH=build/release/python python3 examples/python/build_images.py OUT_DIR
"""

import argparse
import json
import logging
import os
import struct
import sys

import deflash

HERE = os.path.dirname(os.path.abspath(__file__))
EXAMPLES = os.path.dirname(HERE)
MODULE = os.path.join(EXAMPLES, "module")
OPENCV = os.path.join(EXAMPLES, "opencv")

#: Offsets of the calibration image's sections.
CALIBRATION_SECTIONS = (0x0000, 0x2000, 0x4000)
#: Offsets of the depth-engine configuration image's blocks.
DEPTH_ENGINE_BLOCKS = (0x0000, 0x2000, 0x3000)


def sections(image, offsets, count_at, size_at):
    """(offset, magic, length, item count, item size) of each section."""
    for offset in offsets:
        magic, _, length = struct.unpack_from("<III", image, offset)
        count, size = struct.unpack_from("<II", image, offset + count_at)
        yield offset, magic, length, count, size


def show(name, rows):
    print(name)
    for offset, magic, length, count, size in rows:
        print(f"  0x{offset:04X}: magic 0x{magic:08X}, {length} bytes, {count} x {size}-byte items")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("out_dir", help="folder for module.json and the images")
    args = parser.parse_args()
    logging.basicConfig(level=logging.WARNING, format="deflash: %(message)s")

    calibration = deflash.import_calibration(
        "opencv", temperatures=[35.2, 35.6, 38.1],
        ir_pair=[os.path.join(OPENCV, "intrinsics.yml"), os.path.join(OPENCV, "extrinsics.yml")],
        ir_rgb=[os.path.join(OPENCV, "ir_rgb.xml")])
    configs = [os.path.join(MODULE, "calib_close.ini"), os.path.join(MODULE, "calib_long.ini")]
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
        # A temporary name and a rename: a failed run leaves no half file.
        path = os.path.join(args.out_dir, name)
        with open(path + ".tmp", "wb") as f:
            f.write(data)
        os.replace(path + ".tmp", path)
        print(f"wrote {path} ({len(data)} bytes)")

    show("calibration image", sections(image, CALIBRATION_SECTIONS, 52, 56))
    show("raw-calibration image", sections(raw, (0,), 52, 56))
    length = struct.unpack_from("<I", start_rows, 8)[0]
    print(f"start-row image\n  0x0000: magic 0x{struct.unpack_from('<I', start_rows)[0]:08X}, "
          f"{length} bytes")
    show("depth-engine configuration image", sections(depth_engine, DEPTH_ENGINE_BLOCKS, 28, 32))
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except deflash.Error as e:
        print(f"deflash: {e}", file=sys.stderr)
        sys.exit(1)
