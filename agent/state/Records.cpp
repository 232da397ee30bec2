#include "agent/state/Records.h"

#include <algorithm>

namespace LagAgent {

namespace {

using MbbGlimtKey::SharedKeyManager;

/// Like the driver's walk, but nothing is reported: looking changes nothing.
template <class Table>
auto walked(const Table& table, std::vector<std::string>& corruptions) {
    std::vector<typename Table::Record> records;
    if (table.file().corruptions() != 0) {
        corruptions.emplace_back(table.file().latestCorruption().charPtr());
    }
    Glimt::IterHint hint;
    typename Table::Record record{};
    try {
        for (bool found = table.begin(hint, record); found; found = table.advance(hint, record)) {
            records.push_back(record);
        }
    } catch (const Pello::CorruptionDetectedException& e) {
        if (table.file().corruptions() == 0) {
            corruptions.emplace_back(e.msg().charPtr());
        }
    }
    return records;
}

/// What a walk does not reach is found by its key.
template <class Table>
auto inForce(const Table& table, std::vector<std::string>& corruptions) {
    const std::size_t before = corruptions.size();
    auto records = walked(table, corruptions);
    if (corruptions.size() != before) {
        records.clear();
        auto keys = table.slots().keys();
        std::ranges::sort(keys);
        for (const Glimt::EntryKey key : keys) {
            if (const auto record = table.record(key)) {
                records.push_back(*record);
            }
        }
    }
    return records;
}

EntryName nameIn(const Glimt::MbbVantof::EntryConfig& record) {
    if (record.isDefault) {
        return std::nullopt;
    }
    return MatchKey{record.value, record.mask, record.priority};
}

/// `recordsOf(table, corruptions)` reads one table.
template <class RecordsOf>
Records read(SharedKeyManager& keys, RecordsOf recordsOf) {
    Records records;
    auto& corruptions = records.corruptions;
    for (const auto& record : recordsOf(*keys.mbbGlimtTableConfig(), corruptions)) {
        records.entries.push_back({record.entryKey, nameIn(record), record.sdkEntryHandle.value()});
    }
    for (const auto& record : recordsOf(*keys.adtGlimtTableConfig(), corruptions)) {
        records.members.emplace(keys.anonId(record.entryKey), record.sdkMemberHandle.value());
    }
    for (const auto& record : recordsOf(*keys.selGrpGlimtTableConfig(), corruptions)) {
        records.groups.emplace(keys.anonId(record.entryKey), record.sdkGroupHandle.value());
    }
    records.reservations = keys.reservations();
    return records;
}

} // namespace

Records readRecords(SharedKeyManager& keys) {
    return read(keys,
                [](const auto& table, auto& corruptions) { return walked(table, corruptions); });
}

Records readAllRecords(SharedKeyManager& keys) {
    return read(keys,
                [](const auto& table, auto& corruptions) { return inForce(table, corruptions); });
}

} // namespace LagAgent
