// The switch's account of a packet's path, as it writes it.

#include "ovs/Trace.h"

#include <gtest/gtest.h>

namespace ovs {
namespace {

std::string account(const std::string& table) {
    return "Flow: udp,metadata=0x10,in_port=3,nw_src=1.2.3.4,tp_src=1\n\nbridge(\"br0\")\n"
           "-------------\n 0. priority 32768\n    goto_table:1\n" +
           table + "\nFinal flow: unchanged\nDatapath actions: 3\n";
}

TEST(PathOfAPacket, APacketOfAGroupTakesABucket) {
    const auto path = readPath(account(" 1. metadata=0x10, priority 6, cookie 0x500000007\n"
                                       "    group:20\n"
                                       "     -> bucket 11: score 29560\n"
                                       "     -> bucket 12: score 58402\n"
                                       "     -> using bucket 12\n"
                                       "    bucket 12\n"
                                       "            group:12\n"
                                       "            bucket 131074\n"
                                       "                    output:2\n"),
                               1);
    ASSERT_TRUE(path);
    EXPECT_EQ(7u, path->entry);
    EXPECT_EQ(20u, path->target);
    EXPECT_EQ(12u, path->bucket);
    EXPECT_EQ(2, path->port.value());
}

TEST(PathOfAPacket, AGroupWithoutAnActiveMemberTakesNone) {
    const auto path = readPath(account(" 1. metadata=0x10, priority 6, cookie 0x5\n"
                                       "    group:20\n"
                                       "     -> bucket 11: not live due to port 4294967040\n"
                                       "     -> no live bucket\n"),
                               1);
    ASSERT_TRUE(path);
    EXPECT_EQ(5u, path->entry);
    EXPECT_EQ(20u, path->target);
    EXPECT_EQ(kNoHandle, path->bucket);
    EXPECT_FALSE(path->port);
}

TEST(PathOfAPacket, WithoutAMatchThereIsNoEntry) {
    const auto path = readPath(account(" 1. No match.\n    drop\n"), 1);
    ASSERT_TRUE(path);
    EXPECT_EQ(kNoHandle, path->entry);
}

TEST(PathOfAPacket, APacketThatDoesNotComeToTheTableHasNoPath) {
    EXPECT_FALSE(readPath(account(" 1. No match.\n    drop\n"), 2));
    EXPECT_FALSE(readPath("", 1));
    EXPECT_TRUE(readPath(account("12. No match.\n    drop\n"), 12));
}

} // namespace
} // namespace ovs
