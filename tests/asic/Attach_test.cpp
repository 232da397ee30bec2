// Making, finding and refusing chip files; detaching; power cycles.

#include "tests/asic/AttachedTest.h"

#include "asic/ChipFileLayout.h"

#include <cstddef>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <vector>

namespace asic_test {
namespace {

using asic::ChipFileHead;
using testing::EndsWith;
using testing::HasSubstr;

// Call 0 is never made; its place comes first.
constexpr std::size_t kFirstCallAt = asic::kRingAt + 8 * asic::call_at::kWords;

class AttachTest : public AttachedTest {
  protected:
    void SetUp() override { AsicTest::SetUp(); }

    void makeFile() {
        attach();
        member(7);
        velmor_asic_reset();
    }
    std::string bytes() const {
        std::string all(std::filesystem::file_size(path_), '\0');
        std::ifstream(path_, std::ios::binary)
            .read(all.data(), static_cast<std::streamsize>(all.size()));
        return all;
    }
    void writeWord(std::size_t offset, std::uint64_t word) const {
        std::fstream file(path_, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(offset));
        file.write(reinterpret_cast<const char*>(&word), sizeof word);
        ASSERT_TRUE(file.good());
    }
    std::uint64_t readWord(std::size_t offset) const {
        std::uint64_t word = 0;
        std::ifstream file(path_, std::ios::binary);
        file.seekg(static_cast<std::streamoff>(offset));
        file.read(reinterpret_cast<char*>(&word), sizeof word);
        return word;
    }
    /// The file is refused for this reason, and neither it nor device 0 has changed.
    void expectRefused(pipe_status status, const std::string& reason) {
        const std::string before = bytes();
        EXPECT_EQ(status, tryAttach());
        EXPECT_EQ(path_ + ": " + reason, velmor_asic_attach_error());
        EXPECT_TRUE(before == bytes());
        EXPECT_EQ(0u, usage().members);
        EXPECT_EQ(1u, directory_.count());
    }
};

TEST_F(AttachTest, MakesAPrivateFileThatIsSmall) {
    attach();
    EXPECT_STREQ("", velmor_asic_attach_error());
    struct stat state {};
    ASSERT_EQ(0, ::stat(path_.c_str(), &state));
    EXPECT_EQ(0600u, state.st_mode & 07777);
    EXPECT_EQ(1u, state.st_nlink);
    EXPECT_GT(2'000'000, state.st_size);
    EXPECT_EQ(1u, directory_.count());
}

TEST_F(AttachTest, TakesThePlaceOfTheChipInMemory) {
    const std::uint32_t inMemory = member(5);
    attach();
    EXPECT_EQ(0u, usage().members);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(inMemory));
    EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, velmor_asic_chip_create(kDevice, nullptr));
}

TEST_F(AttachTest, MayBeADeviceThatDidNotExist) {
    ASSERT_EQ(0u, velmor_asic_chip_attach(9, path_.c_str(), nullptr));
    const std::uint32_t onFile = member(1, {9, P4_PD_ALL_PIPES});
    EXPECT_EQ(0u, usage().members);
    velmor_asic_reset();
    attach();
    EXPECT_EQ(1u, usage().members);
    EXPECT_EQ(0u, delMember(onFile));
}

TEST_F(AttachTest, DestroyingDetachesAndTheFileStays) {
    attach();
    member(5);
    const std::string before = snapshot();
    ASSERT_EQ(0u, velmor_asic_chip_destroy(kDevice));
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryMember(&handle));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_destroy(kDevice));
    attach();
    EXPECT_EQ(before, snapshot());
    ASSERT_EQ(0u, velmor_asic_chip_destroy(kDevice));
    EXPECT_EQ(0u, velmor_asic_chip_create(kDevice, nullptr));
}

TEST_F(AttachTest, AnExistingFileHasItsOwnConfiguration) {
    velmor_asic_chip_config_t config = defaultConfig();
    config.member_capacity = 3;
    config.pipes = 2;
    config.first_handle = 100;
    ASSERT_EQ(0u, velmor_asic_chip_attach(kDevice, path_.c_str(), &config));
    EXPECT_EQ(100u, member(1));
    velmor_asic_reset();
    config.member_capacity = 4;
    ASSERT_EQ(0u, velmor_asic_chip_attach(kDevice, path_.c_str(), &config));
    EXPECT_EQ(3u, usage().member_capacity);
    EXPECT_EQ(101u, member(1));
}

