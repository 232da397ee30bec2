#pragma once

#include "platform/Glimt/SharedTable.h"
#include "platform/RuxTable/RuxTable.h"

namespace RuxMbbShared {

/// Record of one action-profile member: its anonymous key and the chip SDK's handle.
struct AdtEntryConfig {
    Glimt::EntryKey entryKey = 0;
    RuxTable::RuxSdkMemberHandle sdkMemberHandle{};

    friend bool operator==(const AdtEntryConfig&, const AdtEntryConfig&) = default;
};

/// Record of one selector group: its anonymous key and the chip SDK's handle.
struct SelGrpEntryConfig {
    Glimt::EntryKey entryKey = 0;
    RuxTable::RuxSdkGroupHandle sdkGroupHandle{};

    friend bool operator==(const SelGrpEntryConfig&, const SelGrpEntryConfig&) = default;
};

} // namespace RuxMbbShared
