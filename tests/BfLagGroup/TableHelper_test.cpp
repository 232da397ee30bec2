// The table's hardware context: device and pipe, the PD interface object, the handle maps.
#include <dlfcn.h>

#include "tests/BfLagGroup/TableWorld.h"
#include "tests/support/Followers.h"

namespace table_test {
namespace {

using test_support::FollowerOf;
using test_support::LiveObjects;
using Notice = test_support::Notice<Kel::U32>;

// ---- LagGroupTableHelper ------------------------------------------------------------------------

struct TableHelper : testing::Test {
    LiveObjects live;
    LagGroupTableHelper::Ptr helper = lagGroupTableHelperFactory(3, 0xFFFF);
    test_support::RecordingPd pd;
    /// Two libraries that can be searched: the recording one and the process itself.
    void* const library = pd.dlHandle();
    void* const otherLibrary = dlopen(nullptr, RTLD_LAZY);
};

TEST_F(TableHelper, StartsWithItsIdsAndNothingBound) {
    EXPECT_EQ(helper->deviceId(), 3u);
    EXPECT_EQ(helper->devPipeId(), 0xFFFFu);
    EXPECT_EQ(helper->deviceTarget().device_id, 3);
    EXPECT_EQ(helper->deviceTarget().dev_pipe_id, 0xFFFFu);
    EXPECT_FALSE(helper->sdkHandles());
    EXPECT_FALSE(helper->pdLib());
    EXPECT_TRUE(helper->hasNotificationActive());
    EXPECT_FALSE(helper->sdkHandlesDel());
    EXPECT_FALSE(helper->pdLibDel());
}

TEST_F(TableHelper, ConstructedBareItsNotificationsAreOff) {
    const LagGroupTableHelper::Ptr bare = new LagGroupTableHelper(255, 1);
    EXPECT_EQ(bare->deviceId(), 255u);
    EXPECT_FALSE(bare->hasNotificationActive());
}

TEST_F(TableHelper, MakingTheHandleMapsAgainKeepsThemAndTheirContents) {
    const auto handles = helper->sdkHandlesIs();
    ASSERT_TRUE(handles);
    EXPECT_TRUE(handles->hasNotificationActive());
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(101));
    EXPECT_EQ(helper->sdkHandlesIs(), handles);
    EXPECT_EQ(helper->sdkHandles(), handles);
    EXPECT_EQ(handles->member(RuxMemberId(1)).value(), 101u);
}

TEST_F(TableHelper, RemovedHandleMapsAreHandedBackAndMadeAnewEmpty) {
    const auto handles = helper->sdkHandlesIs();
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(101));
    EXPECT_EQ(helper->sdkHandlesDel(), handles);
    EXPECT_FALSE(helper->sdkHandles());
    EXPECT_NE(helper->sdkHandlesIs(), handles);
    EXPECT_EQ(helper->sdkHandles()->member().size(), 0u);
}

TEST_F(TableHelper, BindingMakesAPdInterfaceOfThatNameHandleAndSession) {
    const auto pdLib = helper->pdLibIs("libpd.so", library, 7);
    ASSERT_TRUE(pdLib);
    EXPECT_EQ(helper->pdLib(), pdLib);
    EXPECT_EQ(pdLib->name(), Kel::Name("libpd.so"));
    EXPECT_EQ(pdLib->dlHandle(), library);
    EXPECT_EQ(pdLib->sessionId(), 7u);
    EXPECT_TRUE(pdLib->hasNotificationActive());
    EXPECT_EQ(helper->pdLibDel(), pdLib);
    EXPECT_FALSE(helper->pdLib());
}

TEST_F(TableHelper, BindingTheSameNameAgainRefreshesTheSameObject) {
    const Kel::Ptr<Kel::Entity> parent = new Kel::Entity("agent");
    const auto pdLib = helper->pdLibIs("libpd.so", library, 7);
    pdLib->parentIs(parent);
    EXPECT_EQ(helper->pdLibIs("libpd.so", otherLibrary, 8), pdLib);
    EXPECT_EQ(helper->pdLib(), pdLib);
    EXPECT_EQ(pdLib->dlHandle(), otherLibrary);
    EXPECT_EQ(pdLib->sessionId(), 8u);
    EXPECT_EQ(pdLib->parent(), parent);
}