TEST_F(AttachTest, AFileCanBeMadeForOthersToAttach) {
    velmor_asic_chip_config_t config = defaultConfig();
    config.member_capacity = 3;
    ASSERT_EQ(0u, velmor_asic_chip_file_make(path_.c_str(), &config));
    EXPECT_STREQ("", velmor_asic_attach_error());
    EXPECT_EQ(1u, directory_.count());
    EXPECT_EQ(65536u, usage().member_capacity); // device 0 is the chip in memory still
    attach();
    EXPECT_EQ(3u, usage().member_capacity);
    EXPECT_EQ(0u, usage().members);
    // The attached chip is in nobody's way.
    EXPECT_EQ(0u, velmor_asic_chip_file_make(directory_.file("other").c_str(), nullptr));
    EXPECT_EQ(1u, member(1));
    EXPECT_EQ(2u, directory_.count());
}

TEST_F(AttachTest, AFileIsNotMadeWhereThereIsSomething) {
    makeFile();
    const std::string before = bytes();
    const std::string broken = directory_.file("broken");
    std::filesystem::create_symlink(directory_.file("nowhere"), broken);
    for (const std::string& path : {path_, broken}) {
        EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS, velmor_asic_chip_file_make(path.c_str(), nullptr));
        EXPECT_EQ(path + ": exists already", velmor_asic_attach_error());
    }
    EXPECT_TRUE(before == bytes());
    EXPECT_EQ(2u, directory_.count());
}

TEST_F(AttachTest, OfManyProcessesThatMakeANewFileAtOnceOneDoes) {
    constexpr int kProcesses = 8;
    std::vector<pid_t> processes;
    for (int i = 0; i < kProcesses; ++i)
        processes.push_back(startProcess(
            [&] { return static_cast<int>(velmor_asic_chip_file_make(path_.c_str(), nullptr)); }));
    int made = 0;
    for (const pid_t process : processes) {
        const int status = endOf(process);
        made += status == 0 ? 1 : 0;
        EXPECT_TRUE(status == 0 || status == P4_PD_STATUS_ALREADY_EXISTS) << status;
    }
    EXPECT_EQ(1, made);
    EXPECT_EQ(1u, directory_.count());
}

TEST_F(AttachTest, AProcessAttachesOneChipAtATime) {
    attach();
    EXPECT_EQ(P4_PD_STATUS_ALREADY_EXISTS,
              velmor_asic_chip_attach(1, directory_.file("other").c_str(), nullptr));
    EXPECT_THAT(velmor_asic_attach_error(),
                EndsWith("/other: device 0 has an attached chip, and a process can have only one"));
    EXPECT_EQ(1u, directory_.count());
}

TEST_F(AttachTest, BadArgumentsAreRefused) {
    const std::string reason = "the device, the path or the configuration is out of range";
    velmor_asic_chip_config_t config = defaultConfig();
    config.pipes = 0;
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_attach(-1, path_.c_str(), nullptr));
    EXPECT_EQ(reason, velmor_asic_attach_error());
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_attach(0, nullptr, nullptr));
    EXPECT_EQ(reason, velmor_asic_attach_error());
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_attach(0, path_.c_str(), &config));
    EXPECT_EQ(reason, velmor_asic_attach_error());
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_file_make(nullptr, nullptr));
    EXPECT_EQ(reason, velmor_asic_attach_error());
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_file_make(path_.c_str(), &config));
    EXPECT_EQ(reason, velmor_asic_attach_error());
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_boot(0, nullptr));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_power_cycle(3));
    EXPECT_EQ(0u, directory_.count());
}

TEST_F(AttachTest, ADirectoryThatIsNotThereIsRefused) {
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryAttach(directory_.file("none/chip")));
    EXPECT_THAT(velmor_asic_attach_error(),
                EndsWith("/none/chip: cannot make a file in its directory: "
                         "No such file or directory"));
}

