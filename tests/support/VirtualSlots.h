#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Looks at virtual tables as the Itanium C++ ABI lays them out, which is the ABI of this platform.
namespace virtual_slots {

inline constexpr std::size_t kNotVirtual = SIZE_MAX;

/// The slot through which a call by this member pointer goes.
template <class MemberFunction>
std::size_t slotOf(MemberFunction function) {
    struct Representation {
        std::uintptr_t pointer; // 1 + the offset in the table; even for a function that is not
        std::ptrdiff_t adjustment;
    };
    const auto representation = std::bit_cast<Representation>(function);
    return representation.pointer % 2 == 1 ? representation.pointer / sizeof(void*) : kNotVirtual;
}

/// The address that stands in a slot of the object's table.
template <class Object>
void* entry(const Object& object, std::size_t slot) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof(table));
    return table[slot];
}

/// Calls the operation in the slot: `callSlot<Result>(object, slot, arguments...)`.
template <class Result, class Object, class... Arguments>
Result callSlot(Object& object, std::size_t slot, Arguments... arguments) {
    using Function = Result (*)(Object*, Arguments...);
    return reinterpret_cast<Function>(entry(object, slot))(&object, arguments...);
}

} // namespace virtual_slots
