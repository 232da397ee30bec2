#pragma once

#include <string>
#include <vector>

#include "agent/outcome/Errors.h"
#include "agent/outcome/JsonPieces.h"
#include "agent/outcome/Listing.h"
#include "agent/outcome/PdCallRecord.h"

// Reading JSON that came over the socket. Nothing in it is believed: what is not as it should be
// throws `CommandError` (connection).

namespace LagAgent {

[[noreturn]] void makesNoSense(const std::string& message);

/// The member of that name. `json` need not be an object.
std::string textOf(const Json& json, const char* name);
std::uint32_t numberOf(const Json& json, const char* name);
const Json& arrayOf(const Json& json, const char* name);
std::vector<std::string> wordsOf(const Json& json, const char* name);

/// The numbers of an array.
Ids idsIn(const Json& array);

/// As `toJson` made it.
Error errorOf(const Json& json);
/// As `addCalls` made them, in the member 'calls'; they are numbered from 0.
std::vector<PdCallRecord> callsOf(const Json& json);

} // namespace LagAgent
