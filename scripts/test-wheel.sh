#!/usr/bin/env bash
# Builds the Python wheel as a user does (pip, offline, Debian's Python),
# installs it into a fresh virtual environment and runs the Python test suite
# against the installed package from a folder outside the source tree; the
# installed `deflash` command is compared with the build tree's tool.
#   scripts/test-wheel.sh [BUILD_TREE_TOOL]   (default build/release/tools/deflash)
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

source_dir=$PWD
python=${PYTHON:-/usr/bin/python3}
reference=${1:-build/release/tools/deflash}
work=build/wheel
if ! "$python" -c "import setuptools, wheel, pip, ensurepip, pytest, numpy" 2>/dev/null; then
  echo "deflash: $python lacks setuptools, wheel, pip, ensurepip (venv), pytest or numpy" >&2
  exit 1
fi
if command -v ccache > /dev/null && [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ]; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
export PIP_ROOT_USER_ACTION=ignore PIP_DISABLE_PIP_VERSION_CHECK=1
export DEFLASH_CMAKE_ARGS="-DDEFLASH_WERROR=ON ${DEFLASH_CMAKE_ARGS:-}"

# The virtual environments and the copy of the tests live outside the source tree.
outside=$(mktemp -d)
trap 'rm -rf "$outside"' EXIT
tests=$outside/tests
mkdir "$tests"
rm -rf "$work"
mkdir -p "$work"

echo "== pip wheel (offline, no build isolation) =="
"$python" -m pip wheel --no-index --no-build-isolation --no-deps --wheel-dir "$work/dist" .
wheels=("$work"/dist/deflash-*.whl)
if ((${#wheels[@]} != 1)) || [ ! -f "${wheels[0]}" ]; then
  echo "deflash: pip wheel left no single deflash wheel in $work/dist" >&2
  exit 1
fi
"$python" -m zipfile -l "${wheels[0]}"

echo "== Installed into a fresh virtual environment =="
"$python" -m venv --system-site-packages "$outside/venv"
"$outside/venv/bin/python" -m pip install --no-index --no-deps "${wheels[0]}"

echo "== Python tests against the installed package, from $tests =="
cp python/tests/*.py "$tests/"
environment=(DEFLASH_INSTALLED=1 DEFLASH_SOURCE_DIR="$source_dir"
             DEFLASH_CLI="$outside/venv/bin/deflash")
if [ -x "$reference" ]; then
  environment+=(DEFLASH_REFERENCE_CLI="$(realpath "$reference")")
else
  echo "deflash: no build tree's tool at $reference: the command is compared with the packaged tool only"
fi
(cd "$tests" && env -u LD_LIBRARY_PATH -u PYTHONPATH "${environment[@]}" \
  "$outside/venv/bin/python" -m pytest -q -rs -p no:cacheprovider .)

echo "== pip install from the source tree =="
"$python" -m venv --system-site-packages "$outside/venv-source"
"$outside/venv-source/bin/python" -m pip install --no-index --no-build-isolation --no-deps .
(cd "$tests" && env -u LD_LIBRARY_PATH -u PYTHONPATH "$outside/venv-source/bin/deflash" version &&
  env -u LD_LIBRARY_PATH -u PYTHONPATH "$outside/venv-source/bin/python" -c \
    "import deflash; assert deflash.__file__.startswith('$outside/venv-source/'); print(deflash.__file__)")

echo "deflash: the wheel installs and passes the Python tests"
