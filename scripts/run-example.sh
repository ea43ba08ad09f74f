#!/usr/bin/env bash
# The main job: builds the three programs and their libraries (not the tests), makes a fresh working copy of the bundled example root in
# run/example-root (git-ignored; nothing tracked is written), and runs velorad on it in the
# foreground until Ctrl-C. Talk to it with veloractl from another terminal.
# Usage: scripts/run-example.sh [--verbose]
set -euo pipefail
cd "$(dirname "$0")/.."
repo="$(pwd)"

bash scripts/install-deps.sh
cmake --preset default
started=$(date +%s)
echo "run-example: building velorad, veloractl and velora-inspect; the first build takes" \
    "about 5 minutes on 2 cores, later ones seconds."
cmake --build --preset default -j "$(nproc)" --target velorad veloractl velora-inspect
echo "run-example: built in $(($(date +%s) - started)) s."

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

# velorad serves on the socket veloractl tries when told nothing else, unless another
# daemon is there already; then veloractl needs VELORA_ROOT.
socket="${XDG_RUNTIME_DIR:-/tmp}/velorad.sock"
where=""
if [ -S "$socket" ] && "$veloractl" --socket "$socket" --timeout 500 status >/dev/null 2>&1; then
    socket="$root/velorad.sock"
    where="VELORA_ROOT=$root "
    if [ "${#socket}" -gt 107 ]; then
        # A Unix socket path has at most 107 bytes; under a deep checkout use a temporary one.
        socket="$(mktemp -d /tmp/velorad.XXXXXX)/velorad.sock"
        where="VELORA_SOCKET=$socket "
    fi
fi

cat <<EOF

Velora is running on a fresh copy of the example root: $root
  socket: $socket
Try, from another terminal:
  ${where}$veloractl status
  ${where}$veloractl set Music ieq-amount 12
  ${where}$veloractl watch
(veloractl --help lists every command; 'veloractl COMMAND --help' describes one.) Ctrl-C here stops velorad; it saves the settings
under $root/data/vendor/velora first.

EOF
exec "$velorad" --root "$root" --socket "$socket" "$@"
