#pragma once

#include <nlohmann/json.hpp>

namespace asic_tool {

/// Keys stay in the order in which they are written.
using Json = nlohmann::ordered_json;

} // namespace asic_tool
