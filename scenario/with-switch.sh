#!/usr/bin/env bash
# Runs a command beside a private Open vSwitch with the userspace datapath:
#
#   scenario/with-switch.sh COMMAND [ARGUMENT...]
#
# The command finds a bridge "lag0" without ports, whose address is in VELMOR_OVS_MANAGEMENT and
# VELMOR_OVS_CONTROL; ovs-vsctl finds it by itself. Its table 0 hands every packet on to table 1, the
# LAG table. Needs root, and exits with 77 where this machine cannot have it.
#
# All of it lives in namespaces of its own (processes, interfaces, mounts with /run), which end with
# the command, however that ends: nothing of the host's is touched, nothing is left behind, and two at
# once do not meet.
set -euo pipefail

cannot() {
    echo "with-switch.sh: skipped: $*" >&2
    exit 77
}

if [[ ${1-} != --inside ]]; then
    [[ $# -gt 0 ]] || { echo "usage: with-switch.sh COMMAND [ARGUMENT...]" >&2; exit 2; }
    [[ $(id -u) -eq 0 ]] || cannot "needs root"
    PATH=$PATH:/usr/sbin:/sbin
    for program in ovsdb-tool ovsdb-server ovs-vswitchd ovs-vsctl ovs-ofctl ip unshare; do
        command -v "$program" > /dev/null || cannot "there is no $program: install openvswitch-switch and iproute2"
    done
    own=(unshare --mount --net --pid --fork --kill-child --mount-proc)
    [[ -c /dev/net/tun ]] || cannot "there is no /dev/net/tun, of which the switch makes its own port"
    "${own[@]}" mount -t tmpfs tmpfs /run 2> /dev/null || cannot "this machine gives no namespaces"
    exec "${own[@]}" "$0" --inside "$@"
fi
shift

# The first process of a process namespace gets only the signals that it asks for.
trap 'exit 130' INT
trap 'exit 143' TERM

mount -t tmpfs tmpfs /run
export OVS_RUNDIR=/run/openvswitch OVS_LOGDIR=/run/openvswitch
mkdir "$OVS_RUNDIR"
ip link set lo up
quietly() { # runs a command, which says something only if it fails
    "$@" > "$OVS_RUNDIR/output" 2>&1 || { cat "$OVS_RUNDIR"/output "$OVS_RUNDIR"/*.log >&2; exit 1; }
}
daemon=(--detach --no-chdir --pidfile --log-file -vconsole:off)
quietly ovsdb-tool create "$OVS_RUNDIR/conf.db" /usr/share/openvswitch/vswitch.ovsschema
quietly ovsdb-server "$OVS_RUNDIR/conf.db" --remote="punix:$OVS_RUNDIR/db.sock" "${daemon[@]}"
quietly ovs-vsctl --no-wait init
# Packets go through a thread of this daemon, and on a busy machine they wait for their turn with it.
quietly nice -n -20 ovs-vswitchd --disable-system --unixctl="$OVS_RUNDIR/control" "${daemon[@]}"
quietly ovs-vsctl add-br lag0 -- set bridge lag0 datapath_type=netdev protocols=OpenFlow15 fail_mode=secure

export VELMOR_OVS_MANAGEMENT=$OVS_RUNDIR/lag0.mgmt VELMOR_OVS_CONTROL=$OVS_RUNDIR/control
quietly ovs-ofctl -O OpenFlow15 add-flow "unix:$VELMOR_OVS_MANAGEMENT" table=0,priority=0,actions=goto_table:1
# In the background, since a shell that waits in the foreground puts its traps off.
"$@" <&0 &
wait $!
