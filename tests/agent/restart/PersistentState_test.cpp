#include "agent/restart/PersistentState.h"

#include "agent/desired/MendingNote.h"
#include "agent/terms/CurrentError.h"
#include "tests/agent/AgentTest.h"
#include "tests/agent/desired/StateFiles.h"

namespace LagAgent {
namespace {

using table_files::contentOf;
using testing::HasSubstr;
namespace fs = std::filesystem;

/// With room for 8 entries, 9 members and 10 groups.
constexpr StatefulChip::Facts kChip{.boot = 5, .usage = {0, 8, 0, 9, 0, 10, 0}};

/// A state over a chip that is nothing but these facts, in a file.
class PersistentStateTest : public testing::Test {
  protected:
    void open(const ChipScope& scope = kScope, const StatefulChip::Facts& facts = kChip,
              bool acceptsLoss = false) {
        state_.reset();
        state_.emplace(StateOptions{.directory = place_.open(), .acceptsLoss = acceptsLoss},
                       StatefulChip{.scope = scope, .file = chip_, .attach = [&] {
                                        ++attached_;
                                        return facts;
                                    }});
    }
    /// Starts, leaves `someState` and a record of each kind, and ends.
    void runOnce() {
        open();
        write(state_->database(), someState());
        state_->database().commit();
        state_->keys().memberIs(RuxTable::RuxMemberId(1), RuxTable::RuxSdkMemberHandle(7));
        state_->keys().groupIs(RuxTable::RuxGroupId(10), RuxTable::RuxSdkGroupHandle(8));
        state_.reset();
        attached_ = 0;
    }
    /// What a start says that must leave everything as it is, and the chip alone.
    std::string refusal(const ChipScope& scope = kScope, const StatefulChip::Facts& facts = kChip) {
        state_.reset();
        const auto before = contents();
        std::string error;
        try {
            open(scope, facts);
        } catch (...) {
            const Error caught = currentError();
            EXPECT_EQ(ErrorKind::storage, caught.kind);
            error = caught.message;
        }
        EXPECT_TRUE(before == contents()) << "a file was changed";
        EXPECT_EQ(0, attached_);
        return error;
    }
    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> all;
        for (const char* name : {"desired.db", "entries", "members", "groups"}) {
            if (fs::exists(place_.file(name))) {
                all[name] = contentOf(place_.file(name));
            }
        }
        return all;
    }
    void removeDatabase() const { ASSERT_TRUE(fs::remove(place_.file("desired.db"))); }
    std::string ofDatabase(const std::string& reason) const {
        return place_.file("desired.db").string() + ": refused: " + reason;
    }

