#!/usr/bin/env bash
# Writes a help2man include file with a COMMANDS section: the --help of every command the tool
# lists, so that the man page holds each command's own help.
# Usage: man-commands.sh TOOL OUTPUT
set -euo pipefail
tool=$1
output=$2
{
    echo "[COMMANDS]"
    "$tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' |
        while read -r command; do
            [ "$command" = help ] && continue
            echo ".SS $command"
            echo ".nf"
            # roff takes a line that starts with a dot or a quote as a request.
            "$tool" "$command" --help | sed -e 's/\\/\\e/g' -e "s/^\([.']\)/\\\\\&\1/"
            echo ".fi"
        done
} >"$output"
