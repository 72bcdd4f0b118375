#!/usr/bin/env bash
# Builds the library and the deflash tool, then runs it on the example module
# in examples/module/, writing its calibration, raw-calibration, start-row and
# depth-engine configuration images to out/.
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
