#include "pd/calls/PackedCall.h"

namespace pd {

namespace {

std::uint64_t shapeWord(std::size_t operation) noexcept {
    constexpr std::uint64_t kOutBit = 8;
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < kOperations[operation].argumentCount(); ++i) {
        const auto [kind, direction] = kShapes[operation][i];
        const std::uint64_t shape =
            static_cast<std::uint64_t>(kind) | (direction == Direction::out ? kOutBit : 0);
        word |= shape << (4 * i);
    }
    return word;
}

} // namespace

PackedCall pack(const CallRecord& record) noexcept {
    const auto& arguments = record.arguments.words;
    PackedCall words{};
    words[packed_at::kHead] = record.operation | std::uint64_t{record.arguments.nulls} << 16 |
                              std::uint64_t{record.status} << 32;
    words[packed_at::kShapes] = shapeWord(record.operation);
    for (std::size_t i = 0; i < arguments.size(); ++i)
        words[packed_at::kArguments + i / 2] |= std::uint64_t{arguments[i]} << (i % 2 * 32);
    return words;
}

std::optional<CallRecord> unpack(const PackedCall& words) noexcept {
    const std::uint64_t head = words[packed_at::kHead];
    CallRecord record;
    record.operation = head & 0xFFFF;
    record.arguments.nulls = static_cast<std::uint16_t>(head >> 16);
    record.status = static_cast<pipe_status>(head >> 32);
    if (record.operation >= kOperations.size() ||
        words[packed_at::kShapes] != shapeWord(record.operation))
        return std::nullopt;
    for (std::size_t i = 0; i < record.arguments.words.size(); ++i)
        record.arguments.words[i] =
            static_cast<std::uint32_t>(words[packed_at::kArguments + i / 2] >> (i % 2 * 32));
    return record;
}

} // namespace pd
