// The operations of the PD API in one table: the name of each function, what kind of call it is,
// and the names of its arguments. Who needs something for every operation (pointers to the
// functions, names, rows of a call log) generates it from here, so a new operation is one new row,
// and what it does.
//
// Rows are numbered in their order. Files of calls name an operation by its number: who changes the
// order changes the layout version of these files.
#pragma once

#include "pd/p4_pd_velmor_switch.h"

#include <array>
#include <cstddef>
#include <string_view>

// A row is X(function, kind, "argument"...). A macro that is applied to the rows ignores by `...`
// what it does not need.

// clang-format off
/// The opening and closing of sessions.
#define PD_SESSION_OPERATIONS(X) \
    X(p4_pd_velmor_switch_client_init, session, "sess_hdl") \
    X(p4_pd_velmor_switch_client_cleanup, session, "sess_hdl")

/// What the driver calls.
#define PD_DRIVER_OPERATIONS(X) \
    X(p4_pd_velmor_switch_lagGroup_set_property, change, "sess_hdl", "dev_id", "property", "value") \
    X(p4_pd_velmor_switch_lagGroup_add_entry, change, "sess_hdl", "dev_tgt", "match_spec", "priority", "mbr_hdl", "entry_hdl") \
    X(p4_pd_velmor_switch_lagGroup_add_entry_with_selector, change, "sess_hdl", "dev_tgt", "match_spec", "priority", "grp_hdl", "entry_hdl") \
    X(p4_pd_velmor_switch_lagGroup_modify_entry, change, "sess_hdl", "dev_id", "entry_hdl", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagGroup_modify_entry_with_selector, change, "sess_hdl", "dev_id", "entry_hdl", "grp_hdl") \
    X(p4_pd_velmor_switch_lagGroup_set_default_entry, change, "sess_hdl", "dev_tgt", "mbr_hdl", "entry_hdl") \
    X(p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector, change, "sess_hdl", "dev_tgt", "grp_hdl", "entry_hdl") \
    X(p4_pd_velmor_switch_lagGroup_table_delete, change, "sess_hdl", "dev_id", "entry_hdl") \
    X(p4_pd_velmor_switch_lagGroup_table_reset_default_entry, change, "sess_hdl", "dev_tgt") \
    X(p4_pd_velmor_switch_lagGroup_get_entry, read, "sess_hdl", "dev_id", "entry_hdl", "from_hw", "match_spec", "priority", "has_mbr", "has_grp", "mbr_hdl", "grp_hdl", "spare") \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment, change, "sess_hdl", "dev_tgt", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort, change, "sess_hdl", "dev_tgt", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort, change, "sess_hdl", "dev_tgt", "action_spec", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort, change, "sess_hdl", "dev_tgt", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo, change, "sess_hdl", "dev_tgt", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment, change, "sess_hdl", "dev_id", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort, change, "sess_hdl", "dev_id", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort, change, "sess_hdl", "dev_id", "mbr_hdl", "action_spec") \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort, change, "sess_hdl", "dev_id", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo, change, "sess_hdl", "dev_id", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_del_member, change, "sess_hdl", "dev_id", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_create_group, change, "sess_hdl", "dev_tgt", "max_grp_size", "grp_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_del_group, change, "sess_hdl", "dev_id", "grp_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group, change, "sess_hdl", "dev_id", "grp_hdl", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group, change, "sess_hdl", "dev_id", "grp_hdl", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set, change, "sess_hdl", "dev_id", "grp_hdl", "mbr_hdl", "state")

/// Read-back for tools.
#define PD_TOOL_OPERATIONS(X) \
    X(p4_pd_velmor_switch_lagGroup_get_first_entry_handle, tool, "sess_hdl", "dev_tgt", "entry_hdl") \
    X(p4_pd_velmor_switch_lagGroup_get_next_entry_handle, tool, "sess_hdl", "dev_tgt", "entry_hdl", "next_hdl") \
    X(p4_pd_velmor_switch_lagGroup_get_default_entry_handle, tool, "sess_hdl", "dev_tgt", "entry_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle, tool, "sess_hdl", "dev_tgt", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle, tool, "sess_hdl", "dev_tgt", "mbr_hdl", "next_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_member, tool, "sess_hdl", "dev_id", "mbr_hdl", "action", "action_spec") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle, tool, "sess_hdl", "dev_tgt", "grp_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle, tool, "sess_hdl", "dev_tgt", "grp_hdl", "next_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_group, tool, "sess_hdl", "dev_id", "grp_hdl", "max_grp_size", "member_count") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member, tool, "sess_hdl", "dev_id", "grp_hdl", "mbr_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member, tool, "sess_hdl", "dev_id", "grp_hdl", "mbr_hdl", "next_hdl") \
    X(p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get, tool, "sess_hdl", "dev_id", "grp_hdl", "mbr_hdl", "state") \
    X(p4_pd_velmor_switch_get_usage, tool, "sess_hdl", "dev_tgt", "usage")
// clang-format on

#define PD_OPERATIONS(X) PD_SESSION_OPERATIONS(X) PD_DRIVER_OPERATIONS(X) PD_TOOL_OPERATIONS(X)

namespace pd {

/// What a call is about. A call log keeps all but the read-back for tools.
enum class Kind : unsigned char { session, change, read, tool };

struct Operation {
    static constexpr std::size_t kMaxArguments = 11;

    const char* name;
    Kind kind;
    std::array<const char*, kMaxArguments> arguments;

    [[nodiscard]] constexpr bool isLogged() const noexcept { return kind != Kind::tool; }
    [[nodiscard]] constexpr std::size_t argumentCount() const noexcept {
        std::size_t count = 0;
        while (count < kMaxArguments && arguments[count])
            ++count;
        return count;
    }
};

#define PD_ROW(function, kind, ...) Operation{#function, Kind::kind, {__VA_ARGS__}},
inline constexpr std::array kOperations{PD_OPERATIONS(PD_ROW)};
#undef PD_ROW

/// Number of rows when no operation has the name.
constexpr std::size_t findOperation(std::string_view name) noexcept {
    std::size_t index = 0;
    while (index < kOperations.size() && kOperations[index].name != name)
        ++index;
    return index;
}

/// The row of the PD function that asks with its __func__; a name without a row does not compile
/// where the row is used.
consteval std::size_t operation(std::string_view name) {
    return findOperation(name);
}

} // namespace pd
