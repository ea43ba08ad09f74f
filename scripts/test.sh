#!/usr/bin/env bash
# Builds everything and runs every test (unit and end-to-end) on the normal build.
# Usage: scripts/test.sh [preset]   (default, asan or tsan)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"
# Compiler cache entries keyed relative to the checkout, so another clone reuses them.
export CCACHE_BASEDIR="$(pwd)"

bash scripts/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset" -j "$(nproc)"
ctest --preset "$preset" -j "$(nproc)"
