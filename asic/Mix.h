// A bijective 64-bit mixer: every input bit reaches every output bit.
#pragma once

#include <cstdint>

namespace asic {

constexpr std::uint64_t mix(std::uint64_t x) noexcept {
    x += 0x9E3779B97F4A7C15u;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
}

} // namespace asic
