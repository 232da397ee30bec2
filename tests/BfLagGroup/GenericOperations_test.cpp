#include "tests/BfLagGroup/GenericFixture.h"

using namespace generic_test;

namespace {

struct GenericFields : Generic {};
struct GenericEntities : Generic {};
struct GenericModel : Generic {};
struct GenericHandles : Generic {};
struct GenericContext : Generic {};
struct GenericValues : Generic {};

constexpr auto kRead = Operation::read;
constexpr auto kWrite = Operation::write;
constexpr auto kRemove = Operation::remove;
constexpr auto kCount = Operation::count;
constexpr auto kSlots = Operation::slots;
constexpr auto kContains = Operation::contains;

/// Writes without wanting a result.
template <class... Arguments>
void write(Kel::PtrInterface& object, AttributeId id, const Arguments&... arguments) {
    EXPECT_EQ(perform(object, id, kWrite, nullptr, arguments...), Kel::kGenericDone);
}

// Fields that are plainly stored

TEST_F(GenericFields, OfAMatchSpecAreStoredEachInItsPlace) {
    auto& match = *instances.match;
    EXPECT_EQ(read<U32>(match, 130), 0u);
    write(match, 130, U32{4294967295u});
    write(match, 131, U32{4294967294u});
    write(match, 132, U32{4294967293u});
    EXPECT_EQ(match.egrMdEgrL2AintfUnresolved(), 4294967295u);
    EXPECT_EQ(match.egrMdEgrL2AintfUnresolvedMask(), 4294967294u);
    EXPECT_EQ(match.priority(), 4294967293u);
    EXPECT_EQ(read<U32>(match, 130), 4294967295u);
    EXPECT_EQ(read<U32>(match, 131), 4294967294u);
    EXPECT_EQ(read<U32>(match, 132), 4294967293u);
}

TEST_F(GenericFields, OfEveryActionSpecAreStoredEachInItsPlace) {
    for (const auto& action : instances.actions) {
        write(*action, 131, U16{65535});
        write(*action, 130, static_cast<ActionType>(7));
        EXPECT_EQ(action->egrL2AintfPort(), 65535u);
        EXPECT_EQ(static_cast<U32>(action->actionType()), 7u);
        EXPECT_EQ(read<U16>(*action, 131), 65535u);
        EXPECT_EQ(static_cast<U32>(read<ActionType>(*action, 130)), 7u);
    }
}

TEST_F(GenericFields, AreStoredWithoutTellingANotifiee) {
    Follower follower(instances.match);
    EXPECT_FALSE(follower.isRegisteredNotifiee()); // such an object announces nothing
    write(*instances.match, 130, U32{1});
    EXPECT_THAT(follower.notices(), IsEmpty());
}

// The attributes that every entity has

TEST_F(GenericEntities, AllHaveNameParentAndPath) {
    struct Case {
        Kel::PtrInterface* entity;
        const char* name;
        const Kel::Entity* parent;
        const char* parentAttrName;
        const char* fullName;
    };
    const Case cases[] = {
        {instances.profile.ptr(), "lagGroup", nullptr, "", "lagGroup"},
        {instances.table.ptr(), "lagGroup", nullptr, "", "lagGroup"},
        {instances.helper->sdkHandles().ptr(), "sdkHandles", nullptr, "", "sdkHandles"},
        {instances.entry.ptr(), "1", nullptr, "", "1"},
        {instances.group.ptr(), "10", instances.profile.ptr(), "group", "lagGroup/group[10]"},
        {instances.member.ptr(), "3", instances.group.ptr(), "member",
         "lagGroup/group[10]/member[3]"},
    };
    for (const auto& [entity, name, parent, parentAttrName, fullName] : cases) {
        EXPECT_EQ(read<Kel::Name>(*entity, 130), name);
        EXPECT_EQ(read<Kel::Ptr<Kel::Entity>>(*entity, 138), parent) << fullName;
        EXPECT_EQ(read<Kel::Name>(*entity, 139), parentAttrName) << fullName;
        EXPECT_EQ(read<Kel::Name>(*entity, 141), fullName);
    }
}

TEST_F(GenericEntities, ListTheirChildrenByComponent) {
    auto& group = *instances.group;
    const auto other = group.memberIs(RuxMemberId(4));
    using Child = Kel::Ptr<Kel::Entity>;
    EXPECT_EQ(yield<U32>(group, 143, kCount), 2u);
    EXPECT_EQ(yield<U32>(group, 143, kSlots), 2u);
    EXPECT_EQ(read<Child>(group, 143, Kel::Name("member[3]")), instances.member.ptr());
    EXPECT_EQ(read<Child>(group, 143, Kel::Name("member[5]")), nullptr);
    EXPECT_TRUE(yield<bool>(group, 143, kContains, Kel::Name("member[4]")));
    EXPECT_FALSE(yield<bool>(group, 143, kContains, Kel::Name("4")));
    EXPECT_THAT((iterate<Kel::Name, Child>(group, 143)),
                ElementsAre(std::pair(Kel::Name("member[3]"), Child(instances.member)),
                            std::pair(Kel::Name("member[4]"), Child(other))));
    EXPECT_EQ(yield<U32>(*instances.entry, 143, kCount), 0u);
}

TEST_F(GenericEntities, TakeAParentAndLetItGo) {
    const Kel::Ptr<Kel::Entity> parent = instances.profile;
    write(*instances.entry, 138, parent);
    EXPECT_EQ(instances.entry->parent(), parent);
    EXPECT_EQ(instances.entry->fullName(), "lagGroup/1");
    write(*instances.entry, 138, Kel::Ptr<Kel::Entity>());
    EXPECT_EQ(instances.entry->parent(), nullptr);
}

// The model

TEST_F(GenericModel, ReadsAndWritesActiveThroughTheMutatorThatAnnounces) {
    auto& member = *instances.member;
    Follower follower(member);
    EXPECT_EQ(read<RuxMemberId>(member, 258), RuxMemberId(3));
    EXPECT_TRUE(read<bool>(member, 259));
    write(member, 259, true);
    EXPECT_THAT(follower.take(), IsEmpty());
    write(member, 259, false);
    EXPECT_THAT(follower.take(), ElementsAre(Notice{259, std::nullopt}));
    EXPECT_FALSE(member.active());
    EXPECT_FALSE(read<bool>(member, 259));
}

TEST_F(GenericModel, ReadsAndWritesTheActionOfAnEntryAs260And259IsNoAttribute) {
    auto& entry = *instances.entry;
    Follower follower(entry);
    const LagGroupBaseActionProfileSpec::PtrConst action = instances.actions[3];
    EXPECT_EQ(read<RuxMemberId>(entry, 258), RuxMemberId(1));
    write(entry, 260, action);
    EXPECT_EQ(entry.action(), action);
    EXPECT_EQ(read<LagGroupBaseActionProfileSpec::PtrConst>(entry, 260), action);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{260, std::nullopt}));
    EXPECT_EQ(entry.fwkType()->attribute(AttributeId(259)), nullptr);
    const Attribute absent{.name = "action", .id = 259};
    EXPECT_EQ(perform(*entry.fwkType(), &entry, &absent, kRead, nullptr), Kel::kGenericUnknown);
}

