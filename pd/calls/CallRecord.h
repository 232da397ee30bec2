// PD calls as data: every argument is one or two words, with a shape that tells how to read them.
#pragma once

#include "pd/Operations.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace pd {

using MatchSpec = p4_pd_velmor_switch_lagGroup_match_spec_t;
using ActionSpec = p4_pd_velmor_switch_setLagPort_action_spec_t;

enum class ValueKind : std::uint8_t { number, device, flag, target, matchSpec, actionSpec };
enum class Direction : std::uint8_t { in, out };

struct ArgumentShape {
    ValueKind kind = ValueKind::number;
    Direction direction = Direction::in;

    friend bool operator==(const ArgumentShape&, const ArgumentShape&) = default;
};

constexpr std::size_t wordsOf(ValueKind kind) noexcept {
    return kind == ValueKind::target || kind == ValueKind::matchSpec ? 2 : 1;
}

// ---- The shapes of the operations: told by the types of the C functions, in which only a device
// is an int. A pointer is an output, but for what a change writes to the chip.

template <class T>
inline constexpr ValueKind kKindOf = ValueKind::number;
template <>
inline constexpr ValueKind kKindOf<int> = ValueKind::device;
template <>
inline constexpr ValueKind kKindOf<bool> = ValueKind::flag;
template <>
inline constexpr ValueKind kKindOf<p4_pd_dev_target_t> = ValueKind::target;
template <>
inline constexpr ValueKind kKindOf<MatchSpec> = ValueKind::matchSpec;
template <>
inline constexpr ValueKind kKindOf<ActionSpec> = ValueKind::actionSpec;

template <class T>
constexpr ArgumentShape shapeOf(Kind call) noexcept {
    constexpr ValueKind kind = kKindOf<std::remove_pointer_t<T>>;
    const bool isWritten = kind == ValueKind::matchSpec || kind == ValueKind::actionSpec;
    const bool isInput = !std::is_pointer_v<T> || (call == Kind::change && isWritten);
    return {kind, isInput ? Direction::in : Direction::out};
}

/// The shapes of one operation; those beyond its arguments mean nothing.
using ArgumentShapes = std::array<ArgumentShape, Operation::kMaxArguments>;

template <class... Arguments>
constexpr ArgumentShapes shapesOf(Kind call, pipe_status (*)(Arguments...)) noexcept {
    return {shapeOf<Arguments>(call)...};
}

/// By the number of the operation. That of an operation which is not logged means nothing.
#define PD_SHAPES(function, kind, ...) shapesOf(Kind::kind, &::function),
inline constexpr std::array kShapes{PD_OPERATIONS(PD_SHAPES)};
#undef PD_SHAPES

// ---- Calls

/// The words of one call, in the order of its arguments.
struct ArgumentWords {
    static constexpr std::size_t kMaxWords = 12; // lagGroup_get_entry

    std::array<std::uint32_t, kMaxWords> words{};
    std::uint16_t nulls = 0; // bit i: argument i is a null pointer
};

struct CallRecord {
    std::uint64_t sequence = 0;
    std::size_t operation = 0; // index of the operation, which is logged
    ArgumentWords arguments{}; // outputs only if status is success
    pipe_status status = P4_PD_STATUS_SUCCESS;
};

template <std::integral T>
void put(std::uint32_t* word, T value) noexcept {
    word[0] = static_cast<std::uint32_t>(value);
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

/// Writes arguments into a record one after the other.
class Recorder {
  public:
    explicit Recorder(CallRecord& record) noexcept : record_(record) {}

    template <class T>
    void add(const T& argument) noexcept {
        const auto [kind, direction] = kShapes[record_.operation][arguments_];
        std::uint32_t* const word = record_.arguments.words.data() + words_;
        if constexpr (!std::is_pointer_v<T>)
            put(word, argument);
        else if (!argument)
            record_.arguments.nulls =
                static_cast<std::uint16_t>(record_.arguments.nulls | 1u << arguments_);
        // An output that was not written may be uninitialised, and is not read.
        else if (direction == Direction::in || record_.status == P4_PD_STATUS_SUCCESS)
            put(word, *argument);
        words_ += wordsOf(kind);
        ++arguments_;
    }

  private:
    CallRecord& record_;
    std::size_t words_ = 0;
    std::size_t arguments_ = 0;
};

/// The record of a call that returned the status; it has no sequence number yet.
template <std::size_t operation, class... Arguments>
CallRecord recordOf(pipe_status status, const Arguments&... arguments) noexcept {
    constexpr Kind kind = kOperations[operation].kind;
    static_assert(kind != Kind::tool);
    static_assert(ArgumentShapes{shapeOf<Arguments>(kind)...} == kShapes[operation]);
    static_assert((... + wordsOf(shapeOf<Arguments>(kind).kind)) <= ArgumentWords::kMaxWords);
    CallRecord call{.operation = operation, .status = status};
    Recorder recorder(call);
    (recorder.add(arguments), ...);
    return call;
}

} // namespace pd
