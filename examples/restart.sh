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
state=$work/state
daemon=
watcher=

finish() {
    [[ -z $daemon ]] || kill_daemon
    [[ -z $watcher ]] || kill "$watcher" 2> /dev/null || true
    rm -rf "$work"
}
trap finish EXIT

kill_daemon() {
    kill -9 "$daemon" 2> /dev/null || true
    wait "$daemon" 2> /dev/null || true
    daemon=
}

fail() {
    echo "restart.sh: $*" >&2
    [[ ! -e $work/log ]] || tail -n 5 "$work/log" >&2
    exit 1
}

ctl() { "$bin/lagctl" --state-dir "$state" "$@"; }

start() {
    "$bin/lag-agent" serve --state-dir "$state" 2>> "$work/log" &
    daemon=$!
    ctl --wait 10 show start > "$work/start" && return
    kill -0 "$daemon" 2> /dev/null || fail "the daemon did not start"
    fail "the daemon took no commands within 10 seconds"
}

# Changes all around the two LAGs: a third LAG that comes and goes, members of its own, entries that
# are repointed, and a port of LAG 10 that goes down and up again. Without end: only the death of the
# daemon, and of the client with it, ends a burst: by a signal or, where that is ignored, an error.
burst() {
    local n
    for ((n = 1; ; n++)); do
        local member=$((100 + n % 7)) entry="entry set value $((0x1000 + n % 50)) mask 0xffffffff"
        echo "member add $member action setLagPort port $member"
        echo "group add 30 size 16 initial $member action setLagPort"
        echo "group member add 30 $((100 + (n + 3) % 7))"
        echo "$entry group 30"
        echo "group member set 10 2 inactive"
        echo "member set $member action setLagPort port $((200 + n))"
        echo "group member set 10 2 active"
        echo "$entry group 10"
        echo "entry del value $((0x1000 + (n + 25) % 50)) mask 0xffffffff"
        echo "group del 30"
    done
}

kill_in_burst() {
    burst 2> /dev/null | ctl -json --force > "$work/acknowledged" 2> /dev/null &
    local client=$!
    sleep "0.$((RANDOM % 30 + 10))"
    kill -0 "$client" 2> /dev/null || fail "the client of the burst gave up before the kill"
    kill_daemon
    wait "$client" 2> /dev/null || true
}

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

check_audit() {
    ctl audit > "$work/audit"
    [[ $(sed -n 2p "$work/audit") == "  none" ]] || fail "after the restart: $(cat "$work/audit")"
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
