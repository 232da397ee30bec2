#include <sys/mount.h>

#include <random>

#include "tests/agent/command/RefusedCommands.h"
#include "tests/agent/desired/StateFiles.h"

namespace LagAgent {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

/// What `LagTest` has, with an agent whose desired state is kept.
class KeptTest : public AgentTest {
  protected:
    KeptTest() {
        agent =
            std::make_unique<Agent>(Target{.pdPath = PD_VELMOR_SWITCH_LIBRARY}, database_.get());
        interpreter = std::make_unique<Interpreter>(*agent);
        good({"member add 1 action setLagPort port 1", "member add 2 action setLagPort port 2",
              "member add 3 action setTunnelInfo",
              "group add 10 size 4 initial 1 action setLagPort", "group member add 10 2",
              "entry set value 5 mask 0xff priority 9 group 10"});
    }
    ~KeptTest() override { agent.reset(); }

    /// The model, as the database should say it.
    DesiredState model() const {
        DesiredState state;
        for (const auto& entry : agent->driver().profile().entry()) {
            state.members[entry->memberId().value()] = {entry->action()->actionType(),
                                                        entry->action()->egrL2AintfPort()};
        }
        for (const auto& group : agent->driver().profile().group()) {
            auto& desired = state.groups[group->groupId().value()];
            desired = {group->groupSize(), group->initialMemberId(), group->actionType(), {}};
            for (const auto& member : group->member()) {
                desired.members[member->memberId().value()] = member->active();
            }
        }
        for (const auto& [entry, installed] : agent->configuration().entries()) {
            state.entries[entry] = installed.target;
        }
        return state;
    }
    DesiredState kept() const { return database_->read(); }

