#!/usr/bin/env bash
# Installs the Debian packages deflash needs to build, test and run its
# examples, but only those that are missing (apt-get update runs only then).
set -euo pipefail

packages=(
  cmake g++ make pkg-config
  git                 # scripts/source-files.sh lists the tracked files with it
  libeigen3-dev       # the library's only dependency
  libcli11-dev        # command-line parsing of the tool
  nlohmann-json3-dev  # calibration JSON of the tool
  libgtest-dev libgmock-dev  # tests
  libbenchmark-dev    # benchmarks
  hyperfine           # bench/run.sh: whole-command wall times
  zlib1g-dev          # reference CRC-32 in the tests
  libpng-dev          # rectify-check: IR, depth and rectified pictures as PNG
  libdeflate-dev      # rectify-check: the pictures it writes, compressed
  libyaml-cpp-dev     # calibration import: OpenCV, ROS and Kalibr YAML
  libpugixml-dev      # calibration import: OpenCV XML
  libopencv-dev       # tests only: cross-check of the rectification with OpenCV
  pybind11-dev python3-dev  # the Python module
  python3-pytest python3-numpy  # its tests
  python3-setuptools python3-wheel python3-pip python3-venv  # its pip wheel (scripts/test-wheel.sh)
  # Windows build under Wine, reproducible bytes across compilers, packages
  g++-mingw-w64-x86-64 wine64 googletest libz-mingw-w64-dev clang-14 dpkg-dev
  clang-format clang-tidy  # scripts/lint.sh: formatting and static analysis
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if ((${#missing[@]} > 0)); then
  echo "deflash: installing ${missing[*]}"
  if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
  $sudo apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y "${missing[@]}"
fi
