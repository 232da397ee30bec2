#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>

#include "platform/Glimt/SlotFormat.h"
#include "tests/agent/crash/AsicLibrary.h"
#include "tests/agent/crash/Checks.h"
#include "tests/agent/crash/CrashTest.h"

/// Starts over a chip that forwards, but without the records that say what is on it, and others
/// that find less than they need.
namespace LagAgent::Crash {
namespace {

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
        for (const char* table : kTables) {
            std::filesystem::remove(place_.file(table));
        }
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
    const auto powerCycle = [&] {
        callAsic<decltype(::velmor_asic_chip_attach)>("velmor_asic_chip_attach", 0,
                                                      place_.chip().c_str(), nullptr);
        callAsic<decltype(::velmor_asic_chip_power_cycle)>("velmor_asic_chip_power_cycle", 0);
        return 0;
    };
    ASSERT_EQ(0, ChildProcess(powerCycle).wait());
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

/// What the chip refuses once stops one start, and nothing else.
TEST_F(ColdStart, ThatTheChipRefusesEndsAndTheNextOneSucceeds) {
    for (const char* operation :
         {"lagGroup_set_property", "lagPortActionProfile_modify_member_with_setLagPort",
          "lagPortActionProfile_create_group", "lagPortActionProfile_add_member_to_group",
          "lagPortActionProfile_group_member_state_set", "lagGroup_modify_entry_with_selector",
          "lagPortActionProfile_del_group"}) {
        const std::string function = std::string("p4_pd_velmor_switch_") + operation;
        SCOPED_TRACE(function);
        const StatePlace place = StatePlace::copyOf(prepared());
        watched(place, [&](Watcher& watcher) {
            const auto refuse = [&] {
                callAsic<decltype(::velmor_asic_fault_plan)>("velmor_asic_fault_plan",
                                                             function.c_str(), 1u, pipe_status{9},
                                                             std::uint32_t{VELMOR_ASIC_FAULT_ONCE});
            };
            EXPECT_THAT(AgentProcess(place, {}, refuse).startError(), HasSubstr(function));
            watcher.awaitSweep();
            expectStart(place, setUp_);
        });
    }
}

// ---- Full chips --------------------------------------------------------------------------------

/// Two groups are desired.
class RoomForOneMore : public ColdStart {
  protected:
    RoomForOneMore() : ColdStart({.groups = 3}) {}
};
class RoomForNoneMore : public ColdStart {
  protected:
    RoomForNoneMore() : ColdStart({.groups = 2}) {}
};

TEST_F(RoomForOneMore, ExchangesGroupsOneByOneAndTouchesNone) {
    watched(place_, [&](Watcher&) {
        AgentProcess agent(place_);
        const Json start = agent.tell("show start");
        EXPECT_EQ(1, start.at("missing groups"));
        EXPECT_EQ(Json::array(), start.at("touched groups"));
        expectWhole(agent);
        expectModel(agent, setUp_);
    });
}

TEST_F(RoomForNoneMore, NamesTheGroupThatGaveWay) {
    watched(place_, [&](Watcher&) {
        AgentProcess agent(place_);
        const Json start = agent.tell("show start");
        EXPECT_EQ(2, start.at("missing groups"));
        ASSERT_EQ(1u, start.at("touched groups").size());
        EXPECT_THAT(start.at("notes").dump(),
                    HasSubstr("of group " + start.at("touched groups").front().dump()));
        expectWhole(agent);
        expectModel(agent, setUp_);
    });
}

TEST_F(RoomForOneMore, MayDieAtAnyStepOfTheAsic) {
    EXPECT_GE(fallDuringStart(place_, setUp_, Death::Way::asicStep, kStride * 3), 100 / kStride);
}

TEST_F(RoomForNoneMore, MayDieAtAnyStepOfTheAsic) {
    EXPECT_GE(fallDuringStart(place_, setUp_, Death::Way::asicStep, kStride * 3), 100 / kStride);
}

} // namespace
} // namespace LagAgent::Crash
