#!/usr/bin/env bash
# Installs what is missing, builds release, and runs three scenes over the software ASIC: a two-port LAG
# through the agent; a daemon that is killed in the middle of its work and started again, ten times,
# while flows go on; and the same on a chip whose groups are all in use. Exits with 0 only if every
# step did what it says.
set -euo pipefail
cd "$(dirname "$0")"
tools/install-dependencies.sh build

cmake --preset demo > /dev/null
cmake --build --preset demo -j "$(nproc)"
build/demo/bin/lag-agent --calls --batch examples/two-port-lag.cmds
exec examples/restart.sh build/demo/bin
