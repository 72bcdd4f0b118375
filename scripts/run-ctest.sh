#!/usr/bin/env bash
# Runs a build's test suite with ctest and fails when it ran no test or fewer than the suite is
# known to hold, so that a build that lost its tests (a test option off, a test framework not
# found, a discovery that found nothing) cannot pass by checking nothing.
#   scripts/run-ctest.sh BUILD_DIR MIN_TESTS [ctest options...]
set -euo pipefail
cd "$(dirname "$0")/.."

if (($# < 2)); then
  echo "usage: scripts/run-ctest.sh BUILD_DIR MIN_TESTS [ctest options...]" >&2
  exit 2
fi
build_dir=$1 min_tests=$2
shift 2
jobs=$(nproc 2>/dev/null || echo 2)

log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
ctest --test-dir "$build_dir" --output-on-failure --no-tests=error -j"$jobs" "$@" 2>&1 |
  tee "$log" || status=$?
# ctest closes with "N% tests passed, F tests failed out of T".
total=$(sed -nE 's/^[0-9]+% tests passed, [0-9]+ tests? failed out of ([0-9]+)$/\1/p' "$log" |
  tail -n 1)
if [[ -z $total ]]; then
  echo "deflash: $build_dir: ctest printed no summary; no test ran" >&2
  exit 1
fi
if ((total < min_tests)); then
  echo "deflash: $build_dir: ctest ran $total tests, fewer than the $min_tests the suite holds" >&2
  exit 1
fi
exit "$status"
