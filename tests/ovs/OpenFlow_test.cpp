// Messages to bytes and back, against bytes that a switch sent; and what becomes of damaged ones.

#include "ovs/OpenFlow.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <random>
#include <string_view>

namespace openflow {
namespace {

using testing::ElementsAre;

Bytes bytes(std::string_view hex) {
    Bytes all;
    unsigned high = 16;
    for (const char c : hex) {
        if (c == ' ' || c == '\n')
            continue;
        const unsigned digit = static_cast<unsigned>(c <= '9' ? c - '0' : c - 'a' + 10);
        if (high == 16) {
            high = digit;
            continue;
        }
        all.push_back(static_cast<std::uint8_t>(high << 4 | digit));
        high = 16;
    }
    return all;
}

/// What follows the header of a message.
Bytes body(const Bytes& message) {
    return {message.begin() + kHeaderSize, message.end()};
}

// ---- Bytes of a switch

const Bytes kGroups =
    bytes("00070000 00000000"
          "00280200 0000000b 00180000 00000000 00180010 00020001 00000010 00000001"
          "00000000 00000000"
          "00180200 0000000e 00080000 00000000 00080000 00010000"
          "00280200 0000000d 00180000 00000000 00180010 00030000 ffff0010 00002320"
          "000efff8 02000000"
          "00980100 00000014 00400000 00000000"
          "00200008 0000000b 00160008 0000000b 00000008 00010000 00020008 ffffff00"
          "00200008 0000000c 00160008 0000000c 00000008 00010000 00020008 ffffff00"
          "ffff0044 0000154d 00000001 00000000 68617368 00000000 00000000 00000000"
          "00000000 00000008 80001604 ffffffff 80001804 ffffffff 80001e02 ffff8000"
          "2002ffff 00000000"
          "00100100 ffffff00 00000000 00000000");
const Bytes kFlows = bytes("00010000 00000000"
                           "00780000 01000007 00000000 00000000 00000000 00000005 00010018 80000510"
                           "00000000 00000000 00000000 0000000f 00000034 80020008 00000001 1701e480"
                           "80020208 00000001 00000000 80020808 00000000 00000009 80020a08 00000000"
                           "000002d6 00000000 00040010 00000000 00160008 00000014"
                           "00680000 01000000 00000000 00000000 00000000 00000009 00010004 00000000"
                           "00000034 80020008 00000001 1b4c8680 80020208 00000001 00000000 80020808"
                           "00000000 00000000 80020a08 00000000 00000000 00000000 00040010 00000000"
                           "00160008 0000000d");
const Bytes kGroupCounters = bytes(
    "00060000 00000000"
    "00380000 0000000b 00000000 00000000 00000000 00000007 00000000 0000002a 0000003a 04a62f80"
    "00000000 00000003 00000000 00000014"
    "00280000 ffffff00 00000000 00000000 00000000 00000000 00000000 00000000 0000003a 06422c40");
const Bytes kPortCounters =
    bytes("00040000 00000000"
          "00500000 fffffffe 0000003a 14ebd5c0"
          "00000000 00000001 00000000 00000002 00000000 00000003 00000000 00000004"
          "00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000");

const Group kMember{
    .id = 11, .type = GroupType::indirect, .buckets = {{.id = 0x20001, .actions = {Output{1}}}}};
const Group kDropping{.id = 14, .type = GroupType::indirect, .buckets = {{.id = 0x10000}}};
const Group kGoingOn{
    .id = 13, .type = GroupType::indirect, .buckets = {{.id = 0x30000, .actions = {ToTable{2}}}}};
const Group kSelector{
    .id = 20,
    .type = GroupType::select,
    .buckets = {{.id = 11, .actions = {ToGroup{11}}, .watchGroup = kLargestGroup},
                {.id = 12, .actions = {ToGroup{12}}, .watchGroup = kLargestGroup}},
    .hashBasis = 8};
const Group kEmpty{.id = kLargestGroup, .type = GroupType::select};

TEST(OpenFlow, ReadsTheGroupsOfASwitch) {
    EXPECT_THAT(groups(kGroups), ElementsAre(kMember, kDropping, kGoingOn, kSelector, kEmpty));
}

TEST(OpenFlow, ReadsTheFlowsOfASwitch) {
    EXPECT_THAT(flows(kFlows),
                ElementsAre(Flow{.table = 1,
                                 .priority = 7,
                                 .cookie = 5,
                                 .value = 0,
                                 .mask = 0xF,
                                 .actions = {ToGroup{20}},
                                 .counters = {9, 726}},
                            Flow{.table = 1, .cookie = 9, .actions = {ToGroup{13}}}));
}

TEST(OpenFlow, ReadsCounters) {
    EXPECT_THAT(groupCounters(kGroupCounters),
                ElementsAre(GroupCounters{.group = 11, .counters = {7, 42}, .buckets = {{3, 20}}},
                            GroupCounters{.group = kLargestGroup}));
    EXPECT_THAT(portCounters(kPortCounters),
                ElementsAre(PortCounters{.port = 0xFFFFFFFE, .received = {1, 3}, .sent = {2, 4}}));
}

TEST(OpenFlow, ReadsErrors) {
    const Error refused = error(bytes("00060003 00"));
    EXPECT_EQ("error 6, code 3", refused.text());
    EXPECT_TRUE(refused.isNoRoom());
    EXPECT_TRUE(error(bytes("00050001")).isNoRoom());
    EXPECT_FALSE(error(bytes("00050002")).isNoRoom());
}

// ---- Messages to a switch

TEST(OpenFlow, WritesAnEntryAsASwitchReadsIt) {
    const Flow flow{.table = 1,
                    .priority = 7,
                    .cookie = 5,
                    .value = 0xFF10,
                    .mask = 0xF0,
                    .actions = {ToGroup{20}}};
    EXPECT_EQ(bytes("060e0058 00000000 00000000 00000005 00000000 00000000 01000000 00000007"
                    "ffffffff ffffffff ffffffff 00000000"
                    "00010018 80000510 00000000 00000010 00000000 000000f0"
                    "00040010 00000000 00160008 00000014"),
              flowMod(FlowCommand::add, flow));
}

TEST(OpenFlow, WritesAMemberAsASwitchReadsIt) {
    EXPECT_EQ(bytes("060f0030 00000000 00010200 0000000b 00180000 ffffffff"
                    "00180010 00020001 00000010 00000001 ffff0000 00000000"),
              groupMod(GroupCommand::modify, kMember));
}

TEST(OpenFlow, WritesTheWayToATableAsASwitchReadsIt) {
    EXPECT_EQ(bytes("060f0030 00000000 00000200 0000000d 00180000 ffffffff"
                    "00180010 00030000 ffff0010 00002320 000efff8 02000000"),
              groupMod(GroupCommand::add, kGoingOn));
}

TEST(OpenFlow, AnInactiveMembersBucketWatchesAGroup) {
    const Bytes message = groupMod(GroupCommand::add, kSelector);
    const Bytes bucket = bytes("00180008 0000000b 00160008 0000000b 00020008 ffffff00");
    EXPECT_NE(message.end(),
              std::search(message.begin(), message.end(), bucket.begin(), bucket.end()));
    EXPECT_EQ(message.size(), head(message).length);
}

TEST(OpenFlow, AHelloOffersThisVersionAlone) {
    EXPECT_EQ(bytes("06000010 00000000 00010008 00000040"), hello());
    EXPECT_TRUE(offersVersion(6, body(hello())));
    EXPECT_FALSE(offersVersion(6, bytes("00010008 0000003f")));
    EXPECT_TRUE(offersVersion(6, {}));
    EXPECT_FALSE(offersVersion(4, {}));
}

TEST(OpenFlow, AMessageThatIsTooLongIsNotWritten) {
    Group group{.id = 1};
    group.buckets.resize(9000);
    EXPECT_THROW(static_cast<void>(groupMod(GroupCommand::add, group)), std::length_error);
}

TEST(OpenFlow, XidsAreWrittenIntoTheHeader) {
    Bytes message = barrierRequest();
    withXid(message, 0x12345678);
    EXPECT_EQ(bytes("06140008 12345678"), message);
    EXPECT_EQ(0x12345678u, head(message).xid);
}

// ---- Damage

/// Reads the bytes as every kind of body; whatever they are, that ends with a value or Malformed.
void readAsEverything(const Bytes& damaged) {
    const auto attempt = [&](auto read) {
        try {
            static_cast<void>(read(damaged));
        } catch (const Malformed&) {
        }
    };
    attempt([](ByteView view) { return groups(view); });
    attempt([](ByteView view) { return flows(view); });
    attempt([](ByteView view) { return groupCounters(view); });
    attempt([](ByteView view) { return portCounters(view); });
    attempt([](ByteView view) { return error(view); });
    attempt([](ByteView view) { return head(view); });
    attempt([](ByteView view) { return hasMore(view); });
    attempt([](ByteView view) { return offersVersion(kVersion, view); });
}

const Bytes* const kBodies[]{&kGroups, &kFlows, &kGroupCounters, &kPortCounters};

TEST(OpenFlowDamage, ABodyThatIsCutShortWithinAStructureIsMalformed) {
    for (const Bytes* whole : kBodies) {
        for (std::size_t size = 0; size < whole->size(); ++size)
            readAsEverything({whole->begin(), whole->begin() + static_cast<std::ptrdiff_t>(size)});
    }
    EXPECT_THROW(static_cast<void>(groups(Bytes(kGroups.begin(), kGroups.end() - 1))), Malformed);
    EXPECT_THROW(static_cast<void>(flows(Bytes(kFlows.begin(), kFlows.end() - 1))), Malformed);
}

TEST(OpenFlowDamage, AnAnswerToAnotherQuestionIsMalformed) {
    EXPECT_THROW(static_cast<void>(groups(kFlows)), Malformed);
    EXPECT_THROW(static_cast<void>(flows(kGroups)), Malformed);
}

TEST(OpenFlowDamage, AStructureThatIsShorterThanItselfIsMalformed) {
    Bytes damaged = kGroups;
    damaged[9] = 0; // the length of the first group: as if it were empty, for ever
    damaged[8] = 0;
    EXPECT_THROW(static_cast<void>(groups(damaged)), Malformed);
}

TEST(OpenFlowDamage, AHeaderThatIsLongerThanItsMessageIsMalformed) {
    EXPECT_THROW(static_cast<void>(head(bytes("06140007 00000000"))), Malformed);
    EXPECT_THROW(static_cast<void>(head(bytes("061400"))), Malformed);
}

TEST(OpenFlowDamage, AnyBytesEndWithAValueOrMalformed) {
    std::mt19937 random(20240601); // NOLINT: the same damage in every run
    const auto any = [&](std::size_t bound) { return random() % bound; };
    for (int round = 0; round < 20'000; ++round) {
        Bytes damaged = *kBodies[any(std::size(kBodies))];
        for (std::size_t change = 0; change <= any(6); ++change) {
            const std::size_t at = any(damaged.size());
            switch (any(4)) {
            case 0:
                damaged[at] = static_cast<std::uint8_t>(random());
                break;
            case 1: // lengths are small numbers
                damaged[at] = static_cast<std::uint8_t>(any(64));
                break;
            case 2:
                damaged.erase(damaged.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            default:
                damaged.insert(damaged.begin() + static_cast<std::ptrdiff_t>(at),
                               static_cast<std::uint8_t>(random()));
            }
        }
        readAsEverything(damaged);
    }
}

} // namespace
} // namespace openflow
