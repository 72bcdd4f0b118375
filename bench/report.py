#!/usr/bin/env python3
"""Turns deflash_bench's JSON output into the ratios against OpenCV and docs/performance.md.

Usage: bench/report.py RESULTS.json OUTPUT.md --compiler TEXT --commit TEXT [--command TEXT]
           [--wine-results WINE.json --wine-compiler TEXT] [--commands LINUX.json]
           [--wine-commands WINE.json]
Figures are the medians of the repetitions; ratios and targets use CPU time, which
other processes on a shared machine disturb less than wall time. The Wine results are
the same benchmarks built for Windows (bench/stand_in/ in place of Google Benchmark);
the command files come from bench/command_times.py.
"""

import argparse
import datetime
import json
import platform
import re
import sys

# (what, deflash benchmark, OpenCV benchmark, target ratio or None)
COMPARISONS = [
    ("Start-row table, scalar", "BM_StartRows/scalar", "BM_OpenCvRectifyMap", None),
    ("Start-row table, SSE2", "BM_StartRows/sse2", "BM_OpenCvRectifyMap", None),
    ("Start-row table, AVX2", "BM_StartRows/avx2", "BM_OpenCvRectifyMap", 1.0),
    ("Start-row table, AVX-512", "BM_StartRows/avx512", "BM_OpenCvRectifyMap", None),
    ("Start-row table, path the library chooses", "BM_StartRowsExport", "BM_OpenCvRectifyMap", 0.7),
    ("Debug check, scalar", "BM_CalibDebugRectify/scalar", "BM_OpenCvRectifyRemap8Bit", None),
    ("Debug check, AVX2", "BM_CalibDebugRectify/avx2", "BM_OpenCvRectifyRemap8Bit", None),
    ("Debug check, AVX-512", "BM_CalibDebugRectify/avx512", "BM_OpenCvRectifyRemap8Bit", None),
    ("Debug check, one 8-bit IR image, as exported", "BM_CalibDebugCheck8Bit",
     "BM_OpenCvRectifyRemap8Bit", 1.0),
]

# (what, benchmark, limit in milliseconds)
ABSOLUTE_TARGETS = [
    ("Calibration image of the example module (two configurations)",
     "BM_CalibImageExampleModule", 10.0),
    ("Row error of the example scene's rectified pair (1280x800)",
     "BM_RowErrorExampleScene", 50.0),
]

DESCRIPTIONS = {
    "BM_StartRows/scalar": "start-row table, 1280x800, plain one-column loop",
    "BM_StartRows/sse2": "start-row table, 1280x800, SSE2 walk (2 columns per vector)",
    "BM_StartRows/avx2": "start-row table, 1280x800, AVX2 walk (4 columns per vector)",
    "BM_StartRows/avx512": "start-row table, 1280x800, AVX-512 walk (8 columns per vector)",
    "BM_StartRowsExport": "`calc_start_rows_lut` as exported (path chosen at run time)",
    "BM_OpenCvRectifyMap": "OpenCV `initUndistortRectifyMap`, same camera, CV_32FC1, 1 thread",
    "BM_CalibDebugCheck8Bit": "`check_soc_calib_debug`, left 8-bit IR image of the example module"
    " (path chosen at run time)",
    "BM_CalibDebugRectify/scalar": "debug-check rectification, same image, plain pixel loop",
    "BM_CalibDebugRectify/avx2": "debug-check rectification, same image, AVX2 walk (8 pixels)",
    "BM_CalibDebugRectify/avx512":
        "debug-check rectification, same image, AVX-512 walk (16 pixels)",
    "BM_OpenCvRectifyRemap8Bit":
        "OpenCV `initUndistortRectifyMap` + `remap` INTER_LINEAR, same record, 1 thread",
    "BM_CalibImageExampleModule":
        "`gen_soc_calib_flash_param_de`, example module, close and long range",
    "BM_StartRowImageExampleModule":
        "`gen_soc_start_row_param_de`, example module, close and long range",
    "BM_DepthEngineImageExampleModule":
        "depth-engine image in memory: dpu_close, dpu_long, d2c, ir_pre",
    "BM_IniLoad2000Keys": "INI document of 2,000 keys read from a file",
    "BM_IniDecode2000Keys": "the same INI document decoded from text in memory",
    "BM_RowErrorExampleScene":
        "rectify-check's row-error measurement, example scene rectified, 1280x800 pair",
}


