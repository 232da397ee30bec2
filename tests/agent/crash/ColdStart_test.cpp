#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <set>

#include "mapped-tables/SlotFormat.h"
#include "tests/agent/crash/AsicLibrary.h"
#include "tests/agent/crash/Checks.h"
#include "tests/agent/crash/CrashTest.h"
#include "tests/agent/crash/Forecast.h"
#include "tests/agent/crash/Spoilt.h"

/// Starts over a chip that forwards, but without the records that say what is on it, and others
/// that find less than they need.
namespace LagAgent::Crash {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr std::array kTables{"entries", "members", "groups"};

class ColdStart : public CrashTest {
  protected:
    explicit ColdStart(const ChipSize& size = {}) : CrashTest(size) {}

    StatePlace place_ = StatePlace::copyOf(prepared());
    std::vector<Json> setUp_{models().front()};
};

TEST_F(ColdStart, WithoutRecordsTakesOverWhatTheChipHas) {
    watched(place_, [&](Watcher&) {
        removeRecords(place_);
        expectStart(place_, setUp_);
    });
    expectWorksOnFrom(place_);
}

TEST_F(ColdStart, WithoutTheRecordsOfOneKindTakesTheseOver) {
    for (const char* table : kTables) {
        SCOPED_TRACE(table);
        const StatePlace place = StatePlace::copyOf(prepared());
        watched(place, [&](Watcher&) {
            std::filesystem::remove(place.file(table));
            expectStart(place, setUp_);
        });
        expectWorksOnFrom(place);
    }
}

/// Flips a byte of the handle in the first slot in force.
void damage(const std::filesystem::path& table) {
    std::fstream file(table, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(Glimt::SlotFormat::kHeaderWords * sizeof(Kel::U64));
    for (Kel::U64 word = 0; file.read(reinterpret_cast<char*>(&word), sizeof word);) {
        if (word == Glimt::SlotFormat::kStateCommitted) {
            const auto handle = file.tellg() + std::streamoff{2 * sizeof word};
            file.seekg(handle);
            const int byte = file.get() ^ 0x04;
            file.seekp(handle);
            file.put(static_cast<char>(byte));
            return;
        }
    }
    FAIL() << "no record in " << table;
}

TEST_F(ColdStart, FromADamagedRecordIsRightAndSaysSoUntilTheNextStart) {
    for (const char* table : kTables) {
        SCOPED_TRACE(table);
        const StatePlace place = StatePlace::copyOf(prepared());
        watched(place, [&](Watcher&) {
            damage(place.file(table));
            {
                AgentProcess agent(place);
                const Json findings = agent.tell("audit").at("findings");
                ASSERT_EQ(1u, findings.size()) << findings;
                EXPECT_EQ("corrupt table", findings.front().at("finding"));
                expectModel(agent, setUp_);
                agent.runOut({});
            }
            expectStart(place, setUp_);
        });
        expectWorksOnFrom(place);
    }
}

TEST_F(ColdStart, AfterALossOfTheChipsStateMakesEverythingAnew) {
    powerCycle(place_);
    expectStart(place_, setUp_);
    watched(place_, [](Watcher&) {});
    expectWorksOnFrom(place_);
}

TEST_F(ColdStart, SecondAgentOnTheSameDirectoryIsRefused) {
    watched(place_, [&](Watcher&) {
        AgentProcess first(place_);
        ASSERT_EQ("", first.startError());
        EXPECT_THAT(AgentProcess(place_).startError(), HasSubstr("in use by another agent"));
        expectModel(first, setUp_);
    });
}

std::string fullName(const std::string& operation) {
    return "p4_pd_velmor_switch_" + operation;
}

TEST_F(ColdStart, WritesWhatMendsADifferenceAndNothingElse) {
    for (const Spoilt& difference : spoilt()) {
        SCOPED_TRACE(difference.mended.front());
        const StatePlace place = StatePlace::copyOf(prepared());
        difference.spoil(place);
        std::vector<std::string> expected{"p4_pd_velmor_switch_lagGroup_set_property"};
        for (const auto& operation : difference.mended) {
            expected.push_back(fullName(operation));
        }
        EXPECT_EQ(expected, forecastOf(place).writes);
        watched(place, [&](Watcher&) { expectStart(place, setUp_); });
        expectWorksOnFrom(place);
    }
}

/// Each refusal of a call that a start makes, over what differs.
template <class Visit>
void forEachRefusal(const StatePlace& prepared, pipe_status status, Visit visit) {
    for (const Spoilt& difference : spoilt()) {
        for (const std::string& operation :
             std::set(difference.mended.begin(), difference.mended.end())) {
            const std::string function = fullName(operation);
            SCOPED_TRACE(function);
            const StatePlace place = StatePlace::copyOf(prepared);
            difference.spoil(place);
            visit(place, function, [&function, status] {
                callAsic<decltype(::velmor_asic_fault_plan)>("velmor_asic_fault_plan",
                                                             function.c_str(), 1u, status,
                                                             std::uint32_t{VELMOR_ASIC_FAULT_ONCE});
            });
        }
    }
}

TEST_F(ColdStart, ThatTheChipRefusesForGoodEndsAndTheNextOneSucceeds) {
    forEachRefusal(prepared(), 9, [&](const auto& place, const auto& function, auto refuse) {
        watched(place, [&](Watcher& watcher) {
            EXPECT_THAT(AgentProcess(place, {}, refuse).startError(),
                        AllOf(HasSubstr(function), HasSubstr("the chip forwards on as it is")));
            watcher.awaitSweep();
            expectStart(place, setUp_);
        });
    });
}

TEST_F(ColdStart, ThatTheChipRefusesForAWhileGoesOnByItself) {
    forEachRefusal(prepared(), 10, [&](const auto& place, const auto& function, auto refuse) {
        watched(place, [&](Watcher&) {
            AgentProcess agent(place, {}, refuse);
            EXPECT_THAT(agent.tell("show start").at("notes").dump(), HasSubstr(function));
            expectWhole(agent);
            expectModel(agent, setUp_);
        });
    });
}

TEST_F(ColdStart, SurvivesAReadBackThatFailsInTheFactoriesOrForAWhile) {
    for (const auto& [operation, status] :
         {std::pair("lagGroup_get_entry", 15u), {"lagPortActionProfile_get_group", 10u}}) {
        SCOPED_TRACE(operation);
        const std::string function = fullName(operation);
        const auto refuse = [&function, status = status] {
            callAsic<decltype(::velmor_asic_fault_plan)>("velmor_asic_fault_plan", function.c_str(),
                                                         1u, pipe_status{status},
                                                         std::uint32_t{VELMOR_ASIC_FAULT_ONCE});
        };
        AgentProcess agent(place_, {}, refuse);
        ASSERT_EQ("", agent.startError());
        EXPECT_EQ(1, agent.tell("show start").at("writes"));
        expectModel(agent, setUp_);
        agent.tell("entry set value 0x10 mask 0xffffffff member 1");
        agent.tell("entry set value 0x10 mask 0xffffffff group 10");
        expectWhole(agent);
        agent.runOut({});
    }
}

// ---- Full chips --------------------------------------------------------------------------------

/// Two groups are desired.
class RoomForNoneMore : public ColdStart {
  protected:
    RoomForNoneMore() : ColdStart({.groups = 2}) {}
};
/// The scenario has four groups at times.
class RoomForTheScenario : public ColdStart {
  protected:
    RoomForTheScenario() : ColdStart({.groups = 4}) {}
};

TEST_F(RoomForNoneMore, StartsWithOneWrite) {
    watched(place_, [&](Watcher&) {
        EXPECT_EQ(1u, forecastOf(place_).writes.size());
        expectStart(place_, setUp_);
    });
}

/// The only free group would be needed for a member that is to be inactive: it makes no difference
/// to the flows, and no LAG loses a port for it.
TEST_F(RoomForNoneMore, LeavesAGroupWithoutAMemberThatWouldBeInactive) {
    spoilt().back().spoil(place_);
    watched(place_, [&](Watcher&) {
        AgentProcess agent(place_);
        EXPECT_EQ(1, agent.tell("show start").at("writes"));
        expectModel(agent, setUp_);
        EXPECT_EQ(Json({{{"finding", "wrong members"},
                         {"object", "group 20"},
                         {"detail", "member 4 is not in it: left so, since no group is free"},
                         {"writes", 0}}}),
                  agent.tell("audit").at("findings"));
    });
}

TEST_F(RoomForNoneMore, LetsThatMemberJoinWhenItIsMadeActive) {
    spoilt().back().spoil(place_);
    AgentProcess agent(place_);
    agent.tell("group member set 20 4 active");
    agent.tell("expect calls 1");
    agent.tell("expect calls lagPortActionProfile_add_member_to_group 1");
    EXPECT_EQ(Json::array(), agent.tell("audit").at("findings"));
    agent.tell("group member set 20 4 inactive");
    agent.tell("expect calls lagPortActionProfile_group_member_state_set 1");
    expectWhole(agent);
    expectModel(agent, setUp_);
}

/// The command that was cut short is given again.
TEST_F(RoomForNoneMore, LetsThatMemberLeaveWithoutACall) {
    spoilt().back().spoil(place_);
    AgentProcess agent(place_);
    agent.tell("group member del 20 4");
    agent.tell("expect calls 0");
    expectWhole(agent);
    agent.tell("group member add 20 4");
    agent.tell("expect calls lagPortActionProfile_add_member_to_group 1");
    expectWhole(agent);
}

TEST_F(RoomForNoneMore, ChangesAndDeletesThatGroupLikeAnother) {
    spoilt().back().spoil(place_);
    AgentProcess agent(place_);
    expectWorksOn(agent);
}

TEST_F(RoomForTheScenario, LosesNothingByDeathsAtAnyStepOfTheAsic) {
    EXPECT_GE(fallDuringScenario(Death::Way::asicStep), 100 / kStride);
}

} // namespace
} // namespace LagAgent::Crash
