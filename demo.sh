#!/usr/bin/env bash
# Installs what is missing, builds release, and runs three scenes over the software ASIC: a two-port LAG
# through the agent; a daemon that is killed in the middle of its work and started again, ten times,
# while flows go on; and the same on a chip whose groups are all in use. Exits with 0 only if every
# step did what it says.
#
#   ./demo.sh        over the software ASIC
#   ./demo.sh ovs    real packets through a private Open vSwitch, by two LAGs, while the daemon is
#                    killed ten times and a member goes down and up (root)
set -euo pipefail
case "$*" in "" | ovs) ;; *) echo "usage: demo.sh [ovs]" >&2; exit 2 ;; esac
cd "$(dirname "$0")"
tools/install-dependencies.sh build ${1+"$1"}

cmake --preset demo > /dev/null
cmake --build --preset demo -j "$(nproc)"
[[ ${1-} != ovs ]] || exec scenario/lag.sh build/demo/bin
build/demo/bin/lag-agent --calls --batch examples/two-port-lag.cmds
exec examples/restart.sh build/demo/bin
