#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/agent/crash/Checks.h"
#include "tests/agent/crash/CrashTest.h"

/// Starts over memories of which some are lost, damaged, old or of another switch. None is lost
/// silently: either everything is as it was acknowledged, or the start is refused and the chip
/// stays as it is.
namespace LagAgent::Crash {
namespace {

namespace fs = std::filesystem;

enum class Fate { kept, lost, cut, flipped, old, foreign };
constexpr std::array kFates{Fate::kept,    Fate::lost, Fate::cut,
                            Fate::flipped, Fate::old,  Fate::foreign};
constexpr std::array kNames{"kept", "lost", "cut", "flipped", "old", "foreign"};

const char* nameOf(Fate fate) {
    return kNames.at(static_cast<std::size_t>(fate));
}

class Memories : public CrashTest {
  protected:
    Memories() {
        // The old copy lacks the second LAG and both entries; after it come commands enough that
        // no single one explains the difference.
        const auto& commands = setUpCommands();
        const std::vector<std::string> first(commands.begin(), commands.begin() + 6);
        const std::vector<std::string> rest(commands.begin() + 6, commands.end());
        run(now_, first);
        old_.emplace(StatePlace::copyOf(now_));
        run(now_, rest);
        run(foreign_,
            {"member add 11 action setLagPort port 11", "member add 12 action setLagPort port 12",
             "group add 60 size 4 initial 11 action setLagPort",
             "entry set value 0x60 mask 0xffffffff group 60"});
    }

    /// An agent that is killed when it has carried the commands out, so that the log is there.
    static void run(const StatePlace& place, const std::vector<std::string>& commands) {
        fs::create_directory(place.directory());
        fs::permissions(place.directory(), fs::perms::owner_all);
        AgentProcess agent(place);
        for (const auto& command : commands) {
            agent.tell(command);
        }
    }

    void put(const StatePlace& place, const std::vector<std::string>& files, Fate fate) const {
        const StatePlace* const source = fate == Fate::old       ? &*old_
                                         : fate == Fate::foreign ? &foreign_
                                                                 : nullptr;
        for (const auto& name : files) {
            const auto file = place.file(name);
            if (source || fate == Fate::lost) {
                fs::remove(file);
            }
            if (source && fs::exists(source->file(name))) {
                fs::copy(source->file(name), file);
                fs::permissions(file, fs::perms(0600));
            } else if (fate == Fate::cut && fs::exists(file)) {
                fs::resize_file(file, fs::file_size(file) / 2);
            } else if (fate == Fate::flipped && fs::exists(file)) {
                flip(file);
            }
        }
    }

    /// One bit in the middle of what the file has.
    static void flip(const fs::path& path) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        const auto last = content.find_last_not_of('\0');
        if (last == std::string::npos) {
            return;
        }
        file.clear();
        file.seekp(static_cast<std::streamoff>(last / 2));
        file.put(static_cast<char>(content[last / 2] ^ 0x10));
    }

    /// What a start over them must be: everything is as it was acknowledged, or it is refused.
    void expectNothingLost(const StatePlace& place, Fate database, Fate chip) {
        std::optional<AgentProcess> agent(place);
        const std::string error = agent->startError();
        if (!error.empty()) {
            agent.reset(); // it has the lock until it has died
            ++refused_;
            EXPECT_THAT(error, testing::ContainsRegex("refused|no chip|malformed"));
            expectUntouched(place, chip);
            return;
        }
        ++started_;
        const Json found = modelOf(agent->tell("show"));
        // Nothing of the switch was left that could be lost.
        const bool isNothingLeft = database != Fate::kept && chip != Fate::kept;
        EXPECT_TRUE(found == models().front() || isNothingLeft) << found;
    }

    /// With the right memories again, the chip needs nothing.
    void expectUntouched(const StatePlace& place, Fate chip) {
        if (chip != Fate::kept) {
            return;
        }
        for (const char* name : {"desired.db", "desired.db-wal", "desired.db-shm", "entries",
                                 "members", "groups", "chip.agent"}) {
            fs::remove(place.file(name));
            fs::copy(now_.file(name), place.file(name));
            fs::permissions(place.file(name), fs::perms(0600));
        }
        AgentProcess agent(place);
        ASSERT_EQ("", agent.startError());
        EXPECT_EQ(1, agent.tell("show start").at("writes"));
        expectModel(agent, {models().front()});
    }

    StatePlace now_, foreign_;
    std::optional<StatePlace> old_;
    int started_ = 0, refused_ = 0;
};

TEST_F(Memories, NoneIsLostSilently) {
    for (const Fate database : kFates) {
        for (const Fate records : kFates) {
            for (const Fate chip : kFates) {
                SCOPED_TRACE(std::string("database ") + nameOf(database) + ", records " +
                             nameOf(records) + ", chip " + nameOf(chip));
                const StatePlace place = StatePlace::copyOf(now_);
                put(place, {"desired.db", "desired.db-wal", "desired.db-shm"}, database);
                put(place, {"entries", "members", "groups"}, records);
                put(place, {"chip"}, chip);
                expectNothingLost(place, database, chip);
            }
        }
    }
    EXPECT_EQ(25, started_);
    EXPECT_EQ(191, refused_);
}

/// Database and records that are old together agree with each other.
TEST_F(Memories, MarkBesideTheChipTellsWhatIsOldTogether) {
    const StatePlace place = StatePlace::copyOf(now_);
    put(place, {"desired.db", "desired.db-wal", "desired.db-shm", "entries", "members", "groups"},
        Fate::old);
    EXPECT_THAT(AgentProcess(place).startError(),
                testing::ContainsRegex("it is at commit 6, .*chip.agent knows of commit 11"));
    expectUntouched(place, Fate::kept);
}

} // namespace
} // namespace LagAgent::Crash