TEST_F(TableHelper, BindingAnotherNameRefreshesAndDetachesTheOldObjectAndReplacesIt) {
    const Kel::Ptr<Kel::Entity> parent = new Kel::Entity("agent");
    const auto old = helper->pdLibIs("libpd.so", library, 7);
    old->parentIs(parent);
    const auto replacement = helper->pdLibIs("libpd2.so", otherLibrary, 8);
    EXPECT_NE(replacement, old);
    EXPECT_EQ(helper->pdLib(), replacement);
    EXPECT_EQ(replacement->name(), Kel::Name("libpd2.so"));
    EXPECT_EQ(replacement->dlHandle(), otherLibrary);
    EXPECT_EQ(replacement->sessionId(), 8u);
    EXPECT_TRUE(replacement->hasNotificationActive());
    EXPECT_EQ(old->dlHandle(), otherLibrary);
    EXPECT_EQ(old->sessionId(), 8u);
    EXPECT_FALSE(old->parent());
}

TEST_F(TableHelper, RefreshingAnnouncesTheHandleBeforeTheSession) {
    const auto pdLib = helper->pdLibIs("libpd.so", library, 7);
    test_support::Follower follower(*pdLib);
    helper->pdLibIs("libpd.so", library, 7);
    EXPECT_THAT(follower.take(), IsEmpty());
    helper->pdLibIs("libpd2.so", otherLibrary, 8);
    EXPECT_THAT(follower.take(), ElementsAre(Notice{258, std::nullopt}, Notice{259, std::nullopt}));
}

TEST_F(TableHelper, ReplacingDetachesTheOldObjectAfterItIsRefreshed) {
    const Kel::Ptr<Kel::Entity> parent = new Kel::Entity("agent");
    const auto pdLib = helper->pdLibIs("libpd.so", library, 7);
    pdLib->parentIs(parent);
    test_support::Follower follower(*pdLib);
    helper->pdLibIs("libpd2.so", otherLibrary, 8);
    EXPECT_THAT(follower.take(), ElementsAre(Notice{258, std::nullopt}, Notice{259, std::nullopt},
                                             Notice{138, std::nullopt}));
}

TEST_F(TableHelper, AReplacedPdInterfaceIsReleased) {
    LiveObjects aroundReplacement;
    helper->pdLibIs("libpd.so", library, 7);
    helper->pdLibIs("libpd2.so", library, 7);
    EXPECT_THAT(aroundReplacement.growth(), ElementsAre(Pair("BfPdLagGroupIntf", 1)));
    helper->pdLibDel();
}

/// Notes the end of the object that it follows.
class EndOf : public Kel::PtrInterface::NotifieeConst {
  public:
    EndOf(const Kel::PtrInterface& object, std::string name, std::vector<std::string>& ends)
        : name_(std::move(name)), ends_(ends) {
        notifierIs(&object);
    }
    void onZeroReferences() override { ends_.push_back(name_); }

  private:
    std::string name_;
    std::vector<std::string>& ends_;
};

TEST_F(TableHelper, TeardownReleasesTheHandleMapsAndThenThePdInterface) {
    std::vector<std::string> ends;
    const EndOf endOfPdLib(*helper->pdLibIs("libpd.so", library, 7), "pdLib", ends);
    const EndOf endOfHandles(*helper->sdkHandlesIs(), "sdkHandles", ends);
    helper = nullptr;
    EXPECT_THAT(ends, ElementsAre("sdkHandles", "pdLib"));
}

TEST_F(TableHelper, WhatIsHeldElsewhereOutlivesIt) {
    const auto pdLib = helper->pdLibIs("libpd.so", library, 7);
    const auto handles = helper->sdkHandlesIs();
    handles->groupIs(RuxGroupId(10), RuxSdkGroupHandle(210));
    helper = nullptr;
    EXPECT_EQ(pdLib->sessionId(), 7u);
    EXPECT_EQ(handles->group(RuxGroupId(10)).value(), 210u);
}

// ---- LagGroupTableHandles -----------------------------------------------------------------------