TEST_F(GenericModel, ReadsTheFixedAttributesOfAGroup) {
    auto& group = *instances.group;
    EXPECT_EQ(read<RuxGroupId>(group, 258), RuxGroupId(10));
    EXPECT_EQ(read<U32>(group, 259), 4u);
    EXPECT_EQ(read<U32>(group, 260), 1u);
    EXPECT_EQ(read<ActionType>(group, 261), ActionType::setLagPortActionProfileSpec);
}

TEST_F(GenericModel, MakesFindsAndDeletesTheMembersOfAGroup) {
    auto& group = *instances.group;
    const Follower follower(group);
    const auto made = yield<LagGroupMember::Ptr>(group, 262, kWrite, RuxMemberId(4));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(group.member(RuxMemberId(4)), made);
    EXPECT_EQ(yield<LagGroupMember::Ptr>(group, 262, kWrite, RuxMemberId(4)), made);
    EXPECT_EQ(read<LagGroupMember::Ptr>(group, 262, RuxMemberId(4)), made);
    EXPECT_EQ(read<LagGroupMember::Ptr>(group, 262, RuxMemberId(5)), nullptr);
    EXPECT_EQ(yield<U32>(group, 262, kCount), 2u);
    EXPECT_EQ(yield<U32>(group, 262, kSlots), group.member().buckets());
    EXPECT_TRUE(yield<bool>(group, 262, kContains, RuxMemberId(4)));
    EXPECT_FALSE(yield<bool>(group, 262, kContains, RuxMemberId(5)));
    EXPECT_THAT((iterate<RuxMemberId, LagGroupMember::Ptr>(group, 262)),
                UnorderedElementsAre(std::pair(RuxMemberId(3), instances.member),
                                     std::pair(RuxMemberId(4), made)));
    EXPECT_EQ(yield<LagGroupMember::Ptr>(group, 262, kRemove, RuxMemberId(4)), made);
    EXPECT_EQ(yield<LagGroupMember::Ptr>(group, 262, kRemove, RuxMemberId(4)), nullptr);
    EXPECT_EQ(group.members(), 1u);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{262, 4}, Notice{262, 4}));
}

