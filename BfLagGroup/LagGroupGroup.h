#pragma once

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "BfLagGroup/LagGroupMember.h"

namespace BfLagGroup {

/**
 * One selector group in the model. Its id, size, initial member and action type are fixed at
 * construction; its members come and go, announced as attribute 262 with the member id.
 *
 * Destruction removes the members one by one, announced, before the notifiees are dropped.
 */
class KEL_EXPORT LagGroupGroup : public Kel::Object<LagGroupGroup, Kel::Entity>,
                                 public Kel::HashMapLink<LagGroupGroup> {
  public:
    using Members = Kel::HashMap<LagGroupMember, RuxTable::RuxMemberId, 2044359915u>;

    static constexpr Kel::AttributeId kGroupSize = 259;
    static constexpr Kel::AttributeId kInitialMemberId = 260;
    static constexpr Kel::AttributeId kActionType = 261;
    static constexpr Kel::AttributeId kMember = 262;

    LagGroupGroup(RuxTable::RuxGroupId groupId, U32 groupSize, U32 initialMemberId,
                  LagGroupActionProfileType actionType);
    ~LagGroupGroup() override;

    RuxTable::RuxGroupId groupId() const noexcept { return groupId_; }
    RuxTable::RuxGroupId fwkKey() const noexcept { return groupId_; }
    /// The largest number of members, as the hardware is told when the group is made.
    U32 groupSize() const noexcept { return groupSize_; }
    /// The member that joins as soon as the hardware group is made, so that no group is empty.
    U32 initialMemberId() const noexcept { return initialMemberId_; }
    /// The action that every member must carry.
    LagGroupActionProfileType actionType() const noexcept { return actionType_; }

    const Members& member() const noexcept { return member_; }
    /// The member of that id, or null.
    LagGroupMember::Ptr member(RuxTable::RuxMemberId memberId) const;
    /// Number of members.
    U32 members() const noexcept { return member_.size(); }

    /// The member of that id, made (active) when the group has none.
    LagGroupMember::Ptr memberIs(RuxTable::RuxMemberId memberId);
    /// Removes the member and returns it; null when there is none.
    LagGroupMember::Ptr memberDel(RuxTable::RuxMemberId memberId);
    /// Removes every member, each as `memberDel` does.
    void memberDelAll();

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    RuxTable::RuxGroupId groupId_;
    U32 groupSize_;
    U32 initialMemberId_;
    LagGroupActionProfileType actionType_;
    Members member_;
};

} // namespace BfLagGroup
