#pragma once

#include "BfLagGroup/LagGroupActionProfileSmFrame.h"

namespace BfLagGroup {

/**
 * Programs one entry of the model as a member of the hardware action profile.
 *
 * The member is added when `sdkHandles()` has no handle for it (0 counts as none), and modified in
 * place when it has one, also to another action. When the reactor dies, the member is deleted.
 */
class KEL_EXPORT LagGroupActionProfileSm::KelActionProfile
    : public Reactor<KelActionProfile, LagGroupActionProfileEntry const>,
      public Kel::HashMapLink<KelActionProfile> {
  public:
    /// Registers on the entry and programs the member.
    KelActionProfile(const Kel::Ptr<LagGroupActionProfileEntry const>& entry,
                     LagGroupActionProfileSm* sm);
    ~KelActionProfile() override;

    void onAttribute(Kel::AttributeId id, const void* key) override;
    /// Follows another entry of the same member, and programs the member from it.
    void notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) override;
    virtual void kelDoZombieReactors(bool zombie);

    /// The watched entry.
    const Kel::Ptr<LagGroupActionProfileEntry const>& actionProfile() const noexcept {
        return model();
    }
    RuxTable::RuxMemberId fwkKey() const noexcept { return memberId_; }

    /// The state machine; null once the reactor is detached.
    LagGroupActionProfileSm* lagGroupActionProfileSm() const noexcept { return sm_; }
    void ownerDel() noexcept { sm_ = nullptr; }

    /// Adds or modifies the member. When the chip refuses to add, no handle is stored: a reactor
    /// that is there adds again at the next change, one that is being made is not kept. When the
    /// chip refuses to modify, the handle and the old action stay. REQUIRES: an owner and an entry.
    void handleActionProfileAdd();
    /// Deletes the member. When the chip refuses, the handle stays. REQUIRES: an owner; a handle.
    void handleActionProfileDel();

    static const Kel::Type fwkType_;

  private:
    RuxTable::RuxMemberId memberId_;
    LagGroupActionProfileSm* sm_;
};

} // namespace BfLagGroup
