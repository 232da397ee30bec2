#!/usr/bin/env bash
# A private switch ends with its command, however that ends, and leaves neither processes nor
# interfaces nor namespaces behind:
#
#   tests/ovs/leaves_nothing.sh ROOT
set -euo pipefail
with_switch=$1/scenario/with-switch.sh
"$with_switch" true || exit $? # 77: not on this machine

# The processes of the switch have this in their environment, and no others.
mark=LEAVES_NOTHING=$$.$RANDOM$RANDOM
processes() { grep -lsz "^$mark$" /proc/[0-9]*/environ || true; }
links() { ip -br link | cut -d' ' -f1 | sort; }
fail() { echo "leaves_nothing.sh: $*" >&2; exit 1; }

before=$(links)
ready=$(mktemp -d)
trap 'rm -r "$ready"' EXIT
mkfifo "$ready/pipe"

end_by() { # signal
    env --default-signal=INT "$mark" setsid "$with_switch" sh -c 'ip netns add host; echo "$VELMOR_OVS_MANAGEMENT" > "$0"; exec sleep 1000' "$ready/pipe" &
    local runner=$! management
    read -r management < "$ready/pipe"
    [[ $(processes | wc -l) -gt 3 ]] || fail "the switch does not run"
    kill -"$1" -- "-$runner"
    wait "$runner" 2> /dev/null && fail "success after SIG$1"
    for ((tries = 0; tries < 200; tries++)); do
        [[ -n $(processes) ]] || break
        sleep 0.05
    done
    [[ -z $(processes) ]] || fail "processes are left after SIG$1"
    [[ ! -e $management ]] || fail "files are left after SIG$1"
}
for signal in INT TERM KILL; do
    end_by "$signal"
done
"$with_switch" false && fail "a failure is success"
[[ $(links) == "$before" ]] || fail "interfaces are left"
[[ ! -e /run/netns/host ]] || fail "a namespace is left"
