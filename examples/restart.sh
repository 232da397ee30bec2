#!/usr/bin/env bash
# Kills the agent's daemon, ten times or as often as is said, in the middle of a burst of changes,
# while another process keeps asking the chip for ports of two LAGs, and shows each restart: what it
# wrote to the chip, and why. Then the same without anything to mend, on a chip without a free group.
# Exits with 0 only if no flow ever lost its port, got a wrong one or that of the inactive member,
# every restart left chip, records and desired state in agreement, and the last one made one write.
#
#   examples/restart.sh [DIRECTORY OF THE PROGRAMS [NUMBER OF RESTARTS]]
set -euo pipefail
examples=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$examples/../build/release/bin}" && pwd)
restarts=${2:-10}
if [[ ! $restarts =~ ^[1-9][0-9]{0,5}$ ]]; then
    echo "restart.sh: '$restarts' is no number of restarts" >&2
    exit 2
fi
# As a daemon's runtime directory, in memory.
work=$(mktemp -d -p "$([[ -w /dev/shm ]] && echo /dev/shm || echo "${TMPDIR:-/tmp}")")
watcher=
. "$examples/daemon.sh"

finish() {
    finish_daemon
    [[ -z $watcher ]] || kill "$watcher" 2> /dev/null || true
    rm -rf "$work"
}
trap finish EXIT

report() { # what flows got since the last report
    local line
    local good='^lookups [1-9][0-9]*  no port 0  wrong port 0  inactive 0  '
    echo report >&"${WATCH[1]}"
    read -r -t 30 line <&"${WATCH[0]}" || fail "the watching process is gone"
    echo "flows: $line"
    [[ $line =~ $good ]] || fail "a flow went astray"
}

watch_flows() {
    coproc WATCH {
        exec "$bin/velmor-asic" watch "$state/chip" --expect 0x10=1,2 --expect 0x20=3 --inactive 0x20=4
    }
    watcher=$WATCH_PID
    report
}

start
ctl -batch "$examples/inactive-member.cmds" > /dev/null
echo "two LAGs: value 0x10 over ports 1 and 2, value 0x20 over port 3, with an inactive member on port 4"
watch_flows

for ((restart = 1; restart <= restarts; restart++)); do
    kill_in_burst
    echo
    echo "restart $restart, killed after $(grep -c '"ok":true' "$work/acknowledged") changes of a burst"
    start
    cat "$work/start"
    grep -qx 'factory writes: p4_pd_velmor_switch_lagGroup_set_property' "$work/start" ||
        fail "the factories wrote something else"
    check_audit
    report
done
echo
echo "restarts: $restarts; no flow without a port, with a wrong one, or to the inactive member"

echo
echo "a chip with room for two groups, both in use by LAGs, and a kill between two commands"
kill_daemon
kill "$watcher" && wait "$watcher" 2> /dev/null || true
rm -r "$state"
mkdir -m 700 "$state"
"$bin/velmor-asic" create "$state/chip" --groups 2
start
ctl -batch "$examples/inactive-member.cmds" > /dev/null
watch_flows
kill_daemon
start
cat "$work/start"
grep -qx 'writes: 1' "$work/start" || fail "there was nothing to mend"
check_audit
report
