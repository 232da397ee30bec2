#include "BfLagGroup/KelLagGroupActionProfile.h"

#include "BfLagGroup/LagGroupActionProfileSm.h"

namespace BfLagGroup {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using Sm = LagGroupActionProfileSm;

constinit const Kel::Type Sm::KelLagGroupActionProfile::fwkType_{
    .name = "BfLagGroup::LagGroupActionProfileSm::KelLagGroupActionProfile",
    .kind = Kel::Type::Kind::object,
    .base = &Kel::PtrInterface::NotifieeConst::fwkType_};

Sm::KelLagGroupActionProfile::KelLagGroupActionProfile(const LagGroupActionProfile::Ptr& profile,
                                                       Sm* sm)
    : Reactor(profile), sm_(sm) {}

Sm::KelLagGroupActionProfile::~KelLagGroupActionProfile() {
    zombiePassOfDestructor();
}

void Sm::KelLagGroupActionProfile::onAttribute(Kel::AttributeId id, const void* key) {
    if (!key || !model() || !sm_ || kelMarkedForDeletion()) {
        return;
    }
    if (id == LagGroupActionProfile::kGroup) {
        const RuxGroupId groupId = *static_cast<const RuxGroupId*>(key);
        if (const LagGroupGroup::PtrConst group = model()->group().lookup(groupId)) {
            const Kel::Pin pin(*this); // whoever its handle is announced to may let go of it
            sm_->groupIs(group);
            // The model may have changed again while the group was programmed and announced.
            if (sm_ && model() && !model()->group().lookup(groupId)) {
                sm_->groupDel(groupId);
            }
        } else {
            sm_->groupDel(groupId);
        }
    } else if (id == LagGroupActionProfile::kEntry) {
        const RuxMemberId memberId = *static_cast<const RuxMemberId*>(key);
        if (const LagGroupActionProfileEntry::PtrConst entry = model()->entry(memberId)) {
            const Kel::Pin pin(*this);
            sm_->actionProfileIs(entry);
            if (sm_ && model() && !model()->entry().lookupNodeG(memberId)) {
                sm_->actionProfileDel(memberId);
            }
        } else {
            sm_->actionProfileDel(memberId);
        }
    }
}

void Sm::KelLagGroupActionProfile::notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) {
    retarget(notifier, [this] {
        if (model() && sm_) {
            const Kel::Pin smPin(*sm_);
            sm_->followProfile(model());
        }
    });
}

void Sm::KelLagGroupActionProfile::kelDoZombieReactors(bool zombie) {
    zombiePass(zombie, notifier() != nullptr, [](const auto&) {});
}

} // namespace BfLagGroup
