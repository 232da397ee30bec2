#pragma once

#include "agent/desired/StateSchema.h"

namespace LagAgent {

/**
 * The file "mending" of a state directory. It says that the chip is to be brought to one content of
 * the database, whatever has to be removed for that: a restore leaves it for the start that
 * follows, and a start that was allowed to remove much for its successor, should it be cut short.
 * It holds for that content alone, and goes when the chip is as desired.
 */

/// Throws `Pello::StateException`.
void noteMending(const Pello::StateDirectory& directory, const History& history);
/// The same.
bool isMendingNoted(const Pello::StateDirectory& directory, const History& history);
/// One that stays says the same of the same content.
void dropMendingNote(const Pello::StateDirectory& directory) noexcept;

} // namespace LagAgent
