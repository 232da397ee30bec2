#pragma once

#include <functional>
#include <set>
#include <unordered_map>
#include <vector>

#include "mapped-tables/SlotFormat.h"

namespace Glimt {

/**
 * The commit protocol and the validation of a table, over the words of its file or a copy of them.
 *
 * A content comes into force by a sequence of stores after any of which the process may die:
 *
 *     1. a slot that is not in force gets state 0,
 *     2. the content is written to it, the checksum last,
 *     3. one release store makes its state kStateCommitted,
 *     4. when the key had a slot before, one store makes that one kStateRetired.
 *
 * A slot in force is never written otherwise. Death before 3 leaves the slot never committed, which
 * the next run counts and clears. Death between 3 and 4 leaves two slots of one key: the one with
 * the larger sequence number holds, provided that it is the last commit of the whole table, as it
 * must be; anything else is a corruption. The next run then makes up for step 4.
 *
 * Constructing a table examines all of it. What is found wrong stays in place, is never handed out
 * and never written over: `next` throws when it arrives there. Two that contradict each other are
 * both wrong, since nothing tells which one is right.
 *
 * One thread. The words must stay for the table's life, and only this table may write them.
 */
class SlotTable {
  public:
    using BeforeStore = std::function<void()>;

    /// `words` are those of a table whose header was checked. `beforeStore` is called before every
    /// store to them, for tests of what dying at each store leaves.
    SlotTable(std::span<Kel::U64> words, const TableDescription& description,
              BeforeStore beforeStore = {});

    const TableDescription& description() const noexcept { return description_; }

    /// Finds the first record in `slot` or after it and sets `slot` to where it is; false when
    /// there is none. Reservations are passed over. Throws `Pello::CorruptionDetectedException`,
    /// with table, slot and reason, when a corrupt slot comes first; `slot` is then unchanged.
    bool next(std::size_t& slot, SlotContent& content) const;

    /// What is in force under a key; none when there is nothing, or it has become corrupt.
    std::optional<SlotContent> find(EntryKey key) const;
    /// Whether anything is in force under a key.
    bool holds(EntryKey key) const { return held_.contains(key); }
    bool isReserved(EntryKey key) const { return reserved_.contains(key); }
    /// The keys in force, in no order.
    std::vector<EntryKey> keys() const;
    /// The key of the record that has this handle, or stands for this id (anonymous tables only);
    /// 0: none.
    EntryKey keyOfHandle(Kel::U32 handle) const;
    EntryKey keyOfId(Kel::U32 id) const;
    std::vector<EntryKey> reservations() const { return {reserved_.begin(), reserved_.end()}; }

    /// Brings a content into force under its key, in place of what was there. A key beyond the
    /// latest serial number raises that first. When there are too many reservations the oldest
    /// is dropped. Throws `Posix::StateException`, having changed nothing, when the table is full.
    /// The caller guarantees what the table refuses to read: a handle that is not 0 and that no
    /// other key has, and in an anonymous table no second record of an id.
    void contentIs(const SlotContent& content);
    /// Puts what the key has out of force, if there is anything.
    void contentDel(EntryKey key);

    /// The largest upper half of a key that was ever given out; outlives the records.
    Kel::U32 latestSerial() const noexcept { return latestSerial_; }
    /// Raises it; a smaller one is ignored.
    void latestSerialIs(Kel::U32 serial);

    /// The latest commit of the desired state that the table was told of.
    Kel::U64 commit() const noexcept;
    /// Stores it, unless it is stored.
    void commitIs(Kel::U64 commit);

    /// Declares a key's slot corrupt for a reason that lies outside this table.
    void condemn(EntryKey key, const char* reason);
    /// Marks the whole table, so that no later run believes it.
    void mark();
    bool isMarked() const noexcept;

    std::size_t records() const noexcept { return held_.size() - reserved_.size(); }
    std::size_t corruptSlots() const noexcept { return corrupt_.size(); }
    /// What the examination at construction found: slots that were written and never committed, and
    /// slots whose successor was committed.
    std::size_t neverCommitted() const noexcept { return neverCommitted_; }
    std::size_t superseded() const noexcept { return superseded_; }

  private:
    struct Committed {
        std::size_t slot;
        Kel::U64 sequence;
        SlotContent content{};
    };
    /// Where a key's content is in force, and under which handle; 0: a reservation.
    struct Held {
        std::size_t slot;
        Kel::U32 handle;
    };
    class Scan;
    friend class Scan;

    std::span<Kel::U64> slotAt(std::size_t slot) const noexcept;
    SlotFormat::Examined examine(std::size_t slot) const noexcept;
    void store(Kel::U64& word, Kel::U64 value, bool isRelease = false);
    void clear(std::size_t slot);
    void retire(std::size_t slot);
    std::size_t freeSlot(const SlotContent& content);
    void enter(std::size_t slot, const SlotContent& content);
    void leave(EntryKey key);
    [[noreturn]] void throwCorrupt(std::size_t slot, const char* reason) const;

    std::span<Kel::U64> words_;
    TableDescription description_;
    BeforeStore beforeStore_;
    Kel::U64 latestSequence_ = 0;
    Kel::U32 latestSerial_;

    std::unordered_map<EntryKey, Held> held_;
    std::unordered_map<Kel::U32, EntryKey> keyOfHandle_;
    std::unordered_map<Kel::U32, EntryKey> keyOfId_;
    std::set<EntryKey> reserved_;
    /// Which slots hold a record, so that a walk need not look at the others.
    std::vector<bool> isRecord_;
    std::vector<std::size_t> free_;
    std::unordered_map<std::size_t, const char*> corrupt_;

    std::size_t neverCommitted_ = 0;
    std::size_t superseded_ = 0;
};

} // namespace Glimt
