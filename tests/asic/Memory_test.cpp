// Calls that run out of memory: status 2, and nothing has changed.

#include "tests/asic/AsicTest.h"
#include "tests/asic/ChipFiles.h"
#include "tests/pd-conformance/Snapshot.h"

#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

namespace {

// Allocations that succeed before one fails; negative: none fails.
long allocationsToGo = -1;

void* allocate(std::size_t size) {
    if (allocationsToGo == 0) {
        allocationsToGo = -1;
        throw std::bad_alloc();
    }
    if (allocationsToGo > 0)
        --allocationsToGo;
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

// The library takes these in place of the standard ones, as any library of the process does.
void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace asic_test {
namespace {

class MemoryTest : public AsicTest {
  protected:
    // Makes the call with its first allocation failing, then with its second, and so on until it
    // succeeds. Returns how many times it failed.
    static int failEachAllocation(const std::function<pipe_status()>& call) {
        const std::string before = snapshot();
        for (int failures = 0;; ++failures) {
            allocationsToGo = failures;
            const pipe_status status = call();
            allocationsToGo = -1;
            if (status == 0)
                return failures;
            EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, status);
            EXPECT_EQ(before, snapshot());
        }
    }
};

TEST_F(MemoryTest, AMemberThatFindsNoMemoryIsNotAdded) {
    std::uint32_t handle = kUntouched;
    EXPECT_LT(0, failEachAllocation([&] {
                  EXPECT_EQ(kUntouched, handle);
                  return tryMember(&handle);
              }));
    EXPECT_NE(kUntouched, handle);
    EXPECT_EQ(0u, delMember(handle));
}

TEST_F(MemoryTest, AGroupThatFindsNoMemoryIsNotCreated) {
    std::uint32_t handle = kUntouched;
    EXPECT_LT(0, failEachAllocation([&] { return tryGroup(&handle, 4); }));
    EXPECT_EQ(0u, delGroup(handle));
}

TEST_F(MemoryTest, AMembershipThatFindsNoMemoryIsNotAdded) {
    const std::uint32_t first = member(1);
    const std::uint32_t second = member(2);
    const std::uint32_t both = group(4);
    EXPECT_LT(0, failEachAllocation([&] { return join(both, second); }));
    EXPECT_LT(0, failEachAllocation([&] { return join(both, first); }));
    ASSERT_EQ(0u, delGroup(both));
    EXPECT_EQ(0u, delMember(first));
    EXPECT_EQ(0u, delMember(second));
}

TEST_F(MemoryTest, AnEntryThatFindsNoMemoryIsNotAdded) {
    const std::uint32_t first = member(1);
    // A new mask, a new value under it, and a new priority of that value.
    const std::vector<Key> keys{{0x10, 0xFF, 5}, {0x11, 0xFF, 5}, {0x10, 0xFF, 6}};
    std::vector<std::uint32_t> entries;
    for (const Key key : keys) {
        std::uint32_t handle = kUntouched;
        EXPECT_LT(0, failEachAllocation([&] {
                      EXPECT_EQ(kUntouched, handle);
                      return tryEntry(&handle, key, first);
                  }));
        entries.push_back(handle);
        EXPECT_EQ(handle, forward(key.value).entry_hdl);
    }
    for (const std::uint32_t handle : entries)
        ASSERT_EQ(0u, delEntry(handle));
    EXPECT_EQ(0u, delMember(first));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, forward(0x10).outcome);
}

TEST_F(MemoryTest, ADefaultEntryThatFindsNoMemoryIsNotSet) {
    const std::uint32_t first = member(1);
    std::uint32_t handle = kUntouched;
    EXPECT_LT(0, failEachAllocation([&] { return tryDefault(&handle, first); }));
    ASSERT_EQ(0u, resetDefault());
    EXPECT_EQ(0u, delMember(first));
}

TEST_F(MemoryTest, DeletingRepointingAndChangingStateNeedNoMemory) {
    const std::uint32_t first = member(1);
    const std::uint32_t both = group(4);
    const std::uint32_t match = entryWithGroup({1}, both);
    ASSERT_EQ(0u, join(both, first));
    allocationsToGo = 0;
    EXPECT_EQ(0u, setState(both, first, P4_PD_MEMBER_INACTIVE));
    EXPECT_EQ(0u, setState(both, first, P4_PD_MEMBER_ACTIVE));
    EXPECT_EQ(0u, p4_pd_velmor_switch_lagGroup_modify_entry(kSession, kDevice, match, first));
    EXPECT_EQ(0u, delEntry(match));
    EXPECT_EQ(0u, leave(both, first));
    EXPECT_EQ(0u, delGroup(both));
    EXPECT_EQ(0u, delMember(first));
    EXPECT_EQ(0, allocationsToGo); // not one was tried
    allocationsToGo = -1;
}

/// What the chip's file says is what the process says, after every allocation that failed.
class AttachedMemoryTest : public MemoryTest {
  protected:
    void SetUp() override {
        MemoryTest::SetUp();
        attach();
    }
    void attach() {
        ASSERT_EQ(0u, velmor_asic_chip_attach(kDevice, directory_.file().c_str(), nullptr));
    }
    void expectTheSameInTheFile() {
        const std::string before = snapshot();
        velmor_asic_reset();
        attach();
        EXPECT_EQ(before, snapshot());
    }

    Directory directory_;
};

TEST_F(AttachedMemoryTest, ChipAndFileAgreeAfterCallsThatFindNoMemory) {
    std::uint32_t handle = 0;
    EXPECT_LT(0, failEachAllocation([&] { return tryMember(&handle); }));
    expectTheSameInTheFile();
    std::uint32_t both = 0;
    EXPECT_LT(0, failEachAllocation([&] { return tryGroup(&both, 4); }));
    expectTheSameInTheFile();
    EXPECT_LT(0, failEachAllocation([&] { return join(both, handle); }));
    expectTheSameInTheFile();
    EXPECT_LT(0, failEachAllocation([&] { return tryEntryWithGroup(&handle, {1}, both); }));
    expectTheSameInTheFile();
    EXPECT_EQ(3u, handle);
}

TEST_F(AttachedMemoryTest, CatchingUpGoesOnWhereMemoryRanOut) {
    ASSERT_EQ(0, runProcess([&] {
                  attach();
                  entry({1}, member(7));
                  return HasFailure() ? 1 : 0;
              }));
    velmor_asic_result_t result{};
    int failures = 0;
    for (;; ++failures) {
        allocationsToGo = failures;
        const pipe_status status = velmor_asic_forward(kDevice, 0, 1, 0, &result);
        allocationsToGo = -1;
        if (status == 0)
            break;
        ASSERT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, status);
    }
    EXPECT_LT(1, failures);
    EXPECT_EQ(7, result.port);
    expectTheSameInTheFile();
}

TEST_F(AttachedMemoryTest, AnAttachThatFindsNoMemoryLeavesTheDeviceAsItWas) {
    member(1);
    const std::string inFile = snapshot();
    velmor_asic_reset();
    member(2);
    const std::string before = snapshot();
    const std::string path = directory_.file();
    int failures = 0;
    for (;; ++failures) {
        allocationsToGo = failures;
        const pipe_status status = velmor_asic_chip_attach(kDevice, path.c_str(), nullptr);
        const bool hasFailed = allocationsToGo < 0;
        allocationsToGo = -1;
        if (status == 0 && !hasFailed)
            break;
        ASSERT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, status);
        ASSERT_STREQ("out of memory", velmor_asic_attach_error());
        ASSERT_EQ(before, snapshot());
    }
    EXPECT_LT(2, failures);
    EXPECT_EQ(inFile, snapshot());
}

