#pragma once

#include "agent/chip/PdLibrary.h"
#include "platform/BfPdLagGroup/PdOperations.h"

namespace LagAgent {

/// The PD API's read-back for tools, which the driver does not use. `X(name)` is applied to each.
#define LAG_AGENT_READ_BACK_OPERATIONS(X)                                                          \
    X(p4_pd_velmor_switch_get_usage)                                                               \
    X(p4_pd_velmor_switch_lagGroup_get_first_entry_handle)                                         \
    X(p4_pd_velmor_switch_lagGroup_get_next_entry_handle)                                          \
    X(p4_pd_velmor_switch_lagGroup_get_default_entry_handle)                                       \
    X(p4_pd_velmor_switch_lagGroup_get_entry)                                                      \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle)                            \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle)                             \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_member)                                         \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle)                             \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle)                              \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_group)                                          \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member)                             \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member)                              \
    X(p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get)

/// The operations, each a callable under the name of its PD function; status 17 for a missing one.
struct PdReadBack {
#define LAG_AGENT_DECLARE(name) BfPdLagGroup::PdOperation<decltype(::name)> name{#name};
    LAG_AGENT_READ_BACK_OPERATIONS(LAG_AGENT_DECLARE)
#undef LAG_AGENT_DECLARE

    explicit PdReadBack(const PdLibrary& library) {
#define LAG_AGENT_RESOLVE(name)                                                                    \
    name.functionIs(reinterpret_cast<void*>(library.function<decltype(::name)>(#name)));
        LAG_AGENT_READ_BACK_OPERATIONS(LAG_AGENT_RESOLVE)
#undef LAG_AGENT_RESOLVE
    }
};

} // namespace LagAgent