    table_files::Place place_;
    LatestConnection connection_;
    std::unique_ptr<StateDatabase> database_ =
        std::make_unique<StateDatabase>(place_.open(), kScope);
};

TEST_F(KeptTest, EachChangeIsKept) {
    EXPECT_EQ(
        (DesiredState{
            .members = {{1, {kSetLagPort, 1}}, {2, {kSetLagPort, 2}}, {3, {kSetTunnelInfo, 0}}},
            .groups = {{10, {4, 1, kSetLagPort, {{1, true}, {2, true}}}}},
            .entries = {{MatchKey{5, 0xFF, 9}, {10, false}}}}),
        kept());
    for (const char* command :
         {"member set 1 action setLagPort port 7", "group member set 10 2 inactive",
          "group member del 10 1", "entry set default member 1",
          "entry set value 5 mask 0xff priority 9 member 3", "group del 10", "entry del default",
          "member del 1", "entry del value 5 mask 0xff priority 9"}) {
        const DesiredState before = kept();
        good(command);
        EXPECT_NE(before, kept()) << command;
        EXPECT_EQ(model(), kept()) << command;
        EXPECT_FALSE(database_->isInTransaction()) << command;
    }
}

TEST_F(KeptTest, WhatTheAgentRefusesIsNotKept) {
    const DesiredState before = kept();
    for (const char* command :
         {"member add 1 action setLagPort", "member del 1", "member set 1 action setTunnelInfo",
          "group add 10 size 4 initial 1 action setLagPort",
          "group add 10 size 5 initial 1 action "
          "setLagPort",
          "group del 10", "group member add 10 3", "group member del 10 3", "entry del default",
          "entry set default member 9", "nonsense"}) {
        bad(command);
        EXPECT_EQ(before, kept()) << command;
        EXPECT_FALSE(database_->isInTransaction()) << command;
    }
}

class RefusedAndKept : public KeptTest, public testing::WithParamInterface<RefusedCommand> {
  protected:
    RefusedAndKept() { good(kBeforeRefused); }
};

TEST_P(RefusedAndKept, LeavesTheDesiredStateAsItWas) {
    const auto& [operation, command, name] = GetParam();
    const DesiredState before = kept();
    good(std::string("fault ") + operation + " nth 1 status 9 once");
    EXPECT_EQ(ErrorKind::table, bad(command).kind);
    EXPECT_EQ(before, kept());
    EXPECT_EQ(model(), kept());
    EXPECT_FALSE(database_->isInTransaction());
    good(command);
    EXPECT_NE(before, kept());
    EXPECT_EQ(model(), kept());
}

INSTANTIATE_TEST_SUITE_P(AllOperations, RefusedAndKept, testing::ValuesIn(kRefusedCommands),
                         [](const auto& test) { return test.param.name; });

struct RefusedDeletion {
    const char* name;
    const char* operation;
    const char* before;
    const char* command;
};

class AbandonedAndKept : public KeptTest, public testing::WithParamInterface<RefusedDeletion> {};

TEST_P(AbandonedAndKept, IsDesiredUntilItIsGone) {
    const auto& [name, operation, before, command] = GetParam();
    good(before);
    const DesiredState desired = kept();
    for (int attempt = 0; attempt < 2; ++attempt) {
        good(std::string("fault ") + operation + " nth 1 status 10 once");
        EXPECT_EQ(ErrorKind::table, bad(command).kind);
        EXPECT_EQ(desired, kept());
        EXPECT_EQ(model(), kept());
    }
    good(command);
    EXPECT_NE(desired, kept());
    EXPECT_EQ(model(), kept());
}

const RefusedDeletion kDeletions[]{
    {"Member", "lagPortActionProfile_del_member", "show", "member del 3"},
    {"Group", "lagPortActionProfile_del_group", "entry del value 5 mask 0xff priority 9",
     "group del 10"},
    {"Membership", "lagPortActionProfile_del_member_from_group", "group member set 10 1 inactive",
     "group member del 10 1"},
    {"DefaultEntry", "lagGroup_table_reset_default_entry", "entry set default member 3",
     "entry del default"},
};

INSTANTIATE_TEST_SUITE_P(AllDeletions, AbandonedAndKept, testing::ValuesIn(kDeletions),
                         [](const auto& test) { return test.param.name; });

TEST_F(KeptTest, AGroupThatNobodyWantsIsNoTarget) {
    good({"fault lagPortActionProfile_add_member_to_group nth 1 status 9 once",
          "fault lagPortActionProfile_del_group nth 1 status 10 once"});
    const DesiredState before = kept();
    EXPECT_EQ(ErrorKind::table, bad("group add 11 size 2 initial 2 action setLagPort").kind);
    EXPECT_EQ(before, kept());
    EXPECT_EQ("group 11 was abandoned when the chip refused to delete it: delete it again",
              refusal("entry set default group 11"));
    good("group del 11");
    EXPECT_EQ(before, kept());
    EXPECT_EQ(model(), kept());
}

TEST_F(KeptTest, WhatCannotBeKeptDoesNotReachTheChip) {
    byHand(connection_.get(), "PRAGMA query_only=ON");
    const std::string before = state();
    for (const char* command :
         {"member add 4 action setLagPort", "member set 1 action setLagPort port 9", "member del 3",
          "group add 11 size 2 initial 1 action setLagPort", "group member set 10 1 inactive",
          "group member del 10 1", "entry set default member 1",
          "entry del value 5 mask 0xff priority 9"}) {
        const Outcome outcome = run(command);
        ASSERT_TRUE(outcome.error) << command;
        EXPECT_EQ(ErrorKind::storage, outcome.error->kind);
        EXPECT_THAT(outcome.error->message, EndsWith("attempt to write a readonly database"));
        EXPECT_TRUE(outcome.calls.empty()) << command;
        EXPECT_EQ(before, state());
    }
    EXPECT_FALSE(agent->configuration().isOutOfStep());
    byHand(connection_.get(), "PRAGMA query_only=OFF");
    good("member del 3");
}

/// The state directory on a file system of 640 KiB, where that may be mounted.
class FullDiskTest : public KeptTest {
  protected:
    void SetUp() override {
        if (::mount("tmpfs", small_.root().c_str(), "tmpfs", 0, "size=655360,mode=0700") != 0) {
            GTEST_SKIP() << "no file system can be mounted here";
        }
        isMounted_ = true;
    }
    void TearDown() override {
        // The agent that works on it is not the one that the test has made.
        if (isMounted_) {
            ::umount2(small_.root().c_str(), MNT_DETACH);
        }
    }
    /// Leaves so many bytes on the disk, as good as it goes.
    void freeIs(std::size_t bytes) {
        const auto filler = small_.root() / "filler";
        std::filesystem::remove(filler);
        const auto free = std::filesystem::space(small_.root()).available;
        table_files::contentIs(filler, std::string(free > bytes ? free - bytes : 0, 'x'));
    }

