#pragma once

#include "BfLagGroup/LagGroupActionProfile.h"
#include "BfLagGroup/LagGroupTable.h"

/**
 * The library's two entry points, in the order in which an agent calls them. They have C linkage,
 * so that `dlsym` finds them by these names.
 *
 *     auto table = lagGroupTableFactory(keys, status, pdLibHandle, session, 0, 0xFFFF, "libpd.so");
 *     auto profile = lagGroupActionProfileFactory(table);
 */
extern "C" {

/**
 * Makes the match table and rebuilds its entry handles from what a previous run left behind.
 *
 * `glimtKeyManager` and `statusManager` may be null. `dlHandle` is the open PD library, or null for
 * the process's own symbols; the caller keeps it open. `devPipeId` is a pipe, or 0xFFFF for all.
 *
 * A restored entry's match is a new object, handed to the key manager's `populate`; null when the
 * chip no longer knows the entry.
 *
 * The one write to the chip sets the table's entry scope; when the chip refuses it, the exception
 * (namespace `BfTable`) leaves the factory and there is no table. REQUIRES: `pdLibPath` is not
 * empty; a key manager has its table of match entries.
 */
KEL_EXPORT BfLagGroup::LagGroupTable::Ptr
lagGroupTableFactory(MbbGlimtKey::GlimtKeyManager::Ptr glimtKeyManager,
                     RuxTableStatusManager::StatusManager::Ptr statusManager, Kel::VoidPtr dlHandle,
                     Kel::U32 sessionId, Kel::U8 deviceId, Kel::U16 devPipeId, Kel::Name pdLibPath);

/**
 * Makes the action profile model over the table's hardware, with the state machine that mirrors it,
 * and restores the member and group handles of a previous run. The state machine lives for the rest
 * of the process. REQUIRES: `matTable` is not null; its key manager, if any, has both its tables.
 */
KEL_EXPORT BfLagGroup::LagGroupActionProfile::Ptr
lagGroupActionProfileFactory(BfLagGroup::LagGroupTable::Ptr matTable);
}
