#!/bin/sh
# Regenerates tests/data/de_config_example.bin, the reviewed depth-engine
# configuration image built from the files in examples/module.
#
# Run it only after a deliberate change of the image layout or of the example
# files, then review the difference (cmp -l, xxd) before committing the image:
#
#   tests/data/regenerate_de_config_golden.sh [build directory]
#
# The build directory defaults to ./build and must be configured with tests on.
# Every example file carries a version, so the image holds no time stamp and
# regenerating it without a change reproduces it byte for byte.
set -eu
repo=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-"$repo/build"}
cmake --build "$build" --target de_config_golden_writer
"$build/tests/de_config/de_config_golden_writer" "$repo/examples/module" \
  "$repo/tests/data/de_config_example.bin"
echo "wrote $repo/tests/data/de_config_example.bin"
