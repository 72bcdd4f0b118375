#!/usr/bin/env bash
# Builds the packages: a Debian package of the Linux build (cpack -G DEB) and
# a Windows zip of the MinGW-w64 cross build (cpack -G ZIP) holding deflash.dll,
# its import library, the headers, deflash.exe and the documentation.
# Both land in build/packages/.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)
launcher=()
if command -v ccache > /dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
mkdir -p build/packages
# The package holds the library and the tool only; tests are not built.
options=(-DCMAKE_BUILD_TYPE=Release -DDEFLASH_BUILD_TESTS=OFF -DDEFLASH_WERROR=ON "${launcher[@]}")

echo "== Debian package =="
cmake -S . -B build/package-linux -DCMAKE_INSTALL_PREFIX=/usr "${options[@]}"
cmake --build build/package-linux -j"$jobs" --target deflash deflash_cli
(cd build/package-linux && cpack -G DEB -B "$PWD/../packages")

echo "== Windows zip =="
cmake -S . -B build/package-windows --toolchain cmake/mingw-w64-x86_64.cmake "${options[@]}"
cmake --build build/package-windows -j"$jobs" --target deflash deflash_cli
(cd build/package-windows && cpack -G ZIP -B "$PWD/../packages")

rm -rf build/packages/_CPack_Packages
ls -l build/packages
