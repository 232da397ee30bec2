// The two entry points: what they do in which order, and how a run takes over from the one before.
#include "BfLagGroup/Factories.h"

#include <dlfcn.h>

#include <stdexcept>

#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "driver-status/BfTableException.h"
#include "posix/StateException.h"
#include "tests/BfLagGroup/TableWorld.h"

namespace table_test {
namespace {

std::string getEntry(U32 handle) {
    return pdLine("get_entry", "entry=" + std::to_string(handle) + ", fromHw=0");
}

const std::string kSetScope = pdLine("set_property", "property=1, value=1");

// ---- The library's face -------------------------------------------------------------------------

TEST(ExportedFactories, AreFoundInTheLibraryByExactlyTheirNames) {
    void* library = dlopen(BF_LAG_GROUP_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(dlsym(library, "lagGroupTableFactory"),
              reinterpret_cast<void*>(&lagGroupTableFactory));
    EXPECT_EQ(dlsym(library, "lagGroupActionProfileFactory"),
              reinterpret_cast<void*>(&lagGroupActionProfileFactory));
    dlclose(library);
}

// ---- lagGroupTableFactory -----------------------------------------------------------------------

struct TableFactory : testing::Test, Platform {
    void entryRecord(Glimt::EntryKey key, U32 handle) {
        keys->entries.recordIs({key, RuxSdkEntryHandle(handle)});
    }
    /// A record of an entry that the chip still has, for `value` under the mask 255.
    void liveRecord(Glimt::EntryKey key, U32 handle, U32 value) {
        entryRecord(key, handle);
        pd.entryReadsAs(handle, {{value, 255}, 10, true, false, 101, 0});
    }
};

TEST_F(TableFactory, MakesATableOverWhatItWasGiven) {
    const auto table = makeTable();
    EXPECT_EQ(table->helper()->deviceId(), kDevice);
    EXPECT_EQ(table->helper()->devPipeId(), kPipe);
    EXPECT_EQ(table->helper()->pdLib()->name(), Kel::Name("librecording_pd.so"));
    EXPECT_EQ(table->helper()->pdLib()->dlHandle(), pd.dlHandle());
    EXPECT_EQ(table->helper()->pdLib()->sessionId(), kSession);
    ASSERT_TRUE(table->helper()->sdkHandles());
    EXPECT_EQ(table->helper()->sdkHandles()->entry().size(), 0u);
    EXPECT_EQ(table->glimtKeyManager(), keys);
    EXPECT_EQ(table->statusManager(), status);
    EXPECT_FALSE(table->useBfRt());
    EXPECT_TRUE(table->defaultMatchSpec());
    EXPECT_TRUE(table->hasNotificationActive());
    EXPECT_TRUE(table->helper()->hasNotificationActive());
}

TEST_F(TableFactory, SetsTheEntryScopeToAllPipelinesForAllPipesAndToOneOtherwise) {
    for (const U16 pipe : {0, 1, 0xFFFE}) {
        makeTable(pipe);
        EXPECT_THAT(pd.takeCalls(), ElementsAre(kSetScope)) << pipe;
    }
    makeTable(0xFFFF);
    EXPECT_THAT(pd.takeCalls(), ElementsAre(pdLine("set_property", "property=1, value=0")));
}

TEST_F(TableFactory, SetsTheScopeThenRestoresThenResynchronises) {
    liveRecord(5, 1005, 15);
    liveRecord(9, 1009, 19);
    liveRecord(7, 1007, 17);
    const auto table = makeTable();
    EXPECT_THAT(journal.lines(),
                ElementsAre(kSetScope, getEntry(1005), "populate(5, 15/255/0)", getEntry(1009),
                            "populate(9, 19/255/0)", getEntry(1007), "populate(7, 17/255/0)",
                            "latestKeyIs(9)", "resyncStatus()"));
    ASSERT_EQ(keys->populated().size(), 3u);
    const auto& entries = *table->helper()->sdkHandles();
    EXPECT_EQ(entries.entry().size(), 3u);
    const U32 expected[] = {1005, 1009, 1007};
    for (std::size_t i = 0; i < 3; ++i) {
        const LagGroupMatchSpec::PtrConst match(
            dynamic_cast<const LagGroupMatchSpec*>(keys->populated()[i].ptr()));
        EXPECT_EQ(entries.entry(match).value(), expected[i]);
    }
}

TEST_F(TableFactory, ARestoredKeyIsThatOfItsEntryFromThenOn) {
    liveRecord(5, 1005, 15);
    const auto table = makeTable();
    table->helper()->sdkHandles()->memberIs(RuxMemberId(2), RuxSdkMemberHandle(102));
    const LagGroupMatchSpec::PtrConst match(
        dynamic_cast<const LagGroupMatchSpec*>(keys->populated().at(0).ptr()));
    journal.clear();
    table->entryIs({match, toMember(2)});
    table->entryDel(match);
    EXPECT_THAT(journal.lines(),
                ElementsAre("initStatus(15/255/0)", pdLine("modify_entry", "entry=1005, mbr=102"),
                            "initStatus(15/255/0)", pdLine("table_delete", "entry=1005")));
}

TEST_F(TableFactory, AnEmptyTableOfRecordsGivesNoLatestKey) {
    makeTable();
    EXPECT_THAT(journal.lines(), ElementsAre(kSetScope, "resyncStatus()"));
}

TEST_F(TableFactory, AKeyOfZeroAloneGivesNoLatestKey) {
    liveRecord(0, 1000, 15);
    makeTable();
    EXPECT_THAT(journal.lines(),
                ElementsAre(kSetScope, getEntry(1000), "populate(0, 15/255/0)", "resyncStatus()"));
}

TEST_F(TableFactory, KeysAreComparedAsUnsignedNumbersOf64Bits) {
    liveRecord(1ull << 63, 1001, 1);
    liveRecord((1ull << 32) | 5, 1002, 2);
    liveRecord(0x7FFFFFFFFFFFFFFFull, 1003, 3);
    makeTable();
    EXPECT_THAT(journal.lines(), testing::Contains("latestKeyIs(9223372036854775808)"));
}

TEST_F(TableFactory, ARecordThatTheChipNoLongerKnowsIsEnteredWithoutMatch) {
    entryRecord(5, 1005);
    liveRecord(4, 1004, 14);
    const auto table = makeTable();
    EXPECT_THAT(journal.lines(),
                ElementsAre(kSetScope, getEntry(1005), "populate(5, null)", getEntry(1004),
                            "populate(4, 14/255/0)", "latestKeyIs(5)", "resyncStatus()"));
    EXPECT_EQ(table->helper()->sdkHandles()->entry(nullptr).value(), 1005u);
    EXPECT_EQ(table->helper()->sdkHandles()->entry().size(), 2u);
}

TEST_F(TableFactory, OfSeveralStaleRecordsTheLastOneStaysUnderTheNullMatch) {
    entryRecord(5, 1005);
    entryRecord(6, 1006);
    const auto table = makeTable();
    EXPECT_THAT(keys->populated(), ElementsAre(nullptr, nullptr));
    EXPECT_EQ(table->helper()->sdkHandles()->entry(nullptr).value(), 1006u);
    EXPECT_EQ(table->helper()->sdkHandles()->entry().size(), 1u);
}

TEST_F(TableFactory, ACorruptFirstRecordEndsTheWalkBeforeItBegan) {
    keys->entries.corruptionIs("bad cookie");
    liveRecord(5, 1005, 15);
    const auto table = makeTable();
    EXPECT_THAT(journal.lines(),
                ElementsAre(kSetScope, "mbbGlimtTableConfig.doCorruptionDetected(bad cookie)",
                            "resyncStatus()"));
    EXPECT_EQ(table->helper()->sdkHandles()->entry().size(), 0u);
}

TEST_F(TableFactory, ACorruptRecordInTheMiddleKeepsWhatWasReadBefore) {
    liveRecord(5, 1005, 15);
    liveRecord(9, 1009, 19);
    keys->entries.corruptionIs("bad length");
    liveRecord(11, 1011, 21);
    const auto table = makeTable();
    EXPECT_THAT(journal.lines(), ElementsAre(kSetScope, getEntry(1005), "populate(5, 15/255/0)",
                                             getEntry(1009), "populate(9, 19/255/0)",
                                             "mbbGlimtTableConfig.doCorruptionDetected(bad length)",
                                             "latestKeyIs(9)", "resyncStatus()"));
    EXPECT_EQ(table->helper()->sdkHandles()->entry().size(), 2u);
}

TEST_F(TableFactory, AnyOtherExceptionOfTheWalkLeavesTheFactoryAndNothingBehind) {
    liveRecord(5, 1005, 15);
    keys->entries.exceptionIs(std::out_of_range("not a corruption"));
    live.restart();
    EXPECT_THROW(makeTable(), std::out_of_range);
    EXPECT_THAT(journal.lines(), ElementsAre(kSetScope, getEntry(1005), "populate(5, 15/255/0)"));
    // The key manager of the test holds on to the match that it was given.
    EXPECT_THAT(live.growth(), ElementsAre(Pair("LagGroupMatchSpec", 1)));
    live.restart();
    keys = nullptr;
    EXPECT_THAT(live.growth(), ElementsAre(Pair("LagGroupMatchSpec", -1)));
    live.restart();
}

TEST_F(TableFactory, StateThatCannotBeUsedIsNoCorruptionAndLeavesTheFactory) {
    keys->entries.exceptionIs(Posix::StateException("/state/entries", "not this user's"));
    EXPECT_THROW(makeTable(), Posix::StateException);
    EXPECT_THAT(journal.lines(), ElementsAre(kSetScope));
}

TEST_F(TableFactory, HasItsDefaultMatchSpecBeforeTheWalk) {
    struct Looking : test_support::RecordingKeyManager {
        explicit Looking(TableFactory& test) : RecordingKeyManager(test.journal), live(test.live) {}
        EntryTable* mbbGlimtTableConfig() override {
            matchSpecs = live.growth()["LagGroupMatchSpec"];
            return RecordingKeyManager::mbbGlimtTableConfig();
        }
        test_support::LiveObjects& live;
        std::int64_t matchSpecs = 0;
    };
    const Kel::Ptr<Looking> looking = new Looking(*this);
    keys = looking;
    makeTable();
    EXPECT_EQ(looking->matchSpecs, 1);
}

TEST_F(TableFactory, WithoutAKeyManagerNothingIsRestored) {
    liveRecord(5, 1005, 15);
    keys = nullptr;
    EXPECT_FALSE(makeTable()->glimtKeyManager());
    EXPECT_THAT(journal.lines(), ElementsAre(kSetScope, "resyncStatus()"));
}

TEST_F(TableFactory, WithoutAStatusManagerNothingIsResynchronised) {
    liveRecord(5, 1005, 15);
    status = nullptr;
    EXPECT_FALSE(makeTable()->statusManager());
    EXPECT_THAT(journal.lines(),
                ElementsAre(kSetScope, getEntry(1005), "populate(5, 15/255/0)", "latestKeyIs(5)"));
}

TEST_F(TableFactory, ALibraryWithoutTheOperationIsNotSupported) {
    const auto make = [&] {
        lagGroupTableFactory(keys, status, nullptr, kSession, kDevice, kPipe, "no library");
    };
    EXPECT_THROW(make(), BfTable::BfNotSupported);
    EXPECT_THAT(journal.lines(), IsEmpty());
}

// ---- lagGroupActionProfileFactory ---------------------------------------------------------------

struct ProfileFactory : testing::Test, TableWorld {
    ProfileFactory() {
        for (const U32 id : {1u, 2u}) {
            handles().memberDel(RuxMemberId(id));
        }
        for (const U32 id : {10u, 20u}) {
            handles().groupDel(RuxGroupId(id));
        }
    }
    ~ProfileFactory() override {
        // State machines live as long as the process, and what they hold with them.
        profile = nullptr;
        table = nullptr;
        m = nullptr;
        keys = nullptr;
        status = nullptr;
        live.restart();
    }

    void memberRecord(Glimt::EntryKey key, U32 id, U32 handle) {
        keys->anonIdIs(key, id);
        keys->members.recordIs({key, RuxSdkMemberHandle(handle)});
    }
    void groupRecord(Glimt::EntryKey key, U32 id, U32 handle) {
        keys->anonIdIs(key, id);
        keys->groups.recordIs({key, RuxSdkGroupHandle(handle)});
    }
    void make() { profile = lagGroupActionProfileFactory(table); }

    LagGroupActionProfileSm* stateMachine() const {
        LagGroupActionProfileSm* found = nullptr;
        profile->notifieeList()->forEach([&](Kel::PtrInterface::NotifieeConst& notifiee) {
            using Reactor = LagGroupActionProfileSm::KelLagGroupActionProfile;
            if (auto* reactor = dynamic_cast<Reactor*>(&notifiee)) {
                found = reactor->lagGroupActionProfileSm();
            }
        });
        return found;
    }

    LagGroupActionProfile::Ptr profile;
};

TEST_F(ProfileFactory, MakesAnEmptyProfileNamedLagGroupWithNotificationsOn) {
    make();
    EXPECT_EQ(profile->name(), Kel::Name("lagGroup"));
    EXPECT_EQ(profile->fullName(), Kel::Name("lagGroup"));
    EXPECT_TRUE(profile->hasNotificationActive());
    EXPECT_EQ(profile->entry().size(), 0u);
    EXPECT_EQ(profile->group().size(), 0u);
}

TEST_F(ProfileFactory, PutsAStateMachineOverTheTablesHelperAndManagersAmongTheNotifiees) {
    make();
    auto* sm = stateMachine();
    ASSERT_NE(sm, nullptr);
    EXPECT_EQ(sm->lagGroupActionProfile(), profile);
    EXPECT_EQ(sm->helper(), table->helper());
    EXPECT_EQ(sm->glimtKeyManager(), keys);
    EXPECT_EQ(sm->statusManager(), status);
    EXPECT_TRUE(sm->hasNotificationActive());
    EXPECT_EQ(sm->sessionHandle(), 0u);
    Kel::attributeIs(*sm, "sessionHandle", U32{77});
    EXPECT_EQ(Kel::attribute<U32>(*sm, "sessionHandle"), 77u);
}

TEST_F(ProfileFactory, TheStateMachineAndItsProfileOutliveEveryHolder) {
    live.restart();
    make();
    auto* sm = stateMachine();
    profile = nullptr;
    table = nullptr;
    EXPECT_THAT(live.growth(), testing::IsSupersetOf({Pair("LagGroupActionProfile", 1),
                                                      Pair("LagGroupActionProfileSm", 1),
                                                      Pair("KelLagGroupActionProfile", 1)}));
    EXPECT_EQ(sm->lagGroupActionProfile()->name(), Kel::Name("lagGroup"));
    EXPECT_THAT(pd.calls(), IsEmpty());
}

TEST_F(ProfileFactory, RestoresMembersThenGroupsThenResynchronises) {
    memberRecord(31, 1, 101);
    memberRecord(30, 2, 102);
    groupRecord(40, 10, 210);
    make();
    EXPECT_THAT(journal.lines(),
                ElementsAre("anonId(31)", "anonId(30)", "anonId(40)", "resyncSelAdtStatus()"));
    EXPECT_THAT(snapshot().members, ElementsAre(Pair(1u, 101u), Pair(2u, 102u)));
    EXPECT_THAT(snapshot().groups, ElementsAre(Pair(10u, 210u)));
    EXPECT_EQ(profile->entry().size(), 0u);
}

TEST_F(ProfileFactory, ARestoredHandleOverwritesTheOneOfItsId) {
    handles().memberIs(RuxMemberId(1), RuxSdkMemberHandle(5));
    memberRecord(31, 1, 101);
    memberRecord(32, 1, 103);
    make();
    EXPECT_THAT(snapshot().members, ElementsAre(Pair(1u, 103u)));
}

TEST_F(ProfileFactory, AMemberThatWasRestoredIsModifiedAndNotAdded) {
    memberRecord(31, 1, 101);
    make();
    journal.clear();
    const SetLagPortActionProfileSpec::Ptr action = new SetLagPortActionProfileSpec;
    Kel::attributeIs(action, "egrL2AintfPort", U16{11});
    profile->entryIs(new LagGroupActionProfileEntry(RuxMemberId(1), action));
    EXPECT_THAT(pd.calls(),
                ElementsAre("p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_"
                            "setLagPort(session=0, dev=3, mbr=101, port=11)"));
}

TEST_F(ProfileFactory, RestoredHandlesAreWhatMatchEntriesPointAt) {
    memberRecord(31, 1, 101);
    groupRecord(40, 10, 210);
    make();
    write(m, toMember(1));
    write(m, toGroup(10));
    EXPECT_THAT(pd.calls(),
                ElementsAre(pdLine("add_entry", "pipe=2, value=5, mask=255, priority=10, mbr=101"),
                            pdLine("modify_entry_with_selector", "entry=1000, grp=210")));
}

TEST_F(ProfileFactory, ACorruptionAmongTheMembersEndsTheirWalkAndGroupsAreStillRestored) {
    memberRecord(31, 1, 101);
    keys->members.corruptionIs("bad member");
    memberRecord(32, 2, 102);
    groupRecord(40, 10, 210);
    make();
    EXPECT_THAT(journal.lines(),
                ElementsAre("anonId(31)", "adtGlimtTableConfig.doCorruptionDetected(bad member)",
                            "anonId(40)", "resyncSelAdtStatus()"));
    EXPECT_THAT(snapshot().members, ElementsAre(Pair(1u, 101u)));
    EXPECT_THAT(snapshot().groups, ElementsAre(Pair(10u, 210u)));
}

TEST_F(ProfileFactory, ACorruptionAmongTheGroupsEndsTheirWalk) {
    keys->groups.corruptionIs("bad group");
    groupRecord(40, 10, 210);
    make();
    EXPECT_THAT(journal.lines(),
                ElementsAre("selGrpGlimtTableConfig.doCorruptionDetected(bad group)",
                            "resyncSelAdtStatus()"));
    EXPECT_THAT(snapshot().groups, IsEmpty());
}

TEST_F(ProfileFactory, AnyOtherExceptionOfAWalkLeavesTheFactory) {
    memberRecord(31, 1, 101);
    keys->members.exceptionIs(std::out_of_range("not a corruption"));
    groupRecord(40, 10, 210);
    EXPECT_THROW(make(), std::out_of_range);
    EXPECT_THAT(journal.lines(), ElementsAre("anonId(31)"));
}

TEST_F(ProfileFactory, StateThatCannotBeUsedIsNoCorruptionAndLeavesTheFactory) {
    keys->groups.exceptionIs(Posix::StateException("/state/groups", "not this user's"));
    EXPECT_THROW(make(), Posix::StateException);
    EXPECT_THAT(journal.lines(), IsEmpty());
}

TEST_F(ProfileFactory, KeepsTheStateMachineAlsoWhenAWalkEndsTheFactory) {
    keys->members.exceptionIs(std::out_of_range("not a corruption"));
    live.restart();
    EXPECT_THROW(make(), std::out_of_range);
    EXPECT_EQ(live.growth()["LagGroupActionProfileSm"], 1);
    EXPECT_EQ(live.growth()["LagGroupActionProfile"], 1);
}

TEST_F(ProfileFactory, WithoutAKeyManagerNoHandleIsRestored) {
    memberRecord(31, 1, 101);
    groupRecord(40, 10, 210);
    keys = nullptr;
    table = makeTable();
    journal.clear();
    make();
    EXPECT_THAT(journal.lines(), ElementsAre("resyncSelAdtStatus()"));
    EXPECT_EQ(handles().member().size() + handles().group().size(), 0u);
}

TEST_F(ProfileFactory, WithoutAStatusManagerNothingIsResynchronised) {
    memberRecord(31, 1, 101);
    status = nullptr;
    table = makeTable();
    journal.clear();
    make();
    EXPECT_THAT(journal.lines(), ElementsAre("anonId(31)"));
}

TEST_F(ProfileFactory, EachTableHasAProfileAndAStateMachineOfItsOwn) {
    make();
    const auto first = profile;
    auto* const firstSm = stateMachine();
    table = makeTable();
    make();
    EXPECT_NE(profile, first);
    EXPECT_NE(stateMachine(), firstSm);
    EXPECT_EQ(stateMachine()->helper(), table->helper());
}

} // namespace
} // namespace table_test
