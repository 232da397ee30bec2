// A chip's whole forwarding state as text, read through the read-back calls of the PD API.
#pragma once

#include <string>

namespace asic_test {

std::string snapshot(int device = 0);

} // namespace asic_test
