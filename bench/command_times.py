#!/usr/bin/env python3
"""Times every deflash command on the example module as a user runs it, whole process.

Usage: bench/command_times.py TOOL OUT.json [--wine WINE64] [--runs N]
Runs from the source tree's root with hyperfine (no shell between it and the tool),
each command --runs times after warm-up runs, and writes their wall and CPU times
for bench/report.py. With --wine the tool is a Windows .exe started through WINE64,
and two floors are timed as well: Wine starting `cmd /c exit`, and the tool's own
`version`. Commands the tool was built without (rectify-check and calib-json need
libpng, yaml-cpp and pugixml) are left out.
"""

import argparse
import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile

MODULE = "examples/module"


def commands(out):
    """(name, arguments) of every command, in the order a user meets them."""
    m = MODULE
    calib = ["--calibration", f"{m}/calibration.json", "--config", f"{m}/calib_close.ini",
             "--config", f"{m}/calib_long.ini"]
    return [
        ("version", ["version"]),
        ("version --verbose", ["version", "--verbose"]),
        ("check-config (2 calibration, 2 DPU files)",
         ["check-config", f"{m}/calib_close.ini", f"{m}/calib_long.ini", f"{m}/dpu_close.ini",
          f"{m}/dpu_long.ini"]),
        ("calib (2 modes, raw image too)",
         ["calib", *calib, "--timestamp", "1700000000", "--sn",
          "0011223344556677,8899AABBCCDDEEFF,0123456789ABCDEF", "--out", f"{out}/calib.bin",
          "--raw-out", f"{out}/raw_calib.bin", "--force"]),
        ("startrow (2 modes)", ["startrow", *calib, "--out", f"{out}/startrow.bin", "--force"]),
        ("deconfig", ["deconfig", "--dpu", f"{m}/dpu_close.ini", "--dpu", f"{m}/dpu_long.ini",
                      "--d2c", f"{m}/d2c.ini", "--ir-pre", f"{m}/ir_pre.ini", "--out",
                      f"{out}/deconfig.bin", "--force"]),
        ("inspect calib.bin", ["inspect", f"{out}/calib.bin"]),
        ("inspect --json calib.bin", ["inspect", "--json", f"{out}/calib.bin"]),
        ("diff calib.bin (two time stamps)", ["diff", f"{out}/calib.bin", f"{out}/calib_b.bin"]),
        ("update-baseline", ["update-baseline", f"{out}/calib.bin", "--baseline", "-50.5", "--out",
                             f"{out}/updated.bin", "--force"]),
        ("rectify-check (left, right, depth)",
         ["rectify-check", "--calibration", f"{m}/calibration.json", "--config",
          f"{m}/calib_close.ini", "--left", f"{m}/scene_left.png", "--right",
          f"{m}/scene_right.png", "--depth", f"{m}/scene_depth.png", "--out-dir", out,
          "--force"]),
        ("calib-json (Kalibr camera chain)",
         ["calib-json", "--from", "kalibr", "examples/kalibr/camchain.yaml", "--temperatures",
          "35.2,35.6,38.1", "--out", f"{out}/module.json"]),
        ("batch (the example module, 1 worker)",
         ["batch", f"{out}/lot", "--out-dir", f"{out}/lot_out", "--jobs", "1", "--timestamp",
          "1700000000", "--force"]),
    ]


def run(prefix, args, check=True):
    return subprocess.run(prefix + args, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          text=True, check=check)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("tool")
    parser.add_argument("output")
    parser.add_argument("--wine")
    parser.add_argument("--runs", type=int, default=20)
    args = parser.parse_args()
    if not shutil.which("hyperfine"):
        print("bench/command_times.py: hyperfine is missing (scripts/install-deps.sh)",
              file=sys.stderr)
        return 2
    os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
    prefix = [args.wine, args.tool] if args.wine else [args.tool]
    out = tempfile.mkdtemp(prefix="deflash-commands-", dir=".")
    out = os.path.relpath(out)
    try:
        # What inspect, diff, update-baseline and batch read.
        lot = os.path.join(out, "lot", "example")
        os.makedirs(lot)
        for name in ["calibration.json", "calib_close.ini", "calib_long.ini", "dpu_close.ini",
                     "dpu_long.ini", "d2c.ini", "ir_pre.ini"]:
            shutil.copy(os.path.join(MODULE, name), lot)
        table = commands(out)
        run(prefix, table[3][1])
        b = [a if a != "1700000000" else "1700000001" for a in table[3][1]]
        run(prefix, [a.replace("/calib.bin", "/calib_b.bin") for a in b])

        timed = []
        if args.wine:
            timed.append(("Wine floor: `cmd /c exit`", [args.wine, "cmd", "/c", "exit"], 0))
        for name, command in table:
            probe = run(prefix, command, check=False)
            # diff says "the files differ" with exit code 1.
            expected = 1 if command[0] == "diff" else 0
            if probe.returncode != expected:
                if any(text in probe.stderr for text in
                       ("unknown command", "built without", "was not expected")):
                    print(f"  {name}: not in this build, left out")
                    continue
                print(f"  {name}: exit {probe.returncode}: {probe.stderr.strip()}",
                      file=sys.stderr)
                return 1
            timed.append((name, prefix + command, expected))

        results = []
        for name, command, expected in timed:
            export = os.path.join(out, "hyperfine.json")
            ignore = ["--ignore-failure"] if expected else []
            subprocess.run(["hyperfine", "--style", "none", "-N", *ignore, "--warmup", "3",
                            "--runs", str(args.runs), "--export-json", export, "--",
                            shlex.join(command)], check=True,
                           stdout=subprocess.DEVNULL)
            with open(export, encoding="utf-8") as f:
                result = json.load(f)["results"][0]
            times = sorted(result["times"])
            entry = {"name": name, "median_ms": result["median"] * 1e3,
                     "min_ms": times[0] * 1e3, "mean_ms": result["mean"] * 1e3,
                     "cpu_ms": (result["user"] + result["system"]) * 1e3,
                     "runs": len(times)}
            print(f"  {name}: median {entry['median_ms']:.1f} ms, fastest "
                  f"{entry['min_ms']:.1f} ms, CPU {entry['cpu_ms']:.1f} ms")
            results.append(entry)
        load = [round(x, 2) for x in os.getloadavg()]
        with open(args.output, "w", encoding="utf-8") as f:
            json.dump({"wine": bool(args.wine), "load_avg": load, "commands": results}, f,
                      indent=1)
    finally:
        shutil.rmtree(out, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
