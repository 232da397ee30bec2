#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "tests/framework/Fixtures.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ALLOC_TRACK_HUGE_ALLOCATION_ENDS_THE_PROCESS 1
#else
#define ALLOC_TRACK_HUGE_ALLOCATION_ENDS_THE_PROCESS 0
#endif

namespace {

using framework_test::Gadget;
using framework_test::Widget;

/// Throws from its constructor when told so.
class Fragile : public Kel::Object<Fragile, Kel::PtrInterface> {
  public:
    explicit Fragile(bool breaks = false) {
        if (breaks) {
            throw std::runtime_error("broken");
        }
    }
    static const Kel::Type fwkType_;
};
constinit const Kel::Type Fragile::fwkType_{
    .name = "Test::Fragile", .kind = Kel::Type::Kind::object, .base = &Kel::PtrInterface::fwkType_};

class AllocTrack : public testing::Test {
  protected:
    static const Kel::AllocTrackTypeInfo& record() { return Fragile::kelAllocTrackTypeInfo_; }
    std::int64_t live() const { return record().live() - liveAtStart_; }
    std::int64_t total() const { return record().total() - totalAtStart_; }

  private:
    const std::int64_t liveAtStart_ = record().live();
    const std::int64_t totalAtStart_ = record().total();
};

TEST_F(AllocTrack, CountsTheLivingObjectsOfAClassAndAllThatWereEverMade) {
    {
        const Fragile::Ptr a = new Fragile;
        const Fragile::Ptr b = new Fragile;
        EXPECT_EQ(live(), 2);
        EXPECT_EQ(total(), 2);
    }
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(total(), 2);
}

TEST_F(AllocTrack, RemembersTheTypeAndTheSizeOfTheObject) {
    const Fragile::Ptr fragile = new Fragile;
    EXPECT_EQ(record().type(), &Fragile::fwkType_);
    EXPECT_EQ(record().objectSize(), sizeof(Fragile));
}

TEST_F(AllocTrack, AThrowingConstructorLeavesNoLiveObject) {
    EXPECT_THROW(static_cast<void>(new Fragile(true)), std::runtime_error);
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(total(), 1);
}

TEST_F(AllocTrack, ADeleteExpressionIsCountedLikeALastReference) {
    auto* fragile = new Fragile;
    EXPECT_EQ(live(), 1);
    delete fragile;
    EXPECT_EQ(live(), 0);
}

TEST_F(AllocTrack, AnArrayIsOneBlock) {
    auto* fragiles = new Fragile[3];
    EXPECT_EQ(live(), 1);
    EXPECT_GE(record().objectSize(), 3 * sizeof(Fragile));
    delete[] fragiles;
    EXPECT_EQ(live(), 0);
}

TEST_F(AllocTrack, AnArrayWhoseElementThrowsLeavesNoLiveBlock) {
    struct Countdown : Fragile {
        explicit Countdown(int& left) : Fragile(left-- == 0) {}
    };
    int left = 1;
    EXPECT_THROW((static_cast<void>(new Countdown[2]{Countdown(left), Countdown(left)})),
                 std::runtime_error);
    EXPECT_EQ(live(), 0);
}

TEST_F(AllocTrack, AnObjectOnTheStackIsNotAnAllocation) {
    const Fragile fragile;
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(total(), 0);
}

TEST_F(AllocTrack, ADerivedClassHasARecordOfItsOwnAlsoWhenDeletedThroughItsBase) {
    const auto widgets = Widget::kelAllocTrackTypeInfo_.live();
    const auto gadgets = Gadget::kelAllocTrackTypeInfo_.live();
    Widget::Ptr gadget = new Gadget;
    EXPECT_EQ(Gadget::kelAllocTrackTypeInfo_.live(), gadgets + 1);
    EXPECT_EQ(Widget::kelAllocTrackTypeInfo_.live(), widgets);
    gadget = nullptr;
    EXPECT_EQ(Gadget::kelAllocTrackTypeInfo_.live(), gadgets);
    EXPECT_EQ(Widget::kelAllocTrackTypeInfo_.live(), widgets);
}

TEST_F(AllocTrack, MemoryThatCannotBeHadIsNotCounted) {
    if (ALLOC_TRACK_HUGE_ALLOCATION_ENDS_THE_PROCESS) {
        GTEST_SKIP() << "the sanitizer's allocator does not throw";
    }
    volatile std::size_t size = std::size_t{1} << 62;
    EXPECT_THROW(static_cast<void>(Fragile::operator new(size)), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(Fragile::operator new[](size)), std::bad_alloc);
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(total(), 2);
}

TEST_F(AllocTrack, TheRecordCountsWithTheThreadSafeSwitchOnToo) {
    Kel::VFPtrInterface::threadSafePointers_ = true;
    {
        const Fragile::Ptr fragile = new Fragile;
        EXPECT_EQ(live(), 1);
    }
    EXPECT_EQ(live(), 0);
    Kel::VFPtrInterface::threadSafePointers_ = false;
}

} // namespace
