#pragma once

namespace LagAgent {

/// What the programs exit with.
inline constexpr int kExitGood = 0;
inline constexpr int kExitCommandFailed = 1;
inline constexpr int kExitDaemonFailed = 1;
inline constexpr int kExitNotStarted = 2;

} // namespace LagAgent
