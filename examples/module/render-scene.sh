#!/usr/bin/env bash
# Regenerates the example scene pictures scene_left.png, scene_right.png,
# scene_depth.png and scene_rgb.png in examples/module/ from calibration.json
# and calib_close.ini (render_scene.cc; the scene is example_scene.h).
set -euo pipefail
cd "$(dirname "$0")/../.."

cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release -j2 --target render_example_scene
module=examples/module
build/release/tests/calib_image/render_example_scene "$module/calibration.json" \
  "$module/calib_close.ini" "$module" | grep '^wrote'
