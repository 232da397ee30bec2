#pragma once

#include "platform/Glimt/SharedTable.h"
#include "platform/RuxTable/RuxTable.h"

namespace Glimt::MbbVantof {

/// Record of one match entry: its make-before-break key and the chip SDK's handle.
struct EntryConfig {
    EntryKey entryKey = 0;
    RuxTable::RuxSdkEntryHandle sdkEntryHandle;
};

} // namespace Glimt::MbbVantof
