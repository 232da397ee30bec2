#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

#include "framework/Kel.h"

/// Reference counts that several threads change at once, which is allowed while
/// `threadSafePointers_` is set.
namespace {

class Shared : public Kel::Object<Shared, Kel::PtrInterface> {
  public:
    explicit Shared(std::atomic<int>& destructions) : destructions_(destructions) {}
    ~Shared() override {
        lastSum = payload[0] + payload[1];
        ++destructions_;
    }

    int payload[2] = {0, 0};
    static inline int lastSum = 0;
    static const Kel::Type fwkType_;

  private:
    std::atomic<int>& destructions_;
};
constinit const Kel::Type Shared::fwkType_{
    .name = "Test::Shared", .kind = Kel::Type::Kind::object, .base = &Kel::PtrInterface::fwkType_};

constexpr int kThreads = 4;
constexpr int kRounds = 20'000;

class RefcountThreads : public testing::Test {
  protected:
    RefcountThreads() { Kel::VFPtrInterface::threadSafePointers_ = true; }
    ~RefcountThreads() override { Kel::VFPtrInterface::threadSafePointers_ = false; }

    /// Runs `work(thread)` on every thread, all starting together.
    template <class Work>
    static void onAllThreads(Work&& work) {
        std::barrier start(kThreads);
        std::vector<std::jthread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                start.arrive_and_wait();
                work(i);
            });
        }
    }

    std::atomic<int> destructions_ = 0;
};

TEST_F(RefcountThreads, NoReferenceIsLostWhenAllThreadsCopyAndDropOnePointer) {
    Shared::Ptr shared = new Shared(destructions_);
    onAllThreads([&](int) {
        for (int i = 0; i < kRounds; ++i) {
            Shared::Ptr copy = shared;
            Shared::Ptr moved = std::move(copy);
            Shared::PtrConst another = moved;
        }
    });
    EXPECT_EQ(shared->kelReferenceCount(), 1u);
    EXPECT_EQ(destructions_, 0);
    shared = nullptr;
    EXPECT_EQ(destructions_, 1);
}

TEST_F(RefcountThreads, EveryReferenceThatThreadsKeepIsCounted) {
    const Shared::Ptr shared = new Shared(destructions_);
    std::vector<std::vector<Shared::Ptr>> kept(kThreads);
    onAllThreads([&](int thread) {
        for (int i = 0; i < 1'000; ++i) {
            kept[static_cast<std::size_t>(thread)].push_back(shared);
        }
    });
    EXPECT_EQ(shared->kelReferenceCount(), 1u + kThreads * 1'000u);
    onAllThreads([&](int thread) { kept[static_cast<std::size_t>(thread)].clear(); });
    EXPECT_EQ(shared->kelReferenceCount(), 1u);
}

TEST_F(RefcountThreads, TheLastThreadToDropDestroysTheObjectOnceAndSeesWhatTheOthersWrote) {
    const auto live = Shared::kelAllocTrackTypeInfo_.live();
    for (int round = 1; round <= 200; ++round) {
        Shared::Ptr owner = new Shared(destructions_);
        std::vector<Shared::Ptr> held(kThreads, owner);
        owner = nullptr;
        onAllThreads([&](int thread) {
            Shared::Ptr mine = std::move(held[static_cast<std::size_t>(thread)]);
            if (thread < 2) {
                mine->payload[thread] = round;
            }
        });
        ASSERT_EQ(destructions_, round);
        ASSERT_EQ(Shared::lastSum, 2 * round);
    }
    EXPECT_EQ(Shared::kelAllocTrackTypeInfo_.live(), live);
}

TEST_F(RefcountThreads, FlagsAndCountInOneWordDoNotDisturbEachOther) {
    const Shared::Ptr shared = new Shared(destructions_);
    onAllThreads([&](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            if (thread == 0) {
                shared->kelMarkedForDeletionIs(i % 2 == 0);
            } else if (thread == 1) {
                shared->hasNotificationActiveIs(i % 2 != 0);
            } else {
                const Shared::Ptr copy = shared;
            }
        }
    });
    EXPECT_EQ(shared->kelReferenceCount(), 1u);
    EXPECT_FALSE(shared->kelMarkedForDeletion());
    EXPECT_TRUE(shared->hasNotificationActive());
}

} // namespace