struct TableHandles : testing::Test {
    LiveObjects live;
    LagGroupTableHandles::Ptr handles = lagGroupTableHandlesFactory();
    const LagGroupMatchSpec::Ptr m1 = newMatch(5, 255, 10);
    const LagGroupMatchSpec::Ptr m2 = newMatch(5, 255, 10);
};

TEST_F(TableHandles, StartEmptyWithNotificationsOn) {
    for (const auto& made : {handles, LagGroupTableHandles::LagGroupTableHandlesIs()}) {
        EXPECT_TRUE(made->hasNotificationActive());
        EXPECT_EQ(made->entry().size(), 0u);
        EXPECT_EQ(made->group().size(), 0u);
        EXPECT_EQ(made->member().size(), 0u);
    }
}

TEST_F(TableHandles, LookingUpAnAbsentKeyGivesZeroAndInsertsNothing) {
    EXPECT_EQ(handles->entry(m1).value(), 0u);
    EXPECT_EQ(handles->entry(nullptr).value(), 0u);
    EXPECT_EQ(handles->group(RuxGroupId(1)).value(), 0u);
    EXPECT_EQ(handles->member(RuxMemberId(1)).value(), 0u);
    EXPECT_EQ(handles->entry().size(), 0u);
    EXPECT_EQ(handles->group().size(), 0u);
    EXPECT_EQ(handles->member().size(), 0u);
}

TEST_F(TableHandles, EntriesAreKnownByTheirMatchObjectAndNotByItsFields) {
    handles->entryIs(m1, RuxSdkEntryHandle(7));
    EXPECT_EQ(handles->entry(m1).value(), 7u);
    EXPECT_EQ(handles->entry(m2).value(), 0u);
    EXPECT_EQ(handles->entryDel(m2).value(), 0u);
    EXPECT_EQ(handles->entry().size(), 1u);
}

TEST_F(TableHandles, MembersAndGroupsAreKnownByTheValueOfTheirId) {
    handles->memberIs(RuxMemberId(0xFFFFFFFF), RuxSdkMemberHandle(1));
    handles->groupIs(RuxGroupId(0), RuxSdkGroupHandle(0xFFFFFFFF));
    EXPECT_EQ(handles->member(RuxMemberId(0xFFFFFFFF)).value(), 1u);
    EXPECT_EQ(handles->group(RuxGroupId(0)).value(), 0xFFFFFFFFu);
}

TEST_F(TableHandles, OneNumberIsThreeKeysInTheThreeMaps) {
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(101));
    handles->groupIs(RuxGroupId(1), RuxSdkGroupHandle(201));
    EXPECT_EQ(handles->memberDel(RuxMemberId(1)).value(), 101u);
    EXPECT_EQ(handles->group(RuxGroupId(1)).value(), 201u);
}

TEST_F(TableHandles, WritingAPresentKeyOverwritesItsHandle) {
    handles->entryIs(m1, RuxSdkEntryHandle(7));
    handles->entryIs(m1, RuxSdkEntryHandle(8));
    handles->groupIs(RuxGroupId(1), RuxSdkGroupHandle(7));
    handles->groupIs(RuxGroupId(1), RuxSdkGroupHandle(8));
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(7));
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(8));
    EXPECT_EQ(handles->entry(m1).value(), 8u);
    EXPECT_EQ(handles->group(RuxGroupId(1)).value(), 8u);
    EXPECT_EQ(handles->member(RuxMemberId(1)).value(), 8u);
    EXPECT_EQ(handles->entry().size() + handles->group().size() + handles->member().size(), 3u);
}

TEST_F(TableHandles, RemovingReturnsTheHandleAndForAnAbsentKeyZero) {
    handles->entryIs(m1, RuxSdkEntryHandle(7));
    handles->groupIs(RuxGroupId(1), RuxSdkGroupHandle(8));
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(9));
    EXPECT_EQ(handles->entryDel(m1).value(), 7u);
    EXPECT_EQ(handles->entryDel(m1).value(), 0u);
    EXPECT_EQ(handles->groupDel(RuxGroupId(1)).value(), 8u);
    EXPECT_EQ(handles->groupDel(RuxGroupId(1)).value(), 0u);
    EXPECT_EQ(handles->memberDel(RuxMemberId(1)).value(), 9u);
    EXPECT_EQ(handles->memberDel(RuxMemberId(1)).value(), 0u);
}

