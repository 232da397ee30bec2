#include "asic-tool/Options.h"

#include <gtest/gtest.h>

namespace asic_tool {
namespace {

TEST(AsicToolOptions, AnExpectationIsAValueWithItsPorts) {
    const auto one = toExpectation("5=11");
    ASSERT_TRUE(one);
    EXPECT_EQ(5u, one->value);
    EXPECT_EQ(std::vector<std::uint16_t>{11}, one->ports);
    const auto several = toExpectation("0xFFFFFFFF=0x10,2,65535");
    ASSERT_TRUE(several);
    EXPECT_EQ(0xFFFFFFFFu, several->value);
    EXPECT_EQ((std::vector<std::uint16_t>{16, 2, 65535}), several->ports);
}

TEST(AsicToolOptions, WhatIsNoExpectationIsRefused) {
    for (const char* const text : {"", "5", "5=", "=5", "5=1,", "5=,1", "5=65536", "4294967296=1",
                                   "5=1=2", "x=1", "5=x", "-1=1", "5= 1", "0x=1"})
        EXPECT_FALSE(toExpectation(text)) << text;
}

TEST(AsicToolOptions, WatchTakesExpectationsAndJson) {
    const char* const arguments[] = {"velmor-asic", "watch",    "chip",  "--expect",
                                     "1=2",         "--expect", "3=4,5", "--json",
                                     "--wait",      "--pipe",   "3"};
    int exitCode = -1;
    const auto options = readOptions(11, arguments, &exitCode);
    ASSERT_TRUE(options);
    EXPECT_EQ(Command::watch, options->command);
    EXPECT_EQ("chip", options->file);
    ASSERT_EQ(2u, options->expectations.size());
    EXPECT_EQ(3u, options->expectations[1].value);
    EXPECT_EQ(3, options->pipe);
    EXPECT_TRUE(options->isJson && options->isPatient);
}

} // namespace
} // namespace asic_tool
