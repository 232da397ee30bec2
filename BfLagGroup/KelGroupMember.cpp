#include "BfLagGroup/KelGroupMember.h"

#include "BfLagGroup/KelActionProfile.h"
#include "BfLagGroup/Site.h"
#include "driver-status/PdCall.h"

namespace BfLagGroup {

using BfTable::pdCall;
using RuxTable::RuxMemberId;
using Sm = LagGroupActionProfileSm;
using KelGroupMember = Sm::KelGroup::KelGroupMember;

constinit const Kel::Type KelGroupMember::fwkType_{
    .name = "BfLagGroup::LagGroupActionProfileSm::KelGroup::KelGroupMember",
    .kind = Kel::Type::Kind::object,
    .base = &Kel::PtrInterface::NotifieeConst::fwkType_};

namespace {

constexpr Site kAdd{
    "void BfLagGroup::LagGroupActionProfileSm::KelGroup::KelGroupMember::handleMemberAdd()",
    "handleMemberAdd"};
constexpr Site kDel{
    "void BfLagGroup::LagGroupActionProfileSm::KelGroup::KelGroupMember::handleMemberDel()",
    "handleMemberDel"};
constexpr Site kActive{
    "void BfLagGroup::LagGroupActionProfileSm::KelGroup::KelGroupMember::handleActive()",
    "handleActive"};

/// States of a member in a hardware group.
constexpr U32 kSdkActive = 0;
constexpr U32 kSdkInactive = 1;

} // namespace

/// What the three handlers start from: the entry is traced, the status manager told, and the
/// hardware at hand.
struct KelGroupMember::Hardware {
    Hardware(const KelGroupMember& reactor, const Site& operation)
        : site(operation), sm(requiredSm(reactor, operation)),
          groupId(reactor.kelGroup_->groupId()), memberId(reactor.memberId()),
          helper(sm.requiredHelper()) {
        traceEntry(site);
        if (const auto& statusManager = sm.statusManager()) {
            statusManager->initSelGroupStatus(groupId);
        }
    }

    static const Sm& requiredSm(const KelGroupMember& reactor, const Site& operation) {
        require(reactor.isOwned(), "kelGroup() && kelGroup()->lagGroupActionProfileSm()",
                operation);
        return *reactor.kelGroup_->lagGroupActionProfileSm();
    }
    U32 memberHandle() const { return helper.requiredHandles().member(memberId).value(); }
    U32 groupHandle() const { return helper.requiredHandles().group(groupId).value(); }
    const BfPdLagGroup::PdOperations& pd() const { return helper.requiredPdLib(); }

    U32 requiredMemberHandle() const {
        const U32 handle = memberHandle();
        require(handle != 0,
                "actionProfileSm->helper()->sdkHandles()->member( groupMember()->memberId() )",
                site);
        return handle;
    }
    U32 requiredGroupHandle() const {
        const U32 handle = groupHandle();
        require(handle != 0,
                "actionProfileSm->helper()->sdkHandles()->group( kelGroup()->groupId() )", site);
        return handle;
    }

    const Site& site;
    const Sm& sm;
    RuxTable::RuxGroupId groupId;
    RuxMemberId memberId;
    const LagGroupTableHelper& helper;
};

KelGroupMember::KelGroupMember(const Kel::Ptr<LagGroupMember const>& member, KelGroup* kelGroup)
    : Reactor(member), memberId_(member ? member->memberId() : RuxMemberId()), kelGroup_(kelGroup) {
    const Kel::Pin pin(*this); // reachable through the member's notifiees from here on
    if (model() && isOwned()) {
        handleMemberAdd();
    }
}

KelGroupMember::~KelGroupMember() {
    zombiePassOfDestructor();
}

void KelGroupMember::onAttribute(Kel::AttributeId id, const void*) {
    if (id == LagGroupMember::kActive && model() && !kelMarkedForDeletion() && isOwned()) {
        handleActive();
    }
}

void KelGroupMember::notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) {
    const auto previous = groupMember();
    retarget(notifier, [&] {
        if (!model() || kelMarkedForDeletion() || !isOwned()) {
            return;
        }
        if (model()->memberId() != memberId_) {
            handleMemberAdd();
        } else if (!previous || previous->active() != model()->active()) {
            handleActive(); // it is in the hardware group already
        }
    });
}

void KelGroupMember::kelDoZombieReactors(bool zombie) {
    zombiePass(zombie, true, [this](const Ptr& self) {
        if (isOwned()) {
            kelGroup_->kel_handleGroupMember(self);
        }
    });
}

void KelGroupMember::handleMemberAdd() {
    const Hardware hardware(*this, kAdd);
    const U32 memberHandle = hardware.requiredMemberHandle();
    const U32 groupHandle = hardware.requiredGroupHandle();
    const auto* tap = hardware.sm.actionProfile().lookup(hardware.memberId);
    require(tap != nullptr, "tap", kAdd);
    const auto* action = tap->actionProfile() ? tap->actionProfile()->action().ptr() : nullptr;
    require(
        action && kelGroup_->group() && action->actionType() == kelGroup_->group()->actionType(),
        "tap->actionProfile()->action()->actionType() == kelGroup()->group()->actionType()", kAdd);
    pdCall(hardware.pd().p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group,
           hardware.sm.sessionHandle(), hardware.helper.deviceId(), groupHandle, memberHandle);
}

void KelGroupMember::handleMemberDel() {
    const Hardware hardware(*this, kDel);
    const U32 memberHandle = hardware.requiredMemberHandle();
    if (hardware.sm.group().lookup(hardware.groupId) != kelGroup_ || !kelGroup_->group()) {
        // The group is being deleted, and the chip releases its members with it. There may be
        // another one of its id already.
        return;
    }
    require(kelGroup_->members() > 0,
            "actionProfileSm->group( kelGroup()->groupId() )->members() > 0 && \"deleting the last "
            "member is not allowed\"",
            kDel);
    pdCall(hardware.pd().p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group,
           hardware.sm.sessionHandle(), hardware.helper.deviceId(), hardware.groupHandle(),
           memberHandle);
}

void KelGroupMember::handleActive() {
    const Hardware hardware(*this, kActive);
    require(groupMember() != nullptr, "groupMember()", kActive);
    const U32 state = groupMember()->active() ? kSdkActive : kSdkInactive;
    const U32 memberHandle = hardware.requiredMemberHandle();
    const U32 groupHandle = hardware.requiredGroupHandle();
    pdCall(hardware.pd().p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set,
           hardware.sm.sessionHandle(), hardware.helper.deviceId(), groupHandle, memberHandle,
           state);
}

} // namespace BfLagGroup
