#include "platform/Pello/LockFile.h"

#include <gtest/gtest.h>

#include <csignal>
#include <optional>

#include "tests/platform/TableFiles.h"

namespace {

using Pello::LockFile;
using namespace table_files;
namespace fs = std::filesystem;

class LockFileTest : public testing::Test {
  protected:
    void take() { lock_.emplace(path_.c_str(), "the chip"); }
    std::string refusal() const {
        return refusalOf([this] { const LockFile refused(path_.c_str(), "the chip"); });
    }
    std::string ofFile(const std::string& reason) const { return path_.string() + ": " + reason; }

    Place place_;
    const fs::path path_ = place_.root() / "chip.agent";
    std::optional<LockFile> lock_;
};

TEST_F(LockFileTest, ItsFileIsPrivateAndNamesTheHolder) {
    take();
    EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write, fs::status(path_).permissions());
    EXPECT_EQ(std::to_string(::getpid()) + "\n", contentOf(path_));
}

TEST_F(LockFileTest, ASecondIsToldWhoIsTheFirst) {
    take();
    const std::string inUse =
        "the chip: in use by another agent, process " + std::to_string(::getpid());
    EXPECT_EQ(inUse, refusal());
    EXPECT_EQ(0, statusOfChild([&] { return refusal() == inUse ? 0 : 1; }));
    EXPECT_EQ(std::to_string(::getpid()) + "\n", contentOf(path_));
}

TEST_F(LockFileTest, EndsWithTheObjectAndWithTheProcess) {
    take();
    lock_.reset();
    EXPECT_EQ(-1, statusOfChild([this] {
        take();
        ::raise(SIGKILL);
        return 0;
    }));
    EXPECT_EQ("", refusal());
}

TEST_F(LockFileTest, APidThatWasLongerLeavesNothingBehind) {
    contentIs(path_, "123456789012\n");
    fs::permissions(path_, fs::perms(0600));
    take();
    EXPECT_EQ(std::to_string(::getpid()) + "\n", contentOf(path_));
}

TEST_F(LockFileTest, ANoteStaysForWhoTakesItNext) {
    take();
    EXPECT_EQ("", lock_->note());
    const std::string note(LockFile::kLongestNote, '\0');
    lock_->noteIs("a first one");
    lock_->noteIs(note);
    lock_.reset();
    take();
    EXPECT_EQ(note, lock_->note());
    lock_.reset();
    take();
    EXPECT_EQ(note, lock_->note());
    EXPECT_TRUE(contentOf(path_).starts_with(std::to_string(::getpid()) + "\n"));
    EXPECT_EQ("the chip: in use by another agent, process " + std::to_string(::getpid()),
              refusal());
}

TEST_F(LockFileTest, ANoteOutlivesTheProcess) {
    EXPECT_EQ(-1, statusOfChild([this] {
        take();
        lock_->noteIs("left");
        ::raise(SIGKILL);
        return 0;
    }));
    take();
    EXPECT_EQ("left", lock_->note());
}

TEST_F(LockFileTest, ALinkIsRefusedAndNotFollowed) {
    const fs::path victim = place_.root() / "victim";
    fs::create_symlink(victim, path_);
    EXPECT_EQ(ofFile("refused: it is a symbolic link"), refusal());
    EXPECT_FALSE(fs::exists(victim));
    fs::remove(path_);
    contentIs(victim, "kept");
    fs::permissions(victim, fs::perms(0600));
    fs::create_hard_link(victim, path_);
    EXPECT_EQ(ofFile("refused: it has 2 links, not 1"), refusal());
    EXPECT_EQ("kept", contentOf(victim));
}

TEST_F(LockFileTest, WhatIsNoPrivateFileIsRefused) {
    fs::create_directory(path_);
    EXPECT_EQ(ofFile("refused: it is not a regular file"), refusal());
    fs::remove(path_);
    contentIs(path_, "kept");
    fs::permissions(path_, fs::perms(0644));
    EXPECT_EQ(ofFile("refused: its mode is 0644, not 0600"), refusal());
    EXPECT_EQ("kept", contentOf(path_));
}

TEST_F(LockFileTest, AMissingFolderIsSaid) {
    const std::string path = (place_.root() / "none" / "chip.agent").string();
    EXPECT_EQ(path + ": cannot open it: No such file or directory",
              refusalOf([&] { const LockFile refused(path, "the chip"); }));
}

} // namespace
