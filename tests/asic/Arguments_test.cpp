// What the boundary refuses before an operation does anything, for every PD function.

#include "tests/asic/AsicTest.h"
#include "tests/asic/PdOperations.h"
#include "tests/asic/Snapshot.h"

#include <gmock/gmock.h>
#include <string>

namespace asic_test {
namespace {

class ArgumentsTest : public AsicTest {
  protected:
    // The call fails with the status and changes neither the outputs nor the chip.
    static void expectRefused(pipe_status status, const PdOperation& operation, const Call& call) {
        SCOPED_TRACE(operation.name);
        const std::string before = snapshot();
        Arguments arguments;
        EXPECT_EQ(status, operation.call(call, arguments));
        expectUntouched(arguments);
        EXPECT_EQ(before, snapshot());
    }

    static void expectUntouched(const Arguments& arguments) {
        EXPECT_EQ(kUntouched, arguments.matchSpec.egrMd_egrL2AintfUnresolved);
        EXPECT_EQ(kUntouched, arguments.matchSpec.egrMd_egrL2AintfUnresolved_mask);
        EXPECT_EQ(0xBEEF, arguments.actionSpec.action_egrL2AintfPort);
        EXPECT_EQ(kUntouched, arguments.usage.entries);
        EXPECT_EQ(kUntouched, arguments.usage.group_size_limit);
        EXPECT_THAT(arguments.numbers, testing::Each(kUntouched));
        EXPECT_EQ(0xBEEF, arguments.size);
        EXPECT_THAT(arguments.flags, testing::Each(true));
    }
};

TEST_F(ArgumentsTest, AnUnknownSessionIsReportedBeforeAnythingElse) {
    for (const PdOperation& operation : pdOperations()) {
        if (!operation.takesSession)
            continue;
        expectRefused(P4_PD_STATUS_SESSION_NOT_FOUND, operation, {.session = 1});
        expectRefused(P4_PD_STATUS_SESSION_NOT_FOUND, operation,
                      {.session = UINT32_MAX, .target = {99, 99}, .null = 0});
    }
}

TEST_F(ArgumentsTest, AnUnknownDeviceIsAnInvalidArgument) {
    for (const PdOperation& operation : pdOperations())
        for (const int device : {1, -1, INT32_MAX, INT32_MIN})
            if (operation.takesDevice)
                expectRefused(P4_PD_STATUS_INVALID_ARG, operation,
                              {.target = {device, P4_PD_ALL_PIPES}});
}

TEST_F(ArgumentsTest, APipeThatTheChipLacksIsAnInvalidArgument) {
    for (const PdOperation& operation : pdOperations())
        for (const std::uint16_t id : {4, 0xFFFE})
            if (operation.takesTarget)
                expectRefused(P4_PD_STATUS_INVALID_ARG, operation, {.target = pipe(id)});
}

TEST_F(ArgumentsTest, ANullPointerIsAnInvalidArgument) {
    for (const PdOperation& operation : pdOperations())
        for (int null = 0; null < operation.pointers; ++null)
            expectRefused(P4_PD_STATUS_INVALID_ARG, operation, {.null = null});
}

TEST_F(ArgumentsTest, EveryFunctionIsKnownToTheFaultPlanByItsName) {
    const std::string before = snapshot();
    for (const PdOperation& operation : pdOperations()) {
        SCOPED_TRACE(operation.name);
        ASSERT_EQ(0u, velmor_asic_fault_plan(operation.name, 1, 30, VELMOR_ASIC_FAULT_ONCE));
        Arguments arguments;
        EXPECT_EQ(30u, operation.call({}, arguments));
        expectUntouched(arguments);
    }
    EXPECT_EQ(before, snapshot());
}

} // namespace
} // namespace asic_test
