#pragma once

#include <map>
#include <unordered_map>

#include "framework/AllocTrack.h"
#include "mapped-tables/MappedTable.h"
#include "platform/MbbGlimtKey/GlimtKeyManager.h"

namespace MbbGlimtKey {

/**
 * The key manager whose tables are files of a state directory, "entries", "members" and "groups",
 * and so are there after a restart.
 *
 * A key is a serial number in the upper 32 bits, which rises over all kinds of objects and all
 * runs, and the id in the lower 32 bits (0 for a match entry). When the serial numbers are used up,
 * `alloc` and `allocAnon` throw.
 *
 * `alloc` and `allocAnon` leave a reservation in a table: the key is known, a handle is not yet,
 * and no walk shows it. Storing the object's handle turns it into a record. The one that is left
 * when the agent dies in between tells that the chip may have an object without a record.
 * Anonymous ones stand in the member table, also those of groups, since `allocAnon` is not told
 * which. A newer reservation for the same match or id replaces the older.
 *
 * Whatever follows the driver's handles stores and drops them, with the operations under "Records".
 * These are idempotent: storing what is stored already writes nothing. A handle belongs to one
 * record: storing it for another object drops the record that had it, since the chip has given the
 * handle out again.
 *
 * What cannot be stored throws `Posix::StateException`. One thread.
 */
class SharedKeyManager : public Kel::Object<SharedKeyManager, GlimtKeyManager> {
  public:
    using EntryConfig = Glimt::MbbVantof::EntryConfig;
    using Match = RuxTable::MatchSpecBase::PtrConst;
    using Entries = Glimt::MappedTable<EntryConfig>;
    using Members = Glimt::MappedTable<RuxMbbShared::AdtEntryConfig>;
    using Groups = Glimt::MappedTable<RuxMbbShared::SelGrpEntryConfig>;

    struct Options {
        /// Largest numbers of records; no less than the chip's tables have, so that it is the chip
        /// that refuses first.
        Kel::U32 entries = 0;
        Kel::U32 members = 0;
        Kel::U32 groups = 0;
        /// Its device is whatever tells apart the chips, or parts of one, whose handles must not be
        /// mixed up.
        Glimt::TableContext context{};
        /// Called before every store to a table.
        Glimt::SlotTable::BeforeStore beforeStore = {};
    };

    /// Opens the three tables, each warm or cold as its `file()` says. Throws
    /// `Posix::StateException`.
    SharedKeyManager(std::shared_ptr<const Posix::StateDirectory> directory,
                     const Options& options);

    /// Whether one of the tables in a directory may hold a record, whatever chip it is of; see
    /// `Glimt::TableFile`. REQUIRES: no manager has them open.
    static bool mayHoldRecords(const Posix::StateDirectory& directory);
    /// Whether all tables were told of this commit, and of none since.
    bool isAtCommit(Kel::U64 commit) const noexcept;
    /// The latest commit of a desired state that a table in a directory was told of; 0: none.
    static Kel::U64 latestCommit(const Posix::StateDirectory& directory, Kel::U64 state);

    Glimt::EntryKey alloc(const Match& match, bool temporary) override;
    Glimt::EntryKey allocAnon(Kel::U32 id) override;
    Kel::U32 anonId(Glimt::EntryKey key) const override;
    void populate(Glimt::EntryKey key, const Match& match) override;
    void latestKeyIs(Glimt::EntryKey key) override;

    Entries* mbbGlimtTableConfig() override { return &entries_; }
    Members* adtGlimtTableConfig() override { return &members_; }
    Groups* selGrpGlimtTableConfig() override { return &groups_; }

    // Records ------------------------------------------------------------------------------------

    /// Stores an entry's handle and match under the match object's key, and returns that; the key
    /// in `record` is not read. Handle 0 is a `Kel::RangeException`, here and below.
    Glimt::EntryKey entryIs(const Match& match, EntryConfig record);
    Glimt::EntryKey memberIs(RuxTable::RuxMemberId id, RuxTable::RuxSdkMemberHandle handle);
    Glimt::EntryKey groupIs(RuxTable::RuxGroupId id, RuxTable::RuxSdkGroupHandle handle);
    /// Drops a record; one that is not there is as good.
    void entryDel(const Match& match);
    void memberDel(RuxTable::RuxMemberId id);
    void groupDel(RuxTable::RuxGroupId id);
    /// Drops an entry's record of which only the key is known, such as a stale one.
    void entryKeyDel(Glimt::EntryKey key);

    /// The key under which an object is recorded; 0: none.
    Glimt::EntryKey entryKey(const Match& match) const;
    Glimt::EntryKey memberKey(RuxTable::RuxMemberId id) const;
    Glimt::EntryKey groupKey(RuxTable::RuxGroupId id) const;
    /// The match object that a key was reserved for, recorded with or populated with; null when
    /// unknown or stale.
    Match match(Glimt::EntryKey key) const;

    struct Reservation {
        Glimt::EntryKey key = 0;
        /// Of a member or group, whose id `anonId` tells; otherwise of a match entry.
        bool isAnonymous = false;

        friend bool operator==(const Reservation&, const Reservation&) = default;
    };
    /// While off, `alloc` and `allocAnon` reserve nothing and return 0: for an agent that enters
    /// objects into the driver's model which are on the chip and recorded already.
    void reservesIs(bool reserves) noexcept { reserves_ = reserves; }
    /// Tells the tables that this commit of the desired state holds.
    void commitIs(Kel::U64 commit);

    /// All reservations, in the order in which they were made.
    std::vector<Reservation> reservations() const;
    void reservationDel(Glimt::EntryKey key);

    static const Kel::Type fwkType_;

  private:
    Glimt::EntryKey nextKey(Kel::U32 low);
    void latestSerialIs(Kel::U32 serial);
    void reconcileTables();
    Glimt::EntryKey reservedKey(const Match& match) const;
    Glimt::EntryKey reservedKey(Kel::U32 id) const;
    void remember(Glimt::EntryKey key, const Match& match);
    void forget(Glimt::EntryKey key);
    template <class Table>
    bool recordIs(Table& table, const typename Table::Record& record);
    template <class Table, class Handle>
    Glimt::EntryKey anonRecordIs(Table& table, Kel::U32 id, Handle handle);

    Entries entries_;
    Members members_;
    Groups groups_;
    Kel::U32 latestSerial_ = 0;
    bool reserves_ = true;
    /// Match objects of records, both ways, and of reservations, which are few.
    std::map<Glimt::EntryKey, Match> matches_;
    std::unordered_map<const RuxTable::MatchSpecBase*, Glimt::EntryKey> keyOfMatch_;
    std::map<Glimt::EntryKey, Match> reservedMatches_;
};

} // namespace MbbGlimtKey