TEST_F(AttachTest, ASymbolicLinkIsRefused) {
    makeFile();
    const std::string target = directory_.file("target");
    std::filesystem::rename(path_, target);
    std::filesystem::create_symlink(target, path_);
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryAttach());
    EXPECT_EQ(path_ + ": is a symbolic link", velmor_asic_attach_error());
}

TEST_F(AttachTest, WhatIsNoRegularFileIsRefused) {
    ASSERT_EQ(0, ::mkfifo(path_.c_str(), 0600));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryAttach());
    EXPECT_EQ(path_ + ": is not a regular file", velmor_asic_attach_error());
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryAttach());
    EXPECT_EQ(path_ + ": cannot open the file: Is a directory", velmor_asic_attach_error());
}

TEST_F(AttachTest, AFileThatOthersMayReadIsRefused) {
    makeFile();
    ASSERT_EQ(0, ::chmod(path_.c_str(), 0640));
    expectRefused(P4_PD_STATUS_INVALID_ARG, "its mode is not 0600");
}

TEST_F(AttachTest, AFileOfSeveralNamesIsRefusedUntilItHasOneAgain) {
    makeFile();
    const Directory elsewhere;
    std::filesystem::create_hard_link(path_, elsewhere.file());
    expectRefused(P4_PD_STATUS_INVALID_ARG, "has 2 names (hard links), not one");
    std::filesystem::remove(elsewhere.file());
    attach();
    EXPECT_EQ(1u, usage().members);
}

TEST_F(AttachTest, AFileOfAnotherUserIsRefused) {
    makeFile();
    if (::chown(path_.c_str(), 1, 1) != 0)
        GTEST_SKIP() << "only root gives files away";
    expectRefused(P4_PD_STATUS_INVALID_ARG, "belongs to another user");
}

TEST_F(AttachTest, AFileOfAnotherLayoutIsRefused) {
    makeFile();
    writeWord(8 * asic::identity_at::kVersion, 2);
    expectRefused(P4_PD_STATUS_NOT_SUPPORTED, "its layout is version 2, not 1");
}

TEST_F(AttachTest, AFileThatIsNoChipFileIsRefused) {
    makeFile();
    writeWord(8 * asic::identity_at::kMagic, 0);
    expectRefused(P4_PD_STATUS_INTERNAL_ERROR, "is no chip file, or its header is damaged");
    std::ofstream(path_, std::ios::trunc) << "hello";
    expectRefused(P4_PD_STATUS_INTERNAL_ERROR, "is no chip file, or cut off: it has 5 bytes");
}

TEST_F(AttachTest, ADamagedHeaderIsRefusedWhicheverWordItIs) {
    makeFile();
    for (std::size_t word = 2; word < asic::identity_at::kWords; ++word) {
        const std::uint64_t good = readWord(8 * word);
        writeWord(8 * word, good ^ 0x100000);
        expectRefused(P4_PD_STATUS_INTERNAL_ERROR, "its header is damaged");
        writeWord(8 * word, good);
    }
    attach();
    EXPECT_EQ(1u, usage().members);
}

TEST_F(AttachTest, ADamagedStateIsRefused) {
    makeFile();
    const std::size_t checkpoint = offsetof(ChipFileHead, checkpoints);
    for (const std::size_t offset :
         {checkpoint, checkpoint + 8 * asic::checkpoint_at::kItems, kFirstCallAt,
          kFirstCallAt + 8 * asic::call_at::kHead, kFirstCallAt + 8 * asic::call_at::kArguments}) {
        const std::uint64_t good = readWord(offset);
        writeWord(offset, good ^ 1);
        expectRefused(P4_PD_STATUS_INTERNAL_ERROR, "what it says of the chip is damaged");
        writeWord(offset, good);
    }
    attach();
    EXPECT_EQ(1u, usage().members);
}

