#include "asic-tool/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace asic_tool {
namespace {

using testing::HasSubstr;

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

/// The options that the words after the name of the program give.
std::optional<Options> read(std::vector<const char*> words, int* exitCode) {
    words.insert(words.begin(), "velmor-asic");
    return readOptions(static_cast<int>(words.size()), words.data(), exitCode);
}

/// What the program says of words that it refuses with status 2.
std::string complaintAbout(const std::vector<const char*>& words) {
    int exitCode = -1;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(read(words, &exitCode));
    EXPECT_EQ(kExitNotDone, exitCode);
    return testing::internal::GetCapturedStderr();
}

TEST(AsicToolOptions, PortsOfInactiveMembersGoToTheExpectationsOfTheirValue) {
    int exitCode = -1;
    const auto options = read({"watch", "chip", "--inactive", "0x20=4", "--expect", "16=1,2",
                               "--expect", "32=3", "--inactive", "32=5,6"},
                              &exitCode);
    ASSERT_TRUE(options);
    ASSERT_EQ(2u, options->expectations.size());
    EXPECT_TRUE(options->expectations[0].inactive.empty());
    EXPECT_EQ((std::vector<std::uint16_t>{3}), options->expectations[1].ports);
    EXPECT_EQ((std::vector<std::uint16_t>{4, 5, 6}), options->expectations[1].inactive);
}

TEST(AsicToolOptions, PortsOfInactiveMembersThatContradictWhatIsExpectedAreRefused) {
    EXPECT_THAT(complaintAbout({"watch", "chip", "--expect", "1=2", "--inactive", "3=4"}),
                HasSubstr("--inactive: 3=4: --expect says nothing of this value"));
    EXPECT_THAT(complaintAbout({"watch", "chip", "--expect", "1=2,4", "--inactive", "1=4"}),
                HasSubstr("--inactive: 1=4: flows of this value are expected at this port"));
    EXPECT_THAT(complaintAbout({"watch", "chip", "--expect", "1=2", "--inactive", "1"}),
                HasSubstr("1 is not VALUE=PORT[,PORT...]"));
}

TEST(AsicToolOptions, CreateTakesTheSizeOfTheChip) {
    int exitCode = -1;
    const auto usual = read({"create", "chip"}, &exitCode);
    ASSERT_TRUE(usual);
    EXPECT_EQ(Command::create, usual->command);
    EXPECT_EQ(4096u, usual->config.entry_capacity);
    EXPECT_EQ(65536u, usual->config.member_capacity);
    EXPECT_EQ(4096u, usual->config.group_capacity);
    EXPECT_EQ(512u, usual->config.group_size_limit);
    EXPECT_EQ(4u, usual->config.pipes);
    EXPECT_EQ(1u, usual->config.first_handle);
    const auto small = read({"create", "chip", "--entries", "0", "--members", "4294967295",
                             "--groups", "3", "--group-size", "65535", "--pipes", "64"},
                            &exitCode);
    ASSERT_TRUE(small);
    EXPECT_EQ(0u, small->config.entry_capacity);
    EXPECT_EQ(4294967295u, small->config.member_capacity);
    EXPECT_EQ(3u, small->config.group_capacity);
    EXPECT_EQ(65535u, small->config.group_size_limit);
    EXPECT_EQ(64u, small->config.pipes);
}

TEST(AsicToolOptions, ASizeThatNoChipHasIsRefused) {
    const std::pair<const char*, const char*> sizes[] = {{"--entries", "4294967296"},
                                                         {"--entries", "-1"},
                                                         {"--members", "many"},
                                                         {"--groups", ""},
                                                         {"--group-size", "0"},
                                                         {"--group-size", "65536"},
                                                         {"--pipes", "0"},
                                                         {"--pipes", "65"},
                                                         {"--pipes", "65537"}};
    for (const auto& [option, size] : sizes)
        EXPECT_THAT(complaintAbout({"create", "chip", option, size}), HasSubstr(option)) << size;
}

TEST(AsicToolOptions, NumbersAreDecimalOrHexadecimalAndNeverMissing) {
    int exitCode = -1;
    EXPECT_EQ(10u, read({"create", "chip", "--groups", "010"}, &exitCode)->config.group_capacity);
    EXPECT_EQ(16u, read({"create", "chip", "--groups", "0x10"}, &exitCode)->config.group_capacity);
    EXPECT_THAT(complaintAbout({"watch", "chip", "--expect", "1=2", "--pipe", ""}),
                HasSubstr("--pipe: '' is not a number from 0 to 65535"));
    EXPECT_THAT(complaintAbout({"calls", "chip", "--last", ""}),
                HasSubstr("--last: '' is not a number from 0 to 18446744073709551615"));
    EXPECT_THAT(complaintAbout({"create", "chip", "--pipes", "65"}),
                HasSubstr("--pipes: '65' is not a number from 1 to 64"));
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
