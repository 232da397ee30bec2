#pragma once

#include "platform/Glimt/SharedTable.h"
#include "platform/RuxTable/RuxTable.h"

namespace Glimt::MbbVantof {

/**
 * Record of one match entry: its make-before-break key and the chip SDK's handle, and the match by
 * which an agent finds its entry again. The driver itself reads key and handle only.
 */
struct EntryConfig {
    EntryKey entryKey = 0;
    RuxTable::RuxSdkEntryHandle sdkEntryHandle{};
    Kel::U32 value = 0;
    Kel::U32 mask = 0;
    Kel::U32 priority = 0;
    /// The table's default entry, whose match means nothing.
    bool isDefault = false;

    friend bool operator==(const EntryConfig&, const EntryConfig&) = default;
};

} // namespace Glimt::MbbVantof
