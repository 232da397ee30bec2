#include <sys/mount.h>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/mapped-tables/TableFiles.h"

namespace {

using Posix::StateDirectory;
using testing::HasSubstr;
using testing::StartsWith;
using namespace table_files;
namespace fs = std::filesystem;

unsigned modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class StateDirectoryTest : public testing::Test {
  protected:
    std::string refusal() const {
        return refusalOf([this] { const StateDirectory refused(place_.state().c_str()); });
    }
    /// Makes a sound file "f" of 8 bytes.
    void makeFile() const {
        directory_->create("f", 8);
        directory_->publish("f");
    }
    std::string fileRefusal() const {
        return refusalOf([this] { directory_->open("f"); });
    }
    std::string ofFile(const std::string& reason) const {
        return place_.file("f").string() + ": refused: " + reason;
    }

    Place place_;
    std::shared_ptr<const StateDirectory> directory_ = place_.open();
};

TEST_F(StateDirectoryTest, IsCreatedPrivateWhateverTheUmask) {
    directory_.reset();
    fs::remove_all(place_.state());
    const mode_t before = ::umask(0277);
    EXPECT_EQ(statusOfChild([this] {
                  ::umask(0177);
                  const StateDirectory directory(place_.state().c_str());
                  directory.create("f", 8);
                  directory.publish("f");
                  return 0;
              }),
              0);
    ::umask(before);
    EXPECT_EQ(modeOf(place_.state()), 0700u);
    EXPECT_EQ(modeOf(place_.file("f")), 0600u);
    EXPECT_EQ(modeOf(place_.file("lock")), 0600u);
}

TEST_F(StateDirectoryTest, ADirectoryThatCannotBeCreatedIsSaid) {
    const std::string path = (place_.root() / "none" / "state").string();
    EXPECT_EQ(refusalOf([&] { const StateDirectory directory(path); }),
              path + ": cannot create the directory: No such file or directory");
}

TEST_F(StateDirectoryTest, ADirectoryOfAnotherModeIsRefused) {
    directory_.reset();
    fs::permissions(place_.state(), fs::perms(0750));
    EXPECT_EQ(refusal(), place_.state().string() + ": refused: its mode is 0750, not 0700");
}

TEST_F(StateDirectoryTest, ADirectoryOfAnotherUserIsRefused) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    directory_.reset();
    ASSERT_EQ(::chown(place_.state().c_str(), 1, 1), 0);
    EXPECT_EQ(refusal(), place_.state().string() + ": refused: its owner is user 1, not user 0");
}

TEST_F(StateDirectoryTest, ALinkOrAFileInItsPlaceIsRefused) {
    const fs::path link = place_.root() / "link";
    fs::create_directory_symlink(place_.state(), link);
    for (const std::string& path : {link.string(), link.string() + "/"}) {
        EXPECT_EQ(refusalOf([&] { const StateDirectory directory(path); }),
                  link.string() + ": refused: it is a link or no directory");
    }
    const fs::path file = place_.root() / "file";
    contentIs(file, "");
    EXPECT_EQ(refusalOf([&] { const StateDirectory directory(file.c_str()); }),
              file.string() + ": refused: it is a link or no directory");
}

TEST_F(StateDirectoryTest, ASecondAgentIsToldWhoIsTheFirst) {
    const std::string inUse = place_.state().string() + ": in use by another agent, process " +
                              std::to_string(::getpid());
    EXPECT_EQ(refusal(), inUse);
    EXPECT_EQ(statusOfChild([&] { return refusal() == inUse ? 0 : 1; }), 0);
}

TEST_F(StateDirectoryTest, TheLockEndsWithTheObjectAndWithTheProcess) {
    directory_.reset();
    EXPECT_EQ(statusOfChild([this] {
                  const auto held = place_.open();
                  ::raise(SIGKILL);
                  return 0;
              }),
              -1);
    EXPECT_EQ(refusal(), "");
    EXPECT_EQ(refusal(), "");
}

TEST_F(StateDirectoryTest, ALockFileThatIsNotOnesOwnIsRefused) {
    directory_.reset();
    fs::remove(place_.file("lock"));
    fs::create_symlink(place_.root() / "victim", place_.file("lock"));
    EXPECT_EQ(refusal(), place_.file("lock").string() + ": refused: it is a symbolic link");
    EXPECT_FALSE(fs::exists(place_.root() / "victim"));
}

TEST_F(StateDirectoryTest, AFileThatIsNotThereIsNoRefusal) {
    EXPECT_FALSE(directory_->open("f").has_value());
}

TEST_F(StateDirectoryTest, APublishedFileIsOpenedWithItsSize) {
    makeFile();
    const auto file = directory_->open("f");
    ASSERT_TRUE(file.has_value());
    EXPECT_EQ(file->size, 8u);
}

TEST_F(StateDirectoryTest, AFileOfAnotherModeIsRefused) {
    makeFile();
    fs::permissions(place_.file("f"), fs::perms(0644));
    EXPECT_EQ(fileRefusal(), ofFile("its mode is 0644, not 0600"));
}

TEST_F(StateDirectoryTest, AFileOfAnotherUserIsRefused) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    makeFile();
    ASSERT_EQ(::chown(place_.file("f").c_str(), 1, 1), 0);
    EXPECT_EQ(fileRefusal(), ofFile("its owner is user 1, not user 0"));
}

TEST_F(StateDirectoryTest, AFileWithAnotherNameIsRefused) {
    makeFile();
    fs::create_hard_link(place_.file("f"), place_.root() / "other");
    EXPECT_EQ(fileRefusal(), ofFile("it has 2 links, not 1"));
}

