#!/usr/bin/env bash
# Builds the benchmarks with release flags (RelWithDebInfo, in build-bench/) and runs them.
#
# Usage: scripts/bench.sh [--brief] [--summary FILE] [--instructions] [-- BENCH_ARGS...]
#   (none)           every benchmark, measured properly (a few minutes); ends with the table of
#                    figures, floors and ratios that docs/performance.md quotes
#   --brief          every benchmark a few times only, to prove they all still run (CI)
#   --summary FILE   also write that table (markdown) to FILE
#   --instructions   instead of timing, count the instructions of each start-up and of its
#                    floor under valgrind's callgrind: one call each, free of the machine's
#                    noise (needs valgrind; takes a few minutes)
#   BENCH_ARGS       passed to velora_bench, e.g. --benchmark_filter=write
#
# Measure on a quiet machine: the figures are wall-clock times, and their floors are measured
# in the same run so that the ratios stay meaningful when the absolute times move.
set -euo pipefail
cd "$(dirname "$0")/.."

brief=()
summary=()
instructions=0
extra=()
while [ $# -gt 0 ]; do
    case "$1" in
        --brief) brief=(--brief) ;;
        --summary) summary=("--summary=$2"); shift ;;
        --summary=*) summary=("$1") ;;
        --instructions) instructions=1 ;;
        --) shift; extra=("$@"); break ;;
        *) extra+=("$1") ;;
    esac
    shift
done

build=build-bench
bash scripts/install-deps.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELORA_BUILD_TESTS=OFF \
    -DVELORA_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --target velora_bench -j "$(nproc)"
bench="$build/bench/velora_bench"

if [ "$instructions" -eq 0 ]; then
    exec "$bench" "${brief[@]}" "${summary[@]}" "${extra[@]}"
fi

command -v valgrind >/dev/null || { echo "--instructions needs valgrind" >&2; exit 1; }
# Under valgrind every measured call takes longer than a brief run's minimum time, so each
# benchmark makes exactly one call of the function that holds its measured work.
count() {  # count FILTER FUNCTION: the instructions of one call of FUNCTION
    local out log total iterations
    out=$(mktemp)
    log=$(mktemp)
    valgrind --tool=callgrind --callgrind-out-file="$out" --toggle-collect="*$2*" \
        "$bench" --brief --benchmark_filter="$1" >"$log" 2>/dev/null
    total=$(callgrind_annotate "$out" 2>/dev/null | awk '/PROGRAM TOTALS/ {gsub(",", "", $1); print $1}')
    iterations=$(awk '$1 ~ /manual_time$/ {print $6}' "$log" | head -1)
    rm -f "$out" "$log"
    if [ "$iterations" != 1 ]; then
        echo "$1 ran $iterations iterations under valgrind, expected 1" >&2
        exit 1
    fi
    echo "$total"
}
printf '| Figure | Instructions | Floor | Ratio |\n|---|---|---|---|\n'
for scale in 1 4 16; do
    for kind in cold warm; do
        if [ "$kind" = cold ]; then floorfn=first_start_floor; else floorfn=start_again_floor; fi
        figure=$(count "^${kind}_start/x${scale}/" start_settings_system)
        floor=$(count "^${kind}_start_floor/x${scale}/" "$floorfn")
        awk -v k="$kind" -v s="$scale" -v f="$figure" -v b="$floor" 'BEGIN {
            printf "| %s start, %dx | %.1f M | %.1f M | %.2f× |\n", k, s, f / 1e6, b / 1e6, f / b }'
    done
done