TEST_F(TableHandles, EmptyingOneMapLeavesTheOthers) {
    for (U32 id = 1; id <= 40; ++id) {
        handles->groupIs(RuxGroupId(id), RuxSdkGroupHandle(id));
        handles->memberIs(RuxMemberId(id), RuxSdkMemberHandle(id));
    }
    handles->entryIs(m1, RuxSdkEntryHandle(7));
    handles->groupDelAll();
    EXPECT_EQ(handles->group().size(), 0u);
    EXPECT_EQ(handles->member().size(), 40u);
    EXPECT_EQ(handles->entry().size(), 1u);
    handles->entryDelAll();
    EXPECT_EQ(handles->entry().size(), 0u);
    EXPECT_EQ(handles->member().size(), 40u);
    handles->memberDelAll();
    EXPECT_EQ(handles->member().size(), 0u);
    handles->memberDelAll();
}

TEST_F(TableHandles, EveryChangeOfAnEntryIsAnnouncedWithItsKeyAs258) {
    using EntryNotice = test_support::Notice<LagGroupMatchSpec::PtrConst>;
    FollowerOf<LagGroupMatchSpec::PtrConst> follower(*handles);
    handles->entryIs(m1, RuxSdkEntryHandle(7));
    handles->entryIs(m1, RuxSdkEntryHandle(8));
    handles->entryIs(m2, RuxSdkEntryHandle(9));
    handles->entryDel(m1);
    EXPECT_THAT(follower.take(), ElementsAre(EntryNotice{258, m1}, EntryNotice{258, m1},
                                             EntryNotice{258, m2}, EntryNotice{258, m1}));
    handles->entryDelAll();
    EXPECT_THAT(follower.take(), ElementsAre(EntryNotice{258, m2}));
}

TEST_F(TableHandles, EveryChangeOfAGroupOrMemberIsAnnouncedWithItsKeyAs259Or260) {
    test_support::Follower follower(*handles);
    handles->groupIs(RuxGroupId(10), RuxSdkGroupHandle(1));
    handles->memberIs(RuxMemberId(20), RuxSdkMemberHandle(1));
    handles->groupIs(RuxGroupId(10), RuxSdkGroupHandle(2));
    handles->memberIs(RuxMemberId(20), RuxSdkMemberHandle(2));
    handles->groupDel(RuxGroupId(10));
    handles->memberDel(RuxMemberId(20));
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{259, 10}, Notice{260, 20}, Notice{259, 10},
                                                Notice{260, 20}, Notice{259, 10}, Notice{260, 20}));
}

TEST_F(TableHandles, EmptyingAMapAnnouncesEachKeyOnce) {
    for (U32 id = 1; id <= 3; ++id) {
        handles->groupIs(RuxGroupId(id), RuxSdkGroupHandle(id));
        handles->memberIs(RuxMemberId(id), RuxSdkMemberHandle(id));
    }
    test_support::Follower follower(*handles);
    handles->groupDelAll();
    EXPECT_THAT(follower.take(),
                testing::UnorderedElementsAre(Notice{259, 1}, Notice{259, 2}, Notice{259, 3}));
    handles->memberDelAll();
    EXPECT_THAT(follower.take(),
                testing::UnorderedElementsAre(Notice{260, 1}, Notice{260, 2}, Notice{260, 3}));
}

TEST_F(TableHandles, WhatChangesNothingIsNotAnnounced) {
    handles->entryIs(m1, RuxSdkEntryHandle(7));
    handles->groupIs(RuxGroupId(1), RuxSdkGroupHandle(8));
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(9));
    test_support::Follower follower(*handles);
    handles->entryIs(m1, RuxSdkEntryHandle(7));
    handles->groupIs(RuxGroupId(1), RuxSdkGroupHandle(8));
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(9));
    handles->entry(m2);
    handles->entryDel(m2);
    handles->groupDel(RuxGroupId(2));
    handles->memberDel(RuxMemberId(2));
    EXPECT_THAT(follower.notices(), IsEmpty());
}

