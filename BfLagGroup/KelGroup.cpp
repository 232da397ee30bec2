#include "BfLagGroup/KelGroup.h"

#include "BfLagGroup/KelGroupMember.h"
#include "BfLagGroup/Site.h"
#include "driver-status/PdCall.h"

namespace BfLagGroup {

using BfTable::pdCall;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkGroupHandle;
using Sm = LagGroupActionProfileSm;

constinit const Kel::Type Sm::KelGroup::fwkType_{
    .name = "BfLagGroup::LagGroupActionProfileSm::KelGroup",
    .kind = Kel::Type::Kind::object,
    .base = &Kel::PtrInterface::NotifieeConst::fwkType_};

namespace {

constexpr Site kAdd{"void BfLagGroup::LagGroupActionProfileSm::KelGroup::handleGroupAdd()",
                    "handleGroupAdd"};
constexpr Site kDel{"void BfLagGroup::LagGroupActionProfileSm::KelGroup::handleGroupDel()",
                    "handleGroupDel"};

} // namespace

Sm::KelGroup::KelGroup(const Kel::Ptr<LagGroupGroup const>& group, Sm* sm)
    : Reactor(group), groupId_(group ? group->groupId() : RuxTable::RuxGroupId()), sm_(sm) {
    const Kel::Pin pin(*this); // reachable through the group's notifiees from here on
    if (model() && sm_) {
        followGroup(); // members of a group that has its handle already; see the class comment
        handleGroupAdd();
    }
}

Sm::KelGroup::~KelGroup() {
    zombiePassOfDestructor();
}

void Sm::KelGroup::hasNotificationActiveIs(bool active) {
    if (active == hasNotificationActive()) {
        return;
    }
    Reactor::hasNotificationActiveIs(active);
    for (auto& member : groupMember_) {
        member->hasNotificationActiveIs(active);
    }
}

void Sm::KelGroup::onAttribute(Kel::AttributeId id, const void* key) {
    if (id != LagGroupGroup::kMember || !key || !group() || !sm_ || kelMarkedForDeletion()) {
        return;
    }
    const RuxMemberId memberId = *static_cast<const RuxMemberId*>(key);
    if (const LagGroupMember::PtrConst member = group()->member().lookup(memberId)) {
        groupMemberIs(member);
    } else {
        groupMemberDel(memberId);
    }
}

void Sm::KelGroup::notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) {
    retarget(notifier, [this] {
        if (!kelMarkedForDeletion() && sm_) {
            followGroup();
        }
    });
}

void Sm::KelGroup::followGroup() {
    if (!group()) {
        return;
    }
    followAll(
        group()->member(), groupMember_, [this](auto& member) { groupMemberIs(member); },
        [this](RuxMemberId memberId) { groupMemberDel(memberId); },
        [this](RuxMemberId memberId) { return group()->member().lookup(memberId) != nullptr; });
}

Kel::Ptr<Sm::KelGroup::KelGroupMember> Sm::KelGroup::groupMember(RuxMemberId memberId) const {
    return groupMember_.lookup(memberId);
}

Kel::Ptr<Sm::KelGroup::KelGroupMember>
Sm::KelGroup::groupMemberIs(const Kel::Ptr<LagGroupMember const>& member) {
    if (!member) {
        Kel::throwMutatorArgNullPointerException("BfLagGroup::LagGroupActionProfileSm::KelGroup",
                                                 "groupMember");
    }
    if (KelGroupMember::Ptr existing = groupMember_.lookup(member->memberId())) {
        if (existing->groupMember() != member) {
            existing->notifierIs(member); // the model's member has been made again
        }
        return existing;
    }
    return newGroupMember(member);
}

Kel::Ptr<Sm::KelGroup::KelGroupMember>
Sm::KelGroup::newGroupMember(const Kel::Ptr<LagGroupMember const>& member) {
    KelGroupMember::Ptr reactor = new KelGroupMember(member, this);
    reactor->hasNotificationActiveIs(true);
    groupMember_.newMember(reactor);
    return reactor;
}

