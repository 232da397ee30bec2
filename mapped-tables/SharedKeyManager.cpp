#include "mapped-tables/SharedKeyManager.h"

#include <algorithm>
#include <limits>

#include "posix/StateException.h"

namespace MbbGlimtKey {

using Glimt::EntryKey;
using Glimt::SlotContent;
using Glimt::SlotTable;
using Glimt::SlotFormat::idOf;
using Glimt::SlotFormat::serialOf;
using Kel::U32;
using Kel::U64;

constinit const Kel::Type SharedKeyManager::fwkType_{.name = "MbbGlimtKey::SharedKeyManager",
                                                     .kind = Kel::Type::Kind::object,
                                                     .base = &GlimtKeyManager::fwkType_};

namespace {

constexpr unsigned kSerialShift = 32;

void reserve(SlotTable& slots, EntryKey key) {
    slots.contentIs({.key = key, .kind = SlotContent::Kind::kReservation});
}

} // namespace

SharedKeyManager::SharedKeyManager(std::shared_ptr<const Posix::StateDirectory> directory,
                                   const Options& options)
    : entries_(directory, options.entries, options.context, options.beforeStore),
      members_(directory, options.members, options.context, options.beforeStore),
      groups_(directory, options.groups, options.context, options.beforeStore) {
    // Every table knows the latest serial number, so that it outlives the loss of one of them.
    latestSerialIs(std::max({entries_.slots().latestSerial(), members_.slots().latestSerial(),
                             groups_.slots().latestSerial()}));
    reconcileTables();
}

bool SharedKeyManager::mayHoldRecords(const Posix::StateDirectory& directory) {
    using Glimt::TableFile;
    return TableFile::mayHoldRecords(directory, Entries::Traits::kTable) ||
           TableFile::mayHoldRecords(directory, Members::Traits::kTable) ||
           TableFile::mayHoldRecords(directory, Groups::Traits::kTable);
}

U64 SharedKeyManager::latestCommit(const Posix::StateDirectory& directory, U64 state) {
    U64 latest = 0;
    for (const auto& table :
         {Entries::Traits::kTable, Members::Traits::kTable, Groups::Traits::kTable}) {
        const auto context = Glimt::TableFile::contextOf(directory, table);
        if (context && context->state == state) {
            latest = std::max(latest, context->commit);
        }
    }
    return latest;
}

void SharedKeyManager::commitIs(U64 commit) {
    entries_.slots().commitIs(commit);
    members_.slots().commitIs(commit);
    groups_.slots().commitIs(commit);
}

bool SharedKeyManager::isAtCommit(U64 commit) const noexcept {
    return entries_.slots().commit() == commit && members_.slots().commit() == commit &&
           groups_.slots().commit() == commit;
}

/// What holds across tables: a group's record takes over its reservation among the members, and
/// otherwise no key is in two tables.
void SharedKeyManager::reconcileTables() {
    struct Held {
        EntryKey key;
        SlotTable* table;
    };
    std::vector<Held> all;
    for (SlotTable* table : {&entries_.slots(), &members_.slots(), &groups_.slots()}) {
        for (const EntryKey key : table->keys()) {
            all.push_back({key, table});
        }
    }
    std::ranges::sort(all, {}, &Held::key);
    for (std::size_t i = 1; i < all.size(); ++i) {
        const Held& first = all[i - 1];
        const Held& second = all[i];
        if (first.key != second.key) {
            continue;
        }
        if (members_.slots().isReserved(first.key) && groups_.slots().holds(first.key) &&
            !entries_.slots().holds(first.key)) {
            members_.slots().contentDel(first.key);
            continue;
        }
        first.table->condemn(first.key, "another table has its key");
        second.table->condemn(second.key, "another table has its key");
    }
}

void SharedKeyManager::latestSerialIs(U32 serial) {
    latestSerial_ = std::max(latestSerial_, serial);
    entries_.slots().latestSerialIs(latestSerial_);
    members_.slots().latestSerialIs(latestSerial_);
    groups_.slots().latestSerialIs(latestSerial_);
}

EntryKey SharedKeyManager::nextKey(U32 low) {
    if (latestSerial_ == std::numeric_limits<U32>::max()) {
        throw Posix::StateException(entries_.slots().description().name,
                                    "no key is left: all serial numbers were given out; to begin "
                                    "anew, stop the agent, remove the files 'entries', 'members' "
                                    "and 'groups' of its state directory, and start it again");
    }
    latestSerialIs(latestSerial_ + 1);
    return EntryKey{latestSerial_} << kSerialShift | low;
}

EntryKey SharedKeyManager::alloc(const Match& match, bool) {
    if (!reserves_) {
        return 0;
    }
    const EntryKey older = reservedKey(match);
    const EntryKey key = nextKey(0);
    reserve(entries_.slots(), key);
    entries_.slots().contentDel(older);
    reservedMatches_.emplace(key, match);
    std::erase_if(reservedMatches_,
                  [this](const auto& pair) { return !entries_.slots().holds(pair.first); });
    return key;
}

EntryKey SharedKeyManager::allocAnon(U32 id) {
    if (!reserves_) {
        return 0;
    }
    const EntryKey older = reservedKey(id);
    const EntryKey key = nextKey(id);
    reserve(members_.slots(), key);
    members_.slots().contentDel(older);
    return key;
}

U32 SharedKeyManager::anonId(EntryKey key) const {
    return idOf(key);
}

void SharedKeyManager::populate(EntryKey key, const Match& match) {
    latestKeyIs(key);
    forget(key);
    if (match) {
        remember(key, match);
    }
}

void SharedKeyManager::latestKeyIs(EntryKey key) {
    latestSerialIs(serialOf(key));
}

EntryKey SharedKeyManager::reservedKey(const Match& match) const {
    const auto found =
        std::ranges::find(reservedMatches_, match, &decltype(reservedMatches_)::value_type::second);
    return found == reservedMatches_.end() ? 0 : found->first;
}

EntryKey SharedKeyManager::reservedKey(U32 id) const {
    const auto keys = members_.slots().reservations();
    const auto found = std::ranges::find(keys.rbegin(), keys.rend(), id, &idOf);
    return found == keys.rend() ? 0 : *found;
}

void SharedKeyManager::remember(EntryKey key, const Match& match) {
    if (const EntryKey older = entryKey(match); older != 0) {
        matches_.erase(older);
    }
    matches_.emplace(key, match);
    keyOfMatch_[match.ptr()] = key;
}

void SharedKeyManager::forget(EntryKey key) {
    if (const auto found = matches_.find(key); found != matches_.end()) {
        keyOfMatch_.erase(found->second.ptr());
        matches_.erase(found);
    }
}

/// Stores a record unless it is stored; whether it did.
template <class Table>
bool SharedKeyManager::recordIs(Table& table, const typename Table::Record& record) {
    const SlotContent content = Table::Traits::content(record);
    if (content.handle == 0) {
        throw Kel::RangeException(
            Kel::format("no handle to store in table %s", Table::Traits::kTable.name));
    }
    SlotTable& slots = table.slots();
    if (slots.find(content.key) == content) {
        return false;
    }
    // Dropped before and not after: no handle may stand there twice.
    if (const EntryKey holder = slots.keyOfHandle(content.handle);
        holder != 0 && holder != content.key) {
        forget(holder);
        slots.contentDel(holder);
    }
    slots.contentIs(content);
    return true;
}

EntryKey SharedKeyManager::entryIs(const Match& match, EntryConfig record) {
    SlotTable& slots = entries_.slots();
    const EntryKey reserved = reservedKey(match);
    EntryKey key = entryKey(match);
    if (key == 0) {
        // The record that has the handle already becomes this entry's, in one step.
        key = slots.keyOfHandle(record.sdkEntryHandle.value());
    }
    if (key == 0) {
        key = reserved;
    }
    record.entryKey = key != 0 ? key : nextKey(0);
    recordIs(entries_, record);
    if (reserved != 0) {
        reservedMatches_.erase(reserved);
        if (reserved != record.entryKey) {
            slots.contentDel(reserved);
        }
    }
    const Match kept = match;
    forget(record.entryKey);
    remember(record.entryKey, kept);
    return record.entryKey;
}

template <class Table, class Handle>
EntryKey SharedKeyManager::anonRecordIs(Table& table, U32 id, Handle handle) {
    const EntryKey reserved = reservedKey(id);
    EntryKey key = table.slots().keyOfId(id);
    if (key == 0) {
        key = reserved != 0 ? reserved : nextKey(id);
    }
    // A record that is there already leaves the reservation to whom it may be for.
    if (recordIs(table, {key, handle}) && members_.slots().isReserved(reserved)) {
        members_.slots().contentDel(reserved);
    }
    return key;
}

EntryKey SharedKeyManager::memberIs(RuxTable::RuxMemberId id, RuxTable::RuxSdkMemberHandle handle) {
    return anonRecordIs(members_, id.value(), handle);
}

EntryKey SharedKeyManager::groupIs(RuxTable::RuxGroupId id, RuxTable::RuxSdkGroupHandle handle) {
    return anonRecordIs(groups_, id.value(), handle);
}

void SharedKeyManager::entryDel(const Match& match) {
    entryKeyDel(entryKey(match));
}

void SharedKeyManager::memberDel(RuxTable::RuxMemberId id) {
    members_.slots().contentDel(memberKey(id));
}

void SharedKeyManager::groupDel(RuxTable::RuxGroupId id) {
    groups_.slots().contentDel(groupKey(id));
}

void SharedKeyManager::entryKeyDel(EntryKey key) {
    forget(key);
    if (!entries_.slots().isReserved(key)) {
        entries_.slots().contentDel(key);
    }
}

EntryKey SharedKeyManager::entryKey(const Match& match) const {
    const auto found = keyOfMatch_.find(match.ptr());
    return found == keyOfMatch_.end() ? 0 : found->second;
}

EntryKey SharedKeyManager::memberKey(RuxTable::RuxMemberId id) const {
    return members_.slots().keyOfId(id.value());
}

EntryKey SharedKeyManager::groupKey(RuxTable::RuxGroupId id) const {
    return groups_.slots().keyOfId(id.value());
}

SharedKeyManager::Match SharedKeyManager::match(EntryKey key) const {
    for (const auto* matches : {&matches_, &reservedMatches_}) {
        if (const auto found = matches->find(key); found != matches->end()) {
            return found->second;
        }
    }
    return nullptr;
}

std::vector<SharedKeyManager::Reservation> SharedKeyManager::reservations() const {
    std::vector<Reservation> all;
    for (const EntryKey key : entries_.slots().reservations()) {
        all.push_back({key, false});
    }
    for (const EntryKey key : members_.slots().reservations()) {
        all.push_back({key, true});
    }
    std::ranges::sort(all, {}, &Reservation::key);
    return all;
}

void SharedKeyManager::reservationDel(EntryKey key) {
    for (SlotTable* slots : {&entries_.slots(), &members_.slots()}) {
        if (slots->isReserved(key)) {
            slots->contentDel(key);
        }
    }
    reservedMatches_.erase(key);
}

} // namespace MbbGlimtKey
