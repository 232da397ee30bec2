#include "BfLagGroup/KelActionProfile.h"

#include <array>

#include "BfLagGroup/Site.h"
#include "driver-status/PdCall.h"

namespace BfLagGroup {

using BfTable::pdCall;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkMemberHandle;
using Sm = LagGroupActionProfileSm;

constinit const Kel::Type Sm::KelActionProfile::fwkType_{
    .name = "BfLagGroup::LagGroupActionProfileSm::KelActionProfile",
    .kind = Kel::Type::Kind::object,
    .base = &Kel::PtrInterface::NotifieeConst::fwkType_};

namespace {

constexpr Site kAdd{
    "void BfLagGroup::LagGroupActionProfileSm::KelActionProfile::handleActionProfileAdd()",
    "handleActionProfileAdd"};
constexpr Site kDel{
    "void BfLagGroup::LagGroupActionProfileSm::KelActionProfile::handleActionProfileDel()",
    "handleActionProfileDel"};

using Pd = BfPdLagGroup::PdOperations;

/// The two PD operations of one action, with the same arguments for all five; `port` goes to the
/// chip only where the action has data.
struct ActionOperations {
    void (*add)(const Pd& pd, U32 session, p4_pd_dev_target_t target, U16 port, U32* handle);
    void (*modify)(const Pd& pd, U32 session, int device, U32 handle, U16 port);
};

template <auto kAddOperation, auto kModifyOperation>
constexpr ActionOperations withoutData() {
    return {[](const Pd& pd, U32 session, p4_pd_dev_target_t target, U16, U32* handle) {
                pdCall(pd.*kAddOperation, session, target, handle);
            },
            [](const Pd& pd, U32 session, int device, U32 handle, U16) {
                pdCall(pd.*kModifyOperation, session, device, handle);
            }};
}

template <auto kAddOperation, auto kModifyOperation>
constexpr ActionOperations withPort() {
    return {[](const Pd& pd, U32 session, p4_pd_dev_target_t target, U16 port, U32* handle) {
                p4_pd_velmor_switch_setLagPort_action_spec_t spec{.action_egrL2AintfPort = port};
                pdCall(pd.*kAddOperation, session, target, &spec, handle);
            },
            [](const Pd& pd, U32 session, int device, U32 handle, U16 port) {
                p4_pd_velmor_switch_setLagPort_action_spec_t spec{.action_egrL2AintfPort = port};
                pdCall(pd.*kModifyOperation, session, device, handle, &spec);
            }};
}

/// Indexed by `LagGroupActionProfileType`.
constexpr std::array kActions{
    withoutData<
        &Pd::p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment,
        &Pd::p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment>(),
    withoutData<
        &Pd::p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort,
        &Pd::
            p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort>(),
    withPort<&Pd::p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort,
             &Pd::p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort>(),
    withoutData<&Pd::p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort,
                &Pd::p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort>(),
    withoutData<&Pd::p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo,
                &Pd::p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo>(),
};

/// The operations of the action; null for no action and for a type that the chip does not have.
const ActionOperations* operationsOf(const LagGroupBaseActionProfileSpec::PtrConst& action) {
    const auto type = action ? static_cast<U32>(action->actionType()) : kActions.size();
    return type < kActions.size() ? &kActions[type] : nullptr;
}

} // namespace

Sm::KelActionProfile::KelActionProfile(const Kel::Ptr<LagGroupActionProfileEntry const>& entry,
                                       Sm* sm)
    : Reactor(entry), memberId_(entry ? entry->memberId() : RuxMemberId()), sm_(sm) {
    const Kel::Pin pin(*this); // reachable through the entry's notifiees from here on
    if (model() && sm_) {
        handleActionProfileAdd();
    }
}

Sm::KelActionProfile::~KelActionProfile() {
    zombiePassOfDestructor();
}

void Sm::KelActionProfile::onAttribute(Kel::AttributeId id, const void*) {
    if (id == LagGroupActionProfileEntry::kAction && model() && !kelMarkedForDeletion() && sm_) {
        handleActionProfileAdd();
    }
}

void Sm::KelActionProfile::notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) {
    retarget(notifier, [this] {
        if (model() && !kelMarkedForDeletion() && sm_) {
            handleActionProfileAdd();
        }
    });
}

void Sm::KelActionProfile::kelDoZombieReactors(bool zombie) {
    zombiePass(zombie, notifier() != nullptr, [this](const Ptr& self) {
        if (sm_) {
            sm_->kel_handleActionProfile(self);
        }
    });
}

void Sm::KelActionProfile::handleActionProfileAdd() {
    traceEntry(kAdd, 339);
    require(sm_ && actionProfile(), "lagGroupActionProfileSm() && actionProfile()", kAdd);
    const RuxMemberId memberId = actionProfile()->memberId();
    if (const auto& statusManager = sm_->statusManager()) {
        statusManager->initAdtStatus(memberId);
    }
    const auto action = actionProfile()->action();
    const ActionOperations* operations = operationsOf(action);
    if (!operations) {
        return;
    }
    const auto& helper = sm_->requiredHelper();
    auto& handles = helper.requiredHandles();
    auto& pd = helper.requiredPdLib();
    const U16 port = action->egrL2AintfPort();
    if (const U32 handle = handles.member(memberId).value(); handle != 0) {
        operations->modify(pd, sm_->sessionHandle(), helper.deviceId(), handle, port);
        return;
    }
    // The factory maps such a key back to the member after a restart. It is not given back when the
    // chip refuses the member.
    if (const auto& keys = sm_->glimtKeyManager()) {
        keys->allocAnon(memberId.value());
    }
    U32 handle = 0;
    operations->add(pd, pd.sessionId(), helper.deviceTarget(), port, &handle);
    handles.memberIs(memberId, RuxSdkMemberHandle(handle));
}

void Sm::KelActionProfile::handleActionProfileDel() {
    traceEntry(kDel, 510);
    require(sm_ != nullptr, "lagGroupActionProfileSm()", kDel);
    const RuxMemberId memberId = actionProfile() ? actionProfile()->memberId() : memberId_;
    if (const auto& statusManager = sm_->statusManager()) {
        statusManager->initAdtStatus(memberId);
    }
    const auto& helper = sm_->requiredHelper();
    auto& handles = helper.requiredHandles();
    const U32 handle = handles.member(memberId).value();
    require(handle != 0,
            "lagGroupActionProfileSm()->helper()->sdkHandles()->member( "
            "actionProfile()->memberId() )",
            kDel, 514);
    pdCall(helper.requiredPdLib().p4_pd_velmor_switch_lagPortActionProfile_del_member,
           sm_->sessionHandle(), helper.deviceId(), handle);
    handles.memberDel(memberId);
}

} // namespace BfLagGroup
