# A daemon that is killed while it works, for scripts that look at what that does. They set
#
#   bin            directory of the programs
#   work           directory of their own, in which everything is kept
#   serve_options  array of more arguments for `lag-agent serve`
#
# and call finish_daemon at their end. Sourced, with `set -euo pipefail`.
state=$work/state
daemon=
serve_options=()

finish_daemon() {
    [[ -z $daemon ]] || kill_daemon
}

kill_daemon() {
    kill -9 "$daemon" 2> /dev/null || true
    wait "$daemon" 2> /dev/null || true
    daemon=
}

fail() {
    echo "${0##*/}: $*" >&2
    [[ ! -e $work/log ]] || tail -n 5 "$work/log" >&2
    exit 1
}

ctl() { "$bin/lagctl" --state-dir "$state" "$@"; }

start() {
    "$bin/lag-agent" serve --state-dir "$state" "${serve_options[@]}" 2>> "$work/log" &
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

check_audit() {
    ctl audit > "$work/audit"
    [[ $(sed -n 2p "$work/audit") == "  none" ]] || fail "after the restart: $(cat "$work/audit")"
}
