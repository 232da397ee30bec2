// Records of 64-bit words in memory that several processes see.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "asic/Mix.h"
#include "asic/Steps.h"

namespace asic {

static_assert(std::atomic_ref<std::uint64_t>::is_always_lock_free,
              "a lock inside an atomic word would be one for each process");
static_assert(std::endian::native == std::endian::little, "chip files are little-endian");

/// A word that other processes may write at any time.
class SharedWord {
  public:
    [[nodiscard]] std::uint64_t load(std::memory_order order) noexcept {
        return std::atomic_ref(word_).load(order);
    }
    void store(std::uint64_t value, std::memory_order order, Steps& steps) noexcept {
        steps.store();
        std::atomic_ref(word_).store(value, order);
    }

  private:
    alignas(std::atomic_ref<std::uint64_t>::required_alignment) std::uint64_t word_;
};

/// Words that belong together. They are read and written one by one: a reader without the lock
/// makes sure by other means that they were not written meanwhile.
template <std::size_t count>
class SharedRecord {
  public:
    using Words = std::array<std::uint64_t, count>;

    [[nodiscard]] Words load() noexcept {
        Words words;
        for (std::size_t i = 0; i < count; ++i) {
            words[i] = words_[i].load(std::memory_order_relaxed);
        }
        return words;
    }
    void store(const Words& words, Steps& steps) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            words_[i].store(words[i], std::memory_order_relaxed, steps);
        }
    }

  private:
    std::array<SharedWord, count> words_;
};

/// Takes one word after the other into a check sum. The sum finds damage; it does not withstand
/// forgery.
class Digest {
  public:
    void add(std::uint64_t word) noexcept { value_ = mix(value_ ^ word); }
    [[nodiscard]] std::uint64_t value() const noexcept { return value_; }

  private:
    std::uint64_t value_ = 0;
};

/// The check sum of all words but the last.
template <std::size_t count>
std::uint64_t digestOf(const std::array<std::uint64_t, count>& words) noexcept {
    Digest digest;
    for (std::size_t i = 0; i + 1 < count; ++i) {
        digest.add(words[i]);
    }
    return digest.value();
}

/// A sealed record ends with its own check sum.
template <std::size_t count>
std::array<std::uint64_t, count> sealed(std::array<std::uint64_t, count> words) noexcept {
    words.back() = digestOf(words);
    return words;
}
template <std::size_t count>
bool isSealed(const std::array<std::uint64_t, count>& words) noexcept {
    return words.back() == digestOf(words);
}

} // namespace asic
