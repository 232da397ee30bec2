#include "agent/restart/Records.h"

#include <algorithm>

namespace LagAgent {

namespace {

using MbbGlimtKey::SharedKeyManager;

/// A walk ends at the first damaged record; what it does not reach is found by its key.
template <class Table>
auto recordsOf(const Table& table, std::vector<std::string>& corruptions) {
    std::vector<typename Table::Record> records;
    records.reserve(table.slots().records());
    const auto& file = table.file();
    std::string corruption = file.corruptions() == 0 ? "" : file.latestCorruption();
    try {
        Glimt::IterHint hint;
        typename Table::Record record{};
        for (bool found = table.begin(hint, record); found; found = table.advance(hint, record)) {
            records.push_back(record);
        }
    } catch (const Pello::CorruptionDetectedException& e) {
        corruption = corruption.empty() ? e.msg().charPtr() : corruption;
        records.clear();
        auto keys = table.slots().keys();
        std::ranges::sort(keys);
        for (const Glimt::EntryKey key : keys) {
            if (const auto record = table.record(key)) {
                records.push_back(*record);
            }
        }
    }
    if (!corruption.empty()) {
        corruptions.push_back(std::move(corruption));
    }
    return records;
}

EntryName nameIn(const Glimt::MbbVantof::EntryConfig& record) {
    if (record.isDefault) {
        return std::nullopt;
    }
    return MatchKey{record.value, record.mask, record.priority};
}

} // namespace

Records readRecords(SharedKeyManager& keys) {
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

} // namespace LagAgent
