#include "agent/console/HistoryFile.h"

#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/daemon/Child.h"
#include "tests/agent/daemon/TestDirectory.h"

namespace LagAgent {
namespace {

using testing::ElementsAre;

TEST(HistoryFile, KeepsLinesInAFileOfTheUsersAlone) {
    const TestDirectory folder;
    const std::string path = folder / "a/b/history";
    EXPECT_TRUE(HistoryFile(path).add("first"));
    EXPECT_TRUE(HistoryFile(path).add("second"));
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

TEST(HistoryFile, StaysWholeWhenThereIsNoRoomToCutIt) {
    const TestDirectory folder;
    const std::string path = folder / "history";
    const std::size_t count = 2 * HistoryFile::kKept + 1;
    for (std::size_t i = 0; i < count; ++i) {
        HistoryFile(path).add("line");
    }
    Child onAFullDisk([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit room{HistoryFile::kKept, HistoryFile::kKept};
        return ::setrlimit(RLIMIT_FSIZE, &room) == 0 &&
                       HistoryFile(path).latest().size() == HistoryFile::kKept
                   ? 0
                   : 1;
    });
    EXPECT_EQ(0, onAFullDisk.exitStatus());
    EXPECT_EQ(5 * count, std::filesystem::file_size(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST(HistoryFile, ThatCannotBeIsNone) {
    for (const char* path : {"", "/dev/null/history", "/proc/history"}) {
        const HistoryFile history(path);
        EXPECT_FALSE(history.add("line"));
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
