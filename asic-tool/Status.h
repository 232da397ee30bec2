#pragma once

#include <stdexcept>
#include <string>

#include "pd/p4_pd_velmor_switch.h"

namespace asic_tool {

/// Throws `std::runtime_error` with what went wrong and the status, unless that is success.
inline void require(pipe_status status, const char* otherwise) {
    if (status != P4_PD_STATUS_SUCCESS) {
        throw std::runtime_error(std::string(otherwise) + ": status " + std::to_string(status));
    }
}

inline constexpr const char* kCannotBeRead = "the chip cannot be read";

/// Whether a read found something. Nothing is there only when the status says `none`; any other
/// failure leaves that open, and throws like `require`.
inline bool isFound(pipe_status status, pipe_status none = P4_PD_STATUS_OBJ_NOT_FOUND) {
    if (status != none) {
        require(status, kCannotBeRead);
    }
    return status == P4_PD_STATUS_SUCCESS;
}

} // namespace asic_tool
