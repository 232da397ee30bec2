#!/usr/bin/env bash
# Installs what is missing, builds release, and runs a two-port LAG through the agent over the
# software ASIC. Exits with 0 only if every step did what it says.
set -euo pipefail
cd "$(dirname "$0")"
tools/install-dependencies.sh build

cmake --preset demo > /dev/null
cmake --build --preset demo -j "$(nproc)"
exec build/demo/bin/lag-agent --calls --batch examples/two-port-lag.cmds
