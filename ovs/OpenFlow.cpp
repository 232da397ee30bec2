#include "ovs/OpenFlow.h"

#include <array>
#include <concepts>
#include <cstring>

namespace openflow {

namespace {

// ---- Structures of the wire: numbers in network order, without alignment

template <std::unsigned_integral Number>
class Big {
  public:
    constexpr Big() = default;
    constexpr Big(Number number) {
        for (std::size_t i = sizeof(Number); i-- > 0;
             number = static_cast<Number>(number >> 4 >> 4))
            bytes_[i] = static_cast<std::uint8_t>(number);
    }
    constexpr operator Number() const {
        Number number = 0;
        for (const std::uint8_t byte : bytes_) {
            number = static_cast<Number>(number << 4 << 4 | byte);
        }
        return number;
    }

  private:
    std::array<std::uint8_t, sizeof(Number)> bytes_{};
};
using U8 = std::uint8_t;
using U16 = Big<std::uint16_t>;
using U32 = Big<std::uint32_t>;
using U64 = Big<std::uint64_t>;
template <std::size_t size>
using Pad = std::array<U8, size>;

struct WireHead {
    U8 version = kVersion;
    U8 type = 0;
    U16 length{};
    U32 xid{};
};
struct WireHelloElement {
    U16 type{};
    U16 length{};
};
struct WireError {
    U16 type{};
    U16 code{};
};
struct WireFlowMod {
    U64 cookie{};
    U64 cookieMask{};
    U8 table = 0;
    U8 command = 0;
    U16 idleTimeout{};
    U16 hardTimeout{};
    U16 priority{};
    U32 buffer{};
    U32 outPort{};
    U32 outGroup{};
    U16 flags{};
    U16 importance{};
};
/// A match, or the statistics of a flow: a length that counts this head but no padding.
struct WireFields {
    U16 type{};
    U16 length{};
};
struct WireField {
    U16 fieldClass{};
    U8 fieldAndMask = 0;
    U8 length = 0;
};
struct WireInstruction {
    U16 type{};
    U16 length{};
};
struct WireAction {
    U16 type{};
    U16 length{};
};
struct WireOutput {
    U32 port{};
    U16 maxLength{};
    Pad<6> pad{};
};
struct WireToGroup {
    U32 group{};
};
struct WireExperimenterAction {
    U32 experimenter{};
    U16 subtype{};
};
struct WireToTable {
    U16 inPort{};
    U8 table = 0;
    Pad<3> pad{};
};
struct WireGroupMod {
    U16 command{};
    U8 type = 0;
    Pad<1> pad{};
    U32 group{};
    U16 bucketsLength{};
    Pad<2> pad2{};
    U32 commandBucket{};
};
struct WireBucket {
    U16 length{};
    U16 actionsLength{};
    U32 id{};
};
struct WireProperty {
    U16 type{};
    U16 length{};
};
struct WireSelectionMethod {
    U32 experimenter{};
    U32 experimenterType{};
    Pad<4> pad{};
    std::array<char, 16> method{};
    U64 parameter{};
};
struct WireMultipart {
    U16 type{};
    U16 flags{};
    Pad<4> pad{};
};
struct WireFlowRequest {
    U8 table = 0;
    Pad<3> pad{};
    U32 outPort{};
    U32 outGroup{};
    Pad<4> pad2{};
    U64 cookie{};
    U64 cookieMask{};
};
struct WireIdRequest { // of a group or a port
    U32 id{};
    Pad<4> pad{};
};
struct WireFlow {
    U16 length{};
    Pad<2> pad{};
    U8 table = 0;
    Pad<1> pad2{};
    U16 priority{};
    U16 idleTimeout{};
    U16 hardTimeout{};
    U16 flags{};
    U16 importance{};
    U64 cookie{};
};
struct WireGroup {
    U16 length{};
    U8 type = 0;
    Pad<1> pad{};
    U32 group{};
    U16 bucketsLength{};
    Pad<6> pad2{};
};
struct WireCounters {
    U64 packets{};
    U64 bytes{};
};
struct WireGroupCounters {
    U16 length{};
    Pad<2> pad{};
    U32 group{};
    U32 references{};
    Pad<4> pad2{};
    WireCounters counters{};
    U32 seconds{};
    U32 nanoseconds{};
};
struct WirePortCounters {
    U16 length{};
    Pad<2> pad{};
    U32 port{};
    U32 seconds{};
    U32 nanoseconds{};
    U64 receivedPackets{};
    U64 sentPackets{};
    U64 receivedBytes{};
    U64 sentBytes{};
    std::array<U64, 4> droppedAndErrors{};
};

template <class Structure, std::size_t size>
constexpr bool kIsOfSize = sizeof(Structure) == size && alignof(Structure) == 1;
static_assert(kIsOfSize<WireHead, kHeaderSize>);
static_assert(kIsOfSize<WireHelloElement, 4>);
static_assert(kIsOfSize<WireError, 4>);
static_assert(kIsOfSize<WireFlowMod, 40>);
static_assert(kIsOfSize<WireFields, 4>);
static_assert(kIsOfSize<WireField, 4>);
static_assert(kIsOfSize<WireInstruction, 4>);
static_assert(kIsOfSize<WireAction, 4>);
static_assert(kIsOfSize<WireOutput, 12>);
static_assert(kIsOfSize<WireToGroup, 4>);
static_assert(kIsOfSize<WireExperimenterAction, 6>);
static_assert(kIsOfSize<WireToTable, 6>);
static_assert(kIsOfSize<WireGroupMod, 16>);
static_assert(kIsOfSize<WireBucket, 8>);
static_assert(kIsOfSize<WireProperty, 4>);
static_assert(kIsOfSize<WireSelectionMethod, 36>);
static_assert(kIsOfSize<WireMultipart, 8>);
static_assert(kIsOfSize<WireFlowRequest, 32>);
static_assert(kIsOfSize<WireIdRequest, 8>);
static_assert(kIsOfSize<WireFlow, 24>);
static_assert(kIsOfSize<WireGroup, 16>);
static_assert(kIsOfSize<WireCounters, 16>);
static_assert(kIsOfSize<WireGroupCounters, 40>);
static_assert(kIsOfSize<WirePortCounters, 80>);

// ---- Numbers of the protocol

constexpr std::uint16_t kExperimenter = 0xFFFF; // as the type of an action or a property
constexpr std::uint32_t kAny = 0xFFFFFFFF;      // any port, any group, no buffer, no bucket
constexpr std::uint16_t kWholePacket = 0xFFFF;
constexpr std::uint16_t kMatchType = 1;
constexpr std::uint16_t kHelloVersions = 1;
constexpr std::uint16_t kApplyActions = 4;
constexpr std::uint16_t kActionOutput = 0;
constexpr std::uint16_t kActionGroup = 22;
constexpr std::uint16_t kPropertyWatchGroup = 2;
constexpr std::uint16_t kMultipartFlows = 1;
constexpr std::uint16_t kMultipartPortCounters = 4;
constexpr std::uint16_t kMultipartGroupCounters = 6;
constexpr std::uint16_t kMultipartGroups = 7;
constexpr std::uint16_t kMoreFollows = 1;

// Fields of packets (class 0x8000) and counters of flows (class 0x8002).
constexpr std::uint16_t kPacketFields = 0x8000;
constexpr std::uint16_t kFlowCounters = 0x8002;
constexpr U8 kMetadata = 2;
constexpr U8 kPacketCount = 4;
constexpr U8 kByteCount = 5;
constexpr U8 kMetadataSize = 8;
struct HashedField {
    U8 field;
    U8 size;
};
// Ethernet, IPv4, TCP, UDP and IPv6: destination or source, then the other.
constexpr std::array<HashedField, 10> kHashedFields{
    {{3, 6}, {4, 6}, {11, 4}, {12, 4}, {13, 2}, {14, 2}, {15, 2}, {16, 2}, {26, 16}, {27, 16}}};

// Extensions: the way to a table as an action, and the selection method of a group.
constexpr std::uint32_t kExtension = 0x2320;
constexpr std::uint16_t kToTable = 14;
constexpr std::uint16_t kSameInPort = 0xFFF8;
constexpr std::uint32_t kSelectionExtension = 0x154D;
constexpr std::uint32_t kSelectionMethod = 1;
constexpr std::array<char, 16> kHash{'h', 'a', 's', 'h'};

constexpr std::size_t padded(std::size_t size) {
    return (size + 7) / 8 * 8;
}

// ---- Writing

class Writer {
  public:
    template <class Structure>
    void put(const Structure& structure) {
        static_assert(alignof(Structure) == 1);
        const auto* const first = reinterpret_cast<const U8*>(&structure);
        bytes_.insert(bytes_.end(), first, first + sizeof structure);
    }
    void put(ByteView bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void fill(std::size_t count, U8 byte) { bytes_.insert(bytes_.end(), count, byte); }

    [[nodiscard]] std::size_t size() const { return bytes_.size(); }
    /// Pads what was written since `start` to a multiple of 8 bytes.
    void padFrom(std::size_t start) { fill(padded(size() - start) - (size() - start), 0); }
    /// Writes into the 16 bits at `at` how much was written since `start`.
    void lengthIs(std::size_t at, std::size_t start) {
        const std::size_t length = size() - start;
        if (length > UINT16_MAX) {
            throw std::length_error("an OpenFlow message of more than 65535 bytes");
        }
        const U16 big(static_cast<std::uint16_t>(length));
        std::memcpy(bytes_.data() + at, &big, sizeof big);
    }
    [[nodiscard]] Bytes take() { return std::move(bytes_); }

  private:
    Bytes bytes_;
};

/// Writes a structure that begins with the given bytes before its length, and then what it holds.
template <class Structure, class Content>
void putCounted(Writer& writer, Structure structure, std::size_t lengthAt, const Content& content) {
    const std::size_t start = writer.size();
    writer.put(structure);
    content();
    writer.lengthIs(start + lengthAt, start);
}

template <class Content>
Bytes message(Type type, const Content& content) {
    Writer writer;
    putCounted(writer, WireHead{.type = static_cast<U8>(type)}, offsetof(WireHead, length),
               [&] { content(writer); });
    return writer.take();
}

template <class Content>
Bytes multipart(std::uint16_t type, const Content& content) {
    return message(Type::multipartRequest, [&](Writer& writer) {
        writer.put(WireMultipart{.type = type});
        content(writer);
    });
}

template <class... Visitors>
struct Overloaded : Visitors... {
    using Visitors::operator()...;
};

void putActions(Writer& writer, const std::vector<Action>& actions) {
    const auto put = [&](std::uint16_t type, const auto&... parts) {
        putCounted(writer, WireAction{.type = type}, offsetof(WireAction, length),
                   [&] { (writer.put(parts), ...); });
    };
    const Overloaded putOne{[&](const Output& output) {
                                put(kActionOutput,
                                    WireOutput{.port = output.port, .maxLength = kWholePacket});
                            },
                            [&](const ToGroup& to) { put(kActionGroup, WireToGroup{to.group}); },
                            [&](const ToTable& to) {
                                put(kExperimenter, WireExperimenterAction{kExtension, kToTable},
                                    WireToTable{.inPort = kSameInPort, .table = to.table});
                            },
                            [](const OtherAction&) {
                                throw std::invalid_argument("an action that cannot be written");
                            }};
    for (const Action& action : actions) {
        std::visit(putOne, action);
    }
}

void putMatch(Writer& writer, const Flow& flow) {
    const std::size_t start = writer.size();
    putCounted(writer, WireFields{.type = kMatchType}, offsetof(WireFields, length), [&] {
        if (flow.mask == 0) {
            return;
        }
        writer.put(WireField{kPacketFields, kMetadata << 1 | 1, 2 * kMetadataSize});
        writer.put(U64(flow.value & flow.mask));
        writer.put(U64(flow.mask));
    });
    writer.padFrom(start);
}

void putBucket(Writer& writer, const Bucket& bucket) {
    const std::size_t start = writer.size();
    putCounted(writer, WireBucket{.id = bucket.id}, offsetof(WireBucket, length), [&] {
        putActions(writer, bucket.actions);
        writer.lengthIs(start + offsetof(WireBucket, actionsLength), start + sizeof(WireBucket));
        if (bucket.watchGroup) {
            putCounted(writer, WireProperty{.type = kPropertyWatchGroup},
                       offsetof(WireProperty, length),
                       [&] { writer.put(U32(*bucket.watchGroup)); });
        }
    });
}

void putSelectionMethod(Writer& writer, std::uint64_t basis) {
    const std::size_t start = writer.size();
    putCounted(writer, WireProperty{.type = kExperimenter}, offsetof(WireProperty, length), [&] {
        writer.put(WireSelectionMethod{.experimenter = kSelectionExtension,
                                       .experimenterType = kSelectionMethod,
                                       .method = kHash,
                                       .parameter = basis});
        for (const auto [field, size] : kHashedFields) {
            writer.put(WireField{kPacketFields, static_cast<U8>(field << 1), size});
            writer.fill(size, 0xFF);
        }
    });
    writer.padFrom(start);
}

} // namespace

std::string Error::text() const {
    return "error " + std::to_string(type) + ", code " + std::to_string(code);
}

bool Error::isNoRoom() const noexcept {
    constexpr std::uint16_t kFlowModFailed = 5;
    constexpr std::uint16_t kTableFull = 1;
    constexpr std::uint16_t kGroupModFailed = 6;
    constexpr std::uint16_t kOutOfGroups = 3;
    constexpr std::uint16_t kOutOfBuckets = 4;
    return type == kFlowModFailed
               ? code == kTableFull
               : type == kGroupModFailed && (code == kOutOfGroups || code == kOutOfBuckets);
}

Bytes hello() {
    return message(Type::hello, [](Writer& writer) {
        writer.put(WireHelloElement{kHelloVersions, sizeof(WireHelloElement) + sizeof(U32)});
        writer.put(U32(1u << kVersion));
    });
}

Bytes echoReply(ByteView body) {
    return message(Type::echoReply, [&](Writer& writer) { writer.put(body); });
}

Bytes barrierRequest() {
    return message(Type::barrierRequest, [](Writer&) {});
}

Bytes flowMod(FlowCommand command, const Flow& flow) {
    return message(Type::flowMod, [&](Writer& writer) {
        writer.put(WireFlowMod{.cookie = flow.cookie,
                               .table = flow.table,
                               .command = static_cast<U8>(command),
                               .priority = flow.priority,
                               .buffer = kAny,
                               .outPort = kAny,
                               .outGroup = kAny});
        putMatch(writer, command == FlowCommand::remove ? Flow{} : flow);
        if (!flow.actions.empty()) {
            putCounted(writer, WireInstruction{.type = kApplyActions},
                       offsetof(WireInstruction, length), [&] {
                           writer.put(Pad<4>{});
                           putActions(writer, flow.actions);
                       });
        }
    });
}

Bytes groupMod(GroupCommand command, const Group& group) {
    return message(Type::groupMod, [&](Writer& writer) {
        const std::size_t start = writer.size();
        writer.put(WireGroupMod{.command = static_cast<std::uint16_t>(command),
                                .type = static_cast<U8>(group.type),
                                .group = group.id,
                                .commandBucket = kAny});
        if (command == GroupCommand::remove) {
            return;
        }
        for (const Bucket& bucket : group.buckets) {
            putBucket(writer, bucket);
        }
        writer.lengthIs(start + offsetof(WireGroupMod, bucketsLength),
                        start + sizeof(WireGroupMod));
        if (group.hashBasis) {
            putSelectionMethod(writer, *group.hashBasis);
        }
    });
}

Bytes flowRequest(std::uint8_t table) {
    return multipart(kMultipartFlows, [&](Writer& writer) {
        writer.put(WireFlowRequest{.table = table, .outPort = kAny, .outGroup = kAny});
        putMatch(writer, Flow{});
    });
}

Bytes groupRequest() {
    return multipart(kMultipartGroups,
                     [](Writer& writer) { writer.put(WireIdRequest{.id = kAllGroups}); });
}

Bytes groupCountersRequest(std::uint32_t group) {
    return multipart(kMultipartGroupCounters,
                     [&](Writer& writer) { writer.put(WireIdRequest{.id = group}); });
}

Bytes portCountersRequest() {
    return multipart(kMultipartPortCounters,
                     [](Writer& writer) { writer.put(WireIdRequest{.id = kAny}); });
}

void withXid(Bytes& message, std::uint32_t xid) {
    const U32 big(xid);
    std::memcpy(message.data() + offsetof(WireHead, xid), &big, sizeof big);
}

// ---- Reading

namespace {

/// The bytes that are left of a message or of a part of it.
class Reader {
  public:
    explicit Reader(ByteView bytes) : bytes_(bytes) {}

