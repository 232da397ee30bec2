// The subset of OpenFlow 1.5 that programs and reads flows and groups: values to messages, and
// messages to values. It knows nothing of what the flows and groups are for.
//
// Bytes that come from a switch are not trusted: whatever they are, reading them ends with a value
// or with Malformed.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace openflow {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline constexpr std::uint8_t kVersion = 6; // 1.5
inline constexpr std::size_t kHeaderSize = 8;
inline constexpr std::uint32_t kLargestGroup = 0xFFFFFF00;
inline constexpr std::uint32_t kLargestPort = 0xFFFFFF00;
inline constexpr std::uint32_t kAllGroups = 0xFFFFFFFC;
inline constexpr std::uint8_t kAllTables = 0xFF;

enum class Type : std::uint8_t {
    hello = 0,
    error = 1,
    echoRequest = 2,
    echoReply = 3,
    flowMod = 14,
    groupMod = 15,
    multipartRequest = 18,
    multipartReply = 19,
    barrierRequest = 20,
    barrierReply = 21,
};

/// A message is not what its type says.
class Malformed : public std::runtime_error {
    using runtime_error::runtime_error;
};

// ---- Values

/// Sends the packet out of a port.
struct Output {
    std::uint32_t port;
    friend bool operator==(const Output&, const Output&) = default;
};
/// Hands the packet to a table; unlike the instruction to go there, it can stand in a bucket.
struct ToTable {
    std::uint8_t table;
    friend bool operator==(const ToTable&, const ToTable&) = default;
};
/// Hands the packet to a group.
struct ToGroup {
    std::uint32_t group;
    friend bool operator==(const ToGroup&, const ToGroup&) = default;
};
/// An action that this subset does not have. It can be read only.
struct OtherAction {
    friend bool operator==(const OtherAction&, const OtherAction&) = default;
};
using Action = std::variant<Output, ToTable, ToGroup, OtherAction>;

struct Bucket {
    std::uint32_t id = 0;
    std::vector<Action> actions{}; // none: the packet is dropped
    /// The bucket takes packets only while this group is live.
    std::optional<std::uint32_t> watchGroup{};

    friend bool operator==(const Bucket&, const Bucket&) = default;
};

enum class GroupType : std::uint8_t { all = 0, select = 1, indirect = 2, fastFailover = 3 };

/// A select group with a selection basis chooses by a hash of that and of the packet's addresses
/// and ports: Ethernet, IPv4, IPv6, TCP, UDP. One without chooses as the switch likes.
struct Group {
    std::uint32_t id = 0;
    GroupType type = GroupType::select;
    std::vector<Bucket> buckets{};
    std::optional<std::uint64_t> hashBasis{};

    friend bool operator==(const Group&, const Group&) = default;
};

struct Counters {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;

    friend bool operator==(const Counters&, const Counters&) = default;
};

/// A flow that matches (packet metadata & mask) == value.
struct Flow {
    std::uint8_t table = 0;
    std::uint16_t priority = 0;
    std::uint64_t cookie = 0;
    std::uint64_t value = 0;
    std::uint64_t mask = 0; // 0: every packet matches
    std::vector<Action> actions{};
    Counters counters{};          // read only
    bool hasOtherMatches = false; // read only: it matches other fields too

    friend bool operator==(const Flow&, const Flow&) = default;
};

struct GroupCounters {
    std::uint32_t group = 0;
    Counters counters{};
    std::vector<Counters> buckets{};

    friend bool operator==(const GroupCounters&, const GroupCounters&) = default;
};

struct PortCounters {
    std::uint32_t port = 0;
    Counters received{};
    Counters sent{};

    friend bool operator==(const PortCounters&, const PortCounters&) = default;
};

struct Error {
    std::uint16_t type = 0;
    std::uint16_t code = 0;

    /// "error TYPE, code CODE"
    [[nodiscard]] std::string text() const;
    /// The table, or the room for groups, is full.
    [[nodiscard]] bool isNoRoom() const noexcept;
};

// ---- Writing. Each gives a whole message with the transaction id 0, which withXid replaces.

enum class FlowCommand : std::uint8_t { add = 0, modifyStrict = 2, remove = 3, removeStrict = 4 };
enum class GroupCommand : std::uint16_t { add = 0, modify = 1, remove = 2 };

[[nodiscard]] Bytes hello();
[[nodiscard]] Bytes echoReply(ByteView body);
[[nodiscard]] Bytes barrierRequest();
/// A flow is found by table, priority and match. Adding one that is there replaces it, cookie and
/// counters included. `remove` goes by the table alone.
[[nodiscard]] Bytes flowMod(FlowCommand command, const Flow& flow);
/// Removing goes by the group's id alone. Throws std::length_error if the message would be longer
/// than a message can be.
[[nodiscard]] Bytes groupMod(GroupCommand command, const Group& group);
[[nodiscard]] Bytes flowRequest(std::uint8_t table);
[[nodiscard]] Bytes groupRequest();
[[nodiscard]] Bytes groupCountersRequest(std::uint32_t group);
[[nodiscard]] Bytes portCountersRequest();

void withXid(Bytes& message, std::uint32_t xid);

// ---- Reading

struct Head {
    std::uint8_t version = 0;
    Type type{};
    std::uint16_t length = 0; // of the whole message; at least kHeaderSize
    std::uint32_t xid = 0;
};

/// Of the first kHeaderSize bytes of a message. Throws Malformed.
[[nodiscard]] Head head(ByteView bytes);

// The bodies of messages, that is, what follows the header. All throw Malformed.

/// Whether this version is among those that a hello offers.
[[nodiscard]] bool offersVersion(std::uint8_t headVersion, ByteView helloBody);
[[nodiscard]] Error error(ByteView body);
/// Whether more parts of the same answer follow.
[[nodiscard]] bool hasMore(ByteView multipartBody);
[[nodiscard]] std::vector<Flow> flows(ByteView multipartBody);
[[nodiscard]] std::vector<Group> groups(ByteView multipartBody);
[[nodiscard]] std::vector<GroupCounters> groupCounters(ByteView multipartBody);
[[nodiscard]] std::vector<PortCounters> portCounters(ByteView multipartBody);

} // namespace openflow
