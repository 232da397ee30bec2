#include "platform/MbbGlimtKey/InProcessKeyManager.h"

#include <algorithm>

namespace MbbGlimtKey {

constinit const Kel::Type InProcessKeyManager::fwkType_{.name = "MbbGlimtKey::InProcessKeyManager",
                                                        .kind = Kel::Type::Kind::object,
                                                        .base = &GlimtKeyManager::fwkType_};

namespace {
constexpr unsigned kSerialShift = 32;
} // namespace

Glimt::EntryKey InProcessKeyManager::nextKey(Kel::U32 low) {
    const Glimt::EntryKey serial = (latestKey_ >> kSerialShift) + 1;
    latestKey_ = serial << kSerialShift | low;
    return latestKey_;
}

Glimt::EntryKey InProcessKeyManager::alloc(const RuxTable::MatchSpecBase::PtrConst& match, bool) {
    const Glimt::EntryKey key = nextKey(0);
    matches_.emplace(key, match);
    return key;
}

Glimt::EntryKey InProcessKeyManager::allocAnon(Kel::U32 id) {
    return nextKey(id);
}

Kel::U32 InProcessKeyManager::anonId(Glimt::EntryKey key) const {
    return static_cast<Kel::U32>(key);
}

void InProcessKeyManager::populate(Glimt::EntryKey key,
                                   const RuxTable::MatchSpecBase::PtrConst& match) {
    latestKey_ = std::max(latestKey_, key);
    if (match) {
        matches_.insert_or_assign(key, match);
    } else {
        matches_.erase(key);
        ++staleRecords_;
    }
}

void InProcessKeyManager::latestKeyIs(Glimt::EntryKey key) {
    latestKey_ = std::max(latestKey_, key);
}

InProcessTable<Glimt::MbbVantof::EntryConfig>* InProcessKeyManager::mbbGlimtTableConfig() {
    return &entries_;
}
InProcessTable<RuxMbbShared::AdtEntryConfig>* InProcessKeyManager::adtGlimtTableConfig() {
    return &members_;
}
InProcessTable<RuxMbbShared::SelGrpEntryConfig>* InProcessKeyManager::selGrpGlimtTableConfig() {
    return &groups_;
}

RuxTable::MatchSpecBase::PtrConst InProcessKeyManager::match(Glimt::EntryKey key) const {
    const auto found = matches_.find(key);
    return found == matches_.end() ? nullptr : found->second;
}

} // namespace MbbGlimtKey
