#!/usr/bin/env bash
# Builds deflash_bench in Release, runs every benchmark in one run (repeated,
# medians kept), prints the OpenCV comparisons as ratios (deflash / OpenCV)
# and writes docs/performance.md with the figures, processor, compiler and commit.
# Then the same benchmarks built for Windows and run under Wine, and the wall
# times of whole commands on the example module on Linux and under Wine
# (bench/command_times.py), each its own section of the report.
#   bench/run.sh [BUILD_DIR]   (default build/bench; the Windows build goes to
#                               BUILD_DIR-windows; extra arguments for
#                               deflash_bench go in DEFLASH_BENCH_ARGS;
#                               DEFLASH_BENCH_WINE=0 leaves Windows out)
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=${1:-build/bench}
windows_dir=$build_dir-windows
jobs=$(nproc 2>/dev/null || echo 2)
if command -v ccache > /dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
else
  launcher=()
fi
wine=/usr/lib/wine/wine64
with_wine=${DEFLASH_BENCH_WINE:-1}
if [[ ! -x $wine ]] || ! command -v x86_64-w64-mingw32-g++-posix > /dev/null; then
  echo "deflash: no MinGW-w64 or Wine: the Windows figures are left out" >&2
  with_wine=0
fi

# -Werror as the test builds have it: the same flags, so ccache shares their objects.
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DDEFLASH_BUILD_BENCH=ON \
  -DDEFLASH_BUILD_TESTS=OFF -DDEFLASH_BUILD_PYTHON=OFF -DDEFLASH_WERROR=ON "${launcher[@]}" \
  > /dev/null
cmake --build "$build_dir" --target deflash_bench deflash_cli -j"$jobs"
if ((with_wine)); then
  cmake -S . -B "$windows_dir" --toolchain cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release \
    -DDEFLASH_BUILD_BENCH=ON -DDEFLASH_BUILD_TESTS=OFF -DDEFLASH_BUILD_PYTHON=OFF \
    -DDEFLASH_WERROR=ON "${launcher[@]}" > /dev/null
  cmake --build "$windows_dir" --target deflash_bench deflash_cli -j"$jobs"
fi

scratch=$(mktemp -d)
wineserver=
trap 'rm -rf "$scratch"; if [[ -n $wineserver ]]; then "$wineserver" -k 2> /dev/null || true; fi' EXIT
# The INI benchmark writes its file in the working directory.
(cd "$build_dir" && ./bench/deflash_bench --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true --benchmark_out="$scratch/linux.json" \
  --benchmark_out_format=json ${DEFLASH_BENCH_ARGS:-})

report_args=()
if ((with_wine)); then
  # A Wine prefix of the build's own; its server kept running for the whole
  # measurement, as a Windows machine keeps its system running.
  export WINEPREFIX=$PWD/$windows_dir/wineprefix WINEDEBUG=-all
  "$wine" wineboot --init > /dev/null 2>&1 || true
  wineserver=$(dirname "$(readlink -f "$wine")")/wineserver
  [[ -x $wineserver ]] || wineserver=wineserver
  "$wineserver" -p || true
  (cd "$windows_dir" && "$wine" bin/deflash_bench.exe --benchmark_repetitions=5 \
    --benchmark_min_time=1 --benchmark_out="$scratch/wine.json" \
    --benchmark_filter='^BM_(StartRow|CalibDebugRectify|CalibDebugCheck|CalibImage|DepthEngine|Ini)' \
    ${DEFLASH_BENCH_ARGS:-})
  wine_compiler=$(x86_64-w64-mingw32-g++-posix --version | head -n 1)
  report_args+=(--wine-results "$scratch/wine.json" --wine-compiler "$wine_compiler")
fi

echo "== whole commands =="
python3 bench/command_times.py "$build_dir/tools/deflash" "$scratch/commands.json"
report_args+=(--commands "$scratch/commands.json")
if ((with_wine)); then
  python3 bench/command_times.py "$windows_dir/bin/deflash.exe" "$scratch/wine-commands.json" \
    --wine "$wine"
  report_args+=(--wine-commands "$scratch/wine-commands.json")
fi

compiler_path=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build_dir/CMakeCache.txt")
compiler=$("${compiler_path:-c++}" --version | head -n 1)
commit=$(git describe --always --dirty --abbrev=12)
python3 bench/report.py "$scratch/linux.json" docs/performance.md --compiler "$compiler" \
  --commit "$commit" --command "bash bench/run.sh${1:+ $1}" "${report_args[@]}"