TEST_F(MemoryTest, TheControlsReportTheWantOfMemory) {
    const auto failFirst = [](auto call) {
        allocationsToGo = 0;
        const pipe_status status = call();
        allocationsToGo = -1;
        return status;
    };
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES,
              failFirst([] { return velmor_asic_chip_create(1, nullptr); }));
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, failFirst([] { return velmor_asic_log_start(5); }));
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, failFirst([] {
                  return velmor_asic_fault_plan("p4_pd_velmor_switch_client_init", 1, 9, 0);
              }));
    ASSERT_EQ(0u, velmor_asic_log_start(5));
    member(1);
    allocationsToGo = 0;
    EXPECT_GT(0, velmor_asic_log_format(1, nullptr, 0));
    allocationsToGo = -1;
    EXPECT_LT(0, velmor_asic_log_format(1, nullptr, 0));
}

TEST_F(MemoryTest, EvenTheFirstCallOfAllReportsTheWantOfMemory) {
    velmor_asic_reset();
    allocationsToGo = 0;
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryMember(&handle));
    EXPECT_EQ(kUntouched, handle);
    EXPECT_EQ(0u, tryMember(&handle));
    EXPECT_EQ(1u, handle);
}

TEST_F(MemoryTest, LoggedCallsReportTheWantOfMemoryToo) {
    ASSERT_EQ(0u, velmor_asic_log_start(5));
    allocationsToGo = 0;
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, tryMember(&handle));
    velmor_asic_call_t call{};
    ASSERT_EQ(0u, velmor_asic_log_read(1, &call));
    EXPECT_EQ(P4_PD_STATUS_NO_SYS_RESOURCES, call.status);
}

} // namespace
} // namespace asic_test