TEST_F(GenericModel, MakesFindsAndDeletesTheGroupsOfAProfile) {
    auto& profile = *instances.profile;
    const Follower follower(profile);
    const auto kType = ActionType::setTunnelInfoActionProfileSpec;
    const auto made = yield<LagGroupGroup::Ptr>(profile, 258, kWrite, RuxGroupId(11), U32{8},
                                                U32{2}, ActionType{kType});
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->groupSize(), 8u);
    EXPECT_EQ(made->initialMemberId(), 2u);
    EXPECT_EQ(made->actionType(), kType);
    EXPECT_EQ(read<LagGroupGroup::Ptr>(profile, 258, RuxGroupId(11)), made);
    EXPECT_EQ(read<LagGroupGroup::Ptr>(profile, 258, RuxGroupId(12)), nullptr);
    EXPECT_EQ(yield<U32>(profile, 258, kCount), 2u);
    EXPECT_EQ(yield<U32>(profile, 258, kSlots), profile.group().buckets());
    EXPECT_TRUE(yield<bool>(profile, 258, kContains, RuxGroupId(10)));
    EXPECT_FALSE(yield<bool>(profile, 258, kContains, RuxGroupId(12)));
    EXPECT_THAT((iterate<RuxGroupId, LagGroupGroup::Ptr>(profile, 258)),
                UnorderedElementsAre(std::pair(RuxGroupId(10), instances.group),
                                     std::pair(RuxGroupId(11), made)));
    EXPECT_EQ(yield<LagGroupGroup::Ptr>(profile, 258, kRemove, RuxGroupId(11)), made);
    EXPECT_EQ(yield<LagGroupGroup::Ptr>(profile, 258, kRemove, RuxGroupId(12)), nullptr);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{258, 11}, Notice{258, 11}));
}

TEST_F(GenericModel, InsertsFindsAndDeletesTheEntriesOfAProfile) {
    auto& profile = *instances.profile;
    const Follower follower(profile);
    using Entry = LagGroupActionProfileEntry::Ptr;
    write(profile, 259, instances.entry);
    EXPECT_EQ(read<Entry>(profile, 259, RuxMemberId(1)), instances.entry);
    EXPECT_EQ(read<Entry>(profile, 259, RuxMemberId(2)), nullptr);
    EXPECT_EQ(yield<U32>(profile, 259, kCount), 1u);
    EXPECT_EQ(yield<U32>(profile, 259, kSlots), profile.entry().slots());
    EXPECT_GE(yield<U32>(profile, 259, kSlots), 1u);
    EXPECT_TRUE(yield<bool>(profile, 259, kContains, RuxMemberId(1)));
    EXPECT_FALSE(yield<bool>(profile, 259, kContains, RuxMemberId(2)));
    EXPECT_THAT((iterate<RuxMemberId, Entry>(profile, 259)),
                ElementsAre(std::pair(RuxMemberId(1), instances.entry)));
    EXPECT_EQ(yield<Entry>(profile, 259, kRemove, RuxMemberId(1)), instances.entry);
    EXPECT_EQ(yield<Entry>(profile, 259, kRemove, RuxMemberId(1)), nullptr);
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{259, 1}, Notice{259, 1}));
}

