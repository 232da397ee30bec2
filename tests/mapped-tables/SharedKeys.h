#pragma once

#include "framework/AllocTrack.h"
#include "mapped-tables/SharedKeyManager.h"
#include "tests/mapped-tables/TableFiles.h"

/// What the tests of the key manager over table files share.
namespace shared_keys {

class Match : public Kel::Object<Match, RuxTable::MatchSpecBase> {
  public:
    inline static constinit const Kel::Type fwkType_{.name = "Test::SharedKeyMatch",
                                                     .kind = Kel::Type::Kind::object,
                                                     .base = &RuxTable::MatchSpecBase::fwkType_};
};

inline RuxTable::MatchSpecBase::PtrConst newMatch() {
    return Match::Ptr(new Match);
}

inline MbbGlimtKey::SharedKeyManager::Options options() {
    return {.entries = 16, .members = 16, .groups = 16, .context = {.device = 1, .chipBoot = 1}};
}

/// An entry's record; its match follows from the handle.
inline Glimt::MbbVantof::EntryConfig entryOf(Kel::U32 handle, Glimt::EntryKey key = 0) {
    return {.entryKey = key,
            .sdkEntryHandle = RuxTable::RuxSdkEntryHandle(handle),
            .value = handle * 2,
            .mask = ~handle,
            .priority = handle * 3,
            .isDefault = handle % 2 != 0};
}

} // namespace shared_keys
