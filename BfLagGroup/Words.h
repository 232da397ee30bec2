#pragma once

#include "framework/Words.h"

namespace BfLagGroup {

using Kel::U16;
using Kel::U32;
using Kel::U8;

} // namespace BfLagGroup
