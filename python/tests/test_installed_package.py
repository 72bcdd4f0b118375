"""The pip-installed package (scripts/test-wheel.sh sets DEFLASH_INSTALLED=1):
the module and its library come from the package folder with no library
path, the version is the project's, and the `deflash` command prints and
exits exactly as the tool does."""

import importlib.metadata
import os
import re
import subprocess
import sys
import sysconfig

import pytest

import deflash

pytestmark = pytest.mark.skipif(os.environ.get("DEFLASH_INSTALLED") != "1",
                                reason="runs on a pip-installed package (scripts/test-wheel.sh)")

SOURCE = os.environ.get("DEFLASH_SOURCE_DIR",
                        os.path.join(os.path.dirname(__file__), "..", ".."))
MODULE = os.path.join(SOURCE, "examples", "module")
PACKAGE = os.path.dirname(os.path.abspath(deflash.__file__))
LIBRARY = "deflash.dll" if os.name == "nt" else "libdeflash.so.2"
# The native tool beside the module (only the installed package has it and _cli.py).
TOOL = os.path.join(PACKAGE, "deflash.exe" if os.name == "nt" else "deflash")


def test_the_module_is_the_installed_one_not_the_source_trees():
    assert PACKAGE == os.path.join(os.path.realpath(sysconfig.get_paths()["platlib"]), "deflash")
    assert not PACKAGE.startswith(os.path.realpath(SOURCE) + os.sep)
    assert "LD_LIBRARY_PATH" not in os.environ
    assert "PYTHONPATH" not in os.environ


def test_the_package_carries_library_stubs_and_tool():
    names = set(os.listdir(PACKAGE))
    assert {"__init__.py", "_cli.py", "_deflash.pyi", "py.typed", LIBRARY,
            os.path.basename(TOOL)} <= names
    assert [n for n in names if n.startswith("_deflash.") and n != "_deflash.pyi"] == [
        "_deflash" + sysconfig.get_config_var("EXT_SUFFIX")]
    assert os.access(TOOL, os.X_OK)
    from deflash import _cli
    assert _cli.tool_path() == TOOL


@pytest.mark.skipif(not sys.platform.startswith("linux"), reason="reads /proc/self/maps")
def test_the_extension_loads_the_library_beside_it():
    with open("/proc/self/maps") as f:
        loaded = {line.split()[-1] for line in f if "libdeflash" in line}
    assert loaded == {os.path.join(PACKAGE, LIBRARY)}


def test_the_version_metadata_is_the_projects():
    with open(os.path.join(SOURCE, "CMakeLists.txt")) as f:
        project = re.search(r"^project\(deflash VERSION ([0-9.]+)", f.read(), re.MULTILINE)
    assert importlib.metadata.version("deflash") == project.group(1)
    assert deflash.version() == project.group(1)


def test_the_command_is_the_entry_point_pip_made():
    command = os.environ["DEFLASH_CLI"]
    assert os.path.dirname(command) == os.path.dirname(sys.executable)
    with open(command) as f:
        assert f.readline() == f"#!{sys.executable}\n"
        assert "from deflash._cli import main\n" in f.read()


def runs(executable, args, cwd):
    """stdout, stderr and exit code of a run whose argv[0] is the installed
    command, whichever program runs."""
    run = subprocess.run([os.environ["DEFLASH_CLI"], *args], executable=executable, cwd=cwd,
                         capture_output=True)
    return run.stdout, run.stderr, run.returncode


def calib_args():
    return ["calib", "--calibration", os.path.join(MODULE, "calibration.json"),
            "--config", os.path.join(MODULE, "calib_close.ini"),
            "--config", os.path.join(MODULE, "calib_long.ini"),
            "--timestamp", "1700000000", "--out", "calib.bin", "--raw-out", "raw.bin"]


COMMANDS = {
    "version": ["version"],
    "no-arguments": [],
    "help": ["--help"],
    "calib-help": ["calib", "--help"],
    "unknown-command": ["frobnicate"],
    "missing-option": ["calib"],
    "missing-file": ["inspect", "missing.bin"],
    "calib": None,  # calib_args(): paths of this checkout
}


def tools_to_compare():
    """The native tool in the package, and the build tree's when given."""
    tools = [pytest.param(TOOL, id="packaged-tool")]
    reference = os.environ.get("DEFLASH_REFERENCE_CLI")
    tools.append(pytest.param(reference, id="build-tree-tool", marks=pytest.mark.skipif(
        not reference, reason="DEFLASH_REFERENCE_CLI names no build tree's tool")))
    return tools


@pytest.mark.parametrize("name", COMMANDS)
@pytest.mark.parametrize("native", tools_to_compare())
def test_the_command_prints_and_exits_as_the_tool(tmp_path, name, native):
    args = calib_args() if COMMANDS[name] is None else COMMANDS[name]
    (tmp_path / "command").mkdir()
    (tmp_path / "tool").mkdir()
    command = runs(os.environ["DEFLASH_CLI"], args, tmp_path / "command")
    assert command == runs(native, args, tmp_path / "tool")
    assert (sorted(os.listdir(tmp_path / "command"))
            == sorted(os.listdir(tmp_path / "tool")))
    for written in os.listdir(tmp_path / "command"):
        command_bytes = (tmp_path / "command" / written).read_bytes()
        tool_bytes = (tmp_path / "tool" / written).read_bytes()
        if written == "raw.bin":
            # The raw section carries the time it was written, whatever
            # --timestamp says: two runs a second apart differ in its time
            # stamp and CRC only.
            command_bytes = command_bytes[:4] + bytes(4) + command_bytes[8:20] + bytes(4) + command_bytes[24:]
            tool_bytes = tool_bytes[:4] + bytes(4) + tool_bytes[8:20] + bytes(4) + tool_bytes[24:]
        assert command_bytes == tool_bytes
    out, err, code = command
    if name == "version":
        assert (out, err, code) == (deflash.version().encode() + b"\n", b"", 0)
    elif name == "calib":
        assert (out, err, code) == (b"wrote calib.bin (20480 bytes)\nwrote raw.bin (16384 bytes)\n",
                                    b"", 0)
    elif name in ("help", "calib-help"):
        # The tool names itself by argv[0]: the installed command's path.
        assert code == 0
        assert f"Usage: {os.environ['DEFLASH_CLI']}".encode() in out
    else:
        assert code != 0
        assert (err if name != "no-arguments" else out).startswith(b"deflash")
