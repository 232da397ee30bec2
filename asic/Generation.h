// Boot generations: the numbers by which a chip that lost its state is told from the one before.
#pragma once

#include <cstdint>
#include <random>

namespace asic {

/// A generation for a chip that has had none. Drawn at random, so that a chip that is made anew in
/// the place of another one does not repeat the other's. Never 0. May throw.
inline std::uint64_t anyGeneration() {
    std::random_device device;
    std::uniform_int_distribution<std::uint64_t> any(1);
    return any(device);
}

/// The generation after a power cycle.
constexpr std::uint64_t nextGeneration(std::uint64_t generation) noexcept {
    return generation == UINT64_MAX ? 1 : generation + 1;
}

} // namespace asic
