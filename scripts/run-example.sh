#!/usr/bin/env bash
# Builds the library and the deflash tool, then runs it on the example module
# in examples/module/, writing its images to out/.
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
"$tool" calib --calibration "$module/calibration.json" \
  --config "$module/calib_close.ini" --config "$module/calib_long.ini" \
  --timestamp 1700000000 --sn 0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF \
  --out out/calib.bin
"$tool" calib --calibration "$module/calibration.json" --config "$module/calib_close.ini" \
  --timestamp 1700000000 --sn 0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF \
  --out out/calib_close.bin --raw-out out/raw_close.bin
"$tool" startrow --calibration "$module/calibration.json" \
  --config "$module/calib_close.ini" --config "$module/calib_long.ini" --out out/startrow.bin
