#pragma once

#include <string>
#include <vector>

#include "agent/outcome/Errors.h"
#include "agent/outcome/PdCallRecord.h"
#include "agent/outcome/Reply.h"

namespace LagAgent {

/// Errors and PD calls as JSON, the same for tools and between daemon and client.
Json toJson(const Error& error);
void addCalls(std::vector<PdCallRecord> calls, ObjectPieces& object);

/// Throws `CommandError` (connection): what came over the socket is not what should.
[[noreturn]] void makesNoSense(const std::string& message);

/// The way back; the calls are numbered from 0. What is not as above throws `CommandError`
/// (connection).
Error errorOf(const Json& json);
std::vector<PdCallRecord> callsOf(const Json& json);

/// The member of that name. Throws `CommandError` (connection) when `json` is no object, or has no
/// such member of that type.
std::string textOf(const Json& json, const char* name);
std::uint32_t numberOf(const Json& json, const char* name);

/// A document on one line; bytes that are not UTF-8 are replaced.
std::string toLine(const Json& document);

} // namespace LagAgent
