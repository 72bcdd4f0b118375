#!/usr/bin/env bash
# Fails on a C++ file that clang-format would change, on an include across subsystems of a
# header the other subsystem keeps to itself, and on clang-tidy findings in src/, host/ and tools/.
# Usage: scripts/lint.sh [BUILD_DIR]   (BUILD_DIR holds compile_commands.json; default build/release)
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=${1:-build/release}
jobs=$(nproc 2>/dev/null || echo 2)
status=0

# Every tracked C++ source and header, the one list both checks start from (also in a tree
# unpacked from an archive, without .git). A check that finds nothing to check fails: an
# empty list means the listing broke, not that the code is clean.
mapfile -t cxx_files < <(bash scripts/source-files.sh '*.cc' '*.h' '*.cpp' '*.hpp')
nothing_to_check() {  # nothing_to_check <check>
  echo "deflash: $1: no file to check; the source listing found nothing" >&2
  exit 2
}
((${#cxx_files[@]})) || nothing_to_check clang-format

echo "== clang-format =="
unformatted=()
pending=$(grep -v '^#' scripts/format-pending.txt 2>/dev/null || true)
for file in "${cxx_files[@]}"; do
  if grep -qxF "$file" <<<"$pending"; then continue; fi
  if ! clang-format --dry-run --Werror "$file" >/dev/null 2>&1; then
    unformatted+=("$file")
  fi
done
if ((${#unformatted[@]})); then
  printf 'deflash: %s: not formatted (run scripts/format.sh)\n' "${unformatted[@]}" >&2
  status=1
fi

echo "clang-format: ${#cxx_files[@]} files checked"

echo "== subsystem boundaries =="
# A subsystem may include another's header only where that one publishes it,
# under src/<subsystem>/include/<subsystem>/. The build enforces it for the
# tool and the consumers (they see only those folders); inside src/ every
# subsystem sees the whole tree, so it is checked here.
subsystems=(frame config rectify calib_image de_config)
library_files=0
for file in "${cxx_files[@]}"; do
  [[ $file == src/* ]] || continue
  library_files=$((library_files + 1))
  own=${file#src/}
  own=${own%%/*}
  while IFS= read -r header; do
    other=${header%%/*}
    [[ $other == "$own" ]] && continue
    [[ " ${subsystems[*]} " == *" $other "* ]] || continue
    if [[ ! -f "src/$other/include/$header" ]]; then
      echo "deflash: $file: includes $header, which $other does not publish" >&2
      status=1
    fi
  done < <(sed -nE 's/^#include "([a-z_]+\/[a-z_0-9]+\.h)".*/\1/p' "$file")
done
((library_files)) || nothing_to_check "subsystem boundaries"
echo "subsystem boundaries: $library_files files checked"

echo "== clang-tidy =="
if [[ ! -f "$build_dir/compile_commands.json" ]]; then
  echo "deflash: $build_dir/compile_commands.json: missing (configure with" \
    "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON)" >&2
  exit 2
fi
# Translation units of the library and the tool; tests follow gtest's own macro style,
# which bugprone-* reads as findings, so they are formatted but not tidied. Files that
# only the Windows cross build compiles (*_windows.cc) need headers this machine's
# clang-tidy does not have.
mapfile -t tidy_files < <(printf '%s\n' "${cxx_files[@]}" | grep -E '^(src|host|tools)/.*\.(cc|cpp)$' |
  grep -v '_windows\.cc$')
((${#tidy_files[@]})) || nothing_to_check clang-tidy
tidy_log=$(mktemp)
trap 'rm -f "$tidy_log"' EXIT
if ! printf '%s\n' "${tidy_files[@]}" |
  xargs -P"$jobs" -n4 clang-tidy -p "$build_dir" --quiet --warnings-as-errors='*' \
    >"$tidy_log" 2>&1; then
  grep -E 'warning:|error:' "$tidy_log" >&2 || cat "$tidy_log" >&2
  echo "deflash: clang-tidy found the problems above" >&2
  status=1
fi
echo "clang-tidy: ${#tidy_files[@]} files checked"

if ((status == 0)); then echo "deflash: lint clean"; fi
exit "$status"