TEST_F(GenericModel, PassesOnWhatAMutatorThrows) {
    auto& profile = *instances.profile;
    EXPECT_THROW(perform(profile, 258, kWrite, nullptr, RuxGroupId(10), U32{5}, U32{1},
                         ActionType::setLagPortActionProfileSpec),
                 Kel::MutatorReinstantiatingException);
    EXPECT_THROW(perform(profile, 259, kWrite, nullptr, LagGroupActionProfileEntry::Ptr()),
                 Kel::MutatorArgNullPointerException);
}

TEST_F(GenericModel, IteratorsTolerateTheDeletionOfTheirElement) {
    auto& group = *instances.group;
    for (U32 id = 10; id < 40; ++id) {
        group.memberIs(RuxMemberId(id));
    }
    int visited = 0;
    const auto iterator =
        group.fwkType()->iteratorFactory(&group, group.fwkType()->attribute(AttributeId(262)));
    for (; !iterator->atEnd(); iterator->advance()) {
        ++visited;
        RuxMemberId memberId;
        iterator->key(&memberId);
        group.memberDel(memberId);
    }
    EXPECT_EQ(visited, 31);
    EXPECT_EQ(group.members(), 0u);
}

TEST_F(GenericModel, KnowsNoAttributeOfAnotherClassByItsIdAlone) {
    // 259 are the entries of a profile, and the handles of groups.
    const Attribute* const entries = instances.profile->fwkType()->attribute(AttributeId(259));
    auto& handles = *instances.helper->sdkHandlesIs();
    EXPECT_EQ(LagGroupTableHandles::fwkType_.iteratorFactory(&handles, entries), nullptr);
    U32 count = 7;
    EXPECT_EQ(perform(LagGroupTableHandles::fwkType_, &handles, entries, Operation::count, &count),
              Kel::kGenericUnknown);
    EXPECT_EQ(count, 7u);
}

// The handle maps

TEST_F(GenericHandles, OfEntriesAreKeptByMatchSpec) {
    auto& handles = *instances.helper->sdkHandles();
    test_support::FollowerOf<LagGroupMatchSpec::PtrConst> follower(handles);
    const LagGroupMatchSpec::PtrConst match = instances.match;
    const LagGroupMatchSpec::PtrConst other = LagGroupMatchSpec::LagGroupMatchSpecIs();
    write(handles, 258, match, RuxSdkEntryHandle(7));
    EXPECT_EQ(handles.entry(match), RuxSdkEntryHandle(7));
    EXPECT_EQ(read<RuxSdkEntryHandle>(handles, 258, match), RuxSdkEntryHandle(7));
    EXPECT_EQ(read<RuxSdkEntryHandle>(handles, 258, other), RuxSdkEntryHandle(0));
    EXPECT_TRUE(yield<bool>(handles, 258, kContains, match));
    EXPECT_FALSE(yield<bool>(handles, 258, kContains, other));
    EXPECT_EQ(yield<U32>(handles, 258, kCount), 1u);
    EXPECT_EQ(yield<U32>(handles, 258, kSlots), handles.entry().slots());
    EXPECT_THAT((iterate<LagGroupMatchSpec::PtrConst, RuxSdkEntryHandle>(handles, 258)),
                ElementsAre(std::pair(match, RuxSdkEntryHandle(7))));
    EXPECT_EQ(yield<RuxSdkEntryHandle>(handles, 258, kRemove, match), RuxSdkEntryHandle(7));
    EXPECT_EQ(yield<RuxSdkEntryHandle>(handles, 258, kRemove, match), RuxSdkEntryHandle(0));
    ASSERT_EQ(follower.notices().size(), 2u);
    EXPECT_EQ(follower.notices()[0].id, 258u);
    EXPECT_EQ(follower.notices()[1].key, match);
}