    table_files::Place small_;
    bool isMounted_ = false;
};

TEST_F(FullDiskTest, IsNoticedBeforeTheChipWhereverItIsFull) {
    StateDatabase database(small_.open(), kScope);
    write(database, kept());
    database.commit();
    // An agent's rules on the same driver, with its database on the small disk.
    Configuration small(agent->driver(), &database);
    std::uint32_t next = 100;
    int refusals = 0;
    for (std::size_t free = 0; free <= 160 * 1024; free += 4096) {
        freeIs(free);
        for (int i = 0; i < 60; ++i) {
            const std::string error = storageErrorOf([&] {
                small.memberAdd(RuxTable::RuxMemberId(next), kSetLagPort, 1);
                small.commit();
                ++next;
            });
            small.rollback();
            ASSERT_FALSE(small.isOutOfStep()) << free << " bytes free: " << error;
            ASSERT_EQ(database.read().members, model().members);
            refusals += error.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(refusals, 0);
    EXPECT_GT(next, 100u);
    freeIs(300 * 1024);
    small.memberDel(RuxTable::RuxMemberId(next - 1));
    small.commit();
    EXPECT_EQ(database.read().members, model().members);
}

TEST_F(KeptTest, AfterAFailedCommitNothingIsChangedAnyMore) {
    const DesiredState before = kept();
    refuseCommits(connection_.get());
    EXPECT_FALSE(agent->configuration().isOutOfStep());
    const Error error = bad("member add 4 action setLagPort port 4");
    EXPECT_EQ(ErrorKind::storage, error.kind);
    EXPECT_STREQ("storage", kindName(error.kind));
    EXPECT_THAT(error.message, HasSubstr("cannot end the transaction: "));
    EXPECT_THAT(error.message, EndsWith("the chip has the change, the desired state has not"));
    EXPECT_TRUE(agent->configuration().isOutOfStep());
    EXPECT_EQ(before, kept());
    good({"expect members 4", "expect asic members 4", "show"});
    for (const char* command :
         {"member add 5 action setLagPort", "member set 1 action setLagPort port 9", "member del 3",
          "group add 11 size 2 initial 1 action setLagPort", "group member add 10 4",
          "group member set 10 1 inactive", "group member del 10 1", "entry set default member 1",
          "entry del value 5 mask 0xff priority 9"}) {
        EXPECT_THAT(refusal(command), HasSubstr("an earlier change could not be kept")) << command;
    }
    EXPECT_EQ(before, kept());
}

TEST_F(KeptTest, DesiredStateLostIsAnErrorOfStorage) {
    refuseCommits(connection_.get());
    agent->configuration().entryDel(MatchKey{5, 0xFF, 9});
    EXPECT_THROW(agent->configuration().commit(), DesiredStateLost);
    EXPECT_NO_THROW(agent->configuration().commit());
}

TEST_F(KeptTest, AnEntryThatIsInstalledCanBeTakenOver) {
    const auto entry = agent->configuration().entries().begin()->second;
    Configuration other(agent->driver(), database_.get());
    other.installedEntryIs(MatchKey{5, 0xFF, 9}, entry);
    other.entryDel(MatchKey{5, 0xFF, 9});
    other.commit();
    EXPECT_TRUE(kept().entries.empty());
    good("expect asic entries 0");
}

TEST_F(KeptTest, ThousandsOfRandomCommandsAreKept) {
    std::mt19937 random(20'240'607);
    const auto id = [&](int count) { return std::to_string(random() % count); };
    const auto begin = std::chrono::steady_clock::now();
    int changed = 0;
    for (int i = 0; i < 10'000; ++i) {
        const std::string member = id(40);
        const std::string group = std::to_string(100 + random() % 8);
        const std::string key = "value " + id(20) + " mask 0xff ";
        const std::string commands[]{
            "member add " + member + " action setLagPort port " + id(65536),
            "member set " + member + " action setLagPort port " + id(65536),
            "member del " + member,
            "group add " + group + " size 16 initial " + member + " action setLagPort",
            "group del " + group,
            "group member add " + group + " " + member,
            "group member set " + group + " " + member + (random() % 2 ? " active" : " inactive"),
            "group member del " + group + " " + member,
            "entry set " + key + "member " + member,
            "entry set " + key + "group " + group,
            "entry del " + key,
            "entry set default group " + group,
            "entry del default",
        };
        changed += run(commands[random() % std::size(commands)]).error ? 0 : 1;
        if (i % 500 == 0) {
            ASSERT_EQ(model(), kept()) << "after command " << i;
        }
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(changed, 2000);
    EXPECT_LT(seconds.count(), 60.0);
    EXPECT_EQ(model(), kept());
    RecordProperty("changed", changed);
    RecordProperty("milliseconds", static_cast<int>(seconds.count() * 1000));
}

} // namespace
} // namespace LagAgent