# Benchmarks compared between Linux and Windows under Wine: (benchmark, what it
# stands for). "vector": what a Windows host runs, held to the tolerance; "plain
# loop": there for completeness, Windows hosts run the vector paths; "file
# layer": opens files on every iteration, which under Wine goes through its
# server, so it measures Wine more than the library; "heap": a string allocated
# per key and value, which under Wine goes through its heap.
WINE_COMPARED = [
    ("BM_StartRows/scalar", "plain loop"), ("BM_StartRows/sse2", "plain loop"),
    ("BM_StartRows/avx2", "vector"), ("BM_StartRows/avx512", "vector"),
    ("BM_StartRowsExport", "vector"),
    ("BM_CalibDebugRectify/scalar", "plain loop"), ("BM_CalibDebugRectify/avx2", "vector"),
    ("BM_CalibDebugRectify/avx512", "vector"), ("BM_CalibDebugCheck8Bit", "vector"),
    ("BM_CalibImageExampleModule", "vector"), ("BM_StartRowImageExampleModule", "vector"),
    ("BM_IniDecode2000Keys", "heap"),
    ("BM_DepthEngineImageExampleModule", "file layer"), ("BM_IniLoad2000Keys", "file layer"),
]
WINE_TOLERANCE = 0.15

# Whole commands: at most this much wall time each on Linux, and rectify-check at
# most this many times calib's.
COMMAND_LIMIT_MS = 100.0
RECTIFY_CHECK_OVER_CALIB = 6.0
CALIB_COMMAND = "calib (2 modes, raw image too)"
RECTIFY_CHECK_COMMAND = "rectify-check (left, right, depth)"


def wine_section(figures, wine, wine_compiler):
    """Linux against Windows under Wine, benchmark by benchmark."""
    wine_figures, wine_errors = medians(wine)
    context = wine.get("context", {})
    rows = []
    print("Windows under Wine (Wine / Linux, median CPU time):")
    for name, kind in WINE_COMPARED:
        if name not in figures or name not in wine_figures:
            reason = wine_errors.get(name, "not measured")
            rows.append(f"| `{name}` | – | – | – | {reason} |")
            continue
        linux_cpu = figures[name]["cpu"]
        wine_cpu = wine_figures[name]["cpu"]
        ratio = wine_cpu / linux_cpu
        within = abs(ratio - 1) <= WINE_TOLERANCE
        if kind == "vector":
            verdict = f"within {WINE_TOLERANCE:.0%}: {'yes' if within else 'NO'}"
        else:
            verdict = f"{kind}, {'within' if within else 'outside'} {WINE_TOLERANCE:.0%}"
        print(f"  {name}: {ratio:.2f}x")
        rows.append(f"| `{name}` | {linux_cpu:.2f} | {wine_cpu:.2f} | "
                    f"{wine_figures[name]['real']:.2f} | {ratio:.2f}x | {verdict} |")
    return f"""
## Windows under Wine

The same benchmarks built for Windows (`deflash_bench.exe`, MinGW-w64, the
Google Benchmark stand-in of `bench/stand_in/`) and run under Wine on the same
machine, against the Linux figures above. CPU time: Wine's process times
are coarse (whole clock ticks), so each figure is at least a second of runs. The
depth-engine image and the INI load open files on every iteration, and under
Wine each open goes through the Wine server: those two ("file layer") measure
Wine's file layer more than the library. The INI parser, in memory, allocates a
string for every key and value ("heap"): a program that only fills maps with
2,000 such strings takes 276 µs on Linux and 712 µs under Wine (2.6x), about
the parser's own ratio. The plain loops are there for completeness: Windows
hosts run the vector paths.

| | |
|---|---|
| Compiler | {wine_compiler} |
| Vector path chosen in deflash.dll | {context.get('deflash_start_rows_path', 'unknown')} |

| Benchmark | Linux CPU (ms) | Wine CPU (ms) | Wine wall (ms) | Wine / Linux | Verdict |
|---|---:|---:|---:|---:|---|
{chr(10).join(rows)}
"""


