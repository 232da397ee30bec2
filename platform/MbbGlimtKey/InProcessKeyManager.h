#pragma once

#include "framework/AllocTrack.h"
#include "platform/MbbGlimtKey/GlimtKeyManager.h"
#include "platform/MbbGlimtKey/InProcessTable.h"
#include "platform/RuxTable/MatchSpecRecords.h"

namespace MbbGlimtKey {

/**
 * A key manager whose tables live in the process.
 *
 * A key is a rising serial number in the upper 32 bits; the lower 32 bits of an anonymous key are
 * the number that it stands for, so `anonId` needs no table and works on keys of earlier runs.
 */
class KEL_EXPORT InProcessKeyManager : public Kel::Object<InProcessKeyManager, GlimtKeyManager> {
  public:
    InProcessKeyManager() = default;

    Glimt::EntryKey alloc(const RuxTable::MatchSpecBase::PtrConst& match, bool temporary) override;
    Glimt::EntryKey allocAnon(Kel::U32 id) override;
    Kel::U32 anonId(Glimt::EntryKey key) const override;
    void populate(Glimt::EntryKey key, const RuxTable::MatchSpecBase::PtrConst& match) override;
    void latestKeyIs(Glimt::EntryKey key) override;

    InProcessTable<Glimt::MbbVantof::EntryConfig>* mbbGlimtTableConfig() override;
    InProcessTable<RuxMbbShared::AdtEntryConfig>* adtGlimtTableConfig() override;
    InProcessTable<RuxMbbShared::SelGrpEntryConfig>* selGrpGlimtTableConfig() override;

    /// The match key for which this is the latest key, reserved or populated; null when there is
    /// none. A match key that nobody else holds may be forgotten. Linear, for tools and tests.
    RuxTable::MatchSpecBase::PtrConst match(Glimt::EntryKey key) const;
    /// Number of match keys that have a key.
    std::size_t keys() const noexcept { return keys_.map().size(); }
    /// Number of records that were populated without a match key.
    Kel::U32 staleRecords() const noexcept { return staleRecords_; }
    Glimt::EntryKey latestKey() const noexcept { return latestKey_; }

    static const Kel::Type fwkType_;

  private:
    /// The next larger key that has these lower 32 bits; throws `Kel::InternalException` when there
    /// is none left.
    Glimt::EntryKey nextKey(Kel::U32 low);

    Glimt::EntryKey latestKey_ = 0;
    RuxTable::MatchSpecRecords<Glimt::EntryKey> keys_;
    Kel::U32 staleRecords_ = 0;
    InProcessTable<Glimt::MbbVantof::EntryConfig> entries_;
    InProcessTable<RuxMbbShared::AdtEntryConfig> members_;
    InProcessTable<RuxMbbShared::SelGrpEntryConfig> groups_;
};

} // namespace MbbGlimtKey
