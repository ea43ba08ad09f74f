#!/usr/bin/env bash
# Builds the libFuzzer targets (preset "fuzz", clang with ASan+UBSan) and runs each for SECONDS
# (default 60) on its committed seed corpus, memory and time per input bounded.
# Usage: scripts/fuzz.sh [SECONDS] [TARGET...]   (targets by name, e.g. tuning_file; default all)
# New inputs collect in build/fuzz/corpus/<target> and carry over to the next run; an input
# that crashes is written to build/fuzz/artifacts/<target>/ and the script ends with status 1.
# Keep such an input as fuzz/<target>_fuzzer/regressions/<name> once it is fixed: the normal
# build's ctest replays it from then on.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
shift || true
export CCACHE_BASEDIR="$(pwd)"

targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
    for dir in fuzz/*_fuzzer; do
        targets+=("$(basename "$dir" _fuzzer)")
    done
fi

bash scripts/install-deps.sh
cmake --preset fuzz
cmake --build --preset fuzz -j "$(nproc)"

build=build/fuzz
# ASan holds freed memory back (256 MiB by default) to catch late uses; a quarter of that still
# catches them and leaves the 512 MiB limit to measure what the service itself keeps.
export ASAN_OPTIONS="quarantine_size_mb=64${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
failed=()
for name in "${targets[@]}"; do
    binary="$build/fuzz/${name}_fuzzer"
    seeds="fuzz/${name}_fuzzer/corpus"
    corpus="$build/corpus/$name"
    artifacts="$build/artifacts/$name"
    log="$build/logs/$name.log"
    mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
    options=(-max_total_time="$seconds" -rss_limit_mb=512 -timeout=10 -print_final_stats=1
             -artifact_prefix="$artifacts/")
    if [ -f "fuzz/${name}_fuzzer/$name.dict" ]; then
        options+=(-dict="fuzz/${name}_fuzzer/$name.dict")
    fi
    echo "== $name: ${seconds}s"
    if "$binary" "${options[@]}" "$corpus" "$seeds" >"$log" 2>&1; then
        grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -1 || true
        grep -E '^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)' "$log" |
            tr '\n' ' '
        echo
    else
        echo "$name FAILED; the end of $log:"
        tail -40 "$log"
        failed+=("$name")
    fi
done

if [ "${#failed[@]}" -gt 0 ]; then
    echo "fuzz targets with findings: ${failed[*]} (inputs under $build/artifacts/)"
    exit 1
fi
