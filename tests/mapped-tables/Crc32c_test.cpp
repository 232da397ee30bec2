#include <gtest/gtest.h>

#include <array>
#include <string_view>

#include "mapped-tables/Crc32c.h"

namespace {

Kel::U32 sumOf(std::string_view text, Kel::U32 before = 0) {
    return Glimt::crc32c(std::as_bytes(std::span(text)), before);
}

TEST(Crc32c, HasThePublishedValues) {
    EXPECT_EQ(sumOf(""), 0u);
    EXPECT_EQ(sumOf("a"), 0xc1d04330u);
    EXPECT_EQ(sumOf("123456789"), 0xe3069283u);
    // The vectors of RFC 3720, appendix B.4.
    EXPECT_EQ(sumOf(std::string(32, '\0')), 0x8a9136aau);
    EXPECT_EQ(sumOf(std::string(32, '\xff')), 0x62a8ab43u);
    std::string rising;
    for (char c = 0; c < 32; ++c) {
        rising += c;
    }
    EXPECT_EQ(sumOf(rising), 0x46dd794eu);
    EXPECT_EQ(sumOf(std::string(rising.rbegin(), rising.rend())), 0x113fdb5cu);
}

TEST(Crc32c, ContinuesWhatGoesBefore) {
    constexpr std::string_view text = "123456789";
    for (std::size_t split = 0; split <= text.size(); ++split) {
        EXPECT_EQ(sumOf(text.substr(split), sumOf(text.substr(0, split))), 0xe3069283u) << split;
    }
}

} // namespace