/// The maps of members and of groups differ in nothing but their types and ids.
template <class Id, class Handle>
void expectHandlesById(LagGroupTableHandles& handles, AttributeId id) {
    Follower follower(handles);
    write(handles, id, Id(3), Handle(30));
    write(handles, id, Id(4), Handle(40));
    write(handles, id, Id(4), Handle(41));
    EXPECT_EQ(read<Handle>(handles, id, Id(3)), Handle(30));
    EXPECT_EQ(read<Handle>(handles, id, Id(4)), Handle(41));
    EXPECT_EQ(read<Handle>(handles, id, Id(5)), Handle(0));
    EXPECT_EQ(yield<U32>(handles, id, kCount), 2u);
    EXPECT_GE(yield<U32>(handles, id, kSlots), 2u);
    EXPECT_TRUE(yield<bool>(handles, id, kContains, Id(3)));
    EXPECT_FALSE(yield<bool>(handles, id, kContains, Id(5)));
    EXPECT_THAT((iterate<Id, Handle>(handles, id)),
                UnorderedElementsAre(std::pair(Id(3), Handle(30)), std::pair(Id(4), Handle(41))));
    EXPECT_EQ(yield<Handle>(handles, id, kRemove, Id(3)), Handle(30));
    EXPECT_EQ(yield<Handle>(handles, id, kRemove, Id(3)), Handle(0));
    EXPECT_THAT(follower.notices(),
                ElementsAre(Notice{id, 3}, Notice{id, 4}, Notice{id, 4}, Notice{id, 3}));
}

TEST_F(GenericHandles, OfGroupsAreKeptByGroupId) {
    auto& handles = *instances.helper->sdkHandles();
    expectHandlesById<RuxGroupId, RuxSdkGroupHandle>(handles, 259);
    EXPECT_EQ(handles.group(RuxGroupId(4)), RuxSdkGroupHandle(41));
}

TEST_F(GenericHandles, OfMembersAreKeptByMemberId) {
    auto& handles = *instances.helper->sdkHandles();
    expectHandlesById<RuxMemberId, RuxSdkMemberHandle>(handles, 260);
    EXPECT_EQ(handles.member(RuxMemberId(4)), RuxSdkMemberHandle(41));
}

// Helper, table and state machine

TEST_F(GenericContext, OfTheHelperIsReadAndItsPointersAreMadeAndCleared) {
    auto& helper = *instances.helper;
    EXPECT_EQ(read<U8>(helper, 130), 5u);
    EXPECT_EQ(read<U16>(helper, 131), 2u);

    const auto handles = helper.sdkHandles();
    using Handles = LagGroupTableHandles::Ptr;
    EXPECT_EQ(read<Handles>(helper, 132), handles);
    EXPECT_EQ(yield<Handles>(helper, 132, kWrite), handles);
    EXPECT_EQ(yield<Handles>(helper, 132, kRemove), handles);
    EXPECT_EQ(helper.sdkHandles(), nullptr);
    EXPECT_EQ(yield<Handles>(helper, 132, kRemove), nullptr);
    const auto made = yield<Handles>(helper, 132, kWrite);
    EXPECT_NE(made, handles);
    EXPECT_EQ(helper.sdkHandles(), made);

    using PdLib = LagGroupTableHelper::PdLib::Ptr;
    const auto pdLib = helper.pdLib();
    void* const dlHandle = instances.pd.dlHandle();
    EXPECT_EQ(read<PdLib>(helper, 133), pdLib);
    EXPECT_EQ(yield<PdLib>(helper, 133, kWrite, Kel::Name("recording"), dlHandle, U32{9}), pdLib);
    EXPECT_EQ(pdLib->sessionId(), 9u);
    EXPECT_NE(yield<PdLib>(helper, 133, kWrite, Kel::Name("other"), dlHandle, U32{10}), pdLib);
    EXPECT_EQ(helper.pdLib()->name(), "other");
    EXPECT_EQ(yield<PdLib>(helper, 133, kRemove)->name(), "other");
    EXPECT_EQ(helper.pdLib(), nullptr);
}

