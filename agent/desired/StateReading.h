#pragma once

#include "agent/desired/Sqlite.h"
#include "agent/terms/DesiredState.h"

namespace LagAgent {

/// Reads the desired state from a database with the agent's schema. Believes nothing: a number out
/// of range, an unknown action, a reference to nothing, a group without members, with too
/// many or with one of another action is `CommandError` (storage) that says which object is wrong
/// and how; so is a damaged file, or one whose content is not what was committed. REQUIRES: the
/// connection has `giveContentDigest`.
DesiredState readDesiredState(const SqliteConnection& database);

} // namespace LagAgent
