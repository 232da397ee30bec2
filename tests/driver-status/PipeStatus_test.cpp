#include <gtest/gtest.h>

#include "driver-status/PipeStatus.h"

namespace {

using BfTable::pipeStatusText;

TEST(PipeStatusText, EveryStatusOfTheSdkHasItsText) {
    const char* const texts[] = {
        "Success",
        "Pipeline manager service not ready",
        "No system resources",
        "Invalid arguments",
        "Object already exists",
        "Communication failed",
        "Object not found",
        "Exceeded max sessions",
        "Session not found",
        "Not enough Space",
        "Try again later",
        "Initialization error",
        "Not Supported In Transaction",
        "Table is locked",
        "IO Error",
        "Unexpected",
        "Action data entry is being referenced by match entries",
        "Not supported",
        "Updating hardware failed",
        "No learning clients registered",
        "Idle time update state already in progress",
        "Device Locked",
        "Internal Error",
        "Table not found",
    };
    ASSERT_EQ(std::size(texts), 24u);
    for (BfTable::pipe_status status = 0; status < std::size(texts); ++status) {
        EXPECT_STREQ(pipeStatusText(status), texts[status]) << status;
    }
}

TEST(PipeStatusText, EveryOtherStatusReadsTableNotFound) {
    for (const BfTable::pipe_status status :
         {24u, 25u, 26u, 27u, 28u, 29u, 30u, 1000u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        EXPECT_STREQ(pipeStatusText(status), "Table not found") << status;
    }
}

TEST(PipeStatusText, UnknownErrorIsNeverChosen) {
    for (BfTable::pipe_status status = 0; status < 70'000; ++status) {
        ASSERT_STRNE(pipeStatusText(status), "Unknown Error") << status;
    }
}

} // namespace
