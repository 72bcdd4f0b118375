"""pip's build of the deflash package: the project's own CMake build in Release
(its flags, -ffp-contract=off among them) of the library, the Python extension
and the tool, installed into the package folder beside the Python files.

The version is the one in CMakeLists.txt's project() line. Extra configure
options come from DEFLASH_CMAKE_ARGS (for example a toolchain file, or
-DDEFLASH_WERROR=ON); CMAKE_CXX_COMPILER_LAUNCHER=ccache is honoured by CMake.
"""

import os
import re
import shlex
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))

#: What pip's build needs of the project: the library, the extension, the tool.
NATIVE_TARGETS = ["deflash", "deflash_python", "deflash_cli"]


def project_version():
    """The version of `project(deflash VERSION ...)` in CMakeLists.txt."""
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as f:
        match = re.search(r"^project\(\s*deflash\s+VERSION\s+([0-9]+(?:\.[0-9]+)*)\b",
                          f.read(), re.MULTILINE)
    if match is None:
        raise RuntimeError("CMakeLists.txt: no project(deflash VERSION ...) line")
    return match.group(1)


class CMakeBuild(build_ext):
    """Configures, builds and installs the project's native targets with CMake
    instead of compiling the placeholder extension itself."""

    def build_extension(self, ext):
        extension = os.path.abspath(self.get_ext_fullpath(ext.name))
        # The package folder's parent: the install rules put everything into deflash/.
        prefix = os.path.dirname(os.path.dirname(extension))
        build = os.path.abspath(os.path.join(self.build_temp, "cmake"))
        jobs = str(self.parallel or os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL")
                   or os.cpu_count() or 1)
        configure = [
            "cmake", "-S", ROOT, "-B", build,
            "-DCMAKE_BUILD_TYPE=Release",
            "-DDEFLASH_WHEEL=ON",
            "-DDEFLASH_BUILD_TOOLS=ON",
            "-DDEFLASH_BUILD_PYTHON=ON",
            "-DDEFLASH_BUILD_TESTS=OFF",
            "-DDEFLASH_BUILD_BENCH=OFF",
            "-DDEFLASH_BUILD_FUZZ=OFF",
            "-DDEFLASH_SANITIZE=OFF",
            f"-DPython_EXECUTABLE={sys.executable}",
        ] + shlex.split(os.environ.get("DEFLASH_CMAKE_ARGS", ""))
        self._run(configure)
        self._run(["cmake", "--build", build, "--config", "Release", "--parallel", jobs,
                   "--target"] + NATIVE_TARGETS)
        self._run(["cmake", "--install", build, "--config", "Release",
                   "--component", "deflash_wheel", "--prefix", prefix])
        if not os.path.isfile(extension):
            raise RuntimeError(f"deflash: the CMake install left no {extension}")

    @staticmethod
    def _run(command):
        print(" ".join(shlex.quote(c) for c in command), flush=True)
        try:
            subprocess.run(command, check=True)
        except FileNotFoundError:
            raise RuntimeError("deflash: cmake not found (Debian: apt-get install cmake)") from None
        except subprocess.CalledProcessError as e:
            raise RuntimeError(f"deflash: {command[0]} {command[1]} failed with exit code "
                               f"{e.returncode}") from None


setup(
    version=project_version(),
    # A placeholder: it makes the wheel one for this interpreter and platform,
    # and CMakeBuild builds it.
    ext_modules=[Extension("deflash._deflash", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
