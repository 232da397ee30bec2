#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agent/desired/Sqlite.h"

namespace LagAgent {

/**
 * A digest of all rows of a desired state. Triggers keep it in the table history, in the
 * transaction that changes the rows. A database's pages have no checksums: this tells a flipped
 * bit, a file that was cut short, or an old file beside a newer log from what was committed.
 */

/// Gives a connection the SQL function that the triggers use. Without it nothing can be written.
void giveContentDigest(const SqliteConnection& database);

/// The statements that make the triggers.
std::vector<std::string> digestTriggers();

/// The digest of the rows that are there.
std::int64_t contentDigest(const SqliteConnection& database);

} // namespace LagAgent