def command_section(linux, wine):
    """Whole-command wall times on the example module."""
    by_name = {c["name"]: c for c in linux["commands"]}
    wine_by_name = {c["name"]: c for c in wine["commands"]} if wine else {}
    names = [c["name"] for c in (wine["commands"] if wine else []) if c["name"] not in by_name]
    names += [c["name"] for c in linux["commands"]]
    rows = []
    print("Whole commands (median wall time):")
    for name in names:
        ours = by_name.get(name)
        theirs = wine_by_name.get(name)
        cells = []
        for figure in (ours, theirs):
            cells += ([f"{figure['median_ms']:.1f}", f"{figure['min_ms']:.1f}",
                       f"{figure['cpu_ms']:.1f}"] if figure else ["–", "–", "–"])
        verdict = "–"
        if ours:
            verdict = (f"< {COMMAND_LIMIT_MS:.0f} ms: "
                       f"{'reached' if ours['median_ms'] < COMMAND_LIMIT_MS else 'NOT reached'}")
            print(f"  {name}: {ours['median_ms']:.1f} ms")
        rows.append(f"| {name} | {' | '.join(cells)} | {verdict} |")
    ratio_text = ""
    if CALIB_COMMAND in by_name and RECTIFY_CHECK_COMMAND in by_name:
        ratio = by_name[RECTIFY_CHECK_COMMAND]["median_ms"] / by_name[CALIB_COMMAND]["median_ms"]
        reached = "reached" if ratio <= RECTIFY_CHECK_OVER_CALIB else "NOT reached"
        ratio_text = (f"\n`rectify-check` took {ratio:.1f}x the wall time of `calib` "
                      f"(medians of the same run; target ≤ {RECTIFY_CHECK_OVER_CALIB:.0f}x: "
                      f"{reached}).\n")
        print(f"  rectify-check / calib: {ratio:.1f}x")
    load = ", ".join(str(x) for x in linux.get("load_avg", [])) or "unknown"
    wine_load = ", ".join(str(x) for x in wine.get("load_avg", [])) if wine else "–"
    return f"""
## Whole commands

Each command of the tool on the example module as a user runs it, the whole
process from start to exit, timed by `bench/command_times.py` with hyperfine (no
shell in between; warm-up runs first, then {linux['commands'][0]['runs']} runs). Median and fastest wall
time and the mean CPU time (user and system) in milliseconds; the Release build.
Under Wine every process also pays Wine's own start (the floor row: Wine starting
`cmd /c exit` with its server already running); the Windows build has no PNG or YAML
libraries, so no `rectify-check` or `calib-json` there. Load average when the
timings ended: {load} (Linux), {wine_load} (Wine).

| Command | Linux median | Linux fastest | Linux CPU | Wine median | Wine fastest | Wine CPU | Target (Linux median) |
|---|---:|---:|---:|---:|---:|---:|---|
{chr(10).join(rows)}
{ratio_text}"""


# Sections of docs/performance.md that other scripts write; a new report keeps them.
KEPT_SECTIONS = ["Batch generation"]  # bench/batch_scaling.sh --write-docs


def kept_sections(path):
    """The KEPT_SECTIONS of the existing report, each up to the next second-level heading."""
    try:
        with open(path, encoding="utf-8") as f:
            old = f.read()
    except FileNotFoundError:
        return ""
    kept = ""
    for title in KEPT_SECTIONS:
        match = re.search(rf"^## {re.escape(title)}\n.*?(?=^## |\Z)", old, re.S | re.M)
        if match:
            kept += "\n" + match.group(0).rstrip("\n") + "\n"
    return kept


def to_ms(value, unit):
    return value * {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}[unit]


def medians(results):
    """Median CPU and wall time (ms) per benchmark, and benchmarks that reported an error."""
    figures = {}
    errors = {}
    for run in results["benchmarks"]:
        name = run.get("run_name", run["name"])
        if run.get("error_occurred"):
            errors[name] = run.get("error_message", "error")
            continue
        aggregate = run.get("aggregate_name")
        if aggregate not in (None, "median"):
            continue
        if aggregate is None and name in figures:
            continue  # a single run without repetitions: keep the first
        figures[name] = {
            "cpu": to_ms(run["cpu_time"], run["time_unit"]),
            "real": to_ms(run["real_time"], run["time_unit"]),
        }
    return figures, errors


