#pragma once

#include "framework/AllocTrack.h"
#include "framework/PtrInterface.h"
#include "platform/Glimt/MbbVantof.h"
#include "platform/RuxMbbShared/RuxMbbShared.h"
#include "platform/RuxTable/RuxTable.h"

namespace MbbGlimtKey {

/**
 * Hands out the keys under which hardware objects are known across restarts of the agent, and owns
 * the shared tables in which a previous run left its records (make-before-break).
 *
 * The driver calls it as follows, always on the notification thread:
 *
 * - before a match entry is added or the default entry is set: `alloc(match, false)`;
 * - before a member or a selector group is created: `allocAnon(id)`;
 * - at start-up, for every record of `mbbGlimtTableConfig()`: `populate(key, match)`, and after the
 *   walk, when there was a key, `latestKeyIs(largest)`;
 * - at start-up, for every record of the other two tables: `anonId(key)`.
 *
 * A key is never given back by the driver, also when the hardware refuses the object.
 */
class KEL_EXPORT GlimtKeyManager : public Kel::PtrInterface {
  public:
    using Ptr = Kel::Ptr<GlimtKeyManager>;
    using PtrConst = Kel::Ptr<GlimtKeyManager const>;
    using EntryTable = Glimt::SharedTable<Glimt::MbbVantof::EntryConfig>;
    using MemberTable = Glimt::SharedTable<RuxMbbShared::AdtEntryConfig>;
    using GroupTable = Glimt::SharedTable<RuxMbbShared::SelGrpEntryConfig>;

    /// Reserves a key for the match entry. `temporary` marks a key that lives only while an entry
    /// is being replaced; the driver passes false.
    virtual Glimt::EntryKey alloc(const RuxTable::MatchSpecBase::PtrConst& match,
                                  bool temporary) = 0;
    /// Reserves a key for an object that has a number instead of a match key.
    virtual Glimt::EntryKey allocAnon(Kel::U32 id) = 0;
    /// The number for which `allocAnon` gave the key, in this run or an earlier one.
    virtual Kel::U32 anonId(Glimt::EntryKey key) const = 0;
    /// Enters a key that an earlier run reserved. A null match marks the record stale: the chip no
    /// longer knows its entry.
    virtual void populate(Glimt::EntryKey key, const RuxTable::MatchSpecBase::PtrConst& match) = 0;
    /// The largest key in use; the next key is larger.
    virtual void latestKeyIs(Glimt::EntryKey key) = 0;

    /// The records of match entries, members and selector groups. None may be null when the driver
    /// starts.
    virtual EntryTable* mbbGlimtTableConfig() = 0;
    virtual MemberTable* adtGlimtTableConfig() = 0;
    virtual GroupTable* selGrpGlimtTableConfig() = 0;

    static const Kel::Type fwkType_;

  protected:
    GlimtKeyManager() = default;
};

} // namespace MbbGlimtKey
