#include "agent/state/Records.h"

namespace LagAgent {

namespace {

using MbbGlimtKey::SharedKeyManager;

/// Like the driver's walk, but nothing is reported: looking changes nothing.
template <class Table, class Visit>
void forEachRecord(const Table& table, std::vector<std::string>& corruptions, Visit&& visit) {
    if (table.file().corruptions() != 0) {
        corruptions.emplace_back(table.file().latestCorruption().charPtr());
    }
    Glimt::IterHint hint;
    typename Table::Record record{};
    try {
        for (bool found = table.begin(hint, record); found; found = table.advance(hint, record)) {
            visit(record);
        }
    } catch (const Pello::CorruptionDetectedException& e) {
        if (table.file().corruptions() == 0) {
            corruptions.emplace_back(e.msg().charPtr());
        }
    }
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
    forEachRecord(*keys.mbbGlimtTableConfig(), records.corruptions, [&](const auto& record) {
        records.entries.push_back({record.entryKey, nameIn(record), record.sdkEntryHandle.value()});
    });
    forEachRecord(*keys.adtGlimtTableConfig(), records.corruptions, [&](const auto& record) {
        records.members.emplace(keys.anonId(record.entryKey), record.sdkMemberHandle.value());
    });
    forEachRecord(*keys.selGrpGlimtTableConfig(), records.corruptions, [&](const auto& record) {
        records.groups.emplace(keys.anonId(record.entryKey), record.sdkGroupHandle.value());
    });
    records.reservations = keys.reservations();
    return records;
}

} // namespace LagAgent
