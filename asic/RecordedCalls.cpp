#include "asic/RecordedCalls.h"

#include <algorithm>

namespace asic {

namespace {

constexpr std::uint64_t kChangeBit = UINT64_C(1) << 63;
static_assert(pd::kPackedShapeBits < 63);

} // namespace

CallWords toWords(const RecordedCall& call) noexcept {
    CallWords words{};
    words[call_at::kSequence] = call.record.sequence;
    words[call_at::kGeneration] = call.generation;
    std::ranges::copy(pd::pack(call.record), words.begin() + call_at::kHead);
    words[call_at::kShapes] |= call.isChange ? kChangeBit : 0;
    words[call_at::kHandle] = call.handle;
    return sealed(words);
}

std::optional<RecordedCall> toCall(const CallWords& words) noexcept {
    if (!isSealed(words))
        return std::nullopt;
    pd::PackedCall packed;
    std::copy_n(words.begin() + call_at::kHead, packed.size(), packed.begin());
    packed[pd::packed_at::kShapes] &= ~kChangeBit;
    auto record = pd::unpack(packed);
    if (!record)
        return std::nullopt;
    record->sequence = words[call_at::kSequence];
    return RecordedCall{.record = *record,
                        .generation = words[call_at::kGeneration],
                        .handle = static_cast<Handle>(words[call_at::kHandle]),
                        .isChange = (words[call_at::kShapes] & kChangeBit) != 0};
}

} // namespace asic
