#include "agent/Session.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "agent/HistoryFile.h"
#include "tests/agent/daemon/TestDirectory.h"

namespace LagAgent {
namespace {

using testing::ElementsAre;

/// A runner that succeeds; 'say' has something to say.
class Runner final : public CommandRunner {
  public:
    Outcome run(std::string_view line) override {
        Outcome outcome;
        outcome.command = line;
        if (line == "say") {
            outcome.reply.add("said", true, "said\n");
        }
        return outcome;
    }
    std::optional<Error> atEnd() override { return std::nullopt; }
    bool isOver() const override { return false; }
};

class Recorder final : public Progress {
  public:
    void show(std::string_view phase, std::size_t done, std::size_t total) override {
        events.push_back(std::string(phase) + " " + std::to_string(done) + "/" +
                         std::to_string(total));
    }
    void hide() override { events.push_back("hide"); }

    std::vector<std::string> events;
};

TEST(SessionProgress, IsInBytesOfTheFileAndGivesWayToOutput) {
    const TestDirectory folder;
    const std::string name = folder / "commands";
    std::ofstream(name) << "one\nsay\nthree";
    std::ostringstream out, err;
    Presenter presenter({}, out, err);
    Runner runner;
    Recorder progress;
    EXPECT_TRUE(Session(runner, presenter, progress).run({.batch = name}));
    EXPECT_THAT(progress.events,
                ElementsAre(name + " 4/13", "hide", name + " 8/13", name + " 13/13", "hide"));
    EXPECT_EQ("said\n", out.str());
    EXPECT_EQ("", err.str());
}

TEST(HistoryFile, KeepsLinesInAFileOfTheUsersAlone) {
    const TestDirectory folder;
    const std::string path = folder / "a/b/history";
    HistoryFile(path).add("first");
    HistoryFile(path).add("second");
    EXPECT_THAT(HistoryFile(path).latest(), ElementsAre("first", "second"));
    using std::filesystem::perms;
    EXPECT_EQ(perms::owner_read | perms::owner_write, std::filesystem::status(path).permissions());
    EXPECT_EQ(perms::owner_all, std::filesystem::status(folder / "a/b").permissions());
}

TEST(HistoryFile, IsCutToTheLatestLinesWhenItHasGrown) {
    const TestDirectory folder;
    const std::string path = folder / "history";
    const std::size_t count = 2 * HistoryFile::kKept + 1;
    for (std::size_t i = 0; i < count; ++i) {
        HistoryFile(path).add("line " + std::to_string(i));
    }
    for (int i = 0; i < 2; ++i) {
        const auto lines = HistoryFile(path).latest();
        EXPECT_EQ(HistoryFile::kKept, lines.size());
        EXPECT_EQ("line " + std::to_string(count - 1), lines.back());
    }
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    std::ifstream file(path);
    const auto lines = std::count(std::istreambuf_iterator<char>(file), {}, '\n');
    EXPECT_EQ(static_cast<std::ptrdiff_t>(HistoryFile::kKept), lines);
}

TEST(HistoryFile, ThatCannotBeIsNone) {
    for (const char* path : {"", "/dev/null/history", "/proc/history"}) {
        const HistoryFile history(path);
        history.add("line");
        EXPECT_TRUE(history.latest().empty()) << path;
    }
}

TEST(HistoryFile, IsWhereTheUserKeepsState) {
    ::setenv("XDG_STATE_HOME", "/state", 1);
    ::setenv("HOME", "/home/me", 1);
    EXPECT_EQ("/state/lagctl/history", historyPath("lagctl"));
    ::setenv("XDG_STATE_HOME", "relative", 1);
    EXPECT_EQ("/home/me/.local/state/lagctl/history", historyPath("lagctl"));
    ::unsetenv("XDG_STATE_HOME");
    EXPECT_EQ("/home/me/.local/state/lagctl/history", historyPath("lagctl"));
    ::unsetenv("HOME");
    EXPECT_EQ("", historyPath("lagctl"));
}

} // namespace
} // namespace LagAgent
