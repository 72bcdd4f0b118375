#!/usr/bin/env bash
# Rewrites the golden calibration, raw-calibration and start-row images of the
# example module (tests/data/*_example.bin) with the current tool and library.
# The tests only ever compare against these files; review the byte changes
# before committing them: they are changes to flash content.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake -S . -B build/golden -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/golden -j"$(nproc)" --target deflash_cli
tool=build/golden/tools/deflash
module=examples/module
configs=(--config "$module/calib_close.ini" --config "$module/calib_long.ini")
"$tool" calib --calibration "$module/calibration.json" "${configs[@]}" \
  --timestamp 1700000000 --sn 0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF \
  --out tests/data/calib_example.bin --raw-out tests/data/raw_calib_example.bin
"$tool" startrow --calibration "$module/calibration.json" "${configs[@]}" \
  --out tests/data/startrow_example.bin
git status --short tests/data
