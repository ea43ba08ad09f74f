#!/usr/bin/env bash
# Fails when any C++ source of the project differs from what clang-format makes of it with
# the project's .clang-format, and names the files. Fix with: bash scripts/check-format.sh --fix
set -euo pipefail
cd "$(dirname "$0")/.."
clang_format="$(command -v clang-format-14 || command -v clang-format || true)"
if [ -z "$clang_format" ]; then
    echo "check-format: clang-format is not installed (apt-get install clang-format)" >&2
    exit 2
fi
mapfile -t files < <(git ls-files '*.cpp' '*.h' '*.cc')
if [ "${1:-}" = "--fix" ]; then
    "$clang_format" -i "${files[@]}"
    exit 0
fi
if ! "$clang_format" --dry-run --Werror "${files[@]}" 2>/tmp/check-format.$$; then
    grep -o '^[^:]*:' /tmp/check-format.$$ | sort -u | sed 's/:$//; s/^/unformatted: /' >&2
    rm -f /tmp/check-format.$$
    echo "check-format: run 'bash scripts/check-format.sh --fix'" >&2
    exit 1
fi
rm -f /tmp/check-format.$$
echo "check-format: every C++ source is formatted"