TEST_F(GenericContext, OfTheTableIsReadAndItsDefaultMatchSpecIsMadeAndCleared) {
    auto& table = *instances.table;
    EXPECT_EQ(read<LagGroupTableHelper::Ptr>(table, 258), instances.helper);
    EXPECT_EQ(read<LagGroupTable::GlimtKeyManager::Ptr>(table, 259), nullptr);
    EXPECT_EQ(read<LagGroupTable::StatusManager::Ptr>(table, 260), nullptr);
    EXPECT_FALSE(read<bool>(table, 261));

    using Match = LagGroupMatchSpec::Ptr;
    EXPECT_EQ(read<Match>(table, 262), nullptr);
    const auto made = yield<Match>(table, 262, kWrite);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(table.defaultMatchSpec(), made);
    EXPECT_EQ(yield<Match>(table, 262, kWrite), made);
    EXPECT_EQ(read<Match>(table, 262), made);
    EXPECT_EQ(yield<Match>(table, 262, kRemove), made);
    EXPECT_EQ(table.defaultMatchSpec(), nullptr);
    EXPECT_EQ(yield<Match>(table, 262, kRemove), nullptr);
}

TEST_F(GenericContext, CallsEntryByHandleWithItsArgument) {
    instances.helper->sdkHandles()->memberIs(RuxMemberId(3), RuxSdkMemberHandle(30));
    instances.pd.entryReadsAs(44, {.match_spec = {.egrMd_egrL2AintfUnresolved = 5,
                                                  .egrMd_egrL2AintfUnresolved_mask = 255},
                                   .priority = 10,
                                   .has_mbr = true,
                                   .has_grp = false,
                                   .mbr_hdl = 30,
                                   .grp_hdl = 0});
    const auto entry =
        yield<LagGroupTableEntry>(*instances.table, 263, Operation::call, RuxSdkEntryHandle(44));
    ASSERT_NE(entry.match(), nullptr);
    EXPECT_EQ(entry.match()->egrMdEgrL2AintfUnresolved(), 5u);
    EXPECT_EQ(entry.match()->egrMdEgrL2AintfUnresolvedMask(), 255u);
    EXPECT_EQ(entry.memberOrGroup(), LagGroupMemberOrGroupOrNone(3, true));
    EXPECT_TRUE(
        !yield<LagGroupTableEntry>(*instances.table, 263, Operation::call, RuxSdkEntryHandle(45)));
}

TEST_F(GenericContext, OfTheStateMachineIsReadAndItsSessionHandleSet) {
    auto& sm = *instances.sm;
    EXPECT_EQ(read<LagGroupActionProfile::Ptr>(sm, 130), instances.mirrored);
    EXPECT_EQ(read<LagGroupTableHelper::Ptr>(sm, 131), instances.helper);
    EXPECT_EQ(read<Sm::GlimtKeyManager::Ptr>(sm, 132), nullptr);
    EXPECT_EQ(read<Sm::StatusManager::Ptr>(sm, 133), nullptr);
    EXPECT_EQ(read<U32>(sm, 134), 0u);
    write(sm, 134, U32{77});
    EXPECT_EQ(sm.sessionHandle(), 77u);
    EXPECT_EQ(read<U32>(sm, 134), 77u);
    EXPECT_THAT(instances.pd.calls(), IsEmpty());
}

