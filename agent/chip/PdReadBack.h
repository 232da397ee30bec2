#pragma once

#include "agent/chip/PdLibrary.h"
#include "pd/Operations.h"
#include "platform/BfPdLagGroup/PdOperations.h"

namespace LagAgent {

/// The PD API's read-back for tools, and the one read-back that the driver uses too.
#define LAG_AGENT_READ_BACK_OPERATIONS(X)                                                          \
    X(p4_pd_velmor_switch_lagGroup_get_entry)                                                      \
    PD_TOOL_OPERATIONS(X)

/// The operations, each a callable under the name of its PD function; status 17 for a missing one.
struct PdReadBack {
#define LAG_AGENT_DECLARE(name, ...) BfPdLagGroup::PdOperation<decltype(::name)> name{#name};
    LAG_AGENT_READ_BACK_OPERATIONS(LAG_AGENT_DECLARE)
#undef LAG_AGENT_DECLARE

    explicit PdReadBack(const PdLibrary& library) {
#define LAG_AGENT_RESOLVE(name, ...)                                                               \
    name.functionIs(reinterpret_cast<void*>(library.function<decltype(::name)>(#name)));
        LAG_AGENT_READ_BACK_OPERATIONS(LAG_AGENT_RESOLVE)
#undef LAG_AGENT_RESOLVE
    }
};

} // namespace LagAgent
