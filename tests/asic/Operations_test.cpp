#include "asic/ChipFileLayout.h"
#include "pd/Operations.h"

#include <gtest/gtest.h>

namespace asic_test {
namespace {

/// FNV-1a over the rows in their order: the names, each with the number of its arguments.
constexpr std::uint64_t digestOfRows() {
    std::uint64_t digest = 0xCBF29CE484222325;
    const auto add = [&](std::size_t byte) { digest = (digest ^ byte) * 0x100000001B3; };
    for (const pd::Operation& operation : pd::kOperations) {
        for (const char c : std::string_view(operation.name))
            add(static_cast<unsigned char>(c));
        add(0);
        add(operation.argumentCount());
    }
    return digest;
}

// Chip files name operations by the number of their row. Who changes the rows gives the files
// another layout version, and then writes both numbers anew here.
TEST(OperationsTest, OtherRowsAreAnotherLayoutVersion) {
    EXPECT_EQ(1u, asic::kLayoutVersion);
    EXPECT_EQ(0xFDDC330C11B749E4u, digestOfRows());
}

} // namespace
} // namespace asic_test
