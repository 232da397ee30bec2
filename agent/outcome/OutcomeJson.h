#pragma once

#include <string>
#include <vector>

#include "agent/outcome/Errors.h"
#include "agent/outcome/JsonPieces.h"
#include "agent/outcome/PdCallRecord.h"

namespace LagAgent {

/// Errors and PD calls as JSON, the same for tools and between daemon and client.
Json toJson(const Error& error);
void addCalls(std::vector<PdCallRecord> calls, ObjectPieces& object);

/// A document on one line; bytes that are not UTF-8 are replaced.
std::string toLine(const Json& document);

} // namespace LagAgent
