"""The `deflash` command of the pip package: runs the native tool that lies in
the package folder with the same arguments, so its output and exit code are
the tool's own."""

import os
import subprocess
import sys

#: The native tool's file name beside this module.
TOOL_NAME = "deflash.exe" if os.name == "nt" else "deflash"


def tool_path() -> str:
    """The native tool inside the installed package."""
    return os.path.join(os.path.dirname(os.path.abspath(__file__)), TOOL_NAME)


def main() -> int:
    tool = tool_path()
    if os.name == "nt":
        # exec on Windows starts a new process and ends this one at once, so
        # the console would neither wait for the tool nor see its exit code.
        return subprocess.call([tool] + sys.argv[1:])
    # The process becomes the tool: its standard streams, signals and exit
    # code. argv[0] stays the command's path, as if the tool itself had been
    # run from there (it names it in --help).
    try:
        os.execv(tool, [sys.argv[0]] + sys.argv[1:])
    except OSError as e:
        sys.stderr.write(f"deflash: cannot run {tool} ({e.strerror})\n")
    return 1
