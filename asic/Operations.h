// The operations of the PD API: names, argument names, and what kind of call they are.
//
// Each PD function finds its row by its own name at compile time, so a row and a function cannot
// drift apart. Chip files name an operation by the number of its row: who changes the order of the
// rows changes the layout version of the files.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace asic {

/// What a call is about. The call log keeps all but the read-back for tools.
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

// clang-format off
inline constexpr std::array<Operation, 41> kOperations = {{
    {"p4_pd_velmor_switch_client_init", Kind::session,
     {"sess_hdl"}},
    {"p4_pd_velmor_switch_client_cleanup", Kind::session,
     {"sess_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_set_property", Kind::change,
     {"sess_hdl", "dev_id", "property", "value"}},
    {"p4_pd_velmor_switch_lagGroup_add_entry", Kind::change,
     {"sess_hdl", "dev_tgt", "match_spec", "priority", "mbr_hdl", "entry_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_add_entry_with_selector", Kind::change,
     {"sess_hdl", "dev_tgt", "match_spec", "priority", "grp_hdl", "entry_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_modify_entry", Kind::change,
     {"sess_hdl", "dev_id", "entry_hdl", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_modify_entry_with_selector", Kind::change,
     {"sess_hdl", "dev_id", "entry_hdl", "grp_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_set_default_entry", Kind::change,
     {"sess_hdl", "dev_tgt", "mbr_hdl", "entry_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector", Kind::change,
     {"sess_hdl", "dev_tgt", "grp_hdl", "entry_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_table_delete", Kind::change,
     {"sess_hdl", "dev_id", "entry_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_table_reset_default_entry", Kind::change,
     {"sess_hdl", "dev_tgt"}},
    {"p4_pd_velmor_switch_lagGroup_get_entry", Kind::read,
     {"sess_hdl", "dev_id", "entry_hdl", "from_hw", "match_spec", "priority", "has_mbr", "has_grp", "mbr_hdl", "grp_hdl", "spare"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment", Kind::change,
     {"sess_hdl", "dev_tgt", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort", Kind::change,
     {"sess_hdl", "dev_tgt", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort", Kind::change,
     {"sess_hdl", "dev_tgt", "action_spec", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort", Kind::change,
     {"sess_hdl", "dev_tgt", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo", Kind::change,
     {"sess_hdl", "dev_tgt", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment", Kind::change,
     {"sess_hdl", "dev_id", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort", Kind::change,
     {"sess_hdl", "dev_id", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort", Kind::change,
     {"sess_hdl", "dev_id", "mbr_hdl", "action_spec"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort", Kind::change,
     {"sess_hdl", "dev_id", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo", Kind::change,
     {"sess_hdl", "dev_id", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_del_member", Kind::change,
     {"sess_hdl", "dev_id", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_create_group", Kind::change,
     {"sess_hdl", "dev_tgt", "max_grp_size", "grp_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_del_group", Kind::change,
     {"sess_hdl", "dev_id", "grp_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group", Kind::change,
     {"sess_hdl", "dev_id", "grp_hdl", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group", Kind::change,
     {"sess_hdl", "dev_id", "grp_hdl", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set", Kind::change,
     {"sess_hdl", "dev_id", "grp_hdl", "mbr_hdl", "state"}},
    {"p4_pd_velmor_switch_lagGroup_get_first_entry_handle", Kind::tool,
     {"sess_hdl", "dev_tgt", "entry_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_get_next_entry_handle", Kind::tool,
     {"sess_hdl", "dev_tgt", "entry_hdl", "next_hdl"}},
    {"p4_pd_velmor_switch_lagGroup_get_default_entry_handle", Kind::tool,
     {"sess_hdl", "dev_tgt", "entry_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle", Kind::tool,
     {"sess_hdl", "dev_tgt", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle", Kind::tool,
     {"sess_hdl", "dev_tgt", "mbr_hdl", "next_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_member", Kind::tool,
     {"sess_hdl", "dev_id", "mbr_hdl", "action", "action_spec"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle", Kind::tool,
     {"sess_hdl", "dev_tgt", "grp_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle", Kind::tool,
     {"sess_hdl", "dev_tgt", "grp_hdl", "next_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_group", Kind::tool,
     {"sess_hdl", "dev_id", "grp_hdl", "max_grp_size", "member_count"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member", Kind::tool,
     {"sess_hdl", "dev_id", "grp_hdl", "mbr_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member", Kind::tool,
     {"sess_hdl", "dev_id", "grp_hdl", "mbr_hdl", "next_hdl"}},
    {"p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get", Kind::tool,
     {"sess_hdl", "dev_id", "grp_hdl", "mbr_hdl", "state"}},
    {"p4_pd_velmor_switch_get_usage", Kind::tool,
     {"sess_hdl", "dev_tgt", "usage"}},
}};
// clang-format on

/// Number of rows when no operation has the name.
constexpr std::size_t findOperation(std::string_view name) noexcept {
    std::size_t index = 0;
    while (index < kOperations.size() && kOperations[index].name != name)
        ++index;
    return index;
}

/// The row of the PD function that asks with its __func__; a name without a row does not compile.
consteval std::size_t operation(std::string_view name) {
    return findOperation(name);
}

} // namespace asic
