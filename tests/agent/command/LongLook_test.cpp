#include "agent/command/ChipMoment.h"
#include "tests/agent/AgentTest.h"
#include "tests/mapped-tables/TableFiles.h"

// Commands that take many turns, with others between them.

namespace LagAgent {
namespace {

using testing::HasSubstr;

class LongLook : public AgentTest {
  protected:
    /// More than a turn reads.
    static constexpr std::size_t kMembers = ChipMoment::kObjectsOfTurn + 100;

    LongLook() {
        for (std::size_t id = 1; id <= kMembers; ++id) {
            good("member add " + std::to_string(id) + " action setLagPort port 1");
        }
        good("entry set value 1 mask 0xff member 1");
    }

    /// Ports of the chip's members, in the order of their handles.
    static std::vector<int> portsIn(const Outcome& outcome) {
        std::vector<int> ports;
        const Json shown = outcome.reply.json();
        for (const Json& member : shown["asic members"]) {
            ports.push_back(member["port"]);
        }
        return ports;
    }

    Outcome looked(const std::function<void(int turn)>& between) {
        Outcome outcome = look.begin("show asic", WantedCalls::all);
        for (turns = 0; outcome.isUnderWay(); ++turns) {
            between(turns);
            look.goOn(outcome);
        }
        EXPECT_FALSE(outcome.error) << outcome.error->text();
        return outcome;
    }

    Interpreter look{*agent};
    int turns = 0;
};

TEST_F(LongLook, TakesSeveralTurns) {
    EXPECT_EQ(std::vector<int>(kMembers, 1), portsIn(looked([](int) {})));
    EXPECT_EQ(2, turns);
}

TEST_F(LongLook, IsOfOneMomentWhateverChangesMeanwhile) {
    // The first member has been read when it changes, and the last one has not.
    const Outcome outcome = looked([&](int turn) {
        if (turn == 1) {
            good(
                {"member set 1 action setLagPort port 2",
                 ("member set " + std::to_string(kMembers) + " action setLagPort port 2").c_str()});
        }
    });
    std::vector<int> expected(kMembers, 1);
    expected.front() = expected.back() = 2;
    EXPECT_EQ(expected, portsIn(outcome));
    EXPECT_EQ(3, turns);
}

TEST_F(LongLook, IsNotBegunAnewForACommandThatWasRefused) {
    looked([&](int) { bad("member del 1"); });
    EXPECT_EQ(2, turns);
}

TEST_F(LongLook, ComesToAnEndWhenSomethingChangesAllTheTime) {
    const Outcome outcome = looked([&](int turn) {
        good("member set 1 action setLagPort port " + std::to_string(turn + 10));
    });
    EXPECT_EQ(ChipMoment::kMostBeginnings, turns);
    EXPECT_EQ(turns - 1 + 10, portsIn(outcome).front());
}

TEST_F(LongLook, ItsPdCallsAreThoseOfItsOwnTurns) {
    const Outcome outcome = looked([&](int turn) {
        if (turn == 0) {
            good("member set 1 action setLagPort port 2");
        }
    });
    ASSERT_EQ(1u, outcome.calls.size());
    EXPECT_THAT(outcome.calls[0].operation, HasSubstr("get_entry"));
    EXPECT_FALSE(look.run("expect calls 1", WantedCalls::none).error);
    EXPECT_FALSE(look.run("expect calls lagGroup_get_entry 1", WantedCalls::none).error);
    EXPECT_FALSE(run("expect calls 1").error); // of the member that was set
}

TEST_F(LongLook, FailureInALaterTurnIsTheCommandsOwn) {
    good("fault lagGroup_get_entry nth 1 status 5 always");
    Outcome outcome = look.begin("show asic", WantedCalls::all);
    while (outcome.isUnderWay()) {
        look.goOn(outcome);
    }
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(5u, outcome.error->status);
}

TEST_F(LongLook, FailureInALaterTurnIsTheOneThatWasAnnounced) {
    good("fault lagGroup_get_entry nth 1 status 5 always");
    look.run("expect error get_entry", WantedCalls::none);
    Outcome outcome = look.begin("show asic", WantedCalls::all);
    while (outcome.isUnderWay()) {
        EXPECT_FALSE(outcome.error);
        good("expect members " + std::to_string(kMembers)); // in another script
        look.goOn(outcome);
    }
    EXPECT_FALSE(outcome.error);
    EXPECT_TRUE(outcome.expectedError);
}

/// An agent that keeps what it is asked for.
class LongAudit : public AgentTest {
  protected:
    LongAudit() {
        agent = std::make_unique<Agent>(Target{.pdPath = PD_VELMOR_SWITCH_LIBRARY},
                                        StateOptions{.directory = place_.open()}, nullptr);
        interpreter = std::make_unique<Interpreter>(*agent);
        for (std::size_t id = 1; id <= ChipMoment::kObjectsOfTurn + 100; ++id) {
            good("member add " + std::to_string(id) + " action setLagPort port 1");
        }
    }
    ~LongAudit() override { agent.reset(); }

    table_files::Place place_;
};

TEST_F(LongAudit, ComparesMemoriesOfOneMomentWhateverChangesMeanwhile) {
    Interpreter look(*agent);
    Outcome outcome = look.begin("audit", WantedCalls::all);
    look.goOn(outcome);
    good({"member set 1 action setLagPort port 2", "member add 9999 action setTunnelInfo"});
    while (outcome.isUnderWay()) {
        look.goOn(outcome);
    }
    ASSERT_FALSE(outcome.error) << outcome.error->text();
    EXPECT_EQ(Json::array(), outcome.reply.json()["findings"]);
}

TEST_F(LongAudit, DamagedDatabaseIsItsFailureAndNotTheAgents) {
    SqliteConnection(place_.file("desired.db"))
        .execute("damage it", "DROP TRIGGER members_UPDATE; UPDATE members SET port = 7");
    const Error error = bad("audit");
    EXPECT_EQ(ErrorKind::storage, error.kind);
    EXPECT_THAT(error.message, HasSubstr("desired.db: refused: its content is not what was"));
    good("member del 1");
}

} // namespace
} // namespace LagAgent
