#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the reference counts under the thread
# sanitizer, everything under the address and undefined-behaviour sanitizers, everything in release.
#
#   ./test.sh           everything but the soak; about 25 minutes on two cores
#   ./test.sh --soak    the soak: thousands of random deaths of the agent, and 90 under real packets
#                       of a private Open vSwitch, in release
set -euo pipefail
case "$*" in "" | --soak) ;; *) echo "usage: test.sh [--soak]" >&2; exit 2 ;; esac
cd "$(dirname "$0")"
tools/install-dependencies.sh build test ovs

jobs=$(nproc)
run() { # preset, build targets, ctest arguments...
    local preset=$1 targets
    read -r -a targets <<< "$2"
    shift 2
    echo "== $preset"
    cmake --preset "$preset" > /dev/null
    cmake --build --preset "$preset" -j "$jobs" --target "${targets[@]}"
    ctest --preset "$preset" -j "$jobs" "$@"
}

export ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1
if [[ ${1-} == --soak ]]; then
    run release 'agent_crash_test lag-agent lagctl lag-packets pd_velmor_switch_ovs' -L '^soak$' --no-tests=error
    exit
fi
run tsan refcount_test -R '^RefcountThreads' --no-tests=error
run asan all -LE '^soak$'
run release all -LE '^soak$'
