#pragma once

#include <memory>

#include "mapped-tables/SlotTable.h"
#include "posix/FileMapping.h"
#include "posix/StateDirectory.h"

namespace Glimt {

/**
 * A table in a file of the state directory, named as the table is.
 *
 * Opening one ends warm, with the records of the file, or cold, with a fresh empty table and the
 * reason why: there was no file, it was another table (layout, capacity, device or boot of the
 * chip, desired state) or an old copy, it was damaged or marked corrupt. A damaged file is moved
 * aside for examination. Throws `Posix::StateException` when the file is not this user's own and
 * private, which leaves it as it is, or when a fresh one cannot be made, which leaves the old one
 * in its place unless it was damaged.
 */
class TableFile {
  public:
    TableFile(std::shared_ptr<const Posix::StateDirectory> directory,
              const TableDescription& description, SlotTable::BeforeStore beforeStore);

    /// Whether a file of this name and kind holds a record, as far as can be told without opening
    /// the table: nothing is changed. The description's capacity and context do not matter. A
    /// file that cannot be read as such a table, or was found corrupt, may hold one; reservations
    /// are none. Throws as opening does.
    static bool mayHoldRecords(const Posix::StateDirectory& directory,
                               TableDescription description);

    /// What the file of this name says that it belongs to; none where there is no such table with a
    /// sound header. As little is changed, and the same is thrown.
    static std::optional<TableContext> contextOf(const Posix::StateDirectory& directory,
                                                 const TableDescription& description);

    /// Why the table started empty; empty itself when the table started with what the file held.
    const std::string& coldReason() const noexcept { return coldReason_; }
    bool isWarm() const noexcept { return coldReason_.empty(); }
    /// There was no file, as when an agent starts for the first time.
    bool isNew() const noexcept { return isNew_; }

    SlotTable& slots() noexcept { return *slots_; }
    const SlotTable& slots() const noexcept { return *slots_; }

    /// Counts a corruption. The first one of a run also leaves a copy of the file beside it and
    /// marks the table, which the next run then does not believe. Never throws for want of room.
    void corruptionDetected(const std::string& message);
    Kel::U32 corruptions() const noexcept { return corruptions_; }
    const std::string& latestCorruption() const noexcept { return latestCorruption_; }
    /// Name of the file that keeps what was damaged; empty: there is none.
    const std::string& damagedCopy() const noexcept { return damagedCopy_; }

  private:
    std::optional<Posix::FileMapping> openWarm(const TableDescription& description);
    Posix::FileMapping createCold(const TableDescription& description) const;
    void refuse(const std::string& name, const SlotFormat::Refusal& refusal);

    std::shared_ptr<const Posix::StateDirectory> directory_;
    bool isNew_ = false;
    std::string coldReason_;
    std::string damagedCopy_;
    std::optional<Posix::FileMapping> mapping_;
    std::optional<SlotTable> slots_;
    Kel::U32 corruptions_ = 0;
    std::string latestCorruption_;
};

} // namespace Glimt
