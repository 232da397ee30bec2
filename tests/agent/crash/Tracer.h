#pragma once

#include <cstdint>

#include "tests/agent/crash/ChildProcess.h"

namespace LagAgent::Crash {

/// Kills a child that stops itself to be traced at a stop of its system calls, of which each has
/// two, where it begins and where it has ended; `at` counts from 1. Returns when the child is over,
/// in that way or in any other.
void killAtSystemCall(ChildProcess& child, std::uint64_t at);

} // namespace LagAgent::Crash
