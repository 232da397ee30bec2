#include "mapped-tables/SlotFormat.h"

#include <algorithm>

#include "mapped-tables/Crc32c.h"

namespace Glimt::SlotFormat {

using Kel::U32;
using Kel::U64;

namespace {

constexpr U64 kMagic = 0x314c'4254'4d49'4c47; // "GLIMTBL1"
constexpr std::size_t kChecksumWord = 9;
constexpr std::size_t kChecksummedWords = 6;
constexpr unsigned kUpper = 32;

constexpr U64 packed(U32 lower, U32 upper) noexcept {
    return U64{upper} << kUpper | lower;
}

U32 sumOf(std::span<const U64> words, U32 before = 0) noexcept {
    return crc32c(std::as_bytes(words), before);
}

/// The sum covers where the slot is, so that a slot's bytes are not valid in another place.
U64 slotSum(const TableDescription& table, std::size_t slot,
            std::span<const U64> content) noexcept {
    const U64 place[] = {packed(static_cast<U32>(slot), table.kind)};
    return sumOf(content, sumOf(place));
}

std::array<U64, kChecksummedWords> identityOf(const TableDescription& table) {
    const auto slotSize = static_cast<U32>(slotWords(table) * sizeof(U64));
    return {kMagic,
            packed(slotSize, kLayoutVersion),
            packed(table.capacity, table.kind),
            table.context.device,
            table.context.chipBoot,
            table.context.state};
}

/// A field of the header whose difference makes the file another table.
struct Field {
    const char* name;
    std::size_t word;
    unsigned shift;
    U64 mask;
};
constexpr U64 kHalf = 0xffff'ffff;
constexpr Field kFields[] = {
    {"kind of record", 2, kUpper, kHalf},
    {"record size", 1, 0, kHalf},
    {"capacity", 2, 0, kHalf},
    {"device", 3, 0, ~U64{0}},
    {"chip boot generation", 4, 0, ~U64{0}},
    {"desired state", 5, 0, ~U64{0}},
};

const char* contentFault(const SlotContent& content, U32 latestSerial) noexcept {
    using Kind = SlotContent::Kind;
    if (content.kind != Kind::kRecord && content.kind != Kind::kReservation) {
        return "it is neither record nor reservation";
    }
    if (content.kind == Kind::kRecord && content.handle == 0) {
        return "its handle is 0";
    }
    if (content.kind == Kind::kReservation && content.handle != 0) {
        return "a reservation with a handle";
    }
    if (serialOf(content.key) == 0 || serialOf(content.key) > latestSerial) {
        return "its key was never given out";
    }
    return nullptr;
}

Examined corrupt(const char* reason) noexcept {
    return {.state = Examined::State::kCorrupt, .reason = reason};
}

} // namespace

U64 serialWord(U32 serial) noexcept {
    const U64 words[] = {serial};
    return packed(sumOf(words), serial);
}

U64 commitWord(U64 commit) noexcept {
    const U64 words[] = {commit & ((U64{1} << 48) - 1)};
    const U32 sum = sumOf(words);
    return words[0] << 16 | ((sum >> 16 ^ sum) & 0xffff);
}

void writeHeader(std::span<U64, kHeaderWords> header, const TableDescription& table) {
    const auto identity = identityOf(table);
    std::ranges::copy(identity, header.begin());
    header[kMarkWord] = 0;
    header[kSerialWord] = serialWord(0);
    header[kCommitWord] = commitWord(table.context.commit);
    header[kChecksumWord] = sumOf(identity);
}

TableDescription ofThisChip(TableDescription table,
                            std::span<const U64, kHeaderWords> header) noexcept {
    table.capacity = static_cast<U32>(header[2]);
    table.context = {static_cast<U32>(header[3]), header[4], header[5],
                     commitOf(header[kCommitWord])};
    return table;
}

std::optional<Refusal> checkHeader(std::span<const U64, kHeaderWords> header,
                                   const TableDescription& table) {
    if (header[0] != kMagic) {
        return Refusal{"it does not begin as a table does", true};
    }
    // Before all else: where the rest is depends on it.
    if (const U64 version = header[1] >> kUpper; version != kLayoutVersion) {
        return Refusal{"its layout version is " + std::to_string(version) + ", not " +
                           std::to_string(kLayoutVersion),
                       false};
    }
    if (header[kChecksumWord] != sumOf(header.first(kChecksummedWords))) {
        return Refusal{"the checksum of its header is wrong", true};
    }
    const auto expected = identityOf(table);
    for (const Field& field : kFields) {
        const U64 found = header[field.word] >> field.shift & field.mask;
        const U64 wanted = expected[field.word] >> field.shift & field.mask;
        if (found != wanted) {
            return Refusal{std::string("its ") + field.name + " is " + std::to_string(found) +
                               ", not " + std::to_string(wanted),
                           false};
        }
    }
    if (header[kMarkWord] == kMarkCorrupt) {
        return Refusal{"it was found corrupt by an earlier run", false};
    }
    if (header[kMarkWord] != 0) {
        return Refusal{"its mark is damaged", true};
    }
    if (header[kSerialWord] != serialWord(static_cast<U32>(header[kSerialWord] >> kUpper))) {
        return Refusal{"its latest serial number is damaged", true};
    }
    if (header[kCommitWord] != commitWord(commitOf(header[kCommitWord]))) {
        return Refusal{"its latest commit is damaged", true};
    }
    if (const U64 commit = commitOf(header[kCommitWord]); commit + 1 < table.context.commit) {
        return Refusal{"it is an old copy, of commit " + std::to_string(commit) +
                           " of the desired state, which is at commit " +
                           std::to_string(table.context.commit),
                       false};
    }
    return std::nullopt;
}

SlotImage slotImage(const TableDescription& table, std::size_t slot, U64 sequence,
                    const SlotContent& content) noexcept {
    SlotImage image{sequence, content.key, packed(content.handle, static_cast<U32>(content.kind))};
    std::copy_n(content.extra.begin(), table.extraWords, image.begin() + 3);
    const std::size_t last = slotWords(table) - 2;
    image[last] = slotSum(table, slot, std::span(image).first(last));
    return image;
}

Examined examine(const TableDescription& table, std::size_t slot, U32 latestSerial,
                 std::span<const U64> words) noexcept {
    using State = Examined::State;
    const std::span<const U64> rest = words.subspan(1);
    if (words[0] == 0) {
        const bool isUntouched = std::ranges::all_of(rest, [](U64 word) { return word == 0; });
        return {.state = isUntouched ? State::kFree : State::kNeverCommitted};
    }
    if (words[0] == kStateRetired) {
        return {.state = State::kRetired};
    }
    if (words[0] != kStateCommitted) {
        return corrupt("its state is none that a slot has");
    }
    if (rest.back() != slotSum(table, slot, rest.first(rest.size() - 1))) {
        return corrupt("its checksum is wrong");
    }
    Examined examined{.state = State::kCommitted,
                      .sequence = rest[0],
                      .content = {.key = rest[1],
                                  .kind = static_cast<SlotContent::Kind>(rest[2] >> kUpper),
                                  .handle = static_cast<U32>(rest[2])}};
    std::copy_n(rest.begin() + 3, table.extraWords, examined.content.extra.begin());
    if (const char* fault = contentFault(examined.content, latestSerial)) {
        return corrupt(fault);
    }
    return examined;
}

} // namespace Glimt::SlotFormat
