#pragma once

#include "BfLagGroup/KelGroup.h"

namespace BfLagGroup {

/**
 * Programs one member of one selector group: its membership, and whether it is active.
 *
 * It makes neither the member nor the group: both must have their handles, and the member must
 * carry the group's action type. Joining programs no state, since the chip's members start active
 * as the model's do.
 */
class KEL_EXPORT LagGroupActionProfileSm::KelGroup::KelGroupMember
    : public Reactor<KelGroupMember, LagGroupMember const>,
      public Kel::HashMapLink<KelGroupMember> {
  public:
    /// Registers on the model member and puts the member into the hardware group.
    KelGroupMember(const Kel::Ptr<LagGroupMember const>& member, KelGroup* kelGroup);
    ~KelGroupMember() override;

    void onAttribute(Kel::AttributeId id, const void* key) override;
    /// Follows another model member. One of the same id is in the hardware group already: its state
    /// is programmed when it differs from the one before. One of another id joins.
    void notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) override;
    virtual void kelDoZombieReactors(bool zombie);

    /// The watched member.
    const Kel::Ptr<LagGroupMember const>& groupMember() const noexcept { return model(); }
    RuxTable::RuxMemberId fwkKey() const noexcept { return memberId_; }

    /// The group's reactor; null once this one is detached.
    KelGroup* kelGroup() const noexcept { return kelGroup_; }
    void ownerDel() noexcept { kelGroup_ = nullptr; }

    /// Adds the member to the group. REQUIRES: an owner; both handles; the group's action type.
    void handleMemberAdd();
    /// Takes the member out of the group, unless the owner is no longer the state machine's reactor
    /// of that group. REQUIRES: an owner; the member's handle; another member left in the group.
    void handleMemberDel();
    /// Programs the member's state. REQUIRES: an owner; both handles.
    void handleActive();

    static const Kel::Type fwkType_;

  private:
    struct Hardware;

    /// Whether there is still a group and a state machine to work for.
    bool isOwned() const noexcept { return kelGroup_ && kelGroup_->lagGroupActionProfileSm(); }
    RuxTable::RuxMemberId memberId() const noexcept {
        return groupMember() ? groupMember()->memberId() : memberId_;
    }

    RuxTable::RuxMemberId memberId_;
    KelGroup* kelGroup_;
};

} // namespace BfLagGroup
