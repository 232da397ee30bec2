#pragma once

#include "framework/String.h"
#include "framework/Words.h"
#include "platform/Pello/CorruptionDetectedException.h"

namespace Glimt {

/// Key of a record: 64 bits, rising in the order of allocation.
using EntryKey = Kel::U64;

/// Where a walk stands. A default one starts at the beginning; only the table reads it.
struct IterHint {
    Kel::U64 position = 0;
};

/**
 * A table of fixed-size records that outlives the process that wrote it.
 *
 * Readers see committed records only, each once, in the table's own order. A record that cannot be
 * right stops the walk with `Pello::CorruptionDetectedException`; the reader then reports it with
 * `doCorruptionDetected` and reads no further.
 */
template <class RecordType>
class SharedTable {
  public:
    using Record = RecordType;

    virtual ~SharedTable() = default;

    /// Reads the record at `hint` or the next one after it into `record`, and leaves `hint` there.
    /// False at the end of the table. Throws `Pello::CorruptionDetectedException`.
    virtual bool begin(IterHint& hint, Record& record) const = 0;
    /// The same from the record after the one that `hint` stands on.
    virtual bool advance(IterHint& hint, Record& record) const = 0;
    /// Takes note of a corruption that a walk met.
    virtual void doCorruptionDetected(const Kel::String& message) = 0;
};

/**
 * Calls `visit(record)` for every record of the table. A corruption met while starting or advancing
 * is reported to the table and ends the walk as if the table ended there; what `visit` itself
 * throws passes.
 */
template <class Record, class Visit>
void walk(SharedTable<Record>& table, Visit&& visit) {
    IterHint hint;
    Record record{};
    const auto read = [&](auto step) {
        try {
            return (table.*step)(hint, record);
        } catch (const Pello::CorruptionDetectedException& e) {
            table.doCorruptionDetected(e.msg());
            return false;
        }
    };
    for (bool found = read(&SharedTable<Record>::begin); found;
         found = read(&SharedTable<Record>::advance)) {
        visit(static_cast<const Record&>(record));
    }
}

} // namespace Glimt