def cpu_model():
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as cpuinfo:
            lines = cpuinfo.read().splitlines()
    except OSError:
        return platform.processor() or "unknown", ""
    model = next((l.split(":", 1)[1].strip() for l in lines if l.startswith("model name")),
                 "unknown")
    flags = next((l.split(":", 1)[1].split() for l in lines if l.startswith("flags")), [])
    wanted = ["sse2", "avx", "avx2", "fma", "avx512f", "avx512dq", "avx512vl"]
    return model, " ".join(f for f in wanted if f in flags)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("results")
    parser.add_argument("output")
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--commit", required=True)
    parser.add_argument("--command", default="bash bench/run.sh")
    parser.add_argument("--wine-results")
    parser.add_argument("--wine-compiler", default="unknown")
    parser.add_argument("--commands")
    parser.add_argument("--wine-commands")
    args = parser.parse_args()

    with open(args.results, encoding="utf-8") as f:
        results = json.load(f)
    figures, errors = medians(results)
    context = results.get("context", {})
    model, flags = cpu_model()

    comparison_rows = []
    print("OpenCV comparisons (deflash / OpenCV, median CPU time):")
    for what, ours, theirs, target in COMPARISONS:
        if ours not in figures or theirs not in figures:
            reason = errors.get(ours) or errors.get(theirs) or "not measured"
            print(f"  {what}: {reason}")
            comparison_rows.append(f"| {what} | – | – | – | {reason} |")
            continue
        ratio = figures[ours]["cpu"] / figures[theirs]["cpu"]
        verdict = "" if target is None else (
            f"≤ {target:.1f}x: {'reached' if ratio <= target else 'NOT reached'}")
        print(f"  {what}: {ratio:.2f}x {verdict}".rstrip())
        comparison_rows.append(
            f"| {what} | {figures[ours]['cpu']:.2f} | {figures[theirs]['cpu']:.2f} | "
            f"{ratio:.2f}x | {verdict or '–'} |")

    absolute_rows = []
    for what, name, limit in ABSOLUTE_TARGETS:
        if name not in figures:
            absolute_rows.append(f"| {what} | – | – | {errors.get(name, 'not measured')} |")
            continue
        cpu = figures[name]["cpu"]
        real = figures[name]["real"]
        verdict = f"< {limit:.0f} ms: {'reached' if cpu < limit else 'NOT reached'}"
        print(f"  {what}: {cpu:.2f} ms CPU ({real:.2f} ms wall) {verdict}")
        absolute_rows.append(f"| {what} | {cpu:.2f} | {real:.2f} | {verdict} |")

    all_rows = []
    for name, figure in figures.items():
        all_rows.append(f"| `{name}` | {DESCRIPTIONS.get(name, '')} | {figure['cpu']:.3f} | "
                        f"{figure['real']:.3f} |")
    for name, message in errors.items():
        all_rows.append(f"| `{name}` | {DESCRIPTIONS.get(name, '')} | {message} | |")

    load = context.get("load_avg", [])
    load_text = ", ".join(f"{x:.2f}" for x in load) if load else "unknown"
    today = datetime.date.today().isoformat()
    text = f"""# Performance

Written by `bench/run.sh` ({today}); run it again rather than editing this file.
Every figure is the median of the repetitions of one `deflash_bench` run, in
milliseconds. Ratios and targets use CPU time: the machine is shared, and wall
time also counts the time other processes held the core. OpenCV runs on one
thread, as the library does.

## Machine

| | |
|---|---|
| Processor | {model} ({context.get('num_cpus', '?')} logical cores, {context.get('mhz_per_cpu', '?')} MHz) |
| Vector features | {flags or 'unknown'} |
| Vector path chosen (start rows, debug check) | {context.get('deflash_start_rows_path', 'unknown')} |
| Compiler | {args.compiler} |
| Commit | {args.commit} |
| OpenCV | {context.get('opencv_version', 'unknown')} |
| Load average at start | {load_text} |
| Command | `{args.command}` |

## Against OpenCV

Ratio = deflash / OpenCV; below 1 deflash is faster.

| Comparison | deflash (ms) | OpenCV (ms) | Ratio | Target |
|---|---:|---:|---:|---|
{chr(10).join(comparison_rows)}

## Targets in milliseconds

| Operation | CPU (ms) | Wall (ms) | Target |
|---|---:|---:|---|
{chr(10).join(absolute_rows)}

## Every benchmark

| Benchmark | What | CPU (ms) | Wall (ms) |
|---|---|---:|---:|
{chr(10).join(all_rows)}
"""
    if args.wine_results:
        with open(args.wine_results, encoding="utf-8") as f:
            text += wine_section(figures, json.load(f), args.wine_compiler)
    if args.commands:
        with open(args.commands, encoding="utf-8") as f:
            linux_commands = json.load(f)
        wine_commands = None
        if args.wine_commands:
            with open(args.wine_commands, encoding="utf-8") as f:
                wine_commands = json.load(f)
        text += command_section(linux_commands, wine_commands)
    text += kept_sections(args.output)
    with open(args.output, "w", encoding="utf-8") as f:
        f.write(text)
    print(f"wrote {args.output}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
