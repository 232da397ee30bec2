#pragma once

#include <concepts>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "framework/Ptr.h"
#include "framework/Words.h"

/**
 * The hash of the keyed collections: a key and the collection's seed give 32 bits.
 *
 * Collections use the top bits of the hash, so these carry the mixing: sequential ids, strided ids
 * and aligned addresses spread over the top bits as random numbers would.
 *
 * A key of at most 32 bits is hashed by a bijection for each seed: equal hashes mean equal keys.
 * Collections rely on that and then compare hashes only (`kKeyHashIsExact`).
 */
namespace Kel {

/// An opaque id: a distinct type around one 32-bit word.
template <class Key>
concept IdKey = requires(const Key& key) {
    { key.value() } -> std::convertible_to<U32>;
    requires std::same_as<std::remove_cvref_t<decltype(key.value())>, U32>;
};

/// A pointer, plain or counted; such a key is its address, never what lies there.
template <class Key>
concept AddressKey = std::is_pointer_v<Key> || requires(const Key& key) {
    typename Key::element_type;
    requires std::same_as<Key, Ptr<typename Key::element_type>>;
};

/// A key that is one number of at most 64 bits.
template <class Key>
concept WordKey = std::integral<Key> || std::is_enum_v<Key> || IdKey<Key> || AddressKey<Key>;

/// A key that reads as text.
template <class Key>
concept TextKey = !WordKey<Key> && std::convertible_to<const Key&, std::string_view>;

/// The number that a word key is; different keys of one type have different numbers.
template <WordKey Key>
inline U64 keyWord(const Key& key) noexcept {
    if constexpr (std::same_as<Key, bool>) {
        return key;
    } else if constexpr (std::integral<Key>) {
        return static_cast<std::make_unsigned_t<Key>>(key);
    } else if constexpr (std::is_enum_v<Key>) {
        return keyWord(static_cast<std::underlying_type_t<Key>>(key));
    } else if constexpr (IdKey<Key>) {
        return key.value();
    } else if constexpr (std::is_pointer_v<Key>) {
        return reinterpret_cast<std::uintptr_t>(key);
    } else {
        return reinterpret_cast<std::uintptr_t>(key.ptr());
    }
}

/// Whether equal hashes (under one seed) mean equal keys.
template <class Key>
inline constexpr bool kKeyHashIsExact = IdKey<Key> ||
                                        ((std::integral<Key> || std::is_enum_v<Key>)&&sizeof(Key) <=
                                         sizeof(U32));

namespace Impl {

/// Odd factors and shifted xors, each invertible modulo 2^32. The first shift serves keys that
/// differ in their high bits only.
constexpr U32 mixWord32(U32 word, U32 seed) noexcept {
    U32 x = word ^ seed;
    x ^= x >> 16;
    x *= 0x21f0aaadu;
    x ^= x >> 15;
    return x * 0xd35a2d97u;
}

constexpr U32 inverseFactor(U32 odd) noexcept {
    U32 inverse = odd; // right in the low 3 bits; each step doubles them
    for (int bits = 3; bits < 32; bits *= 2) {
        inverse *= 2 - odd * inverse;
    }
    return inverse;
}

constexpr U32 unmixWord32(U32 mixed, U32 seed) noexcept {
    U32 x = mixed * inverseFactor(0xd35a2d97u);
    x ^= x >> 15 ^ x >> 30;
    x *= inverseFactor(0x21f0aaadu);
    x ^= x >> 16;
    return x ^ seed;
}

constexpr U32 mixWord64(U64 word, U32 seed) noexcept {
    U64 x = (word ^ (seed * 0x9e3779b97f4a7c15ull)) * 0xd6e8feb86659fd93ull;
    x ^= x >> 32;
    x *= 0xd6e8feb86659fd93ull;
    return static_cast<U32>(x >> 32);
}

inline U32 mixText(std::string_view text, U32 seed) noexcept {
    U64 state = text.size();
    while (!text.empty()) {
        U64 chunk = 0;
        const std::size_t taken = text.size() < sizeof chunk ? text.size() : sizeof chunk;
        std::memcpy(&chunk, text.data(), taken);
        state = (state ^ chunk) * 0x9e3779b97f4a7c15ull;
        state ^= state >> 29;
        text.remove_prefix(taken);
    }
    return mixWord64(state, seed);
}

} // namespace Impl

/// The hash of `key` in a collection of the given seed.
template <class Key>
requires WordKey<Key> || TextKey<Key>
inline U32 keyHash(const Key& key, U32 seed) noexcept {
    if constexpr (kKeyHashIsExact<Key>) {
        return Impl::mixWord32(static_cast<U32>(keyWord(key)), seed);
    } else if constexpr (WordKey<Key>) {
        return Impl::mixWord64(keyWord(key), seed);
    } else {
        return Impl::mixText(key, seed);
    }
}

/// The key of this hash: undoes `keyHash` for the keys of which equal hashes mean equal keys.
/// REQUIRES: `hash` is the hash of some key.
template <class Key>
requires kKeyHashIsExact<Key>
inline Key keyOfHash(U32 hash, U32 seed) noexcept {
    const U32 word = Impl::unmixWord32(hash, seed);
    if constexpr (IdKey<Key>) {
        return Key(word);
    } else {
        return static_cast<Key>(word);
    }
}

/// A key with its hash, for a caller that asks collections of one seed several times for one key.
template <class Key, U32 Seed>
class KeyAndRhashNoSeedArg {
  public:
    explicit KeyAndRhashNoSeedArg(const Key& key) : key_(key), rhash_(keyHash(key, Seed)) {}

    const Key& key() const noexcept { return key_; }
    U32 keyRhash() const noexcept { return rhash_; }
    /// The same out of line, computed anew from the key.
    [[gnu::noinline]] U32 keyRhashNonInline() const noexcept { return keyHash(key_, Seed); }

  private:
    Key key_;
    U32 rhash_;
};

} // namespace Kel
