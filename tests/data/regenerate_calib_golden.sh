#!/usr/bin/env bash
# Rewrites the golden calibration, raw-calibration and start-row images of the
# example module (tests/data/*_example.bin) from the current library. Review
# the byte changes before committing them: they are changes to flash content.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake -S . -B build/golden -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/golden -j"$(nproc)" --target example_module_test
DEFLASH_REGENERATE_GOLDEN=1 build/golden/tests/calib_image/example_module_test \
  --gtest_filter='ExampleModule.*Golden*'
git status --short tests/data
