// The arguments of PD operations as the boundary sees them, and as the call log keeps them.
#pragma once

#include "pd/Operations.h"
#include "pd/p4_pd_velmor_switch.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace asic {

// What the C types do not tell: which number is the session, which the device, and which way a
// pointer is meant.

struct Session {
    p4_pd_sess_hdl_t handle;
};

struct Device {
    int id;
};

template <class T>
struct In {
    const T* value;
};

template <class T>
struct Out {
    T* value;
};

template <class T>
In(T*) -> In<T>;

using MatchSpec = p4_pd_velmor_switch_lagGroup_match_spec_t;
using ActionSpec = p4_pd_velmor_switch_setLagPort_action_spec_t;

// ---- Logged form: every argument is one or two words, with a shape that tells how to read them.

enum class ValueKind : std::uint8_t { number, device, flag, target, matchSpec, actionSpec };
enum class Direction : std::uint8_t { in, out };

struct ArgumentShape {
    ValueKind kind = ValueKind::number;
    Direction direction = Direction::in;
};

/// The shapes of one call; those beyond its arguments mean nothing.
using ArgumentShapes = std::array<ArgumentShape, pd::Operation::kMaxArguments>;

constexpr std::size_t wordsOf(ValueKind kind) noexcept {
    return kind == ValueKind::target || kind == ValueKind::matchSpec ? 2 : 1;
}

/// The words of one call, in the order of its arguments.
struct ArgumentWords {
    static constexpr std::size_t kMaxWords = 12; // lagGroup_get_entry

    std::array<std::uint32_t, kMaxWords> words{};
    std::uint16_t nulls = 0; // bit i: argument i is a null pointer
};

constexpr ValueKind kindOf(const std::uint32_t&) {
    return ValueKind::number;
}
constexpr ValueKind kindOf(const std::uint16_t&) {
    return ValueKind::number;
}
constexpr ValueKind kindOf(const bool&) {
    return ValueKind::flag;
}
constexpr ValueKind kindOf(const Session&) {
    return ValueKind::number;
}
constexpr ValueKind kindOf(const Device&) {
    return ValueKind::device;
}
constexpr ValueKind kindOf(const p4_pd_dev_target_t&) {
    return ValueKind::target;
}
constexpr ValueKind kindOf(const MatchSpec&) {
    return ValueKind::matchSpec;
}
constexpr ValueKind kindOf(const ActionSpec&) {
    return ValueKind::actionSpec;
}

inline void put(std::uint32_t* word, std::uint32_t value) noexcept {
    word[0] = value;
}
inline void put(std::uint32_t* word, const Session& session) noexcept {
    word[0] = session.handle;
}
inline void put(std::uint32_t* word, const Device& device) noexcept {
    word[0] = static_cast<std::uint32_t>(device.id);
}
inline void put(std::uint32_t* word, const p4_pd_dev_target_t& target) noexcept {
    word[0] = static_cast<std::uint32_t>(target.device_id);
    word[1] = target.dev_pipe_id;
}
inline void put(std::uint32_t* word, const MatchSpec& spec) noexcept {
    word[0] = spec.egrMd_egrL2AintfUnresolved;
    word[1] = spec.egrMd_egrL2AintfUnresolved_mask;
}
inline void put(std::uint32_t* word, const ActionSpec& spec) noexcept {
    word[0] = spec.action_egrL2AintfPort;
}

} // namespace asic
