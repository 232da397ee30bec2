#pragma once

#include <vector>

#include "tests/agent/crash/AgentProcess.h"

namespace LagAgent::Crash {

// What must hold after a start, whatever was before it. Each is a gtest expectation.

/// The factories made one PD write; records, chip and desired state agree; every handle is one
/// object's; the chip holds what the model has and no more.
void expectWhole(AgentProcess& agent);
/// The model is one of these.
void expectModel(AgentProcess& agent, const std::vector<Json>& models);
/// Every object can be changed, then deleted, and then the chip is empty.
void expectWorksOn(AgentProcess& agent);

} // namespace LagAgent::Crash