TEST_F(AttachTest, AFileThatIsCutOffIsRefused) {
    makeFile();
    const auto size = std::filesystem::file_size(path_);
    ASSERT_GT(size, asic::kAreasAt);
    std::filesystem::resize_file(path_, size - 1);
    expectRefused(P4_PD_STATUS_INTERNAL_ERROR, "is cut off, or its header is damaged");
    std::filesystem::resize_file(path_, asic::kAreasAt - 1);
    EXPECT_EQ(P4_PD_STATUS_INTERNAL_ERROR, tryAttach());
    EXPECT_THAT(velmor_asic_attach_error(), HasSubstr("is no chip file, or cut off"));
}

TEST_F(AttachTest, ManyProcessesThatMakeTheFileAtOnceShareOneChip) {
    constexpr int kProcesses = 8;
    constexpr int kRounds = 20;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<pid_t> processes;
        for (int i = 0; i < kProcesses; ++i)
            processes.push_back(startProcess([&] {
                std::uint32_t handle = 0;
                return tryAttach() == 0 && tryMember(&handle) == 0 ? 0 : 1;
            }));
        for (const pid_t process : processes)
            EXPECT_EQ(0, endOf(process));
        attachAnew();
        EXPECT_EQ(kProcesses, static_cast<int>(usage().members));
        EXPECT_EQ(1u, directory_.count());
        velmor_asic_reset();
        std::filesystem::remove(path_);
    }
}

TEST_F(AttachTest, APowerCycleEmptiesTheChipAndKeepsTheLog) {
    attach();
    const std::uint64_t first = boot();
    EXPECT_NE(0u, first);
    const std::string empty = snapshot();
    member(1);
    group(4);
    ASSERT_EQ(0u, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    ASSERT_EQ(0u, velmor_asic_chip_power_cycle(kDevice));
    EXPECT_EQ(empty, snapshot());
    const std::uint64_t second = boot();
    EXPECT_NE(0u, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(4u, velmor_asic_log_end());
    EXPECT_EQ(1u, velmor_asic_log_begin());
    EXPECT_EQ(1u, member(2));
    const std::string after = snapshot();
    attachAnew();
    EXPECT_EQ(after, snapshot());
    EXPECT_EQ(second, boot());
    // The initial entry scope is back: entries of all pipes are accepted.
    EXPECT_NE(0u, entry({1}, 1));
}

TEST_F(AttachTest, ChipsInMemoryHaveBootsToo) {
    const std::uint64_t first = boot();
    EXPECT_NE(0u, first);
    EXPECT_EQ(first, boot());
    member(1);
    ASSERT_EQ(0u, velmor_asic_chip_power_cycle(kDevice));
    EXPECT_NE(first, boot());
    EXPECT_EQ(0u, usage().members);
    EXPECT_EQ(1u, member(1));
    std::uint64_t generation = 5;
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_chip_boot(1, &generation));
    EXPECT_EQ(5u, generation);
}

TEST_F(AttachTest, AChipMadeAnewInItsPlaceHasAnotherBoot) {
    attach();
    const std::uint64_t first = boot();
    velmor_asic_reset();
    std::filesystem::remove(path_);
    attach();
    EXPECT_NE(first, boot());
}

TEST_F(AttachTest, ARestartOfTheComputerIsAPowerCycle) {
    makeFile();
    attach();
    const std::uint64_t before = boot();
    velmor_asic_reset();
    // The same checkpoint, sealed again, of another boot of the computer.
    const std::size_t at = offsetof(ChipFileHead, checkpoints);
    asic::CheckpointWords words{};
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = readWord(at + 8 * i);
    words[asic::checkpoint_at::kSystemBoot] ^= 1;
    words = asic::sealed(words);
    for (std::size_t i = 0; i < words.size(); ++i)
        writeWord(at + 8 * i, words[i]);
    // What the ring held when the computer went down does not matter.
    writeWord(kFirstCallAt, 99);
    attach();
    EXPECT_EQ(0u, usage().members);
    const std::uint64_t after = boot();
    EXPECT_NE(before, after);
    EXPECT_EQ(2u, velmor_asic_log_end());
    EXPECT_EQ("(none)", line(1));
    attachAnew();
    EXPECT_EQ(after, boot());
}

} // namespace
} // namespace asic_test
