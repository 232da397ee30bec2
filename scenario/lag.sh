#!/usr/bin/env bash
# Real packets through two LAGs of a private Open vSwitch, while the daemon that programs it is killed
# in the middle of a burst of changes, ten times or as often as is said:
#
#   scenario/lag.sh [--fast] [--fault] [DIRECTORY OF THE PROGRAMS [NUMBER OF RESTARTS]]
#
# --fast sends 5000 packets a second and more; --fault takes an entry away under the packets and puts
# it back, which must be seen as loss. Shows for a stretch without changes and for each restart what
# became of the packets, at the end how they were spread. Exits with 0 only if none was lost,
# duplicated, sent out of a wrong port or to an inactive member; with 77 where this machine has no
# such switch.
#
#   host "sender"                  the switch                     host "receiver"
#   10.0.0.1  s0 ------------ p100 | table 0: address -> metadata
#                                  | table 1: metadata -> LAG  | p1 ... p5 ---- r1 ... r5
#   10.0.0.16: LAG 10, ports 1 and 2       10.0.0.32: LAG 20, port 3; inactive: port 4
set -euo pipefail
scenario=$(cd "$(dirname "$0")" && pwd)
pace=(--burst 100 --every 30)
fault=
options=()
while [[ ${1-} == --* ]]; do
    case $1 in
        --fast) pace=(--burst 70 --every 10) ;;
        --fault) fault=yes ;;
        --inside) break ;;
        *) echo "lag.sh: unknown option $1" >&2; exit 2 ;;
    esac
    options+=("$1")
    shift
done
if [[ ${1-} != --inside ]]; then
    bin=$(cd "${1:-$scenario/../build/release/bin}" && pwd)
    exec "$scenario/with-switch.sh" "$0" "${options[@]}" --inside "$bin" "${2:-10}"
fi
bin=$2
restarts=$3
[[ $restarts =~ ^[0-9]{1,5}$ ]] || { echo "lag.sh: '$restarts' is no number of restarts" >&2; exit 2; }

# All of /run is this script's own, and ends with it.
work=/run/lag
mkdir "$work"
. "$scenario/../examples/daemon.sh"
serve_options=(--pd "$(dirname "$bin")/lib/libpd_velmor_switch_ovs.so")
trap finish_daemon EXIT

# ---- Hosts, wires, and the part of the pipeline that comes before the LAG table

wire() { # name and host of the far end, number of the port
    ip link add "p$3" type veth peer name "$1" netns "$2"
    ip link set "p$3" up
    ip -n "$2" link set "$1" up
    add_ports+=(-- add-port lag0 "p$3" -- set interface "p$3" "ofport_request=$3")
}

# Packets to an address get a metadata value.
classify() {
    echo "priority=1,ip,nw_dst=10.0.0.16,actions=write_metadata:0x10,goto_table:1"
    echo "priority=1,ip,nw_dst=10.0.0.32,actions=write_metadata:0x20,goto_table:1"
}

ip netns add sender
ip netns add receiver
wire s0 sender 100
for port in 1 2 3 4 5; do
    wire "r$port" receiver "$port"
done
ovs-vsctl "${add_ports[@]:1}"
ip -n sender address add 10.0.0.1/24 dev s0
for address in 10.0.0.16 10.0.0.32; do
    ip -n sender neighbor add "$address" lladdr 02:00:00:00:00:01 dev s0
done
classify | ovs-ofctl -O OpenFlow15 add-flows "unix:$VELMOR_OVS_MANAGEMENT" -

# ---- What is said, and what is asked of the packets

packets() { echo "$*" >&"${PACKETS[1]}"; }

report() { # what became of the packets since the last report
    packets report
    read -r -t 60 line <&"${PACKETS[0]}" || fail "lag-packets is gone"
    echo "packets: $line"
    [[ $line =~ ^sent\ [1-9] ]] || fail "nothing was sent"
}

report_none_astray() {
    report
    [[ $line == *"  lost 0  duplicated 0  wrong port 0  inactive 0  a second "* ]] || astray=yes
}

forwarded() { ovs-appctl -t "$VELMOR_OVS_CONTROL" revalidator/wait; } # waits until packets meet what the tables say

start
ctl -batch "$scenario/../examples/inactive-member.cmds" > /dev/null
forwarded
echo "two LAGs: 10.0.0.16 over ports 1 and 2, 10.0.0.32 over port 3, with an inactive member on port 4"

astray=
coproc PACKETS {
    exec nice -n -20 "$bin/lag-packets" --expect 10.0.0.16=1,2 10.0.0.32=3 --inactive 4 --ports 5 "${pace[@]}"
}
packets_pid=$PACKETS_PID
# A copy of the output that is still there when the coprocess has ended.
exec {spread}<&"${PACKETS[0]}"

echo
echo "control: three seconds without a change"
sleep 3
report_none_astray

for ((restart = 1; restart <= restarts; restart++)); do
    kill_in_burst
    echo
    echo "restart $restart, killed after $(grep -c '"ok":true' "$work/acknowledged") changes of a burst"
    start
    grep -E '^(writes|mended by|time):' "$work/start"
    check_audit
    report_none_astray
done

if [[ -n $fault ]]; then
    echo
    echo "fault: an entry is deleted and written again, instead of repointed"
    ctl entry del value 0x10 mask 0xffffffff priority 1 > /dev/null
    forwarded
    ctl entry set value 0x10 mask 0xffffffff priority 1 group 10 > /dev/null
    report
    lost=$(sed -E 's/.*  lost ([0-9]+) .*/\1/' <<< "$line")
    [[ $lost -gt 0 ]] || fail "the loss was not seen"
    [[ -z $astray ]] || fail "packets were lost before the fault"
    echo
    echo "the fault was seen: $lost packets"
    exit
fi

echo
echo "the member on port 2 goes down"
ctl group member set 10 2 inactive > /dev/null
forwarded
report_none_astray
packets expect 10.0.0.16=1
packets inactive 2,4
sleep 1
report_none_astray
echo "and up again"
packets expect 10.0.0.16=1,2
packets inactive 4
ctl group member set 10 2 active > /dev/null
sleep 1
report_none_astray

echo
echo "spread:"
eval "exec ${PACKETS[1]}>&-"
cat <&"$spread" | sed 1d
wait "$packets_pid" || [[ -n $astray ]] || fail "lag-packets failed"
[[ -z $astray ]] || fail "packets were lost or went astray"
echo
echo "restarts: $restarts; no packet lost, duplicated, out of a wrong port, or to an inactive member"
