// A chip's whole forwarding state as text, read through the read-back calls of the PD API.
#pragma once

#include <string>

namespace pd_test {

std::string snapshot(int device = 0);

} // namespace pd_test
