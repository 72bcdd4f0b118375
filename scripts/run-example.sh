#!/usr/bin/env bash
# Builds the library and the deflash tool, then runs it on the example module
# in examples/module/, writing its calibration, raw-calibration, start-row and
# depth-engine configuration images to out/, decoding the calibration image,
# and rectifying the example scene pictures into out/*.png.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release
cmake --build build/release -j"$jobs" --target deflash deflash_cli

tool=build/release/tools/deflash
module=examples/module
mkdir -p out

"$tool" version
"$tool" check-config "$module/calib_close.ini" "$module/calib_long.ini"
# Calibration and raw-calibration images for both camera modes.
"$tool" calib --calibration "$module/calibration.json" \
  --config "$module/calib_close.ini" --config "$module/calib_long.ini" \
  --timestamp 1700000000 --sn 0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF \
  --out out/calib.bin --raw-out out/raw_calib.bin
# Start-row image of both camera modes.
"$tool" startrow --calibration "$module/calibration.json" \
  --config "$module/calib_close.ini" --config "$module/calib_long.ini" --out out/startrow.bin
# Depth-engine configuration image: DPU modes, D2C and IR pre-ISP groups.
"$tool" deconfig --dpu "$module/dpu_close.ini" --dpu "$module/dpu_long.ini" \
  --d2c "$module/d2c.ini" --ir-pre "$module/ir_pre.ini" --out out/deconfig.bin
# Decoded and checked calibration image (once the inspect command is built in).
if "$tool" inspect --help >/dev/null 2>&1; then
  "$tool" inspect out/calib.bin
fi
# The example scene rectified (left_rectified.png, right_rectified.png,
# side_by_side.png), its row error measured (row_error.png, PASS or FAIL) and
# its depth reprojected into the RGB camera (depth_in_rgb.png) and laid over
# the colour picture (depth_over_rgb.png), all in out/.
"$tool" rectify-check --calibration "$module/calibration.json" \
  --config "$module/calib_close.ini" \
  --left "$module/scene_left.png" --right "$module/scene_right.png" \
  --depth "$module/scene_depth.png" --rgb "$module/scene_rgb.png" --out-dir out