TEST_F(GenericContext, OfTheStateMachineHasNoAttribute136) {
    auto& sm = *instances.sm;
    EXPECT_EQ(sm.fwkType()->attribute(AttributeId(136)), nullptr);
    const Attribute absent{.name = "absent", .id = 136};
    for (const auto operation : {kRead, kWrite, kRemove, kCount, kSlots, kContains}) {
        EXPECT_EQ(perform(*sm.fwkType(), &sm, &absent, operation, nullptr), Kel::kGenericUnknown);
    }
}

TEST_F(GenericContext, OfTheStateMachineIteratesItsReactors) {
    auto& sm = *instances.sm;
    instances.mirrored->entryIs(instances.entry); // without an action it programs nothing
    const auto reactor = sm.actionProfile(RuxMemberId(1));
    ASSERT_NE(reactor, nullptr);
    using Reactor = Kel::Ptr<Sm::KelActionProfile>;
    EXPECT_EQ(read<Reactor>(sm, 135, RuxMemberId(1)), reactor);
    EXPECT_EQ(read<Reactor>(sm, 135, RuxMemberId(2)), nullptr);
    EXPECT_EQ(yield<U32>(sm, 135, kCount), 1u);
    EXPECT_EQ(yield<U32>(sm, 135, kSlots), sm.actionProfile().buckets());
    EXPECT_TRUE(yield<bool>(sm, 135, kContains, RuxMemberId(1)));
    EXPECT_THAT((iterate<RuxMemberId, Reactor>(sm, 135)),
                ElementsAre(std::pair(RuxMemberId(1), reactor)));
    EXPECT_EQ(yield<U32>(sm, 137, kCount), 0u);
    EXPECT_FALSE(yield<bool>(sm, 137, kContains, RuxGroupId(1)));
    EXPECT_EQ(read<Kel::Ptr<Sm::KelGroup>>(sm, 137, RuxGroupId(1)), nullptr);
    // Its retirement would look for a hardware handle.
    instances.helper->sdkHandles()->memberIs(RuxMemberId(1), RuxSdkMemberHandle(30));
}

// Values

/// Codes 9 and 10 of a value type.
template <class Value>
bool isDefault(const Kel::Type& type, Value value) {
    bool result = false;
    EXPECT_EQ(perform(type, &value, nullptr, Operation::isDefault, &result), Kel::kGenericDone);
    return result;
}
template <class Value>
bool isEqual(const Kel::Type& type, Value value, const Value& other) {
    bool result = false;
    EXPECT_EQ(perform(type, &value, nullptr, Operation::isEqual, &result, other),
              Kel::kGenericDone);
    return result;
}

TEST_F(GenericValues, OfAMemberOrGroupAreReadAndWritten) {
    LagGroupMemberOrGroupOrNone value(5, true);
    const auto& type = LagGroupMemberOrGroupOrNone::fwkType_;
    const auto* id = type.attribute("id");
    const auto* member = type.attribute("member");
    U32 readId = 0;
    bool readMember = false;
    EXPECT_EQ(perform(type, &value, id, kRead, &readId), Kel::kGenericDone);
    EXPECT_EQ(perform(type, &value, member, kRead, &readMember), Kel::kGenericDone);
    EXPECT_EQ(readId, 5u);
    EXPECT_TRUE(readMember);
    EXPECT_EQ(perform(type, &value, id, kWrite, nullptr, U32{4294967295u}), Kel::kGenericDone);
    EXPECT_EQ(perform(type, &value, member, kWrite, nullptr, false), Kel::kGenericDone);
    EXPECT_EQ(value, LagGroupMemberOrGroupOrNone(4294967295u, false));
}