TEST_F(StateDirectoryTest, ASymbolicLinkIsRefusedAndNotFollowed) {
    makeFile();
    fs::rename(place_.file("f"), place_.root() / "target");
    fs::create_symlink(place_.root() / "target", place_.file("f"));
    EXPECT_EQ(fileRefusal(), ofFile("it is a symbolic link"));
}

TEST_F(StateDirectoryTest, WhatIsNoRegularFileIsRefusedAtOnce) {
    fs::create_directory(place_.file("f"));
    EXPECT_EQ(fileRefusal(), ofFile("it is not a regular file"));
    fs::remove(place_.file("f"));
    ASSERT_EQ(::mkfifo(place_.file("f").c_str(), 0600), 0);
    EXPECT_EQ(fileRefusal(), ofFile("it is not a regular file"));
}

TEST_F(StateDirectoryTest, ARefusedTableStaysAsItIs) {
    using Table = Glimt::MappedTable<RuxMbbShared::AdtEntryConfig>;
    { const Table created(directory_, 8, {1, 1}); }
    fs::permissions(place_.file("members"), fs::perms(0660));
    const std::string before = contentOf(place_.file("members"));
    EXPECT_THAT(refusalOf([this] {
                    const Table refused(directory_, 9, {1, 1});
                }),
                HasSubstr("its mode is 0660"));
    EXPECT_EQ(contentOf(place_.file("members")), before);
    EXPECT_EQ(modeOf(place_.file("members")), 0660u);
}

TEST_F(StateDirectoryTest, AFileIsNotSeenBeforeItIsPublished) {
    const auto file = directory_->create("f", 100);
    EXPECT_FALSE(directory_->open("f").has_value());
    EXPECT_EQ(modeOf(place_.file(".f.new")), 0600u);
    directory_->publish("f");
    EXPECT_EQ(directory_->open("f")->size, 100u);
    EXPECT_FALSE(fs::exists(place_.file(".f.new")));
}

TEST_F(StateDirectoryTest, WhatAKilledAgentLeftUnderThePrivateNameIsReplaced) {
    contentIs(place_.root() / "victim", "kept");
    fs::create_hard_link(place_.root() / "victim", place_.file(".f.new"));
    makeFile();
    EXPECT_EQ(contentOf(place_.root() / "victim"), "kept");
    fs::create_symlink(place_.root() / "victim", place_.file(".f.new"));
    makeFile();
    EXPECT_EQ(contentOf(place_.root() / "victim"), "kept");
    EXPECT_EQ(directory_->open("f")->size, 8u);
}

TEST_F(StateDirectoryTest, AFileBeyondTheLimitIsAMessageAndLeavesTheOldOne) {
    makeFile();
    EXPECT_EQ(statusOfChild([this] {
                  const rlimit limit{4096, 4096};
                  ::setrlimit(RLIMIT_FSIZE, &limit);
                  ::signal(SIGXFSZ, SIG_IGN);
                  return refusalOf([this] { directory_->create("f", 8192); }) ==
                                 place_.file(".f.new").string() +
                                     ": cannot allocate 8192 bytes: File too large"
                             ? 0
                             : 1;
              }),
              0);
    EXPECT_EQ(directory_->open("f")->size, 8u);
    EXPECT_FALSE(fs::exists(place_.file(".f.new")));
}

/// A file system with 64 KiB, where that may be mounted.
class FullDisk : public testing::Test {
  protected:
    void SetUp() override {
        if (::mount("tmpfs", place_.root().c_str(), "tmpfs", 0, "size=65536,mode=0700") != 0) {
            GTEST_SKIP() << "no file system can be mounted here";
        }
        isMounted_ = true;
    }
    void TearDown() override {
        if (isMounted_) {
            ::umount2(place_.root().c_str(), MNT_DETACH);
        }
    }
    Place place_;
    bool isMounted_ = false;
};

TEST_F(FullDisk, IsAMessageWhenATableIsCreatedAndTheNextStartIsAsGoodAsTheFirst) {
    using Table = Glimt::MappedTable<RuxMbbShared::AdtEntryConfig>;
    const auto directory = place_.open();
    EXPECT_THAT(refusalOf([&] {
                    const Table refused(directory, 100'000, {1, 1});
                }),
                HasSubstr(".members.new: cannot allocate 4000760 bytes: No space left on device"));
    EXPECT_TRUE(Table(directory, 100, {1, 1}).file().damagedCopy().empty());
    EXPECT_TRUE(Table(directory, 100, {1, 1}).file().isWarm());
}

TEST_F(FullDisk, TablesThatHaveTheirSpaceAreOpenedWrittenAndFoundCorrupt) {
    using Table = Glimt::MappedTable<RuxMbbShared::AdtEntryConfig>;
    {
        const auto directory = place_.open();
        const Table created(directory, 100, {1, 1});
    }
    contentIs(place_.root() / "filler", std::string(1 << 17, 'x'));
    const auto directory = place_.open();
    Table table(directory, 100, {1, 1});
    ASSERT_TRUE(table.file().isWarm());
    for (Kel::U32 n = 1; n <= 100; ++n) {
        table.slots().contentIs(Table::Traits::content(numbered<RuxMbbShared::AdtEntryConfig>(n)));
    }
    EXPECT_EQ(walked(table).size(), 100u);
    table.doCorruptionDetected("seen");
    EXPECT_THAT(table.file().latestCorruption(), StartsWith("seen; no copy was kept: "));
    EXPECT_TRUE(table.slots().isMarked());
}

} // namespace
