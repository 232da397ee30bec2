#pragma once

struct sqlite3;

namespace LagAgent {

/**
 * Sees to it that SQLite's index of the write-ahead log, the mapped file "-shm", has all its blocks
 * before it is used: from now on until the connection closes, a disk without room for them is
 * SQLITE_FULL of the statement. SQLite itself writes one byte in every 4096, which on a disk with
 * smaller blocks leaves holes; storing into one of them on a full disk is a SIGBUS.
 *
 * REQUIRES: the connection has not been used yet; it is the process's only one to this database,
 * since its end would drop the locks of another. Does nothing for a database in memory. Throws
 * `std::bad_alloc`.
 */
void giveWalIndexRoom(sqlite3* connection);

} // namespace LagAgent
