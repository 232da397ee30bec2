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
    constexpr Glimt::EntryKey kOneSerial = Glimt::EntryKey{1} << kSerialShift;
    Glimt::EntryKey key = latestKey_ / kOneSerial * kOneSerial | low;
    if (key <= latestKey_) {
        key += kOneSerial;
    }
    if (key <= latestKey_) {
        throw Kel::InternalException("no key is left");
    }
    return latestKey_ = key;
}

Glimt::EntryKey InProcessKeyManager::alloc(const RuxTable::MatchSpecBase::PtrConst& match, bool) {
    return keys_[match] = nextKey(0);
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
        keys_[match] = key;
    } else {
        keys_.eraseIf([key](const auto& record) { return record.second == key; });
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
    const auto found =
        std::ranges::find(keys_.map(), key, [](const auto& record) { return record.second; });
    return found == keys_.map().end() ? nullptr : found->first;
}

} // namespace MbbGlimtKey
