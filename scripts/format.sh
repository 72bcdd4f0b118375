#!/usr/bin/env bash
# Applies clang-tidy's fixes in src/ and tools/, then clang-format to every tracked C++ file.
# Usage: scripts/format.sh [BUILD_DIR]   (BUILD_DIR holds compile_commands.json; default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=${1:-build/release}

if [[ -f "$build_dir/compile_commands.json" ]]; then
  # One file at a time, so that two fixes of one header never race.
  bash scripts/source-files.sh 'src/*.cc' 'tools/*.cc' 'src/*.cpp' 'tools/*.cpp' |
    xargs -r -n1 clang-tidy -p "$build_dir" --quiet --fix >/dev/null 2>&1 || true
else
  echo "deflash: $build_dir/compile_commands.json missing; clang-tidy fixes skipped" >&2
fi
bash scripts/source-files.sh '*.cc' '*.h' '*.cpp' '*.hpp' | xargs -r clang-format -i
