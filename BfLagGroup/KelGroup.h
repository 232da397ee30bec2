#pragma once

#include "BfLagGroup/LagGroupActionProfileSmFrame.h"

namespace BfLagGroup {

/**
 * Programs one selector group, and owns a reactor for each of its members.
 *
 * The hardware group is made with the reactor. Right after that the group's initial member is
 * written into the model group, so that no group is ever empty; its reactor is made by the state
 * machine's `groupIs` once this reactor's notifications are on.
 *
 * A model group handed to a new reactor must be without members, or have its hardware handle
 * already: members found at construction join the hardware group before it is made.
 */
class KEL_EXPORT LagGroupActionProfileSm::KelGroup : public Reactor<KelGroup, LagGroupGroup const>,
                                                     public Kel::HashMapLink<KelGroup> {
  public:
    class KelGroupMember;
    using GroupMembers = OwnedReactors<KelGroupMember, RuxTable::RuxMemberId, 2970215000u>;

    KelGroup(const Kel::Ptr<LagGroupGroup const>& group, LagGroupActionProfileSm* sm);
    ~KelGroup() override;

    /// Passed on to every member reactor when it changes.
    void hasNotificationActiveIs(bool active) override;
    void onAttribute(Kel::AttributeId id, const void* key) override;
    /// Follows another group object, and makes the member reactors agree with what it holds.
    void notifierIs(const Kel::Ptr<Kel::PtrInterface const>& notifier) override;
    /// Retires the member's reactor and returns it; null when there is none. A reactor whose last
    /// PD call throws is out of the collection all the same.
    virtual Kel::Ptr<KelGroupMember> groupMemberDel(RuxTable::RuxMemberId memberId);
    virtual Kel::Ptr<KelGroupMember> groupMemberDel(const GroupMembers::Iterator& position);
    /// The reactor of the member, made when there is none; it then follows this object. Throws
    /// `Kel::MutatorArgNullPointerException` for null, and what the PD call throws; the reactor is
    /// then not kept, while the model member stays in the model.
    virtual Kel::Ptr<KelGroupMember> groupMemberIs(const Kel::Ptr<LagGroupMember const>& member);
    virtual void kelDoZombieReactors(bool zombie);

    /// Makes a reactor. REQUIRES: the member is not null and has none.
    Kel::Ptr<KelGroupMember> newGroupMember(const Kel::Ptr<LagGroupMember const>& member);
    void groupMemberDelAll();

    const GroupMembers& groupMember() const noexcept { return groupMember_; }
    /// The reactor of that member, or null.
    Kel::Ptr<KelGroupMember> groupMember(RuxTable::RuxMemberId memberId) const;

    /// The watched group.
    const Kel::Ptr<LagGroupGroup const>& group() const noexcept { return model(); }
    RuxTable::RuxGroupId groupId() const noexcept { return groupId_; }
    RuxTable::RuxGroupId fwkKey() const noexcept { return groupId_; }
    /// Number of members that the model group holds.
    U32 members() const noexcept { return group() ? group()->members() : 0; }

    /// The state machine; null once the reactor is detached.
    LagGroupActionProfileSm* lagGroupActionProfileSm() const noexcept { return sm_; }
    void ownerDel() noexcept { sm_ = nullptr; }

    /// Makes the hardware group and writes the initial member into the model. When the chip
    /// refuses, no handle is stored. When the model's group is made again while the handle is
    /// announced, the hardware group is deleted again. REQUIRES: an owner; the group is in the
    /// owner's model.
    void handleGroupAdd();
    /// Deletes the hardware group, which releases its members. When the chip refuses, the handle
    /// stays. REQUIRES: an owner; a handle.
    void handleGroupDel();
    /// The hardware action of a retired member reactor.
    void kel_handleGroupMember(const Kel::Ptr<KelGroupMember>& reactor);

    /// Makes the member reactors agree with what the model group holds now.
    void followGroup();

    static const Kel::Type fwkType_;

  private:
    RuxTable::RuxGroupId groupId_;
    LagGroupActionProfileSm* sm_;
    GroupMembers groupMember_;
};

} // namespace BfLagGroup
