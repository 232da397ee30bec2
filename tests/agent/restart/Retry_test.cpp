#include "agent/restart/Retry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "driver-status/PdCall.h"

namespace LagAgent {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

class RetryTest : public testing::Test {
  protected:
    /// Fails so often with that status, then succeeds; the number of attempts.
    int attempts(int failures, std::uint32_t status) {
        int count = 0;
        retry_.run([&] {
            if (++count <= failures) {
                BfTable::throwPdFailure("p4_pd_some_call", status);
            }
        });
        return count;
    }
    std::string failure(std::uint32_t status) {
        try {
            attempts(1'000'000, status);
        } catch (const CommandError& e) {
            EXPECT_EQ(ErrorKind::start, e.kind());
            return e.what();
        }
        return {};
    }

    std::vector<std::string> notes_;
    std::vector<milliseconds> pauses_;
    Retry retry_{[this](std::string note) { notes_.push_back(std::move(note)); },
                 [this](milliseconds time) { pauses_.push_back(time); }};
};

TEST_F(RetryTest, WhatSucceedsIsDoneOnceAndItsResultComesBack) {
    EXPECT_EQ(7, retry_.run([] { return 7; }));
    EXPECT_TRUE(pauses_.empty());
}

TEST_F(RetryTest, PausesGrowToFiveSecondsAndTheFirstRefusalIsNoted) {
    EXPECT_EQ(9, attempts(8, 10));
    EXPECT_THAT(pauses_, ElementsAre(milliseconds(100), milliseconds(200), milliseconds(400),
                                     milliseconds(800), milliseconds(1600), milliseconds(3200),
                                     milliseconds(5000), milliseconds(5000)));
    ASSERT_EQ(1u, notes_.size());
    EXPECT_THAT(notes_[0], HasSubstr("p4_pd_some_call() failed: Try again later (status 10)"));
}

TEST_F(RetryTest, WhatPassesByItselfIsWaitedForAMinute) {
    for (const std::uint32_t status : {1u, 5u, 10u, 13u, 20u, 21u}) {
        pauses_.clear();
        EXPECT_THAT(failure(status), HasSubstr("The chip has refused for a minute"));
    }
    pauses_.clear();
    Retry fresh([](std::string) {}, [this](milliseconds time) { pauses_.push_back(time); });
    EXPECT_THROW(fresh.run([] { BfTable::throwPdFailure("p4_pd_some_call", 13); }), CommandError);
    milliseconds waited{};
    for (const milliseconds pause : pauses_) {
        waited += pause;
    }
    EXPECT_EQ(milliseconds(61'300), waited);
}

TEST_F(RetryTest, WhatDoesNotPassEndsItAtOnceAndSaysThatTrafficGoesOn) {
    for (const std::uint32_t status : {2u, 3u, 9u, 17u, 22u}) {
        EXPECT_THAT(failure(status), HasSubstr("; the chip forwards on as it is"));
    }
    EXPECT_TRUE(pauses_.empty());
}

TEST_F(RetryTest, OtherFailuresPass) {
    EXPECT_THROW(retry_.run([] { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_THROW(retry_.run([] { throw CommandError(ErrorKind::storage, "no"); }), CommandError);
    EXPECT_TRUE(pauses_.empty());
}

} // namespace
} // namespace LagAgent
