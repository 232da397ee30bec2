#include "agent/chip/Driver.h"

#include "BfLagGroup/KelLagGroupActionProfile.h"
#include "agent/outcome/Errors.h"
#include "driver-status/PdCall.h"

namespace LagAgent {

using BfLagGroup::LagGroupActionProfile;
using BfLagGroup::LagGroupActionProfileSm;
using BfLagGroup::LagGroupMatchSpec;

namespace {

/// The state machine that follows the profile: it is behind one of the profile's notifiees.
LagGroupActionProfileSm* stateMachineOf(const LagGroupActionProfile& profile) {
    LagGroupActionProfileSm* found = nullptr;
    profile.notifieeList()->forEach([&](Kel::PtrInterface::NotifieeConst& notifiee) {
        using Reactor = LagGroupActionProfileSm::KelLagGroupActionProfile;
        if (const auto* reactor = dynamic_cast<Reactor*>(&notifiee)) {
            found = reactor->lagGroupActionProfileSm();
        }
    });
    return found;
}

/// The driver has no entry of that match spec in the chip.
bool isGone(const RuxTable::MatchSpecBase::PtrConst& match,
            const BfLagGroup::LagGroupTableHandles& handles) {
    const auto* spec = match ? dynamic_cast<const LagGroupMatchSpec*>(&*match) : nullptr;
    return spec && handles.entry(LagGroupMatchSpec::PtrConst(spec)).value() == 0;
}

} // namespace

Driver::Driver(const PdLibrary& library, const Target& target, const KeyManagerPtr& keys)
    : library_(library), status_(new RuxTableStatusManager::InProcessStatusManager),
      table_(lagGroupTableFactory(keys, status_, library.handle(), library.session(), target.device,
                                  target.pipe, library.path().c_str())),
      profile_(lagGroupActionProfileFactory(table_)), sm_(stateMachineOf(*profile_)) {
    if (!sm_) {
        throw CommandError(ErrorKind::start, "no state machine follows the action profile");
    }
    Kel::attributeIs(sm_, "sessionHandle", Kel::U32{library_.session()});
    const LagGroupActionProfile* const profile = &*profile_;
    const auto* const entryHandles = &handles();
    status_->whatIsGoneIs(
        [entryHandles](const auto& match) { return isGone(match, *entryHandles); },
        [profile](RuxTable::RuxMemberId id) { return !profile->entry(id); },
        [profile](RuxTable::RuxGroupId id) { return !profile->group(id); });
    asking_.reset(&*status_);
}

void Driver::chipMemberDel(std::uint32_t member) const {
    BfTable::pdCall(pd().p4_pd_velmor_switch_lagPortActionProfile_del_member, sm_->sessionHandle(),
                    helper().deviceId(), member);
}

void Driver::chipGroupDel(std::uint32_t group) const {
    BfTable::pdCall(pd().p4_pd_velmor_switch_lagPortActionProfile_del_group, sm_->sessionHandle(),
                    helper().deviceId(), group);
}

} // namespace LagAgent
