/**
 * Typical operations, one after the other, for `tools/check-cost.sh` to count their instructions:
 * `costOf` runs each of them `kTimes` times. The PD functions here do nothing, so that what is
 * counted is the driver's part.
 *
 * Prints what the counts depend on besides the source, then the name of each operation.
 */

#include <gnu/libc-version.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "BfLagGroup/Factories.h"
#include "BfLagGroup/LagGroupActionProfileSm.h"

namespace {

using namespace BfLagGroup;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

constexpr U32 kTimes = 1000;
constexpr U32 kMembers = 1000;
constexpr U32 kGroups = 100;
constexpr auto kLagPort = LagGroupActionProfileType::setLagPortActionProfileSpec;

U32 newHandle() {
    static U32 latest = 0;
    return ++latest;
}

pipe_status answer(U32* handle) {
    *handle = newHandle();
    return P4_PD_STATUS_SUCCESS;
}

} // namespace

// The PD functions that the operations reach; the driver finds them among the program's symbols.
pipe_status p4_pd_velmor_switch_lagGroup_add_entry(p4_pd_sess_hdl_t, p4_pd_dev_target_t,
                                                   p4_pd_velmor_switch_lagGroup_match_spec_t*,
                                                   uint32_t, p4_pd_mbr_hdl_t,
                                                   p4_pd_entry_hdl_t* entry) {
    return answer(entry);
}
pipe_status p4_pd_velmor_switch_lagGroup_modify_entry(p4_pd_sess_hdl_t, int, p4_pd_entry_hdl_t,
                                                      p4_pd_mbr_hdl_t) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagGroup_table_delete(p4_pd_sess_hdl_t, int, p4_pd_entry_hdl_t) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagGroup_set_property(p4_pd_sess_hdl_t, int, uint32_t, uint32_t) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
    p4_pd_sess_hdl_t, p4_pd_dev_target_t, p4_pd_velmor_switch_setLagPort_action_spec_t*,
    p4_pd_mbr_hdl_t* member) {
    return answer(member);
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
    p4_pd_sess_hdl_t, int, p4_pd_mbr_hdl_t, p4_pd_velmor_switch_setLagPort_action_spec_t*) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member(p4_pd_sess_hdl_t, int,
                                                                p4_pd_mbr_hdl_t) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_create_group(p4_pd_sess_hdl_t,
                                                                  p4_pd_dev_target_t, uint16_t,
                                                                  p4_pd_grp_hdl_t* group) {
    return answer(group);
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_group(p4_pd_sess_hdl_t, int,
                                                               p4_pd_grp_hdl_t) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(p4_pd_sess_hdl_t, int,
                                                                         p4_pd_grp_hdl_t,
                                                                         p4_pd_mbr_hdl_t) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(p4_pd_sess_hdl_t, int,
                                                                           p4_pd_grp_hdl_t,
                                                                           p4_pd_mbr_hdl_t) {
    return P4_PD_STATUS_SUCCESS;
}
pipe_status p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(p4_pd_sess_hdl_t, int,
                                                                            p4_pd_grp_hdl_t,
                                                                            p4_pd_mbr_hdl_t,
                                                                            uint32_t) {
    return P4_PD_STATUS_SUCCESS;
}

namespace {

LagGroupBaseActionProfileSpec::PtrConst lagPort(U16 port) {
    const SetLagPortActionProfileSpec::Ptr action = new SetLagPortActionProfileSpec;
    Kel::attributeIs(action, "egrL2AintfPort", port);
    return action;
}

struct Follower : Kel::PtrInterface::NotifieeConst {
    void onAttribute(Kel::AttributeId id, const void*) override { sum += id; }
    U32 sum = 0;
};

/// The driver with members, groups, and match entries, and what the operations need besides.
struct World {
    World() {
        for (U32 id = 1; id <= kMembers; ++id) {
            profile->entryIs(new LagGroupActionProfileEntry(RuxMemberId(id), port));
        }
        for (U32 id = 1; id <= kGroups; ++id) {
            profile->groupIs(RuxGroupId(id), 8, id, kLagPort);
            matches.push_back(LagGroupMatchSpec::LagGroupMatchSpecIs());
            table->entryIs({matches.back(), LagGroupMemberOrGroupOrNone(id, true)});
        }
        // What one costs depends on where it lies in memory, and all together on that much less.
        for (U32 i = 0; i < kTimes; ++i) {
            newMatches.push_back(LagGroupMatchSpec::LagGroupMatchSpecIs());
        }
        group = profile->group(RuxGroupId(1));
        member = group->member(RuxMemberId(1));
        entry = profile->entry(RuxMemberId(2));
        for (auto& follower : followers) {
            follower.notifierIs(followed.ptr());
            follower.hasNotificationActiveIs(true);
        }
    }

    LagGroupTable::Ptr table =
        lagGroupTableFactory(nullptr, nullptr, nullptr, 0, 0, 0xFFFF, "none");
    LagGroupActionProfile::Ptr profile = lagGroupActionProfileFactory(table);
    const LagGroupBaseActionProfileSpec::PtrConst port = lagPort(1);
    const LagGroupBaseActionProfileSpec::PtrConst otherPort = lagPort(2);
    std::vector<LagGroupMatchSpec::Ptr> matches;
    std::vector<LagGroupMatchSpec::Ptr> newMatches;
    LagGroupGroup::Ptr group;
    LagGroupMember::Ptr member;
    LagGroupActionProfileEntry::Ptr entry;
    /// An object of the model that only `followers` follow.
    const LagGroupMember::Ptr followed = [] {
        LagGroupMember::Ptr made = new LagGroupMember(RuxMemberId(1));
        made->hasNotificationActiveIs(true);
        return made;
    }();
    Follower followers[4];
    U32 round = 0;
};

struct Operation {
    const char* name;
    void (*run)(World& world);
};

constexpr Operation kOperations[] = {
    {"entryIs that repoints a match entry",
     [](World& world) {
         world.table->entryIs(
             {world.matches[0], LagGroupMemberOrGroupOrNone(1 + world.round % 2, true)});
     }},
    {"entryIs and entryDel of a match entry",
     [](World& world) {
         const auto& match = world.newMatches[world.round % kTimes];
         world.table->entryIs({match, LagGroupMemberOrGroupOrNone(1, true)});
         world.table->entryDel(match);
     }},
    {"entryIs and entryDel of a member",
     [](World& world) {
         const RuxMemberId id(kMembers + 1);
         world.profile->entryIs(new LagGroupActionProfileEntry(id, world.port));
         world.profile->entryDel(id);
     }},
    {"actionIs of a member",
     [](World& world) { world.entry->actionIs(world.round % 2 ? world.port : world.otherPort); }},
    {"groupIs and groupDel",
     [](World& world) {
         const RuxGroupId id(kGroups + 1);
         world.profile->groupIs(id, 8, 1, kLagPort);
         world.profile->groupDel(id);
     }},
    {"memberIs and memberDel of a group",
     [](World& world) {
         world.group->memberIs(RuxMemberId(2));
         world.group->memberDel(RuxMemberId(2));
     }},
    {"activeIs", [](World& world) { world.member->activeIs(world.round % 2); }},
    {"activeIs told to four followers",
     [](World& world) { world.followed->activeIs(world.round % 2); }},
    {"a group looked up in the model",
     [](World& world) { world.profile->group(RuxGroupId(1 + world.round % kGroups)); }},
    {"a member's entry looked up in the model",
     [](World& world) { world.profile->entry(RuxMemberId(1 + world.round % kMembers)); }},
    {"a member's handle looked up",
     [](World& world) {
         world.table->helper()->sdkHandles()->member(RuxMemberId(1 + world.round % kMembers));
     }},
    {"an absent member's handle looked up",
     [](World& world) {
         world.table->helper()->sdkHandles()->member(RuxMemberId(kMembers + 1 + world.round));
     }},
};

} // namespace

/// Under this name `check-cost.sh` tells the counted calls from the others.
extern "C" [[gnu::noinline]] void costOf(const void* operation, void* world) {
    for (U32 i = 0; i < kTimes; ++i) {
        ++static_cast<World*>(world)->round;
        static_cast<const Operation*>(operation)->run(*static_cast<World*>(world));
    }
}

int main() {
    std::printf("%u times, g++ %s, glibc %s\n", kTimes, __VERSION__, gnu_get_libc_version());
    World world;
    for (const Operation& operation : kOperations) {
        operation.run(world); // what only the first time costs
        costOf(&operation, &world);
        std::printf("%s\n", operation.name);
    }
}