Kel::Ptr<Sm::KelGroup::KelGroupMember> Sm::KelGroup::groupMemberDel(RuxMemberId memberId) {
    KelGroupMember::Ptr reactor = groupMember_.deleteMember(memberId);
    if (reactor) {
        retireAndDetach(*reactor);
    }
    return reactor;
}

Kel::Ptr<Sm::KelGroup::KelGroupMember>
Sm::KelGroup::groupMemberDel(const GroupMembers::Iterator& position) {
    return position == groupMember_.end() ? nullptr : groupMemberDel((*position)->fwkKey());
}

void Sm::KelGroup::groupMemberDelAll() {
    groupMember_.memberDelAll([this](RuxMemberId memberId) { groupMemberDel(memberId); });
}

void Sm::KelGroup::kelDoZombieReactors(bool zombie) {
    zombiePass(zombie, true, [&](const Ptr& self) {
        if (!sm_) {
            return;
        }
        sm_->kel_handleGroup(self);
        for (auto& member : groupMember_) {
            member->kelDoZombieReactors(zombie);
        }
    });
}

void Sm::KelGroup::kel_handleGroupMember(const Kel::Ptr<KelGroupMember>& reactor) {
    if (reactor) {
        reactor->handleMemberDel();
    }
}

void Sm::KelGroup::handleGroupAdd() {
    traceEntry(kAdd);
    require(sm_ && group(), "lagGroupActionProfileSm() && group()", kAdd);
    if (const auto& keys = sm_->glimtKeyManager()) {
        keys->allocAnon(groupId().value());
    }
    const auto& helper = sm_->requiredHelper();
    // The chip counts members in 16 bits; the model does not refuse more.
    const auto groupSize = static_cast<U16>(group()->groupSize());
    if (const auto& statusManager = sm_->statusManager()) {
        statusManager->initSelGroupStatus(groupId());
    }
    U32 handle = 0;
    pdCall(helper.requiredPdLib().p4_pd_velmor_switch_lagPortActionProfile_create_group,
           sm_->sessionHandle(), helper.deviceTarget(), groupSize, &handle);
    helper.requiredHandles().groupIs(groupId(), RuxSdkGroupHandle(handle));
    if (const auto* newer = sm_->group().lookup(groupId()); newer && newer != this) {
        // Somebody whom the handle was announced to has made the group again. The map has that
        // one's handle, and nobody will ask for this one.
        pdCall(helper.requiredPdLib().p4_pd_velmor_switch_lagPortActionProfile_del_group,
               sm_->sessionHandle(), helper.deviceId(), handle);
        return;
    }

    const auto profile = sm_->lagGroupActionProfile();
    require(profile != nullptr, "lagGroupActionProfileSm()->lagGroupActionProfile()", kAdd);
    const auto modelGroup = profile->group(groupId());
    require(modelGroup != nullptr,
            "lagGroupActionProfileSm()->lagGroupActionProfile()->group( groupId() )", kAdd);
    modelGroup->memberIs(RuxMemberId(group()->initialMemberId()));
}

void Sm::KelGroup::handleGroupDel() {
    traceEntry(kDel);
    require(sm_ != nullptr, "lagGroupActionProfileSm()", kDel);
    if (const auto& statusManager = sm_->statusManager()) {
        statusManager->initSelGroupStatus(groupId());
    }
    const auto& helper = sm_->requiredHelper();
    auto& handles = helper.requiredHandles();
    const U32 handle = handles.group(groupId()).value();
    require(handle != 0,
            "lagGroupActionProfileSm()->helper()->sdkHandles()->group( group()->groupId() )", kDel);
    // When `groupDel` retires this reactor, the state machine no longer finds it, and these check
    // the members' handles only: the chip releases the members with the group. When the whole state
    // machine is torn down it still finds it, and then a group with members left is a fatal
    // assertion.
    for (auto& member : groupMember_) {
        member->handleMemberDel();
    }
    pdCall(helper.requiredPdLib().p4_pd_velmor_switch_lagPortActionProfile_del_group,
           sm_->sessionHandle(), helper.deviceId(), handle);
    handles.groupDel(groupId());
}

} // namespace BfLagGroup
