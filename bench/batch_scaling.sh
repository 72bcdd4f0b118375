#!/usr/bin/env bash
# Times `deflash batch` on generated module folders with 1 and 2 worker
# processes and prints modules per second and the ratio of the two.
# Usage: bench/batch_scaling.sh [DEFLASH] [MODULES] [RUNS]
#   DEFLASH  the built tool (default build/release/tools/deflash)
#   MODULES  module folders to generate (default 200)
#   RUNS     runs per worker count; the fastest counts (default 3)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
deflash=${1:-$root/build/release/tools/deflash}
count=${2:-200}
runs=${3:-3}
example=$root/examples/module

if [[ ! -x $deflash ]]; then
  echo "batch_scaling: $deflash: no such tool (build the deflash_cli target)" >&2
  exit 2
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The example module's configuration files are shared by every module; each
# module folder gets the example calibration with its left principal point
# moved by a hundredth of a pixel per module, and a serial number of its own.
modules=$work/modules
mkdir -p "$modules"
cp "$example"/calib_close.ini "$example"/calib_long.ini "$example"/dpu_close.ini \
  "$example"/dpu_long.ini "$example"/d2c.ini "$example"/ir_pre.ini "$modules"/
for ((i = 1; i <= count; i++)); do
  name=$(printf 'module%04d' "$i")
  mkdir "$modules/$name"
  cx=$(awk -v i="$i" 'BEGIN { printf "%.2f", 641.37 + (i % 100) / 100 }')
  sed "0,/\"cx\": 641.37/s//\"cx\": $cx/" "$example/calibration.json" \
    >"$modules/$name/calibration.json"
  printf '%016X,%016X,%016X\n' "$i" $((i * 7919)) $((0x0123456789AB0000 + i)) \
    >"$modules/$name/serial.txt"
done

rate_of() {
  python3 -c 'import json, sys; r = json.load(open(sys.argv[1])); print(r["modules_per_second"], r["failed"])' "$1"
}

# The machine may be shared: runs of the two worker counts alternate, so a
# change in the load hits both, and the fastest run of each counts.
echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg 2>/dev/null || echo unknown)"
best=(0 0 0)
for ((run = 1; run <= runs; run++)); do
  for jobs in 1 2; do
    rm -rf "$work/out$jobs"
    # CPU time of the batch and every worker it waited for.
    TIMEFORMAT='%U %S'
    { time "$deflash" batch "$modules" --out-dir "$work/out$jobs" --jobs "$jobs" \
      --timestamp 1700000000 --report "$work/report$jobs.json" >/dev/null 2>"$work/err"; } \
      2>"$work/cpu"
    read -r rate failed < <(rate_of "$work/report$jobs.json")
    if [[ $failed != 0 ]]; then
      cat "$work/err" >&2
      echo "batch_scaling: $failed modules failed with --jobs $jobs" >&2
      exit 1
    fi
    cpu_ms=$(awk -v n="$count" '{ printf "%.1f", ($1 + $2) * 1000 / n }' "$work/cpu")
    printf 'run %d, --jobs %d: %.1f modules/s, %s ms CPU per module\n' "$run" "$jobs" "$rate" \
      "$cpu_ms"
    best[jobs]=$(awk -v a="${best[jobs]}" -v b="$rate" 'BEGIN { print (b > a ? b : a) }')
  done
done
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg 2>/dev/null || echo unknown)"

if ! diff -r "$work/out1" "$work/out2" >/dev/null; then
  echo "batch_scaling: --jobs 1 and --jobs 2 wrote different files" >&2
  exit 1
fi
printf '%d modules, fastest of %d runs: --jobs 1 %.1f modules/s, --jobs 2 %.1f modules/s, ratio %.2fx (outputs identical)\n' \
  "$count" "$runs" "${best[1]}" "${best[2]}" \
  "$(awk -v a="${best[1]}" -v b="${best[2]}" 'BEGIN { print b / a }')"
