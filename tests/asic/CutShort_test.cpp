// A chip's file that another program cuts short while it is in use: an error, and no SIGBUS.

#include "tests/asic/AttachedTest.h"

#include "asic/ChipFileLayout.h"

#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace asic_test {
namespace {

constexpr pipe_status kDamaged = P4_PD_STATUS_INTERNAL_ERROR;

/// Each test in a process of its own, which a SIGBUS may end.
class AttachCutShortTest : public AttachedTest {
  protected:
    void SetUp() override {
        AttachedTest::SetUp();
        member(7);
        velmor_asic_reset();
    }
    template <class Work>
    void inProcess(Work work) {
        EXPECT_EQ(0, runProcess([&] {
                      if (tryAttach() != 0)
                          return 2;
                      work();
                      return HasFailure() ? 1 : 0;
                  }));
    }

    void cut(std::size_t size) const {
        ASSERT_EQ(0, ::truncate(path_.c_str(), static_cast<off_t>(size)));
    }
    static pipe_status forwarded() {
        velmor_asic_result_t result{};
        return velmor_asic_forward(kDevice, 0, 5, 1, &result);
    }
    static pipe_status readBack() {
        p4_pd_velmor_switch_usage_t usage{};
        return p4_pd_velmor_switch_get_usage(0, {kDevice, P4_PD_ALL_PIPES}, &usage);
    }
    static pipe_status written() {
        std::uint32_t added = 0;
        return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo(
            0, {kDevice, P4_PD_ALL_PIPES}, &added);
    }
    static pipe_status powerCycled() { return velmor_asic_chip_power_cycle(kDevice); }
};

TEST_F(AttachCutShortTest, EveryOperationFails) {
    for (const auto operation : {forwarded, readBack, written, powerCycled})
        inProcess([&] {
            EXPECT_EQ(0u, operation());
            cut(0);
            EXPECT_EQ(kDamaged, operation());
            for (const auto other : {forwarded, readBack, written, powerCycled})
                EXPECT_EQ(kDamaged, other());
            EXPECT_EQ(1u, velmor_asic_log_begin());
            velmor_asic_reset();
            EXPECT_EQ(kDamaged, tryAttach());
            EXPECT_EQ(path_ + ": is no chip file, or cut off: it has 0 bytes",
                      velmor_asic_attach_error());
            std::filesystem::remove(path_);
            EXPECT_EQ(0u, tryAttach());
        });
}

TEST_F(AttachCutShortTest, WhatIsLeftIsReadAndNothingIsWritten) {
    inProcess([&] {
        cut(asic::kRingAt); // its head is there, and nothing more
        EXPECT_EQ(0u, readBack());
        EXPECT_EQ(kDamaged, written());
        EXPECT_EQ(kDamaged, powerCycled());
        velmor_asic_log_format(1, nullptr, 0);
    });
}

TEST_F(AttachCutShortTest, CallThatFindsItAtItsStoresFails) {
    inProcess([&] {
        velmor_asic_step_hook(
            [](std::uint32_t step, const char*, void* path) {
                if (step == VELMOR_ASIC_STEP_STORE) {
                    EXPECT_EQ(0, ::truncate(static_cast<const std::string*>(path)->c_str(), 0));
                }
            },
            &path_);
        EXPECT_EQ(kDamaged, written());
    });
}

TEST_F(AttachCutShortTest, LackOfTheListOfChangesIsAnErrorOfWhoHasToReadIt) {
    OtherProcess other(onChip([](char) { return std::to_string(readBack()); }));
    EXPECT_EQ("0", other.ask('?'));
    attach();
    for (std::size_t i = 0; i < asic::kRingSize; ++i) // more than the ring keeps for it
        member(1);
    velmor_asic_reset();
    cut(asic::kAreasAt);
    EXPECT_EQ(std::to_string(kDamaged), other.ask('?'));
}

// ---- Other faults

int handled = 0;

TEST_F(AttachCutShortTest, OtherFaultsGoToTheHandlerThatWasThereBefore) {
    std::signal(SIGBUS, [](int) { ::_exit(42); });
    EXPECT_EQ(42, runProcess([&] {
                  EXPECT_EQ(0u, tryAttach());
                  ::raise(SIGBUS);
                  return 0;
              }));
    std::signal(SIGBUS, [](int) { ++handled; });
    attach();
    ::raise(SIGBUS);
    EXPECT_EQ(1, handled);
    velmor_asic_reset();
    ::raise(SIGBUS);
    EXPECT_EQ(2, handled);
    std::signal(SIGBUS, SIG_DFL);
}

TEST_F(AttachCutShortTest, OtherFaultsEndTheProcessWithoutAHandler) {
    EXPECT_EQ(-SIGBUS, runProcess([&] {
        std::signal(SIGBUS, SIG_DFL); // a sanitizer has a handler
        EXPECT_EQ(0u, tryAttach());
        const std::string other = directory_.file("other");
        const int file = ::open(other.c_str(), O_RDWR | O_CREAT, 0600);
        const void* memory = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
        return *static_cast<const volatile char*>(memory);
    }));
    EXPECT_EQ(-SIGBUS, runProcess([&] {
        std::signal(SIGBUS, SIG_DFL); // a sanitizer has a handler
        EXPECT_EQ(0u, tryAttach());
        return ::raise(SIGBUS);
    }));
}

} // namespace
} // namespace asic_test
