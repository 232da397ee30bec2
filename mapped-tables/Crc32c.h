#pragma once

#include <cstddef>
#include <span>

#include "framework/Export.h"
#include "framework/Words.h"

namespace Glimt {

/**
 * CRC-32C (Castagnoli) of the bytes. It finds every damage of up to three bits, and every burst of
 * up to 32 bits, in anything as short as a record. `before` is the sum of what goes before:
 * `crc32c(b, crc32c(a))` is the sum of `a` followed by `b`.
 */
Kel::U32 crc32c(std::span<const std::byte> bytes, Kel::U32 before = 0) noexcept;

} // namespace Glimt
