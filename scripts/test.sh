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
# pytest fails on collecting nothing by itself; here the Release build must also have
# registered it (install-deps.sh installs pytest and numpy).
if ! ctest --test-dir build/release -N -R '^python_module_tests$' | grep -qx 'Total Tests: 1'; then
  echo "deflash: build/release: the Python module's tests are not registered" >&2
  exit 1
fi
# Each run must reach the size the suite has (1177 tests in Release; the sanitized build leaves
# out the Python module and the installed-package test), less a margin for tests that come and
# go; fewer means a test program or a framework went missing.
bash scripts/run-ctest.sh build/release 1100

echo "== Formatting and static analysis =="
bash scripts/lint.sh build/release

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build =="
cmake -S . -B build/sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDEFLASH_WERROR=ON -DDEFLASH_SANITIZE=ON
cmake --build build/sanitize -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  bash scripts/run-ctest.sh build/sanitize 1100

echo "deflash: all tests passed in both builds"
