#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/terms/ChipState.h"
#include "mapped-tables/SharedKeyManager.h"

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
    /// One line for each table that has a damaged record, or had one earlier in this run.
    std::vector<std::string> corruptions{};
};

/// Reads every record that is not damaged, also those behind a damaged one. Reports no corruption
/// to the tables: looking changes nothing.
Records readRecords(MbbGlimtKey::SharedKeyManager& keys);

} // namespace LagAgent
