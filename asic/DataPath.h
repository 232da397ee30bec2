// The way of a packet through a chip. Reads the chip, never changes it.
#pragma once

#include <cstdint>
#include <optional>

#include "asic/Chip.h"
#include "asic/SoftwareAsic.h"

namespace asic {

/// What becomes of a packet in the pipe; nothing if the chip has no such pipe for packets. See
/// velmor_asic_forward.
[[nodiscard]] std::optional<velmor_asic_result_t> forward(const Chip& chip, std::uint16_t pipe,
                                                          std::uint32_t metadata,
                                                          std::uint32_t flowHash) noexcept;

} // namespace asic
