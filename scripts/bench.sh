#!/usr/bin/env bash
# Builds the benchmarks with release flags (RelWithDebInfo, in build-bench/) and runs them.
#
# Usage: scripts/bench.sh [--brief] [--summary FILE] [--instructions] [--build DIR]
#                         [-- BENCH_ARGS...]
#   (none)           every benchmark, measured properly (about 90 s); ends with the table of
#                    figures, floors and ratios that docs/performance.md quotes
#   --brief          every benchmark a few times only, to prove they all still run (CI)
#   --summary FILE   also write that table (markdown) to FILE
#   --instructions   instead of timing, count the instructions of each start-up and of its
#                    floor under valgrind's callgrind: one call each, free of the machine's
#                    noise (needs valgrind; takes a few minutes)
#   --build DIR      use the configured build folder DIR instead (CI passes the default
#                    preset's build/default, which the tests have just built)
#   BENCH_ARGS       passed to velora_bench, e.g. --benchmark_filter=write
#
# Measure on a quiet machine: the figures are wall-clock times, and their floors are measured
# in the same run so that the ratios stay meaningful when the absolute times move.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-bench
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
        --build) build="$2"; shift ;;
        --build=*) build="${1#--build=}" ;;
        --) shift; extra=("$@"); break ;;
        *) extra+=("$1") ;;
    esac
    shift
done

bash scripts/install-deps.sh
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELORA_BUILD_TESTS=OFF \
        -DVELORA_BUILD_BENCH=ON >/dev/null
fi
cmake --build "$build" --target velora_bench -j "$(nproc)"
bench="$build/bench/velora_bench"

if [ "$instructions" -eq 0 ]; then
    exec "$bench" "${brief[@]}" "${summary[@]}" "${extra[@]}"
fi

command -v valgrind >/dev/null || { echo "--instructions needs valgrind" >&2; exit 1; }
count() {  # count FILTER FUNCTION: the instructions of FUNCTION in the one measured call
    local out
    out=$(mktemp)
    valgrind --tool=callgrind --callgrind-out-file="$out" --toggle-collect="*$2*" \
        "$bench" --once --benchmark_filter="$1" >/dev/null 2>&1
    callgrind_annotate "$out" 2>/dev/null | awk '/PROGRAM TOTALS/ {gsub(",", "", $1); print $1}'
    rm -f "$out"
}
row() {  # row LABEL FILTER FUNCTION FLOOR_FILTER FLOOR_FUNCTION
    local figure floor
    figure=$(count "$2" "$3")
    floor=$(count "$4" "$5")
    awk -v l="$1" -v f="$figure" -v b="$floor" 'BEGIN {
        printf "| %s | %.2f M | %.2f M | %.2f× |\n", l, f / 1e6, b / 1e6, f / b }'
}
printf '| Figure | Instructions | Floor | Ratio |\n|---|---|---|---|\n'
for scale in 1 4 16; do
    row "Cold start, ${scale}x" "^cold_start/x${scale}/" start_settings_system \
        "^cold_start_floor/x${scale}/" first_start_floor
done
for scale in 1 4 16; do
    row "Warm start, ${scale}x" "^warm_start/x${scale}/" start_settings_system \
        "^warm_start_floor/x${scale}/" start_again_floor
done
for scale in 1 16; do
    row "Save, ${scale}x" "^save/x${scale}/" KsManager::saveKsStateAndSettings \
        "^save_floor/x${scale}/" RawDatabase::rewrite
done
# A client write: what the event loop spends per write in a burst of 1000 (the service's own
# start-up messages, counted alone through a benchmark that only starts it, taken off), beside
# the floor's worker thread per buffer (1000 and the one that opens the store).
burst=$(count "^write_sustained/clients:1/" EventHandler::onMessageReceived)
setup=$(count "^get/command:0/" EventHandler::onMessageReceived)
floor=$(count "^write_sustained_floor/" HandOff::run)
awk -v f="$burst" -v s="$setup" -v b="$floor" 'BEGIN {
    w = (f - s) / 1000; h = b / 1001
    printf "| Client write, 1 client (per write) | %.1f k | %.1f k | %.2f× |\n", w / 1e3, h / 1e3, w / h }'