    [[nodiscard]] bool isEmpty() const { return bytes_.empty(); }

    [[nodiscard]] ByteView take(std::size_t size) {
        if (size > bytes_.size()) {
            throw Malformed("an OpenFlow message ends within a structure");
        }
        const ByteView taken = bytes_.first(size);
        bytes_ = bytes_.subspan(size);
        return taken;
    }
    template <class Structure>
    [[nodiscard]] Structure take() {
        static_assert(alignof(Structure) == 1);
        Structure structure;
        std::memcpy(&structure, take(sizeof structure).data(), sizeof structure);
        return structure;
    }
    /// What a structure that was just taken holds beyond itself, `length` being that of both.
    template <class Structure>
    [[nodiscard]] Reader rest(const Structure&, std::size_t length) {
        if (length < sizeof(Structure)) {
            throw Malformed("an OpenFlow structure is shorter than itself");
        }
        return Reader(take(length - sizeof(Structure)));
    }
    /// The same where padding follows to a multiple of 8 bytes, which may be missing at the end.
    template <class Structure>
    [[nodiscard]] Reader paddedRest(const Structure& structure, std::size_t length) {
        const Reader content = rest(structure, length);
        static_cast<void>(take(std::min(padded(length) - length, bytes_.size())));
        return content;
    }

