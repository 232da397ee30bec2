#include "tests/asic/Headers.h"

#include "tests/asic/AsicTest.h"

namespace asic_test {
namespace {

using HeadersTest = AsicTest;

TEST_F(HeadersTest, ACProgramDrivesTheChipThroughTheHeaders) {
    velmor_asic_result_t result{};
    ASSERT_EQ(0u, sendFlowFromC(&result));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_FORWARDED}, result.outcome);
    EXPECT_TRUE(result.port == 1 || result.port == 2) << result.port;
}

} // namespace
} // namespace asic_test
