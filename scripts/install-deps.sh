#!/usr/bin/env bash
# Installs the Debian 12 packages the build needs, only when one is missing.
set -euo pipefail

PACKAGES=(
    android-liblog-dev android-libutils-dev android-libcutils-dev android-libbase-dev
    libxml2-dev libsqlite3-dev libgtest-dev libgmock-dev libbenchmark-dev
    libgrpc++-dev protobuf-compiler-grpc libprotobuf-dev protobuf-compiler
    clang-14 libclang-rt-14-dev pkg-config ninja-build cmake g++ ccache sqlite3
    nlohmann-json3-dev librsvg2-bin libcli11-dev help2man bash-completion libxxhash-dev
    hidl-gen blueprint-tools libxml2-utils clang-format
    libfiu-dev fiu-utils
)

missing=()
for pkg in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$pkg")
    fi
done

if [ "${#missing[@]}" -eq 0 ]; then
    exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
    SUDO="sudo"
fi
echo "Installing: ${missing[*]}"
$SUDO apt-get update
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y "${missing[@]}"
