#pragma once

#include <ostream>

#include "BfLagGroup/Words.h"
#include "framework/Kel.h"
#include "platform/RuxTable/RuxTable.h"

namespace BfLagGroup {

/**
 * The ternary key of a "lagGroup" entry: an egress-metadata value under a mask, and a priority.
 *
 * Fill the three fields through the generic attribute interface, then share the object as
 * `PtrConst` and change it no more. Keys are compared by identity: two match specs with equal
 * fields are two keys, so keep the object to find, change or delete its entry.
 *
 *     auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
 *     Kel::attributeIs(match, "egrMdEgrL2AintfUnresolved", U32{5});
 *     Kel::attributeIs(match, "egrMdEgrL2AintfUnresolvedMask", U32{0xffffffff});
 *     Kel::attributeIs(match, "priority", U32{10});
 */
class KEL_EXPORT LagGroupMatchSpec
    : public Kel::Object<LagGroupMatchSpec, RuxTable::MatchSpecBase> {
  public:
    LagGroupMatchSpec() = default;

    /// A new match spec with all fields zero and its notifications on.
    static Ptr LagGroupMatchSpecIs();

    U32 egrMdEgrL2AintfUnresolved() const noexcept { return egrMdEgrL2AintfUnresolved_; }
    U32 egrMdEgrL2AintfUnresolvedMask() const noexcept { return egrMdEgrL2AintfUnresolvedMask_; }
    U32 priority() const noexcept { return priority_; }

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    U32 egrMdEgrL2AintfUnresolved_ = 0;
    U32 egrMdEgrL2AintfUnresolvedMask_ = 0;
    U32 priority_ = 0;
};

/// What a key selects: an action-profile member or a selector group, by its id. The default value
/// (id 0, not a member) stands for neither.
class KEL_EXPORT LagGroupMemberOrGroupOrNone {
  public:
    LagGroupMemberOrGroupOrNone() = default;
    LagGroupMemberOrGroupOrNone(U32 id, bool member) noexcept : id_(id), member_(member) {}
    /// Reads one value string, advancing `it`. Throws `Kel::ParseException` where the text differs
    /// from the form, `Kel::RangeException` naming the attribute that cannot be read.
    LagGroupMemberOrGroupOrNone(Kel::String::IteratorConst& it,
                                const Kel::String::IteratorConst& end);

    U32 id() const noexcept { return id_; }
    /// True: `id` is a member's. False: a group's.
    bool member() const noexcept { return member_; }
    void idIs(U32 id) noexcept { id_ = id; }
    void memberIs(bool member) noexcept { member_ = member; }

    bool operator==(const LagGroupMemberOrGroupOrNone&) const noexcept = default;

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    U32 id_ = 0;
    bool member_ = false;
};

/// A match key and what it selects. Two entries are equal when they share the match-spec object and
/// select the same.
class KEL_EXPORT LagGroupTableEntry {
  public:
    LagGroupTableEntry() = default;
    LagGroupTableEntry(LagGroupMatchSpec::PtrConst match,
                       const LagGroupMemberOrGroupOrNone& memberOrGroup) noexcept
        : match_(std::move(match)), memberOrGroup_(memberOrGroup) {}
    /// Reads one value string, advancing `it`; throws as the other parsing constructor does, and
    /// `Kel::CannotConvertException` when the pointer in the text is to another class of object.
    LagGroupTableEntry(Kel::String::IteratorConst& it, const Kel::String::IteratorConst& end);

    const LagGroupMatchSpec::PtrConst& match() const noexcept { return match_; }
    const LagGroupMemberOrGroupOrNone& memberOrGroup() const noexcept { return memberOrGroup_; }
    void matchIs(const LagGroupMatchSpec::PtrConst& match) noexcept { match_ = match; }
    void memberOrGroupIs(const LagGroupMemberOrGroupOrNone& memberOrGroup) noexcept {
        memberOrGroup_ = memberOrGroup;
    }

    bool operator==(const LagGroupTableEntry& other) const noexcept {
        return match_ == other.match_ && memberOrGroup_ == other.memberOrGroup_;
    }
    /// True for the default entry: the one that look-ups return for an absent key.
    bool operator!() const noexcept { return *this == LagGroupTableEntry(); }

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    LagGroupMatchSpec::PtrConst match_;
    LagGroupMemberOrGroupOrNone memberOrGroup_;
};

KEL_EXPORT Kel::String valueToStrep(const LagGroupMemberOrGroupOrNone& value);
KEL_EXPORT Kel::String valueToStrep(const LagGroupTableEntry& value);
KEL_EXPORT std::ostream& operator<<(std::ostream& out, const LagGroupMemberOrGroupOrNone& value);
KEL_EXPORT std::ostream& operator<<(std::ostream& out, const LagGroupTableEntry& value);

/// Reads a pointer value string as a pointer to a `T`; null for `None`. Throws
/// `Kel::RangeException` for an unreadable text, `Kel::CannotConvertException` when the object is
/// of another class.
template <class T>
Kel::Ptr<T> sequenceToValue(Kel::String::IteratorConst& it, const Kel::String::IteratorConst& end);
template <>
KEL_EXPORT LagGroupMatchSpec::PtrConst
sequenceToValue<LagGroupMatchSpec const>(Kel::String::IteratorConst& it,
                                         const Kel::String::IteratorConst& end);

} // namespace BfLagGroup
