// A disk without room: status 2, nothing has changed, and what needs no room goes on.
//
// The program's own posix_fallocate and pwrite take the place of the library's.

#include "tests/asic/AttachedTest.h"

#include "asic/ChipFileLayout.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/syscall.h>

namespace {

bool isDiskFull = false;          // nothing can be written, and no more room is given
bool isAllocationRefused = false; // no more room is given

} // namespace

extern "C" [[gnu::visibility("default")]] int posix_fallocate(int file, off_t offset,
                                                              off_t length) {
    if (isDiskFull || isAllocationRefused)
        return ENOSPC;
    return ::syscall(SYS_fallocate, file, 0, offset, length) == 0 ? 0 : errno;
}

extern "C" [[gnu::visibility("default")]] ssize_t pwrite(int file, const void* bytes, size_t size,
                                                         off_t offset) {
    if (isDiskFull) {
        errno = ENOSPC;
        return -1;
    }
    return ::syscall(SYS_pwrite64, file, bytes, size, offset);
}

namespace asic_test {
namespace {

class FullDiskTest : public AttachedTest {
  protected:
    void SetUp() override {
        isDiskFull = isAllocationRefused = false;
        AttachedTest::SetUp();
    }
    void TearDown() override {
        isDiskFull = isAllocationRefused = false;
        AttachedTest::TearDown();
    }
};

TEST_F(FullDiskTest, NoFileIsMadeAndNothingIsLeftBehind) {
    velmor_asic_reset();
    const std::string other = directory_.file("other");
    isDiskFull = true;
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryAttach(other));
    EXPECT_EQ(other + ": cannot get room for the file: No space left on device",
              velmor_asic_attach_error());
    EXPECT_EQ(1u, directory_.count());
    EXPECT_EQ(0u, usage().members);
    isDiskFull = false;
    EXPECT_EQ(0u, tryAttach(other));
    EXPECT_STREQ("", velmor_asic_attach_error());
}

TEST_F(FullDiskTest, WhatTheFileHasRoomForIsMadeAndTheRestIsRefused) {
    const std::uint32_t first = member(1);
    isDiskFull = true;
    for (std::size_t i = 1; i < asic::kChunkItems; ++i)
        member(2);
    const std::string before = snapshot();
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryMember(&handle));
    EXPECT_EQ(kUntouched, handle);
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort("
              "sess_hdl=0, dev_tgt={0, 65535}, action_spec={0}) -> 2",
              line(velmor_asic_log_end() - 1));
    // What takes nothing more goes on.
    EXPECT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo(
                      kSession, kDevice, first));
    EXPECT_EQ(0u, delMember(first));
    const std::string after = snapshot();
    isDiskFull = false;
    attachAnew();
    EXPECT_EQ(after, snapshot());
    EXPECT_EQ(asic::kChunkItems + 1, member(3));
}

TEST_F(FullDiskTest, RoomThatWasDeletedIsUsedAgain) {
    for (std::size_t i = 0; i < asic::kChunkItems; ++i)
        ASSERT_EQ(0u, delMember(member(1)));
    isAllocationRefused = true;
    for (std::size_t i = 0; i < asic::kChunkItems; ++i)
        member(1);
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryMember(&handle));
    ASSERT_EQ(0u, delMember(asic::kChunkItems + 1));
    member(1);
    EXPECT_EQ(asic::kChunkItems, usage().members);
    const std::string before = snapshot();
    isAllocationRefused = false;
    attachAnew();
    EXPECT_EQ(before, snapshot());
}

TEST_F(FullDiskTest, ACheckpointThatCannotBeWrittenFailsTheCallAndNothingElse) {
    const std::uint32_t first = member(1);
    for (std::size_t i = 2; i < asic::kRingSize; ++i)
        ASSERT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(kUnknown));
    const std::string before = snapshot();
    const std::uint64_t end = velmor_asic_log_end();
    isDiskFull = true;
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, delMember(first));
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, delMember(first));
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ(end, velmor_asic_log_end());
    isDiskFull = false;
    EXPECT_EQ(0u, delMember(first));
    EXPECT_EQ(end + 1, velmor_asic_log_end());
    attachAnew();
    EXPECT_EQ(0u, usage().members);
}

} // namespace
} // namespace asic_test
