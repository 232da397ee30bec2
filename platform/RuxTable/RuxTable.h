#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <ostream>

#include "framework/AllocTrack.h"
#include "framework/Export.h"
#include "framework/Type.h"
#include "framework/Words.h"

/// The identifiers and handles of hardware tables, and the base of match keys.
namespace RuxTable {

/// A 32-bit identity that mixes with no other: `Self` is the class itself. 0 by default, which for
/// a handle means that there is none.
template <class Self>
class Word {
  public:
    constexpr Word() noexcept = default;
    constexpr explicit Word(Kel::U32 value) noexcept : value_(value) {}
    constexpr Kel::U32 value() const noexcept { return value_; }

    friend constexpr bool operator==(const Word&, const Word&) noexcept = default;
    friend std::ostream& operator<<(std::ostream& out, const Word& word) {
        return out << word.value_;
    }

  private:
    Kel::U32 value_ = 0;
};

/// The agent's identifier of an action-profile member.
class KEL_EXPORT RuxMemberId : public Word<RuxMemberId> {
  public:
    using Word::Word;
    static const Kel::Type fwkType_;
};

/// The agent's identifier of a selector group.
class KEL_EXPORT RuxGroupId : public Word<RuxGroupId> {
  public:
    using Word::Word;
    static const Kel::Type fwkType_;
};

/// The chip SDK's handle of an installed match entry.
class KEL_EXPORT RuxSdkEntryHandle : public Word<RuxSdkEntryHandle> {
  public:
    using Word::Word;
    static const Kel::Type fwkType_;
};

/// The chip SDK's handle of an installed action-profile member.
class KEL_EXPORT RuxSdkMemberHandle : public Word<RuxSdkMemberHandle> {
  public:
    using Word::Word;
    static const Kel::Type fwkType_;
};

/// The chip SDK's handle of an installed selector group.
class KEL_EXPORT RuxSdkGroupHandle : public Word<RuxSdkGroupHandle> {
  public:
    using Word::Word;
    static const Kel::Type fwkType_;
};

static_assert(sizeof(RuxMemberId) == 4 && sizeof(RuxSdkEntryHandle) == 4);

/// Base of the match keys of all tables; keys are compared by identity, never by their fields.
class KEL_EXPORT MatchSpecBase : public Kel::PtrInterface {
  public:
    using Ptr = Kel::Ptr<MatchSpecBase>;
    using PtrConst = Kel::Ptr<MatchSpecBase const>;
    static const Kel::Type fwkType_;

  protected:
    MatchSpecBase() = default;
};

} // namespace RuxTable

template <class Id>
requires std::derived_from<Id, RuxTable::Word<Id>>
struct std::hash<Id> {
    std::size_t operator()(const Id& id) const noexcept {
        return std::hash<Kel::U32>{}(id.value());
    }
};
