#pragma once

#include "BfLagGroup/LagGroupActionProfileSmFrame.h"

namespace BfLagGroup {

/// Watches the profile's collections: entries and groups that come, go or are replaced. Does no
/// hardware work of its own. The agent finds the state machine through this reactor, which is among
/// the profile's notifiees.
class KEL_EXPORT LagGroupActionProfileSm::KelLagGroupActionProfile
    : public Reactor<KelLagGroupActionProfile, LagGroupActionProfile> {
  public:
    KelLagGroupActionProfile(const LagGroupActionProfile::Ptr& profile,
                             LagGroupActionProfileSm* sm);
    ~KelLagGroupActionProfile() override;

    void onAttribute(Kel::AttributeId id, const void* key) override;
    /// Follows another profile, and makes the state machine agree with what it holds.
    void notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) override;
    virtual void kelDoZombieReactors(bool zombie);

    /// The state machine; null once the reactor is detached.
    LagGroupActionProfileSm* lagGroupActionProfileSm() const noexcept { return sm_; }
    void ownerDel() noexcept { sm_ = nullptr; }

    static const Kel::Type fwkType_;

  private:
    LagGroupActionProfileSm* sm_;
};

} // namespace BfLagGroup
