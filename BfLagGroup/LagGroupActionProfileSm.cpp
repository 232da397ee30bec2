#include "BfLagGroup/LagGroupActionProfileSm.h"

#include <utility>

#include "BfLagGroup/Site.h"

namespace BfLagGroup {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using Sm = LagGroupActionProfileSm;

struct LagGroupActionProfileSm::Attributes {
    // 136 is not an attribute of this class.
    using Table = Kel::AttributeTable<
        Sm, Kel::ScalarRow<"lagGroupActionProfile", 130, &Sm::lagGroupActionProfile>,
        Kel::ScalarRow<"helper", 131, &Sm::helper>,
        Kel::ScalarRow<"glimtKeyManager", 132, &Sm::glimtKeyManager>,
        Kel::ScalarRow<"statusManager", 133, &Sm::statusManager>,
        Kel::ScalarRow<"sessionHandle", 134, &Sm::sessionHandle, &Sm::sessionHandleIs>,
        Kel::CollectionRow<"actionProfile", Sm::kActionProfile, &Sm::actionProfile_,
                           &Sm::actionProfileIs, &Sm::actionProfileDel>,
        Kel::CollectionRow<"group", Sm::kGroup, &Sm::group_, &Sm::groupIs, &Sm::groupDel>>;
};

constinit const Kel::Type LagGroupActionProfileSm::fwkType_ = Attributes::Table::objectType(
    "BfLagGroup::LagGroupActionProfileSm", Kel::PtrInterface::fwkType_);

LagGroupActionProfileSm::LagGroupActionProfileSm(const LagGroupActionProfile::Ptr& profile,
                                                 const LagGroupTableHelper::Ptr& helper,
                                                 const GlimtKeyManager::Ptr& glimtKeyManager,
                                                 const StatusManager::Ptr& statusManager)
    : helper_(helper), glimtKeyManager_(glimtKeyManager), statusManager_(statusManager) {
    const Kel::Pin pin(*this); // reachable through the profile's notifiees from here on
    if (profile) {
        lagGroupActionProfile_ = new KelLagGroupActionProfile(profile, this);
        lagGroupActionProfile_->hasNotificationActiveIs(true);
        try {
            followProfile(profile);
        } catch (...) {
            if (lagGroupActionProfile_) {
                lagGroupActionProfile_->ownerDel();
            }
            throw;
        }
    }
}

LagGroupActionProfileSm::~LagGroupActionProfileSm() {
    const Kel::Pin pin(*this);
    LagGroupActionProfileSm::kelDoZombieReactors(true);
    if (lagGroupActionProfile_) {
        lagGroupActionProfile_->ownerDel();
    }
    actionProfile_.ownerDelAll();
    group_.ownerDelAll();
}

LagGroupActionProfileSm::Ptr LagGroupActionProfileSm::LagGroupActionProfileSmIs(
    const LagGroupActionProfile::Ptr& profile, const LagGroupTableHelper::Ptr& helper,
    const GlimtKeyManager::Ptr& glimtKeyManager, const StatusManager::Ptr& statusManager) {
    Ptr sm = new LagGroupActionProfileSm(profile, helper, glimtKeyManager, statusManager);
    sm->hasNotificationActiveIs(true);
    return sm;
}

void LagGroupActionProfileSm::followProfile(LagGroupActionProfile::Ptr profile) {
    followAll(
        profile->entry(), actionProfile_, [this](const auto& entry) { actionProfileIs(entry); },
        [this](RuxMemberId memberId) { actionProfileDel(memberId); },
        [&](RuxMemberId memberId) { return profile->entry().lookupNodeG(memberId) != nullptr; });
    followAll(
        profile->group(), group_, [this](const auto& group) { groupIs(group); },
        [this](RuxGroupId groupId) { groupDel(groupId); },
        [&](RuxGroupId groupId) { return profile->group().lookup(groupId) != nullptr; });
}

void LagGroupActionProfileSm::hasNotificationActiveIs(bool active) {
    if (active == hasNotificationActive()) {
        return;
    }
    Object::hasNotificationActiveIs(active);
    if (lagGroupActionProfile_) {
        lagGroupActionProfile_->hasNotificationActiveIs(active);
    }
    for (auto& reactor : actionProfile_) {
        reactor->hasNotificationActiveIs(active);
    }
    for (auto& reactor : group_) {
        reactor->hasNotificationActiveIs(active);
    }
}

void LagGroupActionProfileSm::kelDoZombieReactors(bool zombie) {
    if (kelMarkedForDeletion() == zombie) {
        return;
    }
    const Kel::Pin pin(*this);
    if (lagGroupActionProfile_) {
        lagGroupActionProfile_->kelDoZombieReactors(zombie);
    }
    for (auto& reactor : actionProfile_) {
        reactor->kelDoZombieReactors(zombie);
    }
    for (auto& reactor : group_) {
        reactor->kelDoZombieReactors(zombie);
    }
    kelMarkedForDeletionIs(zombie);
}

const LagGroupTableHelper& LagGroupActionProfileSm::failWithoutHelper() {
    constexpr Site kSite{"const BfLagGroup::LagGroupTableHelper& "
                         "BfLagGroup::LagGroupActionProfileSm::requiredHelper() const",
                         "requiredHelper"};
    fail("helper()", kSite);
}

LagGroupActionProfile::Ptr LagGroupActionProfileSm::lagGroupActionProfile() const {
    return lagGroupActionProfile_ ? lagGroupActionProfile_->model() : nullptr;
}

LagGroupActionProfile::Ptr LagGroupActionProfileSm::lagGroupActionProfileDel() {
    const KelLagGroupActionProfile::Ptr reactor = std::exchange(lagGroupActionProfile_, nullptr);
    if (!reactor) {
        return nullptr;
    }
    retireAndDetach(*reactor);
    return reactor->model();
}

Kel::Ptr<Sm::KelActionProfile> LagGroupActionProfileSm::actionProfile(RuxMemberId memberId) const {
    return actionProfile_.lookup(memberId);
}

Kel::Ptr<Sm::KelActionProfile>
LagGroupActionProfileSm::actionProfileIs(const Kel::Ptr<LagGroupActionProfileEntry const>& entry) {
    if (!entry) {
        Kel::throwMutatorArgNullPointerException(&fwkType_, kActionProfile);
    }
    const Kel::Pin pin(*this); // whoever a handle is announced to may let go of it
    const ActionProfiles::Probe probe(entry->memberId());
    KelActionProfile::Ptr reactor = actionProfile_.lookup(probe);
    if (reactor) {
        if (reactor->actionProfile() == entry) {
            return reactor;
        }
        reactor->notifierIs(entry);
    } else {
        reactor = new KelActionProfile(entry, this);
        if (KelActionProfile::Ptr newer = actionProfile_.lookup(probe)) {
            // Somebody whom the new handle was announced to has replaced the entry, and what is
            // programmed now is theirs.
            reactor->ownerDel();
            return newer;
        }
        reactor->hasNotificationActiveIs(true);
        actionProfile_.newMember(reactor, probe);
    }
    // A reactor made while the state machine is dying dies with it.
    reactor->kelDoZombieReactors(kelMarkedForDeletion());
    return reactor;
}

Kel::Ptr<Sm::KelActionProfile> LagGroupActionProfileSm::actionProfileDel(RuxMemberId memberId) {
    KelActionProfile::Ptr reactor = actionProfile_.deleteMember(memberId);
    if (reactor) {
        retireAndDetach(*reactor);
    }
    return reactor;
}

void LagGroupActionProfileSm::actionProfileDelAll() {
    const Kel::Pin pin(*this);
    actionProfile_.memberDelAll([this](RuxMemberId memberId) { actionProfileDel(memberId); });
}

Kel::Ptr<Sm::KelGroup> LagGroupActionProfileSm::group(RuxGroupId groupId) const {
    return group_.lookup(groupId);
}

Kel::Ptr<Sm::KelGroup>
LagGroupActionProfileSm::groupIs(const Kel::Ptr<LagGroupGroup const>& group) {
    if (!group) {
        Kel::throwMutatorArgNullPointerException(&fwkType_, kGroup);
    }
    const Kel::Pin pin(*this);
    const Groups::Probe probe(group->groupId());
    if (KelGroup::Ptr existing = group_.lookup(probe)) {
        if (existing->group() == group) {
            return existing;
        }
        groupDel(group->groupId());
    }
    KelGroup::Ptr reactor = new KelGroup(group, this);
    if (KelGroup::Ptr newer = group_.lookup(probe)) {
        // Likewise: the handle that counts is the one of the newer group.
        reactor->ownerDel();
        return newer;
    }
    reactor->hasNotificationActiveIs(true);
    group_.newMember(reactor, probe);
    // The initial member came into the model while the reactor was not yet told of anything.
    reactor->followGroup();
    reactor->kelDoZombieReactors(kelMarkedForDeletion());
    return reactor;
}

Kel::Ptr<Sm::KelGroup> LagGroupActionProfileSm::groupDel(RuxGroupId groupId) {
    const Kel::Pin pin(*this); // its members look for it after the handle's end is announced
    KelGroup::Ptr reactor = group_.deleteMember(groupId);
    if (reactor) {
        retireAndDetach(*reactor);
    }
    return reactor;
}

void LagGroupActionProfileSm::groupDelAll() {
    const Kel::Pin pin(*this);
    group_.memberDelAll([this](RuxGroupId groupId) { groupDel(groupId); });
}

void LagGroupActionProfileSm::kel_handleActionProfile(const Kel::Ptr<KelActionProfile>& reactor) {
    if (reactor) {
        reactor->handleActionProfileDel();
    }
}

void LagGroupActionProfileSm::kel_handleGroup(const Kel::Ptr<KelGroup>& reactor) {
    if (reactor) {
        reactor->handleGroupDel();
    }
}

} // namespace BfLagGroup
