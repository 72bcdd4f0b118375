#!/usr/bin/env bash
# Builds the library and the tool with several compilers, optimisation levels
# and target machines (and for Windows, run under Wine), writes the example
# module's images with each (fixed time stamp and serial number) and checks
# that every build wrote the same bytes. A difference means some float
# computation depends on the compiler or the machine, and a camera calibrated
# on one workstation would get a different flash image than on another.
#   scripts/repro-bytes.sh [variant...]   (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

if command -v ccache > /dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
else
  launcher=()
fi
jobs=$(nproc 2>/dev/null || echo 2)
wine=""
for candidate in /usr/lib/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
  if [ -n "$candidate" ] && [ -x "$candidate" ]; then wine=$candidate; break; fi
done

# name: compiler, optimisation, extra flags. "prebuilt" variants reuse the tool
# that scripts/test.sh (build/release: GCC, CMake's Release flags) and
# scripts/test-windows.sh (build/windows) have just built, and are built here
# only when those folders hold no tool; "scalar" runs a tool with the
# start-row table's plain loop forced instead of its vector walk, and a third
# word of a Windows variant forces that path there (the widest otherwise).
declare -A variants=(
  [gcc-release]="prebuilt build/release/tools/deflash"
  [gcc-release-scalar]="scalar build/release/tools/deflash"
  [gcc-O0-native]="g++ -O0 -march=native"
  [clang-O2]="clang++-14 -O2"
  [clang-O0-native]="clang++-14 -O0 -march=native"
  [windows-release]="prebuilt-windows build/windows/bin/deflash.exe"
  [windows-release-sse2]="prebuilt-windows build/windows/bin/deflash.exe sse2"
)
order=(gcc-release gcc-release-scalar gcc-O0-native clang-O2 clang-O0-native windows-release
  windows-release-sse2)
if (($# > 0)); then order=("$@"); fi

module=examples/module
run_example() {  # run_example <tool command...>: writes the images into $out
  "$@" calib --calibration "$module/calibration.json" \
    --config "$module/calib_close.ini" --config "$module/calib_long.ini" \
    --timestamp 1700000000 --sn 0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF \
    --out "$out/calib.bin" --raw-out "$out/raw_calib.bin" > /dev/null
  "$@" startrow --calibration "$module/calibration.json" \
    --config "$module/calib_close.ini" --config "$module/calib_long.ini" \
    --out "$out/startrow.bin" > /dev/null
  "$@" deconfig --dpu "$module/dpu_close.ini" --dpu "$module/dpu_long.ini" \
    --d2c "$module/d2c.ini" --ir-pre "$module/ir_pre.ini" --out "$out/deconfig.bin" > /dev/null
}

reference=""
status=0
compared=0
for name in "${order[@]}"; do
  read -r compiler opt extra <<< "${variants[$name]:?unknown variant $name}"
  build=build/repro/$name
  out=$root/build/repro/out/$name
  rm -rf "$out" && mkdir -p "$out" "$(dirname "$build")"
  common=(-DCMAKE_BUILD_TYPE=Release -DDEFLASH_BUILD_TESTS=OFF -DDEFLASH_WERROR=ON "${launcher[@]}")
  env=()
  case "$compiler" in
    prebuilt | scalar)
      if [ ! -x "$opt" ]; then
        cmake -S . -B build/release "${common[@]}" > /dev/null
        cmake --build build/release -j"$jobs" --target deflash deflash_cli > "$build.log" 2>&1 ||
          { tail -30 "$build.log"; exit 1; }
      fi
      tool=("$opt")
      if [ "$compiler" = scalar ]; then env=(DEFLASH_SIMD=scalar); fi
      ;;
    prebuilt-windows)
      if [ -z "$wine" ]; then echo "repro: no Wine, $name left out" >&2; status=1; continue; fi
      export WINEDEBUG=-all WINEPREFIX=$root/build/windows/wineprefix
      if [ ! -f "$opt" ]; then
        cmake -S . -B build/windows --toolchain cmake/mingw-w64-x86_64.cmake "${common[@]}" \
          > /dev/null
        cmake --build build/windows -j"$jobs" --target deflash deflash_cli > "$build.log" 2>&1 ||
          { tail -30 "$build.log"; exit 1; }
      fi
      tool=("$wine" "$opt")
      if [ -n "${extra:-}" ]; then env=(DEFLASH_SIMD="$extra"); fi
      ;;
    *)
      if ! command -v "$compiler" > /dev/null; then
        echo "repro: $compiler not installed, $name left out" >&2; status=1; continue
      fi
      cmake -S . -B "$build" -DCMAKE_CXX_COMPILER="$compiler" \
        "-DCMAKE_CXX_FLAGS_RELEASE=$opt ${extra:-}" "${common[@]}" > /dev/null
      cmake --build "$build" -j"$jobs" --target deflash deflash_cli > "$build.log" 2>&1 ||
        { tail -30 "$build.log"; exit 1; }
      tool=("$build/tools/deflash")
      ;;
  esac
  run_example env "${env[@]}" "${tool[@]}"
  # Empty images would compare equal without saying anything about the bytes.
  for image in calib.bin startrow.bin deconfig.bin; do
    if [ ! -s "$out/$image" ]; then
      echo "repro: $name wrote no $image" >&2
      exit 1
    fi
  done
  (cd "$out" && sha256sum calib.bin startrow.bin deconfig.bin > SHA256SUMS)
  if [ -z "$reference" ]; then
    reference=$name
    echo "repro: $name: the reference"
    continue
  elif ! cmp -s "$root/build/repro/out/$reference/SHA256SUMS" "$out/SHA256SUMS"; then
    echo "repro: $name wrote different images than $reference:" >&2
    diff "$root/build/repro/out/$reference/SHA256SUMS" "$out/SHA256SUMS" >&2 || true
    status=1
    continue
  else
    compared=$((compared + 1))
  fi
  echo "repro: $name: same bytes as ${reference}"
done
# One build alone, or none, compares nothing: that is no evidence of equal bytes.
if ((compared == 0)); then
  echo "repro: no two builds were compared" >&2
  status=1
fi
((status == 0)) && echo "repro: all $((compared + 1)) builds wrote identical images" ||
  echo "repro: FAILED" >&2
exit "$status"
