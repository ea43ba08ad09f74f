#!/usr/bin/env bash
# The main job: builds everything, makes a fresh working copy of the bundled example root in
# run/example-root (git-ignored; nothing tracked is written), and runs velorad on it in the
# foreground until Ctrl-C. Talk to it with veloractl from another terminal.
# Usage: scripts/run-example.sh [--verbose]
set -euo pipefail
cd "$(dirname "$0")/.."
repo="$(pwd)"

bash scripts/install-deps.sh
cmake --preset default
cmake --build --preset default -j "$(nproc)"

velorad="$repo/build/default/tools/velorad/velorad"
veloractl="$repo/build/default/tools/veloractl/veloractl"
root="$repo/run/example-root"

mkdir -p "$repo/run"
# Never pull the files from under a daemon that still runs on this root (it holds a lock on
# the folder).
if [ -d "$root" ] && ! flock -n "$root" true; then
    echo "run-example: a velorad is still running on $root; stop it first (Ctrl-C)." >&2
    exit 1
fi
rm -rf "$root"
mkdir -p "$root/odm/etc/velora" "$root/data/vendor/velora" "$root/data/vendor/multimedia"
cp examples/multimedia_velora_kiv_default.xml "$root/odm/etc/velora/"
cp examples/kiv-extra.xml "$root/data/vendor/velora/kiv-extra.xml"

# A Unix socket path has at most 107 bytes; under a deep checkout use a temporary folder.
socket="$root/velorad.sock"
where="--root $root"
if [ "${#socket}" -gt 107 ]; then
    socket="$(mktemp -d /tmp/velorad.XXXXXX)/velorad.sock"
    where="--root $root --socket $socket"
fi

cat <<EOF

Velora is running on a fresh copy of the example root: $root
  socket: $socket
Try, from another terminal:
  $veloractl $where status
  $veloractl $where set Music ieq-amount 12
  $veloractl $where watch
(veloractl --help lists every command.) Ctrl-C here stops velorad; it saves the settings
under $root/data/vendor/velora first.

EOF
exec "$velorad" --root "$root" --socket "$socket" "$@"