TEST_F(GenericValues, OfATableEntryAreReadAndWritten) {
    LagGroupTableEntry entry;
    const auto& type = LagGroupTableEntry::fwkType_;
    const LagGroupMatchSpec::PtrConst match = instances.match;
    const LagGroupMemberOrGroupOrNone selected(9, true);
    const auto references = match->kelReferenceCount();
    EXPECT_EQ(perform(type, &entry, type.attribute("match"), kWrite, nullptr, match),
              Kel::kGenericDone);
    EXPECT_EQ(perform(type, &entry, type.attribute("memberOrGroup"), kWrite, nullptr, selected),
              Kel::kGenericDone);
    EXPECT_EQ(entry, LagGroupTableEntry(match, selected));
    EXPECT_EQ(match->kelReferenceCount(), references + 1);

    LagGroupMatchSpec::PtrConst readMatch;
    LagGroupMemberOrGroupOrNone readSelected;
    EXPECT_EQ(perform(type, &entry, type.attribute("match"), kRead, &readMatch), Kel::kGenericDone);
    EXPECT_EQ(perform(type, &entry, type.attribute("memberOrGroup"), kRead, &readSelected),
              Kel::kGenericDone);
    EXPECT_EQ(readMatch, match);
    EXPECT_EQ(readSelected, selected);
}

TEST_F(GenericValues, OfAMemberOrGroupAreComparedWithTheDefaultAndWithAnother) {
    using Value = LagGroupMemberOrGroupOrNone;
    const auto& type = Value::fwkType_;
    EXPECT_TRUE(isDefault(type, Value()));
    EXPECT_FALSE(isDefault(type, Value(0, true)));
    EXPECT_FALSE(isDefault(type, Value(1, false)));
    EXPECT_TRUE(isEqual(type, Value(5, true), Value(5, true)));
    EXPECT_FALSE(isEqual(type, Value(5, true), Value(5, false)));
}

TEST_F(GenericValues, OfATableEntryAreComparedByIdentityOfTheirMatch) {
    using Value = LagGroupTableEntry;
    const auto& type = Value::fwkType_;
    const auto other = LagGroupMatchSpec::LagGroupMatchSpecIs();
    EXPECT_TRUE(isDefault(type, Value()));
    EXPECT_FALSE(isDefault(type, Value(instances.match, {})));
    EXPECT_FALSE(isDefault(type, Value(nullptr, {1, false})));
    EXPECT_TRUE(
        isEqual(type, Value(instances.match, {1, true}), Value(instances.match, {1, true})));
    EXPECT_FALSE(isEqual(type, Value(instances.match, {1, true}), Value(other, {1, true})));
}

TEST_F(GenericValues, OfTheEnumerationAreComparedWithItsFirstAndWithAnother) {
    const auto& type = lagGroupActionProfileTypeFwkType;
    const auto value = [](U32 number) { return static_cast<ActionType>(number); };
    EXPECT_TRUE(isDefault(type, value(0)));
    for (const U32 number : {1u, 2u, 3u, 4u, 7u}) {
        EXPECT_FALSE(isDefault(type, value(number)));
        EXPECT_TRUE(isEqual(type, value(number), value(number)));
        EXPECT_FALSE(isEqual(type, value(number), value(0)));
    }
}

TEST_F(GenericValues, AreComparedAlsoWhenNobodyWantsTheResult) {
    for (const auto& row : typeRows()) {
        if (row.kind == Kel::Type::Kind::object) {
            continue;
        }
        const auto& type = typeOfName(row.name);
        void* const value = instances.object(row.name);
        const void* const arguments[] = {value};
        EXPECT_EQ(type.genericIf(value, nullptr, nullptr, Operation::isDefault, arguments),
                  Kel::kGenericDone);
        EXPECT_EQ(type.genericIf(value, nullptr, nullptr, Operation::isEqual, arguments),
                  Kel::kGenericDone);
    }
}

TEST_F(GenericValues, HaveValueStringsThroughTheirTypes) {
    EXPECT_EQ(LagGroupMemberOrGroupOrNone::fwkType_.valueString(&instances.memberOrGroup),
              valueToStrep(instances.memberOrGroup));
    EXPECT_EQ(LagGroupTableEntry::fwkType_.valueString(&instances.tableEntry),
              valueToStrep(instances.tableEntry));
    EXPECT_EQ(lagGroupActionProfileTypeFwkType.valueString(&instances.actionType),
              "Value('BfLagGroup::LagGroupActionProfileType', 'setLagPortActionProfileSpec')");
}

} // namespace
