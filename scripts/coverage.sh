#!/usr/bin/env bash
# Line coverage of the service library by the whole test suite: a --coverage build in
# build/coverage, every test run once, then gcovr (Debian's) over the library's folders.
# Usage: scripts/coverage.sh [--no-build]   (--no-build: only summarise the last run)
set -euo pipefail
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR="$(pwd)"
if ! command -v gcovr >/dev/null; then
    echo "coverage: gcovr is not installed (apt-get install gcovr)" >&2
    exit 2
fi
build=1
if [ "${1:-}" = "--no-build" ]; then
    build=0
    shift
fi
if [ "$build" = 1 ]; then
    cmake --preset coverage
    cmake --build --preset coverage -j "$(nproc)"
    find build/coverage -name '*.gcda' -delete
    # A failing test still leaves its counts; the figure is only meaningful on a green suite.
    ctest --preset coverage -j "$(nproc)" || echo "coverage: some tests failed" >&2
fi
# The library is libvlrksservice: common/ and the six subsystem folders. Platform stand-ins,
# the interface glue, host programs, tests and generated code are not counted.
gcovr --root . --object-directory build/coverage \
    --filter 'common/' --filter 'model/' --filter 'tuning/' --filter 'store/' \
    --filter 'context/' --filter 'effect/' --filter 'service/' \
    --exclude 'build/' --exclude 'tests/' \
    --gcov-ignore-parse-errors --print-summary --txt build/coverage/coverage.txt \
    | sed -n '/^lines:/p;/^functions:/p;/^branches:/p'