    table_files::Place place_, other_;
    const std::string chip_ = place_.root() / "chip", mark_ = chip_ + ".agent";
    std::optional<PersistentState> state_;
    int attached_ = 0;
};

TEST_F(PersistentStateTest, EverythingIsThereAgain) {
    runOnce();
    open();
    EXPECT_EQ(1, attached_);
    EXPECT_EQ(someState(), state_->takeDesired());
    EXPECT_NE(0u, state_->keys().memberKey(RuxTable::RuxMemberId(1)));
    EXPECT_NE(0u, state_->keys().groupKey(RuxTable::RuxGroupId(10)));
    EXPECT_THAT(state_->notes(), testing::IsEmpty());
}

// ---- One agent a chip ------------------------------------------------------------------------

TEST_F(PersistentStateTest, TheChipOfAnotherAgentIsLeftAloneAndNothingIsMade) {
    const Posix::LockFile other((chip_ + ".agent").c_str(), chip_);
    EXPECT_EQ(chip_ + ": in use by another agent, process " + std::to_string(::getpid()),
              refusal());
    EXPECT_TRUE(contents().empty());
}

TEST_F(PersistentStateTest, TheChipIsLockedBeforeItIsAttachedAndUntilTheEnd) {
    const auto isLocked = [this] {
        return !table_files::refusalOf([this] {
                    Posix::LockFile((chip_ + ".agent"), chip_);
                }).empty();
    };
    const StatefulChip chip{.file = chip_, .attach = [&] {
                                EXPECT_TRUE(isLocked());
                                return kChip;
                            }};
    state_.emplace(StateOptions{.directory = place_.open()}, chip);
    EXPECT_TRUE(isLocked());
    state_.reset();
    EXPECT_FALSE(isLocked());
}

TEST_F(PersistentStateTest, AChipInNoFileNeedsNoLock) {
    const StatefulChip chip{.attach = [] { return kChip; }};
    state_.emplace(StateOptions{.directory = place_.open()}, chip);
    EXPECT_FALSE(fs::exists(place_.file(".agent")));
    EXPECT_FALSE(fs::exists(chip_ + ".agent"));
}

// ---- One scope a state -----------------------------------------------------------------------

TEST_F(PersistentStateTest, AnotherPipeOrDeviceIsRefused) {
    runOnce();
    EXPECT_EQ(ofDatabase("it is of device 0, all pipes; this start is for device 0, pipe 1"),
              refusal({.pipe = 1}));
    EXPECT_EQ(ofDatabase("it is of device 0, all pipes; this start is for device 2, all pipes"),
              refusal({.device = 2}));
    open();
    EXPECT_EQ(someState(), state_->takeDesired());
}

TEST_F(PersistentStateTest, TheScopeIsThatOfTheFirstStart) {
    open({255, 3});
    EXPECT_EQ(ofDatabase("it is of device 255, pipe 3; this start is for device 0, all pipes"),
              (attached_ = 0, refusal()));
    open({255, 3});
}

TEST_F(PersistentStateTest, TheTablesAreOfThePipeToo) {
    open({2, 3});
    state_.reset();
    const std::string members = contentOf(place_.file("members"));
    Kel::U64 device = 0;
    members.copy(reinterpret_cast<char*>(&device), sizeof device, 3 * sizeof device);
    EXPECT_EQ(0x0003'0002u, device);
}

// ---- The database first ----------------------------------------------------------------------

TEST_F(PersistentStateTest, ARefusedDatabaseLeavesTheTablesAlsoWhereTheyWouldStartEmpty) {
    runOnce();
    const StatefulChip::Facts reset{.boot = 6, .usage = kChip.usage};
    byHand(place_.file("desired.db"), "PRAGMA user_version=3");
    EXPECT_EQ(ofDatabase("it is of version 3, and this agent keeps version 2"),
              refusal(kScope, reset));
    byHand(place_.file("desired.db"), "PRAGMA user_version=2; DELETE FROM chip");
    EXPECT_EQ(ofDatabase("it is of nothing, its table chip being empty; this start is for device "
                         "0, all pipes"),
              refusal(kScope, reset));
    byHand(place_.file("desired.db"), "INSERT INTO chip VALUES(1, 0, 65535); "
                                      "UPDATE members SET port = 65536 WHERE id = 1");
    EXPECT_EQ(ofDatabase("the port of member 1, 65536, is out of range (0 to 65535)"),
              refusal(kScope, reset));
}

TEST_F(PersistentStateTest, RecordsWithoutTheirDatabaseAreRefused) {
    runOnce();
    removeDatabase();
    const std::string lost = ofDatabase(
        "it is not there, but the tables of records 'entries', 'members' and 'groups' "
        "are, and not empty: put the file back; to start without, and lose what it had, give "
        "--accept-loss");
    EXPECT_EQ(lost, refusal());
    // Its log is there as a rule, and has nothing to say of what to do.
    const fs::path log = place_.file("desired.db-wal");
    table_files::contentIs(log, "");
    fs::permissions(log, fs::perms(0600));
    EXPECT_EQ(lost, refusal());
    fs::remove(log);
    fs::remove(place_.file("members"));
    EXPECT_EQ(lost, refusal()); // the group's record
    EXPECT_EQ(lost, refusal({.pipe = 1}, {.boot = 6, .usage = kChip.usage}));
    fs::remove(place_.file("groups"));
    open();
    EXPECT_EQ(DesiredState(), state_->takeDesired());
}

TEST_F(PersistentStateTest, TablesThatCannotBeReadCountAsRecords) {
    open();
    state_.reset();
    attached_ = 0;
    removeDatabase();
    table_files::contentIs(place_.file("entries"), "garbage");
    EXPECT_THAT(refusal(), HasSubstr("it is not there, but"));
}

TEST_F(PersistentStateTest, AFirstStartThatDiedBetweenDatabaseAndTablesIsAFirstStart) {
    open();
    state_.reset();
    for (const char* table : {"entries", "members", "groups"}) {
        fs::remove(place_.file(table));
    }
    open();
    EXPECT_EQ(DesiredState(), state_->takeDesired());
    EXPECT_THAT(state_->notes(), testing::IsEmpty());
    EXPECT_TRUE(state_->isNew());
}

// ---- Database and tables know each other -----------------------------------------------------

TEST_F(PersistentStateTest, ADatabaseOlderThanTheRecordsIsRefusedWithBothNumbers) {
    runOnce();
    fs::copy(place_.file("desired.db"), place_.root() / "old");
    open();
    state_->database().memberIs(RuxTable::RuxMemberId(9), {kSetLagPort, 9});
    state_->database().commit();
    state_.reset();
    attached_ = 0;
    fs::copy(place_.root() / "old", place_.file("desired.db"),
             fs::copy_options::overwrite_existing);
    EXPECT_EQ(ofDatabase("it is older than what was acknowledged: it is at commit 1, the records "
                         "know of commit 2; put the latest file back, with its 'desired.db-wal' if "
                         "it has one; to start without, and lose what it had, give --accept-loss"),
              refusal());
    // A chip that has lost its state makes the records useless, not the commit.
    EXPECT_THAT(refusal(kScope, {.boot = 6, .usage = kChip.usage}), HasSubstr("know of commit 2"));
    open(kScope, kChip, true);
    EXPECT_EQ(someState(), state_->takeDesired());
    EXPECT_THAT(state_->notes(), testing::IsEmpty());
    open(); // the loss was accepted once and for all
    EXPECT_EQ(someState(), state_->takeDesired());
}

TEST_F(PersistentStateTest, ALostDatabaseIsDoneWithoutWhereLossIsAccepted) {
    runOnce();
    removeDatabase();
    open(kScope, kChip, true);
    EXPECT_EQ(DesiredState(), state_->takeDesired());
    EXPECT_EQ(3u, state_->notes().size());
}

TEST_F(PersistentStateTest, TheLogOfALostDatabaseIsSetAsideWhereLossIsAccepted) {
    runOnce();
    removeDatabase();
    const auto log = place_.file("desired.db-wal");
    table_files::contentIs(log, "what somebody did");
    fs::permissions(log, fs::perms(0600));
    EXPECT_NE("", refusal());
    open(kScope, kChip, true);
    EXPECT_EQ("what somebody did", contentOf(place_.file("desired.db-wal.damaged-1")));
    EXPECT_EQ("the database is gone; what SQLite left of it is kept as desired.db-wal.damaged-1",
              state_->notes().at(0));
}

TEST_F(PersistentStateTest, ATableThatIsOneCommitBehindIsBelievedAndAnOlderOneIsNot) {
    for (const char* table : {"entries", "members", "groups"}) {
        SCOPED_TRACE(table);
        open();
        const auto commit = [&](std::uint16_t port) {
            state_->database().memberIs(RuxTable::RuxMemberId(9), {kSetLagPort, port});
            state_->database().commit();
        };
        commit(1);
        const std::string old = contentOf(place_.file(table));
        commit(2);
        state_.reset();
        table_files::contentIs(place_.file(table), old);
        open();
        EXPECT_THAT(state_->notes(), testing::IsEmpty());
        commit(3);
        commit(4);
        state_.reset();
        table_files::contentIs(place_.file(table), old);
        open();
        const auto reasons = state_->notes();
        ASSERT_EQ(1u, reasons.size());
        EXPECT_THAT(reasons[0], HasSubstr("it is an old copy, of commit"));
    }
}

TEST_F(PersistentStateTest, RecordsOfAnotherDesiredStateAreNotBelieved) {
    runOnce();
    byHand(place_.file("desired.db"), "UPDATE history SET state = state + 1");
    fs::remove(mark_);
    open();
    ASSERT_EQ(4u, state_->notes().size());
    EXPECT_THAT(state_->notes()[1], HasSubstr("its desired state is "));
    EXPECT_EQ(0u, state_->keys().memberKey(RuxTable::RuxMemberId(1)));
}

// ---- What the chip was brought to ------------------------------------------------------------

/// A state directory of two moments: the files of the first, and the agent at the second.
class TwoMoments : public PersistentStateTest {
  protected:
    TwoMoments() {
        runOnce();
        fs::copy(place_.state(), old_);
        open();
        state_->database().memberDel(RuxTable::RuxMemberId(9));
        state_->database().commit();
        state_.reset();
        attached_ = 0;
    }
    /// Database and records agree with each other then.
    void putBack() const {
        for (const auto& file : fs::directory_iterator(old_)) {
            fs::copy(file, place_.state(), fs::copy_options::overwrite_existing);
        }
    }
    void startAndCommit() {
        open();
        state_->mendingBegins(false);
        state_->mendingEnds();
    }

    const fs::path old_ = place_.root() / "old";
};

TEST_F(TwoMoments, MemoriesThatAreOldTogetherAreRefusedWithBothNumbers) {
    putBack();
    EXPECT_EQ(ofDatabase("it is older than what was acknowledged: it is at commit 1, " + mark_ +
                         " knows of commit 2; put the latest file back, with its 'desired.db-wal' "
                         "if it has one; to start without, and lose what it had, give "
                         "--accept-loss"),
              refusal());
    open(kScope, kChip, true);
    EXPECT_EQ(2u, state_->database().commits());
    state_.reset();
    startAndCommit(); // the loss was accepted once and for all
}

TEST_F(TwoMoments, WithoutAMarkNothingTellsThatTheyAreOld) {
    for (const std::string content : {"", "4711\n", "4711\n           damaged"}) {
        SCOPED_TRACE(content);
        putBack();
        table_files::contentIs(mark_, content);
        open();
        EXPECT_THAT(state_->notes(),
                    testing::ElementsAre(mark_ + " does not tell the commit that the chip was "
                                                 "brought to, as after an upgrade: were database "
                                                 "and records both old, this start would not "
                                                 "notice"));
        state_->mendingBegins(false);
        state_.reset();
        open(); // and from then on there is one
        EXPECT_THAT(state_->notes(), testing::IsEmpty());
        state_.reset();
    }
}

TEST_F(TwoMoments, EveryFlippedBitOfAMarkIsNoticed) {
    state_.reset();
    const std::string whole = contentOf(mark_);
    ASSERT_EQ(48u, whole.size());
    for (std::size_t bit = 16 * 8; bit < whole.size() * 8; ++bit) {
        std::string damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        table_files::contentIs(mark_, damaged);
        EXPECT_EQ(std::nullopt, markIn(Posix::LockFile(mark_.c_str(), "the chip"))) << bit;
    }
}

TEST_F(TwoMoments, ADesiredStateThatTheChipHasLeftSinceIsRefused) {
    byHand(place_.file("desired.db"), "UPDATE history SET state = 4711");
    EXPECT_THAT(refusal(), AllOf(HasSubstr("it is at commit 2 of desired state 4711, but " + mark_ +
                                           " knows that the chip was brought to commit 2 of "
                                           "desired state "),
                                 HasSubstr(" since; put the latest file back")));
    open(kScope, kChip, true);
    state_->mendingBegins(false);
    state_.reset();
    startAndCommit();
}

TEST_F(TwoMoments, AnAgentThatHasDoneNothingYetDoesNotMindAnother) {
    state_.emplace(StateOptions{.directory = other_.open()},
                   StatefulChip{.file = chip_, .attach = [] { return kChip; }});
    EXPECT_THAT(state_->notes(), testing::IsEmpty());
}

/// The first commit is what makes the chip that of a new state.
TEST_F(TwoMoments, AnAgentThatHasDoneNothingYetLeavesTheMarkOfAnother) {
    const std::string before = contentOf(mark_).substr(16);
    state_.emplace(StateOptions{.directory = other_.open()},
                   StatefulChip{.file = chip_, .attach = [] { return kChip; }});
    EXPECT_EQ(before, contentOf(mark_).substr(16));
    state_->mendingBegins(false); // nobody has asked for anything
    EXPECT_EQ(before, contentOf(mark_).substr(16));
    state_->database().memberIs(RuxTable::RuxMemberId(1), {kSetLagPort, 1});
    state_->database().commit();
    EXPECT_NE(before, contentOf(mark_).substr(16));
}

TEST_F(TwoMoments, ANoteOfWhatMayBeRemovedHoldsForItsContentUntilThatIsDone) {
    open();
    EXPECT_FALSE(state_->isMendingNoted());
    state_->mendingBegins(true);
    state_.reset();
    open(); // it was cut short
    EXPECT_TRUE(state_->isMendingNoted());
    state_.reset();
    const std::string database = contentOf(place_.file("desired.db"));
    byHand(place_.file("desired.db"), "UPDATE members SET port = 77");
    open();
    EXPECT_FALSE(state_->isMendingNoted());
    state_.reset();
    table_files::contentIs(place_.file("desired.db"), database);
    open();
    EXPECT_TRUE(state_->isMendingNoted());
    state_->mendingEnds();
    EXPECT_FALSE(state_->isMendingNoted());
    state_.reset();
    open();
    EXPECT_FALSE(state_->isMendingNoted());
}

TEST_F(TwoMoments, ANoteStaysWhereTheCommitThatCountsIsALaterOne) {
    putBack();
    noteMending(*place_.open(), historyOf(SqliteConnection(place_.file("desired.db"))));
    open();
    EXPECT_EQ(2u, state_->database().commits());
    state_.reset();
    open();
    EXPECT_TRUE(state_->isMendingNoted());
}

TEST_F(PersistentStateTest, ADatabaseWithoutItsHistoryIsRefused) {
    runOnce();
    byHand(place_.file("desired.db"), "DELETE FROM history");
    EXPECT_EQ(ofDatabase("its table history is empty"), refusal());
}

TEST_F(PersistentStateTest, TheDatabaseAloneIsWholeAfterTheStart) {
    open();
    write(state_->database(), someState());
    state_->database().commit();
    const auto log = place_.file("desired.db-wal");
    const auto kept = place_.root() / "log";
    fs::copy(log, kept);
    fs::copy(place_.file("desired.db"), place_.root() / "database");
    state_.reset();
    // As after a kill: the log has what the database lacks.
    fs::copy(place_.root() / "database", place_.file("desired.db"),
             fs::copy_options::overwrite_existing);
    fs::copy(kept, log);
    fs::permissions(log, fs::perms(0600));
    open();
    EXPECT_EQ(0u, fs::file_size(log));
    const auto directory = other_.open();
    fs::copy(place_.file("desired.db"), other_.file("desired.db"));
    EXPECT_EQ(someState(), StateDatabase(directory, kScope).read());
}

TEST_F(PersistentStateTest, FilesThatAreRemovedOrReplacedUnderItAreNoticed) {
    for (const char* name : {"desired.db", "desired.db-wal", "entries", "members", "groups"}) {
        SCOPED_TRACE(name);
        open();
        EXPECT_EQ("", state_->harm());
        const auto file = place_.file(name);
        fs::rename(file, place_.root() / "aside");
        EXPECT_EQ(file.string() + " was removed or replaced", state_->harm());
        fs::copy(place_.root() / "aside", file);
        EXPECT_EQ(file.string() + " was removed or replaced", state_->harm());
        fs::rename(place_.root() / "aside", file);
        EXPECT_EQ("", state_->harm());
    }
}

TEST_F(PersistentStateTest, AChipThatLosesItsStateUnderItIsNoticed) {
    std::uint64_t boot = kChip.boot;
    state_.emplace(StateOptions{.directory = place_.open()},
                   StatefulChip{.attach = [] { return kChip; }, .boot = [&] { return boot; }});
    EXPECT_EQ("", state_->harm());
    boot = 6;
    EXPECT_EQ("the chip has lost its state: its boot generation is another one", state_->harm());
}

TEST_F(PersistentStateTest, AChipThatCannotBeAttachedLeavesNoStateBehind) {
    const StatefulChip chip{.file = chip_, .attach = []() -> StatefulChip::Facts {
                                throw CommandError(ErrorKind::start, "no chip");
                            }};
    EXPECT_THROW(PersistentState(StateOptions{.directory = place_.open()}, chip), CommandError);
    EXPECT_TRUE(contents().empty());
}

// ---- The agent over it -----------------------------------------------------------------------

/// An agent over a chip in a file.
class StatefulAgent : public AgentTest {
  protected:
    StatefulAgent() {
        agent =
            std::make_unique<Agent>(target(), StateOptions{.directory = place_.open()}, nullptr);
        interpreter = std::make_unique<Interpreter>(*agent);
    }
    ~StatefulAgent() override { agent.reset(); }

    static Target target() { return {.pdPath = PD_VELMOR_SWITCH_LIBRARY}; }

    table_files::Place place_, other_;
};

TEST_F(StatefulAgent, ASecondOneOnItsChipChangesNothingThere) {
    good("member add 1 action setLagPort port 1");
    const std::string chip = place_.file("chip");
    EXPECT_EQ(chip + ": in use by another agent, process " + std::to_string(::getpid()),
              table_files::refusalOf([&] {
                  Agent(target(), {.directory = other_.open(), .chipFile = chip}, nullptr);
              }));
    EXPECT_EQ(1u, agent->chip().usage().members);
    EXPECT_FALSE(fs::exists(other_.file("desired.db")));
}

TEST_F(StatefulAgent, IsOfTheTargetsDeviceAndPipe) {
    { const StateDatabase made(other_.open(), {.device = 1, .pipe = 2}); }
    EXPECT_EQ(other_.file("desired.db").string() +
                  ": refused: it is of device 1, pipe 2; this start is for device 0, pipe 1",
              storageErrorOf([&] {
                  Agent({.pdPath = PD_VELMOR_SWITCH_LIBRARY, .pipe = 1},
                        {.directory = other_.open()}, nullptr);
              }));
    EXPECT_FALSE(fs::exists(other_.file("chip")));
}

} // namespace
} // namespace LagAgent
