#pragma once

#include <cstdint>

/// Fixed-width words and the opaque pointer, under the names that attribute tables use.
namespace Kel {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;

/// Number of an attribute within its class. Plain values count from 2, counted objects from 130,
/// entities from 258.
using AttributeId = U32;

/// An opaque pointer handed through the system untouched, such as a library handle of `dlopen`.
class VoidPtr {
  public:
    constexpr VoidPtr(void* pointer = nullptr) noexcept : pointer_(pointer) {}
    constexpr operator void*() const noexcept { return pointer_; }

  private:
    void* pointer_;
};

} // namespace Kel