TEST_F(TableHandles, AFollowerSeesTheMapsAsTheyAreAfterTheChange) {
    struct Reader : Kel::PtrInterface::NotifieeConst {
        explicit Reader(const LagGroupTableHandles& notifier) : handles(notifier) {
            notifierIs(&notifier);
            hasNotificationActiveIs(true);
        }
        void onAttribute(Kel::AttributeId, const void*) override {
            seen.push_back(handles.member(RuxMemberId(1)).value());
        }
        const LagGroupTableHandles& handles;
        std::vector<U32> seen;
    };
    Reader reader(*handles);
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(7));
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(8));
    handles->memberDel(RuxMemberId(1));
    EXPECT_THAT(reader.seen, ElementsAre(7u, 8u, 0u));
}

TEST_F(TableHandles, TheirEndReleasesTheMatchSpecsWithoutAWord) {
    LiveObjects withoutMatch;
    handles->entryIs(newMatch(1, 1, 1), RuxSdkEntryHandle(7));
    handles->memberIs(RuxMemberId(1), RuxSdkMemberHandle(9));
    test_support::Follower follower(*handles);
    handles = nullptr;
    EXPECT_THAT(follower.notices(), IsEmpty());
    EXPECT_EQ(follower.notifier(), nullptr);
    EXPECT_THAT(withoutMatch.growth(), ElementsAre(Pair("LagGroupTableHandles", -1)));
    withoutMatch.restart();
}

// ---- LagGroupTable: its end ---------------------------------------------------------------------

struct TableEnd : testing::Test, Platform {
    /// Managers that write their own end into the journal, and what is left of the rest by then.
    struct EndingStatusManager : test_support::RecordingStatusManager {
        explicit EndingStatusManager(TableEnd& test)
            : RecordingStatusManager(test.journal), test_(test) {}
        ~EndingStatusManager() override { test_.ends("statusManager"); }
        TableEnd& test_;
    };
    struct EndingKeyManager : test_support::RecordingKeyManager {
        explicit EndingKeyManager(TableEnd& test)
            : RecordingKeyManager(test.journal), test_(test) {}
        ~EndingKeyManager() override { test_.ends("glimtKeyManager"); }
        TableEnd& test_;
    };

    TableEnd() {
        status = new EndingStatusManager(*this);
        keys = new EndingKeyManager(*this);
        live.restart();
    }

    void ends(const std::string& name) {
        std::string line = name;
        for (const auto& [left, count] : live.growth()) {
            line += " " + left;
        }
        journal.add(line);
    }
};

TEST_F(TableEnd, ReleasesDefaultMatchSpecStatusManagerKeyManagerAndHelperInThisOrder) {
    auto table = makeTable();
    status = nullptr;
    keys = nullptr;
    journal.clear();
    table = nullptr;
    // No match spec is left by then, while the helper and what it holds still are.
    const std::string left =
        " BfPdLagGroupIntf LagGroupTable LagGroupTableHandles LagGroupTableHelper";
    EXPECT_THAT(journal.lines(), ElementsAre("statusManager" + left, "glimtKeyManager" + left));
}

TEST_F(TableEnd, AnnouncesThatTheDefaultMatchSpecGoes) {
    auto table = makeTable();
    test_support::Follower follower(*table);
    table = nullptr;
    EXPECT_THAT(follower.notices(), ElementsAre(Notice{262, std::nullopt}));
    EXPECT_EQ(follower.notifier(), nullptr);
}

TEST_F(TableEnd, RemovesNothingFromTheChip) {
    auto table = makeTable();
    table->helper()->sdkHandles()->memberIs(RuxMemberId(1), RuxSdkMemberHandle(101));
    table->entryIs({newMatch(5, 255, 10), toMember(1)});
    table->entryIs({table->defaultMatchSpec(), toMember(1)});
    pd.takeCalls();
    table = nullptr;
    EXPECT_THAT(pd.calls(), IsEmpty());
}

TEST_F(TableEnd, LeavesTheHelperToWhoeverSharesIt) {
    auto table = makeTable();
    const auto helper = table->helper();
    table = nullptr;
    EXPECT_EQ(helper->pdLib()->sessionId(), kSession);
    EXPECT_TRUE(helper->sdkHandles());
}

} // namespace
} // namespace table_test
