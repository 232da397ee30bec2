#include "asic/RecordedCalls.h"

#include "pd/Operations.h"

namespace asic {

namespace {

// One argument's shape takes four bits.
constexpr unsigned kShapeBits = 4;
constexpr std::uint64_t kOutBit = 8;
constexpr std::uint64_t kKindBits = 7;
constexpr std::uint64_t kChangeBit = UINT64_C(1) << 63;
static_assert(pd::Operation::kMaxArguments * kShapeBits < 63);

std::uint64_t wordOf(const ArgumentShapes& shapes, std::size_t count) noexcept {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto [kind, direction] = shapes[i];
        const std::uint64_t shape =
            static_cast<std::uint64_t>(kind) | (direction == Direction::out ? kOutBit : 0);
        word |= shape << (kShapeBits * i);
    }
    return word;
}

/// False if the shapes are not those of arguments.
bool toShapes(std::uint64_t word, std::size_t count, ArgumentShapes& shapes) noexcept {
    std::size_t words = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t shape = word >> (kShapeBits * i);
        if ((shape & kKindBits) > static_cast<std::uint64_t>(ValueKind::actionSpec))
            return false;
        shapes[i] = {static_cast<ValueKind>(shape & kKindBits),
                     (shape & kOutBit) != 0 ? Direction::out : Direction::in};
        words += wordsOf(shapes[i].kind);
    }
    return words <= ArgumentWords::kMaxWords;
}

} // namespace

CallWords toWords(const RecordedCall& call) noexcept {
    const CallRecord& record = call.record;
    const auto& arguments = record.arguments.words;
    CallWords words{};
    words[call_at::kSequence] = record.sequence;
    words[call_at::kGeneration] = call.generation;
    words[call_at::kHead] = record.operation | std::uint64_t{record.arguments.nulls} << 16 |
                            std::uint64_t{record.status} << 32;
    words[call_at::kShapes] =
        wordOf(record.shapes, pd::kOperations[record.operation].argumentCount()) |
        (call.isChange ? kChangeBit : 0);
    for (std::size_t i = 0; i < arguments.size(); ++i)
        words[call_at::kArguments + i / 2] |= std::uint64_t{arguments[i]} << (i % 2 * 32);
    words[call_at::kHandle] = call.handle;
    return sealed(words);
}

std::optional<RecordedCall> toCall(const CallWords& words) noexcept {
    if (!isSealed(words))
        return std::nullopt;
    RecordedCall call;
    CallRecord& record = call.record;
    const std::uint64_t head = words[call_at::kHead];
    record.sequence = words[call_at::kSequence];
    record.operation = head & 0xFFFF;
    record.arguments.nulls = static_cast<std::uint16_t>(head >> 16);
    record.status = static_cast<Status>(head >> 32);
    if (record.operation >= pd::kOperations.size() ||
        !toShapes(words[call_at::kShapes], pd::kOperations[record.operation].argumentCount(),
                  record.shapes))
        return std::nullopt;
    for (std::size_t i = 0; i < record.arguments.words.size(); ++i)
        record.arguments.words[i] =
            static_cast<std::uint32_t>(words[call_at::kArguments + i / 2] >> (i % 2 * 32));
    call.generation = words[call_at::kGeneration];
    call.handle = static_cast<Handle>(words[call_at::kHandle]);
    call.isChange = (words[call_at::kShapes] & kChangeBit) != 0;
    return call;
}

} // namespace asic
