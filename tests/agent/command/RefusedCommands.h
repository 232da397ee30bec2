#pragma once

#include "tests/agent/AgentTest.h"

namespace LagAgent {

/// A PD operation, and a command in which the chip refuses it. `name` is the test's.
struct RefusedCommand {
    const char* operation;
    const char* command;
    const char* name;
};

/// What the commands need besides what `LagTest` has made.
inline constexpr const char* kBeforeRefused = "group add 12 size 2 initial 1 action setLagPort";

/// A command for each operation but deletions, whose refusal leaves an abandoned object.
inline const RefusedCommand kRefusedCommands[]{
    {"lagPortActionProfile_add_member_with_fixL2SubintfAlignment",
     "member add 4 action fixL2SubintfAlignment", "AddFix"},
    {"lagPortActionProfile_add_member_with_invalidateUcastEgressPort",
     "member add 4 action invalidateUcastEgressPort", "AddInvalidate"},
    {"lagPortActionProfile_add_member_with_setLagPort", "member add 4 action setLagPort port 4",
     "AddSetLagPort"},
    {"lagPortActionProfile_add_member_with_setPhysicalPort", "member add 4 action setPhysicalPort",
     "AddSetPhysicalPort"},
    {"lagPortActionProfile_add_member_with_setTunnelInfo", "member add 4 action setTunnelInfo",
     "AddSetTunnelInfo"},
    {"lagPortActionProfile_modify_member_with_setLagPort", "member set 1 action setLagPort port 9",
     "ModifySetLagPort"},
    {"lagPortActionProfile_modify_member_with_setPhysicalPort",
     "member set 3 action setPhysicalPort", "ModifyToOtherType"},
    {"lagPortActionProfile_create_group", "group add 11 size 2 initial 1 action setLagPort",
     "CreateGroup"},
    {"lagPortActionProfile_add_member_to_group", "group member add 12 2", "AddMemberToGroup"},
    {"lagPortActionProfile_group_member_state_set", "group member set 10 1 inactive", "Inactive"},
    {"lagGroup_add_entry", "entry set value 6 mask 0xff member 3", "AddEntry"},
    {"lagGroup_add_entry_with_selector", "entry set value 6 mask 0xff group 10", "AddEntryGroup"},
    {"lagGroup_modify_entry", "entry set value 5 mask 0xff priority 9 member 3", "ModifyEntry"},
    {"lagGroup_modify_entry_with_selector", "entry set value 5 mask 0xff priority 9 group 12",
     "ModifyEntryGroup"},
    {"lagGroup_set_default_entry", "entry set default member 3", "SetDefault"},
    {"lagGroup_set_default_entry_with_selector", "entry set default group 10", "SetDefaultGroup"},
    {"lagGroup_table_delete", "entry del value 5 mask 0xff priority 9", "DeleteEntry"},
};

} // namespace LagAgent
