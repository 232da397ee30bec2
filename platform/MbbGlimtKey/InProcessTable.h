#pragma once

#include <map>
#include <optional>

#include "platform/Glimt/SharedTable.h"

namespace MbbGlimtKey {

/// A shared table kept in the process's own memory: what the driver sees is the same, what is lost
/// with the process is everything. Records are walked in the order of their keys.
template <class RecordType>
class InProcessTable : public Glimt::SharedTable<RecordType> {
  public:
    using Record = RecordType;

    /// Stores a record under its key, or replaces the one under that key.
    void recordIs(const Record& record) { records_.insert_or_assign(record.entryKey, record); }
    void recordDel(Glimt::EntryKey key) { records_.erase(key); }
    std::size_t size() const noexcept { return records_.size(); }

    /// From now on the walk finds the record of this key corrupt.
    void corruptAt(Glimt::EntryKey key, Kel::String reason) {
        corruptKey_ = key;
        corruptReason_ = std::move(reason);
    }
    /// How many corruptions were reported, and the latest report.
    Kel::U32 corruptions() const noexcept { return corruptions_; }
    const Kel::String& latestCorruption() const noexcept { return latestCorruption_; }

    bool begin(Glimt::IterHint& hint, Record& record) const override {
        return read(records_.lower_bound(hint.position), hint, record);
    }
    bool advance(Glimt::IterHint& hint, Record& record) const override {
        return read(records_.upper_bound(hint.position), hint, record);
    }
    void doCorruptionDetected(const Kel::String& message) override {
        ++corruptions_;
        latestCorruption_ = message;
    }

  private:
    using Records = std::map<Glimt::EntryKey, Record>;

    bool read(typename Records::const_iterator at, Glimt::IterHint& hint, Record& record) const {
        if (at == records_.end()) {
            return false;
        }
        if (corruptKey_ == at->first) {
            throw Pello::CorruptionDetectedException(corruptReason_);
        }
        hint.position = at->first;
        record = at->second;
        return true;
    }

    Records records_;
    std::optional<Glimt::EntryKey> corruptKey_;
    Kel::String corruptReason_;
    Kel::U32 corruptions_ = 0;
    Kel::String latestCorruption_;
};

} // namespace MbbGlimtKey
