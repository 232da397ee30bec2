#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/ChipState.h"
#include "platform/MbbGlimtKey/SharedKeyManager.h"

namespace LagAgent {

/// What the shared tables say, as far as they can be read.
struct Records {
    struct Entry {
        Glimt::EntryKey key = 0;
        EntryName name{};
        ChipHandle handle = 0;

        friend bool operator==(const Entry&, const Entry&) = default;
    };

    std::vector<Entry> entries{};
    /// Handles by id.
    std::map<std::uint32_t, ChipHandle> members{};
    std::map<std::uint32_t, ChipHandle> groups{};
    std::vector<MbbGlimtKey::SharedKeyManager::Reservation> reservations{};
    /// One line for each table that a damaged record, or one earlier in this run, cuts short.
    std::vector<std::string> corruptions{};
};

/// Reads the tables; reports no corruption to them.
Records readRecords(MbbGlimtKey::SharedKeyManager& keys);

} // namespace LagAgent
