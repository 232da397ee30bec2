#include "agent/daemon/Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "posix/FileDescriptor.h"
#include "tests/agent/daemon/TestDirectory.h"

namespace LagAgent {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

/// A log into a pipe.
class LogTest : public testing::Test {
  protected:
    LogTest() {
        int ends[2];
        EXPECT_EQ(0, ::pipe2(ends, O_CLOEXEC | O_NONBLOCK));
        out_ = Posix::FileDescriptor(ends[0]);
        in_ = Posix::FileDescriptor(ends[1]);
        ::unsetenv("JOURNAL_STREAM");
    }
    ~LogTest() override { ::unsetenv("JOURNAL_STREAM"); }

    Log log(LogOptions options = {}) const { return {in_.get(), options}; }

    std::string written() const {
        char buffer[8192];
        const ssize_t size = ::read(out_.get(), buffer, sizeof buffer);
        return {buffer, static_cast<std::size_t>(size > 0 ? size : 0)};
    }

    /// Writing waits, as it does by default, and the pipe takes 4096 bytes.
    void fileWaits() const {
        EXPECT_EQ(0, ::fcntl(in_.get(), F_SETFL, 0));
        EXPECT_EQ(4096, ::fcntl(in_.get(), F_SETPIPE_SZ, 4096));
    }

    /// As systemd does for a service whose standard error is the journal.
    void pipeIsTheJournal() const {
        struct stat file {};
        ASSERT_EQ(0, ::fstat(in_.get(), &file));
        ::setenv("JOURNAL_STREAM",
                 (std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino)).c_str(), 1);
    }

  private:
    Posix::FileDescriptor out_;
    Posix::FileDescriptor in_;
};

TEST(Logfmt, QuotesValuesThatNeedIt) {
    EXPECT_EQ("plain-1:/x", logfmtValue("plain-1:/x"));
    EXPECT_EQ(R"("")", logfmtValue(""));
    EXPECT_EQ(R"("two words")", logfmtValue("two words"));
    EXPECT_EQ(R"("a=b")", logfmtValue("a=b"));
    EXPECT_EQ(R"("say \"no\"")", logfmtValue(R"(say "no")"));
    EXPECT_EQ(R"("back\\slash")", logfmtValue(R"(back\slash)"));
}

TEST(Logfmt, BytesThatCouldEndALineOrActOnATerminalAreEscaped) {
    EXPECT_EQ(R"("a\x0alevel=error")", logfmtValue("a\nlevel=error"));
    EXPECT_EQ(R"("\x1b[2J\x00\x7f\x0d\xc3\xa4")",
              logfmtValue(std::string_view("\x1b[2J\0\x7f\r\xc3\xa4", 9)));
}

TEST_F(LogTest, EventIsOneLineOfFields) {
    log().write(LogLevel::info, "ready", {{"socket", "/run/x"}, {"count", 3}});
    EXPECT_THAT(written(), MatchesRegex("ts=[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}"
                                        "\\.[0-9]{3}Z level=info event=ready socket=/run/x "
                                        "count=3\n"));
}

TEST_F(LogTest, NothingThatIsSentForgesALine) {
    log().write(LogLevel::info, "failed", {{"message", "x\nts=1 level=error event=forged"}});
    const std::string text = written();
    EXPECT_EQ(text.size() - 1, text.find('\n'));
    EXPECT_THAT(text, EndsWith("message=\"x\\x0ats=1 level=error event=forged\"\n"));
}

TEST_F(LogTest, JsonIsOneDocumentALine) {
    log({.json = true}).write(LogLevel::warning, "refused", {{"message", "a\n\"b\"\xff\xc3\xa4"}});
    const std::string text = written();
    EXPECT_EQ(text.size() - 1, text.find('\n'));
    const auto document = Json::parse(text);
    EXPECT_EQ("warning", document["level"]);
    EXPECT_EQ("refused", document["event"]);
    EXPECT_EQ("a\n\"b\"\xef\xbf\xbd\xc3\xa4", document["message"]);
    EXPECT_TRUE(document["ts"].is_string());
}

TEST_F(LogTest, WhatIsLessImportantIsLeftOut) {
    log().write(LogLevel::debug, "unseen");
    EXPECT_EQ("", written());
    log({.level = LogLevel::debug}).write(LogLevel::debug, "seen");
    EXPECT_THAT(written(), EndsWith(" level=debug event=seen\n"));
    log({.level = LogLevel::error}).write(LogLevel::warning, "unseen");
    EXPECT_EQ("", written());
}

TEST_F(LogTest, JournalGetsPrioritiesAndNoTime) {
    pipeIsTheJournal();
    log().write(LogLevel::info, "a");
    log().write(LogLevel::warning, "b");
    log().write(LogLevel::error, "c");
    log({.level = LogLevel::debug}).write(LogLevel::debug, "d");
    EXPECT_EQ("<6>level=info event=a\n<4>level=warning event=b\n<3>level=error event=c\n"
              "<7>level=debug event=d\n",
              written());
    log({.json = true}).write(LogLevel::info, "a");
    EXPECT_EQ("<6>{\"level\":\"info\",\"event\":\"a\"}\n", written());
}

TEST_F(LogTest, ReaderThatStopsIsNotWaitedForAndIsToldHowMuchIsMissing) {
    fileWaits();
    const Log log = this->log();
    for (int i = 0; i < 1000; ++i) {
        log.write(LogLevel::info, "early");
    }
    const std::string text = written();
    const auto lines = std::count(text.begin(), text.end(), '\n');
    EXPECT_LT(0, lines);
    EXPECT_THAT(text, EndsWith(" level=info event=early\n")); // no line in part
    log.write(LogLevel::info, "late");
    EXPECT_THAT(written(),
                MatchesRegex("ts=[^ ]* level=warning event=log-dropped events=" +
                             std::to_string(1000 - lines) + "\nts=[^ ]* level=info event=late\n"));
    log.write(LogLevel::info, "later");
    EXPECT_THAT(written(), MatchesRegex("ts=[^ ]* level=info event=later\n"));
}

TEST_F(LogTest, LineThatIsTakenInPartIsWrittenToItsEndFirst) {
    fileWaits();
    const Log log = this->log();
    log.write(LogLevel::info, "long", {{"x", std::string(5000, 'x')}});
    log.write(LogLevel::info, "dropped");
    std::string text = written();
    EXPECT_THAT(text, Not(HasSubstr("\n")));
    log.write(LogLevel::info, "next");
    text += written();
    EXPECT_THAT(text, MatchesRegex("ts=[^ ]* level=info event=long x=x*\n"
                                   "ts=[^ ]* level=warning event=log-dropped events=1\n"
                                   "ts=[^ ]* level=info event=next\n"));
    EXPECT_EQ(5002, std::count(text.begin(), text.end(), 'x')); // and two in names
}

TEST_F(LogTest, JournalOfAnotherFileChangesNothing) {
    ::setenv("JOURNAL_STREAM", "1:1", 1);
    log().write(LogLevel::info, "a");
    EXPECT_THAT(written(), testing::StartsWith("ts="));
}

} // namespace
} // namespace LagAgent
