#include "agent/desired/ChipMark.h"

#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "platform/Pello/Crc32c.h"

namespace LagAgent {

namespace {

/// A version of the layout: another one is no mark.
constexpr std::uint64_t kMagic = 0x3130'6b72'616d'474c; // "LGmark01"

using Words = std::array<std::uint64_t, 4>;

std::uint64_t checkOf(const Words& words) {
    return Pello::crc32c(std::as_bytes(std::span(words).first(3)));
}

} // namespace

std::optional<ChipMark> markIn(const Pello::LockFile& lock) {
    const std::string_view note = lock.note();
    Words words{};
    if (note.size() != sizeof words) {
        return std::nullopt;
    }
    std::memcpy(words.data(), note.data(), sizeof words);
    if (words[0] != kMagic || words.back() != checkOf(words)) {
        return std::nullopt;
    }
    return ChipMark{.state = words[1], .commit = words[2]};
}

void markIs(Pello::LockFile& lock, const ChipMark& mark) noexcept {
    Words words{kMagic, mark.state, mark.commit};
    words.back() = checkOf(words);
    lock.noteIs({reinterpret_cast<const char*>(words.data()), sizeof words});
}

} // namespace LagAgent
