#!/usr/bin/env bash
# Builds deflash and runs the whole test suite twice: in the Release build and
# in a build with AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)

echo "== Release build =="
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DDEFLASH_WERROR=ON -DDEFLASH_BUILD_BENCH=ON \
  -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
cmake --build build/release -j"$jobs"
ctest --test-dir build/release --output-on-failure -j"$jobs"

echo "== Formatting and static analysis =="
bash scripts/lint.sh build/release

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build =="
cmake -S . -B build/sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDEFLASH_WERROR=ON -DDEFLASH_SANITIZE=ON
cmake --build build/sanitize -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build/sanitize --output-on-failure -j"$jobs"

echo "deflash: all tests passed in both builds"
