#!/usr/bin/env bash
# Installs the Debian packages that are missing for the named purposes: build, test, bench, ovs.
#
#   tools/install-dependencies.sh build test
set -euo pipefail

declare -A packages=(
    [build]="g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libedit-dev
        libsqlite3-dev libsystemd-dev"
    [test]="libgtest-dev libgmock-dev valgrind lld"
    [ovs]="openvswitch-switch iproute2 util-linux"
    [bench]="libbenchmark-dev libboost1.81-dev libabsl-dev libsigc++-3.0-dev"
)

missing=()
for purpose in "$@"; do
    [[ -v packages[$purpose] ]] || { echo "$0: no such purpose: $purpose" >&2; exit 2; }
    for package in ${packages[$purpose]}; do
        state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
        [[ $state == installed ]] || missing+=("$package")
    done
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

as_root=()
if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || { echo "$0: run as root, or install sudo, to get: ${missing[*]}" >&2; exit 1; }
    as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}"
