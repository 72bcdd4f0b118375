#!/usr/bin/env bash
# Builds deflash_bench in Release, runs every benchmark in one run (repeated,
# medians kept), prints the OpenCV comparisons as ratios (deflash / OpenCV)
# and writes docs/performance.md with the figures, processor, compiler and commit.
#   bench/run.sh [BUILD_DIR]   (default build/bench; extra arguments for
#                               deflash_bench go in DEFLASH_BENCH_ARGS)
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=${1:-build/bench}
jobs=$(nproc 2>/dev/null || echo 2)
if command -v ccache > /dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
else
  launcher=()
fi

cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DDEFLASH_BUILD_BENCH=ON \
  -DDEFLASH_BUILD_TESTS=OFF -DDEFLASH_BUILD_PYTHON=OFF "${launcher[@]}" > /dev/null
cmake --build "$build_dir" --target deflash_bench -j"$jobs"

results=$(mktemp)
trap 'rm -f "$results"' EXIT
# The INI benchmark writes its file in the working directory.
(cd "$build_dir" && ./bench/deflash_bench --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_out="$results" \
  --benchmark_out_format=json ${DEFLASH_BENCH_ARGS:-})

compiler_path=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build_dir/CMakeCache.txt")
compiler=$("${compiler_path:-c++}" --version | head -n 1)
commit=$(git describe --always --dirty --abbrev=12)
python3 bench/report.py "$results" docs/performance.md --compiler "$compiler" \
  --commit "$commit" --command "bash bench/run.sh${1:+ $1}"
