#include "agent/Configuration.h"

#include <algorithm>

#include "agent/Errors.h"
#include "agent/state/StateDatabase.h"

// What members, groups and entries have in common: how they are kept, and who uses whom.

namespace LagAgent {

void Configuration::commit() {
    if (!desired_) {
        return;
    }
    try {
        desired_->commit();
    } catch (const std::exception& e) {
        isOutOfStep_ = true;
        throw DesiredStateLost(std::string(e.what()) +
                               ": the chip has the change, the desired state has not");
    }
}

void Configuration::rollback() noexcept {
    if (desired_) {
        desired_->rollback();
    }
}

void Configuration::requireInStep() const {
    if (isOutOfStep_) {
        refuse("an earlier change could not be kept: no more changes before the agent is started "
               "again");
    }
}

bool Configuration::isAbandoned(MemberId member) const {
    return profile().entry(member) && !driver_.stateMachine().actionProfile(member);
}

bool Configuration::isAbandoned(GroupId group) const {
    return profile().group(group) && !driver_.stateMachine().group(group);
}

bool Configuration::isAbandoned(GroupId group, MemberId member) const {
    const auto model = profile().group(group);
    const auto reactor = driver_.stateMachine().group(group);
    return model && model->member(member) && !(reactor && reactor->groupMember(member));
}

std::vector<Configuration::GroupId> Configuration::groupsOf(MemberId member) const {
    std::vector<GroupId> groups;
    for (const auto& group : profile().group()) {
        if (group->member(member)) {
            groups.push_back(group->groupId());
        }
    }
    std::ranges::sort(groups, {}, [](GroupId group) { return group.value(); });
    return groups;
}

void Configuration::requireUnused(const Target& target) const {
    for (const auto& [entry, installed] : entries_) {
        if (installed.target == target) {
            refuse("the " + nameOf(entry) + " points at " + nameOf(target) +
                   ": delete it or point it elsewhere first");
        }
    }
}

} // namespace LagAgent
