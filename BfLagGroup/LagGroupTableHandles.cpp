#include "BfLagGroup/LagGroupTableHandles.h"

namespace BfLagGroup {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkEntryHandle;
using RuxTable::RuxSdkGroupHandle;
using RuxTable::RuxSdkMemberHandle;

struct LagGroupTableHandles::Attributes {
    using H = LagGroupTableHandles;
    using Table = Kel::EntityAttributeTable<
        H, Kel::CollectionRow<"entry", H::kEntry, &H::entry_, &H::entryIs, &H::entryDel>,
        Kel::CollectionRow<"group", H::kGroup, &H::group_, &H::groupIs, &H::groupDel>,
        Kel::CollectionRow<"member", H::kMember, &H::member_, &H::memberIs, &H::memberDel>>;
};

constinit const Kel::Type LagGroupTableHandles::fwkType_ =
    Attributes::Table::objectType("BfLagGroup::LagGroupTableHandles", Kel::Entity::fwkType_);

namespace {

template <class Map>
typename Map::Value handleOf(const Map& map, const typename Map::Key& key) {
    const auto* node = map.lookupNodeG(key);
    return node ? node->value() : typename Map::Value{};
}

} // namespace

LagGroupTableHandles::LagGroupTableHandles() : Object("sdkHandles") {}
LagGroupTableHandles::~LagGroupTableHandles() {
    notifiees_.deleteAll();
}

LagGroupTableHandles::Ptr LagGroupTableHandles::LagGroupTableHandlesIs() {
    Ptr handles = new LagGroupTableHandles;
    handles->hasNotificationActiveIs(true);
    return handles;
}

LagGroupTableHandles::Ptr lagGroupTableHandlesFactory() {
    return LagGroupTableHandles::LagGroupTableHandlesIs();
}

template <class Map>
void LagGroupTableHandles::handleIs(Map& map, Kel::AttributeId id, const typename Map::Key& key,
                                    typename Map::Value handle) {
    const auto* node = map.lookupNodeG(key);
    if (node && node->value() == handle) {
        return;
    }
    // The caller's key may be the map's own, and a notifiee may change the map.
    const typename Map::Key announced = key;
    map.memberIs(announced, handle);
    notifiees_.visit(id, &announced);
}

template <class Map>
typename Map::Value LagGroupTableHandles::handleDel(Map& map, Kel::AttributeId id,
                                                    const typename Map::Key& key) {
    const typename Map::Key announced = key; // the caller's may be the map's own, and go with it
    typename Map::Value handle;
    if (map.deleteMemberG(announced, &handle)) {
        notifiees_.visit(id, &announced);
    }
    return handle;
}

RuxSdkEntryHandle LagGroupTableHandles::entry(const LagGroupMatchSpec::PtrConst& match) const {
    return handleOf(entry_, match);
}
RuxSdkGroupHandle LagGroupTableHandles::group(RuxGroupId groupId) const {
    return handleOf(group_, groupId);
}
RuxSdkMemberHandle LagGroupTableHandles::member(RuxMemberId memberId) const {
    return handleOf(member_, memberId);
}

void LagGroupTableHandles::entryIs(const LagGroupMatchSpec::PtrConst& match,
                                   RuxSdkEntryHandle handle) {
    handleIs(entry_, kEntry, match, handle);
}
void LagGroupTableHandles::groupIs(RuxGroupId groupId, RuxSdkGroupHandle handle) {
    handleIs(group_, kGroup, groupId, handle);
}
void LagGroupTableHandles::memberIs(RuxMemberId memberId, RuxSdkMemberHandle handle) {
    handleIs(member_, kMember, memberId, handle);
}

RuxSdkEntryHandle LagGroupTableHandles::entryDel(const LagGroupMatchSpec::PtrConst& match) {
    return handleDel(entry_, kEntry, match);
}
RuxSdkGroupHandle LagGroupTableHandles::groupDel(RuxGroupId groupId) {
    return handleDel(group_, kGroup, groupId);
}
RuxSdkMemberHandle LagGroupTableHandles::memberDel(RuxMemberId memberId) {
    return handleDel(member_, kMember, memberId);
}

void LagGroupTableHandles::entryDelAll() {
    const Kel::Pin pin(*this);
    entry_.memberDelAll([this](const auto& match) { entryDel(match); });
}
void LagGroupTableHandles::groupDelAll() {
    const Kel::Pin pin(*this);
    group_.memberDelAll([this](RuxGroupId groupId) { groupDel(groupId); });
}
void LagGroupTableHandles::memberDelAll() {
    const Kel::Pin pin(*this);
    member_.memberDelAll([this](RuxMemberId memberId) { memberDel(memberId); });
}

} // namespace BfLagGroup
