#!/usr/bin/env bash
# While the switch's daemon is gone commands fail, and the agent goes on; when it is back it is a chip
# that lost its state: the agent ends, and its next start writes everything again. To be run by
# scenario/with-switch.sh:
#
#   tests/ovs/switch_restart.sh DIRECTORY OF THE PROGRAMS LIBRARY
set -euo pipefail
bin=$1
work=/run/lag
mkdir "$work"
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/examples/daemon.sh"
serve_options=(--pd "$2")
trap finish_daemon EXIT
pid_file=$OVS_RUNDIR/ovs-vswitchd.pid

expect_refusal() { # text, command...
    local text=$1
    shift
    ctl "$@" > "$work/answer" 2>&1 && fail "'$*' went well"
    grep -q "$text" "$work/answer" || fail "'$*' said: $(cat "$work/answer")"
}

start
ctl -batch "$root/examples/inactive-member.cmds" > /dev/null

kill "$(cat "$pid_file")"
while [[ -e $pid_file ]]; do sleep 0.01; done
expect_refusal "Communication failed" member add 9 action setLagPort port 9
expect_refusal "Communication failed" show asic
kill -0 "$daemon" || fail "the agent has ended with the switch"

ovs-vswitchd --disable-system --unixctl="$VELMOR_OVS_CONTROL" --detach --no-chdir --pidfile --log-file -vconsole:off 2> /dev/null
expect_refusal "the chip has lost its state" member add 9 action setLagPort port 9
status=0
wait "$daemon" || status=$?
daemon=
[[ $status -eq 1 ]] || fail "the agent ended with status $status"

start
grep -qx 'audit: 8 missing' "$work/start" || fail "not everything was missing: $(cat "$work/start")"
check_audit
ctl member add 9 action setLagPort port 9
ovs-ofctl -O OpenFlow15 dump-groups "unix:$VELMOR_OVS_MANAGEMENT" | grep -q output:9 || fail "no member 9"
