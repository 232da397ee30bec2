#include "agent/desired/StateDatabase.h"
#include "agent/model/Configuration.h"
#include "agent/model/Undo.h"
#include "agent/outcome/Errors.h"
#include "driver-status/PdCall.h"

namespace LagAgent {

using BfLagGroup::LagGroupGroup;
using BfLagGroup::LagGroupMember;

/// When it ends, however it does, it is looked up again which of the members are in the group.
class Configuration::MembershipScope {
  public:
    MembershipScope(Configuration& configuration, GroupId group, std::vector<MemberId> members)
        : configuration_(configuration), group_(group), members_(std::move(members)) {}
    ~MembershipScope() {
        const auto model = configuration_.profile().group(group_);
        for (const MemberId member : members_) {
            configuration_.memberships_.is(member.value(), group_.value(),
                                           model && model->member(member));
        }
    }
    MembershipScope(const MembershipScope&) = delete;
    MembershipScope& operator=(const MembershipScope&) = delete;

  private:
    Configuration& configuration_;
    GroupId group_;
    std::vector<MemberId> members_;
};

LagGroupGroup::Ptr Configuration::requiredGroup(GroupId group) const {
    const auto model = profile().group(group);
    if (!model) {
        refuse("there is no " + nameOf(group) + ": add it with 'group add' first");
    }
    return model;
}

LagGroupMember::Ptr Configuration::requiredGroupMember(GroupId group, MemberId member) const {
    const auto model = requiredGroup(group)->member(member);
    if (!model) {
        refuse(nameOf(member) + " is not in " + nameOf(group) +
               ": put it in with 'group member add' first");
    }
    return model;
}

void Configuration::requireNotAbandoned(GroupId group, MemberId member) const {
    requireNotAbandoned({group.value(), false});
    if (isAbandoned(group, member)) {
        refuse(nameOf(member) + " of " + nameOf(group) +
               " was abandoned when the chip refused to take it out: take it out again");
    }
}

void Configuration::requireNotAbandoned(const Target& target) const {
    if (target.member() ? isAbandoned(MemberId(target.id())) : isAbandoned(GroupId(target.id()))) {
        refuse(nameOf(target) +
               " was abandoned when the chip refused to delete it: delete it again");
    }
}

void Configuration::requireJoinable(MemberId member, GroupId group, ActionType type) const {
    const auto entry = requiredMember(member);
    requireNotAbandoned({member.value(), true});
    if (driver_.handles().member(member).value() == 0) {
        refuse(nameOf(member) +
               " has no handle in hardware: set its action again with 'member set' "
               "first");
    }
    if (const auto own = entry->action()->actionType(); own != type) {
        refuse(nameOf(member) + " carries " + nameOf(own) + ", but " + nameOf(group) + " takes " +
               nameOf(type) + " only: change the member with 'member set' first");
    }
}

void Configuration::groupAdd(GroupId group, std::uint32_t size, MemberId initial, ActionType type) {
    if (profile().group(group)) {
        // Throws where a value differs: they are fixed while the group lives.
        profile().groupIs(group, size, initial.value(), type);
        refuse(nameOf(group) + " exists already, with these values");
    }
    requireJoinable(initial, group, type);
    desire([&](StateDatabase& desired) {
        desired.groupIs(group, {size, initial.value(), type, {{initial.value(), true}}});
    });
    const MembershipScope scope(*this, group, {initial});
    changeOrUndo([&] { profile().groupIs(group, size, initial.value(), type); },
                 [&] { dropFailedGroup(group); });
}

void Configuration::dropFailedGroup(GroupId group) {
    const auto model = profile().group(group);
    if (!model) {
        return;
    }
    {
        // The initial member, if the driver got that far, has not joined in hardware.
        Silence silence(*model);
        model->memberDelAll();
    }
    if (isAbandoned(group)) {
        Silence silence(profile());
        profile().groupDel(group);
        return;
    }
    try {
        profile().groupDel(group);
    } catch (...) {
        // The chip has the group and does not let go of it. The first failure is the one to show.
        putBack(*model);
    }
}

void Configuration::groupDel(GroupId group) {
    const auto model = requiredGroup(group);
    requireUnused({group.value(), false});
    std::vector<MemberId> members;
    for (const auto& member : model->member()) {
        members.push_back(member->memberId());
    }
    desire([&](StateDatabase& desired) { desired.groupDel(group); });
    const MembershipScope scope(*this, group, std::move(members));
    if (isAbandoned(group)) {
        abandonedGroupDel(group);
        return;
    }
    changeOrUndo([&] { profile().groupDel(group); }, [&] { putBack(*model); });
}

/// Enters a group like the removed one into the model, unseen by the driver.
void Configuration::putBack(const LagGroupGroup& removed) {
    Silence silence(profile());
    const auto group = profile().groupIs(removed.groupId(), removed.groupSize(),
                                         removed.initialMemberId(), removed.actionType());
    for (const auto& member : removed.member()) {
        group->memberIs(member->memberId())->activeIs(member->active());
    }
}

void Configuration::abandonedGroupDel(GroupId group) {
    driver_.chipGroupDel(driver_.handles().group(group).value());
    driver_.handles().groupDel(group);
    Silence silence(profile());
    profile().groupDel(group);
}

void Configuration::groupMemberAdd(GroupId group, MemberId member) {
    const auto model = requiredGroup(group);
    requireNotAbandoned(group, member);
    if (model->member(member)) {
        refuse(nameOf(member) + " is in " + nameOf(group) + " already");
    }
    requireJoinable(member, group, model->actionType());
    desire([&](StateDatabase& desired) { desired.groupMemberIs(group, member, true); });
    const MembershipScope scope(*this, group, {member});
    changeOrUndo([&] { model->memberIs(member); },
                 [&] {
                     Silence silence(*model);
                     model->memberDel(member);
                 });
}

void Configuration::groupMemberDel(GroupId group, MemberId member) {
    const auto model = requiredGroup(group);
    const bool wasActive = requiredGroupMember(group, member)->active();
    if (isAbandoned(group)) {
        requireNotAbandoned(group, member);
    }
    if (model->members() == 1) {
        refuse(nameOf(group) + " would be empty: delete the group instead");
    }
    desire([&](StateDatabase& desired) { desired.groupMemberDel(group, member); });
    const MembershipScope scope(*this, group, {member});
    if (isAbandoned(group, member)) {
        abandonedGroupMemberDel(group, member);
        return;
    }
    changeOrUndo([&] { model->memberDel(member); },
                 [&] {
                     Silence silence(*model);
                     model->memberIs(member)->activeIs(wasActive);
                 });
}

void Configuration::abandonedGroupMemberDel(GroupId group, MemberId member) {
    BfTable::pdCall(driver_.pd().p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group,
                    driver_.stateMachine().sessionHandle(), driver_.helper().deviceId(),
                    driver_.handles().group(group).value(),
                    driver_.handles().member(member).value());
    const auto model = profile().group(group);
    Silence silence(*model);
    model->memberDel(member);
}

void Configuration::groupMemberSet(GroupId group, MemberId member, bool active) {
    const auto model = requiredGroupMember(group, member);
    requireNotAbandoned(group, member);
    desire([&](StateDatabase& desired) { desired.groupMemberIs(group, member, active); });
    changeOrUndo([&] { model->activeIs(active); },
                 [&] {
                     Silence silence(*model);
                     model->activeIs(!active);
                 });
}

} // namespace LagAgent
