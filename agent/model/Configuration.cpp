#include "agent/model/Configuration.h"

#include "agent/desired/StateDatabase.h"
#include "agent/outcome/Errors.h"

// What members, groups and entries have in common: how they are kept, and who uses whom.

namespace LagAgent {

namespace {

std::pair<bool, std::uint32_t> keyOf(const Configuration::Target& target) {
    return {target.member(), target.id()};
}

} // namespace

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
    return !driver_.stateMachine().actionProfile(member) && profile().entry(member);
}

bool Configuration::isAbandoned(GroupId group) const {
    return !driver_.stateMachine().group(group) && profile().group(group);
}

bool Configuration::isAbandoned(GroupId group, MemberId member) const {
    const auto model = profile().group(group);
    const auto reactor = driver_.stateMachine().group(group);
    return model && model->member(member) && !(reactor && reactor->groupMember(member));
}

const Configuration::Memberships& Configuration::knownMemberships() const {
    if (!memberships_.isCollected()) {
        std::vector<Memberships::Pair> all;
        for (const auto& group : profile().group()) {
            for (const auto& member : group->member()) {
                all.emplace_back(member->memberId().value(), group->groupId().value());
            }
        }
        memberships_.collectedAre(std::move(all));
    }
    return memberships_;
}

std::optional<Configuration::GroupId> Configuration::lowestGroupOf(MemberId member) const {
    const auto group = knownMemberships().lowestOf(member.value());
    return group ? std::optional(GroupId(*group)) : std::nullopt;
}

void Configuration::requireUnused(const Target& target) const {
    if (!pointing_.isCollected()) {
        std::vector<decltype(pointing_)::Pair> all;
        for (const auto& [entry, installed] : entries_) {
            all.emplace_back(keyOf(installed.target), entry);
        }
        pointing_.collectedAre(std::move(all));
    }
    if (const auto entry = pointing_.lowestOf(keyOf(target))) {
        refuse("the " + nameOf(*entry) + " points at " + nameOf(target) +
               ": delete it or point it elsewhere first");
    }
}

void Configuration::pointingWasChanged(const EntryName& entry, const Target& target) noexcept {
    const auto found = entries_.find(entry);
    pointing_.is(keyOf(target), entry, found != entries_.end() && found->second.target == target);
}

} // namespace LagAgent