  private:
    ByteView bytes_;
};

template <class Wire, class Value>
std::vector<Value> listOf(ByteView body, std::uint16_t type, Value (*read)(const Wire&, Reader&)) {
    Reader reader(body);
    if (reader.take<WireMultipart>().type != type) {
        throw Malformed("an OpenFlow answer to another question");
    }
    std::vector<Value> values;
    while (!reader.isEmpty()) {
        const auto wire = reader.take<Wire>();
        Reader content = reader.rest(wire, wire.length);
        values.push_back(read(wire, content));
    }
    return values;
}

Action readExperimenterAction(Reader content) {
    const auto kind = content.take<WireExperimenterAction>();
    if (kind.experimenter != kExtension || kind.subtype != kToTable) {
        return OtherAction{};
    }
    return ToTable{content.take<WireToTable>().table};
}

std::vector<Action> readActions(Reader reader) {
    std::vector<Action> actions;
    while (!reader.isEmpty()) {
        const auto wire = reader.take<WireAction>();
        Reader content = reader.rest(wire, wire.length);
        switch (wire.type) {
        case kActionOutput:
            actions.push_back(Output{content.take<WireOutput>().port});
            break;
        case kActionGroup:
            actions.push_back(ToGroup{content.take<WireToGroup>().group});
            break;
        case kExperimenter:
            actions.push_back(readExperimenterAction(content));
            break;
        default:
            actions.push_back(OtherAction{});
        }
    }
    return actions;
}

/// Calls visit(field, isMasked, value bytes) for every field of the class.
template <class Visit>
void forEachField(Reader reader, std::uint16_t fieldClass, const Visit& visit) {
    while (!reader.isEmpty()) {
        const auto wire = reader.take<WireField>();
        const ByteView value = reader.take(wire.length);
        visit(wire.fieldClass == fieldClass ? wire.fieldAndMask >> 1 : -1,
              (wire.fieldAndMask & 1) != 0, Reader(value));
    }
}

void readMatch(Reader fields, Flow& flow) {
    forEachField(fields, kPacketFields, [&](int field, bool isMasked, Reader value) {
        if (field != kMetadata) {
            flow.hasOtherMatches = true;
            return;
        }
        flow.value = value.take<U64>();
        flow.mask = isMasked ? value.take<U64>() : U64(UINT64_MAX);
    });
}

void readFlowCounters(Reader fields, Counters& counters) {
    forEachField(fields, kFlowCounters, [&](int field, bool, Reader value) {
        if (field == kPacketCount) {
            counters.packets = value.take<U64>();
        } else if (field == kByteCount) {
            counters.bytes = value.take<U64>();
        }
    });
}

Flow readFlow(const WireFlow& wire, Reader& content) {
    Flow flow{.table = wire.table, .priority = wire.priority, .cookie = wire.cookie};
    const auto match = content.take<WireFields>();
    readMatch(content.paddedRest(match, match.length), flow);
    const auto counters = content.take<WireFields>();
    readFlowCounters(content.paddedRest(counters, counters.length), flow.counters);
    while (!content.isEmpty()) {
        const auto instruction = content.take<WireInstruction>();
        Reader actions = content.rest(instruction, instruction.length);
        if (instruction.type != kApplyActions) {
            flow.actions.push_back(OtherAction{});
            continue;
        }
        static_cast<void>(actions.take<Pad<4>>());
        const auto applied = readActions(actions);
        flow.actions.insert(flow.actions.end(), applied.begin(), applied.end());
    }
    return flow;
}

Bucket readBucket(const WireBucket& wire, Reader& content) {
    Bucket bucket{.id = wire.id, .actions = readActions(Reader(content.take(wire.actionsLength)))};
    while (!content.isEmpty()) {
        const auto property = content.take<WireProperty>();
        Reader value = content.paddedRest(property, property.length);
        if (property.type == kPropertyWatchGroup) {
            bucket.watchGroup = value.take<U32>();
        }
    }
    return bucket;
}

Group readGroup(const WireGroup& wire, Reader& content) {
    Group group{.id = wire.group, .type = static_cast<GroupType>(wire.type)};
    Reader buckets(content.take(wire.bucketsLength));
    while (!buckets.isEmpty()) {
        const auto bucket = buckets.take<WireBucket>();
        Reader rest = buckets.rest(bucket, bucket.length);
        group.buckets.push_back(readBucket(bucket, rest));
    }
    while (!content.isEmpty()) {
        const auto property = content.take<WireProperty>();
        Reader value = content.paddedRest(property, property.length);
        if (property.type != kExperimenter) {
            continue;
        }
        const auto selection = value.take<WireSelectionMethod>();
        if (selection.experimenter == kSelectionExtension && selection.method == kHash) {
            group.hashBasis = selection.parameter;
        }
    }
    return group;
}

Counters toCounters(const WireCounters& wire) {
    return {wire.packets, wire.bytes};
}

GroupCounters readGroupCounters(const WireGroupCounters& wire, Reader& content) {
    GroupCounters counters{.group = wire.group, .counters = toCounters(wire.counters)};
    while (!content.isEmpty()) {
        counters.buckets.push_back(toCounters(content.take<WireCounters>()));
    }
    return counters;
}

PortCounters readPortCounters(const WirePortCounters& wire, Reader&) {
    return {.port = wire.port,
            .received = {wire.receivedPackets, wire.receivedBytes},
            .sent = {wire.sentPackets, wire.sentBytes}};
}

} // namespace

Head head(ByteView bytes) {
    const auto wire = Reader(bytes).take<WireHead>();
    if (wire.length < kHeaderSize) {
        throw Malformed("an OpenFlow message is shorter than its header");
    }
    return {wire.version, static_cast<Type>(wire.type), wire.length, wire.xid};
}

bool offersVersion(std::uint8_t headVersion, ByteView helloBody) {
    Reader reader(helloBody);
    while (!reader.isEmpty()) {
        const auto element = reader.take<WireHelloElement>();
        Reader content = reader.paddedRest(element, element.length);
        if (element.type == kHelloVersions) {
            return (content.take<U32>() >> kVersion & 1u) != 0;
        }
    }
    return headVersion >= kVersion;
}

Error error(ByteView body) {
    const auto wire = Reader(body).take<WireError>();
    return {wire.type, wire.code};
}

bool hasMore(ByteView multipartBody) {
    return (Reader(multipartBody).take<WireMultipart>().flags & kMoreFollows) != 0;
}

std::vector<Flow> flows(ByteView multipartBody) {
    return listOf<WireFlow, Flow>(multipartBody, kMultipartFlows, readFlow);
}

std::vector<Group> groups(ByteView multipartBody) {
    return listOf<WireGroup, Group>(multipartBody, kMultipartGroups, readGroup);
}

std::vector<GroupCounters> groupCounters(ByteView multipartBody) {
    return listOf<WireGroupCounters, GroupCounters>(multipartBody, kMultipartGroupCounters,
                                                    readGroupCounters);
}

std::vector<PortCounters> portCounters(ByteView multipartBody) {
    return listOf<WirePortCounters, PortCounters>(multipartBody, kMultipartPortCounters,
                                                  readPortCounters);
}

} // namespace openflow
