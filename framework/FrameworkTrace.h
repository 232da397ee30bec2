#pragma once

#include <string_view>

#include "framework/Words.h"

namespace Kel {

/// One trace line of the framework's own facility, "Kel".
void trace(U8 level, std::string_view text, std::string_view detail);

} // namespace Kel
