#pragma once

#include "agent/outcome/Reply.h"

// What a command has to say, as it goes over the socket: each value once, of which the client makes
// text or JSON.

namespace LagAgent {

/// The parts as an array. A row is a piece.
Pieces partsOf(const Reply& reply);

/// The way back, from an answer that has them as 'parts'. What are no such parts throws
/// `CommandError` (connection).
Reply replyOf(const Json& answer);

} // namespace LagAgent
