#include "BfLagGroup/LagGroupGroup.h"

namespace BfLagGroup {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

struct LagGroupGroup::Attributes {
    using G = LagGroupGroup;
    using Table = Kel::EntityAttributeTable<
        G, Kel::ScalarRow<"groupId", 258, &G::groupId>,
        Kel::ScalarRow<"groupSize", G::kGroupSize, &G::groupSize>,
        Kel::ScalarRow<"initialMemberId", G::kInitialMemberId, &G::initialMemberId>,
        Kel::ScalarRow<"actionType", G::kActionType, &G::actionType>,
        Kel::CollectionRow<"member", G::kMember, &G::member_, &G::memberIs, &G::memberDel>>;
    static constexpr const char* constructorParameters[] = {"groupId", "groupSize",
                                                            "initialMemberId", "actionType"};
};

constinit const Kel::Type LagGroupGroup::fwkType_ = Attributes::Table::objectType(
    "BfLagGroup::LagGroupGroup", Kel::Entity::fwkType_, Attributes::constructorParameters);

LagGroupGroup::LagGroupGroup(RuxGroupId groupId, U32 groupSize, U32 initialMemberId,
                             LagGroupActionProfileType actionType)
    : Object(groupId.value()), groupId_(groupId), groupSize_(groupSize),
      initialMemberId_(initialMemberId), actionType_(actionType) {}

LagGroupGroup::~LagGroupGroup() {
    const Kel::Pin pin(*this); // what is announced from here on finds an object that stays
    memberDelAll();
    notifiees_.deleteAll();
    member_.emptyAllBuckets();
}

LagGroupMember::Ptr LagGroupGroup::member(RuxMemberId memberId) const {
    return member_.lookup(memberId);
}

LagGroupMember::Ptr LagGroupGroup::memberIs(RuxMemberId memberId) {
    const Members::Probe probe(memberId);
    if (LagGroupMember* existing = member_.lookup(probe)) {
        return existing;
    }
    LagGroupMember::Ptr made = new LagGroupMember(memberId);
    made->hasNotificationActiveIs(true);
    member_.newMember(made, probe);
    made->handleParent(this, "member");
    notifiees_.visit(kMember, &memberId);
    return made;
}

LagGroupMember::Ptr LagGroupGroup::memberDel(RuxMemberId memberId) {
    LagGroupMember::Ptr removed = member_.deleteMember(memberId);
    if (removed) {
        removed->handleParent(nullptr, "");
        notifiees_.visit(kMember, &memberId);
    }
    return removed;
}

void LagGroupGroup::memberDelAll() {
    const Kel::Pin pin(*this);
    member_.memberDelAll([this](RuxMemberId memberId) { memberDel(memberId); });
}

} // namespace BfLagGroup
