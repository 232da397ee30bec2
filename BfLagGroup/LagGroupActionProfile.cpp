#include "BfLagGroup/LagGroupActionProfile.h"

namespace BfLagGroup {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

struct LagGroupActionProfile::Attributes {
    using P = LagGroupActionProfile;
    using Table = Kel::EntityAttributeTable<
        P, Kel::CollectionRow<"group", P::kGroup, &P::group_, &P::groupIs, &P::groupDel>,
        Kel::CollectionRow<"entry", P::kEntry, &P::entry_, &P::entryIs, &P::entryDel>>;
    static constexpr const char* constructorParameters[] = {"name"};
};

constinit const Kel::Type LagGroupActionProfile::fwkType_ = Attributes::Table::objectType(
    "BfLagGroup::LagGroupActionProfile", Kel::Entity::fwkType_, Attributes::constructorParameters);

LagGroupActionProfile::LagGroupActionProfile(Kel::Name name) : Object(std::move(name)) {}

LagGroupActionProfile::~LagGroupActionProfile() {
    const Kel::Pin pin(*this); // what is announced from here on finds an object that stays
    groupDelAll();
    notifiees_.deleteAll();
    entry_.emptyAllBuckets();
    group_.emptyAllBuckets();
}

LagGroupActionProfileEntry::Ptr LagGroupActionProfile::entry(RuxMemberId memberId) const {
    const auto* node = entry_.lookupNodeG(memberId);
    return node ? node->value() : nullptr;
}

void LagGroupActionProfile::entryIs(const LagGroupActionProfileEntry::Ptr& entry) {
    if (!entry) {
        Kel::throwMutatorArgNullPointerException(&fwkType_, kEntry);
    }
    const RuxMemberId memberId = entry->memberId();
    if (auto* node = entry_.lookupNodeG(memberId)) {
        if (node->value() == entry) {
            return;
        }
        entry->hasNotificationActiveIs(true);
        // The replaced entry is released here, before anyone is told.
        node->exchangeValue(entry);
    } else {
        entry->hasNotificationActiveIs(true);
        entry_.newMemberG(memberId, entry);
    }
    notifiees_.visit(kEntry, &memberId);
}

LagGroupActionProfileEntry::Ptr LagGroupActionProfile::entryDel(RuxMemberId memberId) {
    LagGroupActionProfileEntry::Ptr removed;
    if (entry_.deleteMemberG(memberId, &removed)) {
        notifiees_.visit(kEntry, &memberId);
    }
    return removed;
}

void LagGroupActionProfile::entryDelAll() {
    const Kel::Pin pin(*this);
    entry_.memberDelAll([this](RuxMemberId memberId) { entryDel(memberId); });
}

LagGroupGroup::Ptr LagGroupActionProfile::group(RuxGroupId groupId) const {
    return group_.lookup(groupId);
}

LagGroupGroup::Ptr LagGroupActionProfile::groupIs(RuxGroupId groupId, U32 groupSize,
                                                  U32 initialMemberId,
                                                  LagGroupActionProfileType actionType) {
    const Groups::Probe probe(groupId);
    if (LagGroupGroup* existing = group_.lookup(probe)) {
        if (existing->groupSize() != groupSize) {
            Kel::throwMutatorReinstantiating(existing, LagGroupGroup::kGroupSize, groupSize,
                                             existing->groupSize());
        }
        if (existing->initialMemberId() != initialMemberId) {
            Kel::throwMutatorReinstantiating(existing, LagGroupGroup::kInitialMemberId,
                                             initialMemberId, existing->initialMemberId());
        }
        if (const auto oldType = existing->actionType(); oldType != actionType) {
            Kel::Impl::throwMutatorReinstVal(existing, LagGroupGroup::kActionType, &actionType,
                                             &oldType);
        }
        return existing;
    }
    LagGroupGroup::Ptr made = new LagGroupGroup(groupId, groupSize, initialMemberId, actionType);
    made->hasNotificationActiveIs(true);
    group_.newMember(made, probe);
    made->handleParent(this, "group");
    notifiees_.visit(kGroup, &groupId);
    return made;
}

LagGroupGroup::Ptr LagGroupActionProfile::groupDel(RuxGroupId groupId) {
    LagGroupGroup::Ptr removed = group_.deleteMember(groupId);
    if (removed) {
        removed->handleParent(nullptr, "");
        notifiees_.visit(kGroup, &groupId);
    }
    return removed;
}

void LagGroupActionProfile::groupDelAll() {
    const Kel::Pin pin(*this);
    group_.memberDelAll([this](RuxGroupId groupId) { groupDel(groupId); });
}

} // namespace BfLagGroup
