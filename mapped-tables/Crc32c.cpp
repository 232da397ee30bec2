#include "mapped-tables/Crc32c.h"

#include <array>

namespace Glimt {

namespace {

constexpr Kel::U32 kReversedPolynomial = 0x82f63b78;

constexpr std::array<Kel::U32, 256> kSumOfByte = [] {
    std::array<Kel::U32, 256> sums{};
    for (Kel::U32 byte = 0; byte < sums.size(); ++byte) {
        Kel::U32 sum = byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 1) != 0 ? sum >> 1 ^ kReversedPolynomial : sum >> 1;
        }
        sums[byte] = sum;
    }
    return sums;
}();

} // namespace

Kel::U32 crc32c(std::span<const std::byte> bytes, Kel::U32 before) noexcept {
    Kel::U32 sum = ~before;
    for (const std::byte byte : bytes) {
        sum = sum >> 8 ^ kSumOfByte[(sum ^ std::to_integer<Kel::U32>(byte)) & 0xff];
    }
    return ~sum;
}

} // namespace Glimt
