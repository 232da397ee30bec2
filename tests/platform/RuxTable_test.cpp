#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>
#include <unordered_set>

#include "platform/RuxTable/RuxTable.h"

namespace {

using namespace RuxTable;

template <class Id>
class Word : public testing::Test {};

struct Names {
    template <class Id>
    static std::string GetName(int) {
        return Id::fwkType_.name + std::string("RuxTable::").size();
    }
};
using Ids = testing::Types<RuxMemberId, RuxGroupId, RuxSdkEntryHandle, RuxSdkMemberHandle,
                           RuxSdkGroupHandle>;
TYPED_TEST_SUITE(Word, Ids, Names);

TYPED_TEST(Word, IsMadeExplicitlyFromANumberOnly) {
    static_assert(std::is_constructible_v<TypeParam, Kel::U32>);
    static_assert(!std::is_convertible_v<Kel::U32, TypeParam>);
    static_assert(!std::is_convertible_v<TypeParam, Kel::U32>);
    static_assert(!std::is_convertible_v<TypeParam, bool>);
    static_assert(std::is_trivially_copyable_v<TypeParam>);
    static_assert(sizeof(TypeParam) == sizeof(Kel::U32));
    EXPECT_EQ(TypeParam(4294967295u).value(), 4294967295u);
}

TYPED_TEST(Word, IsZeroByDefault) {
    EXPECT_EQ(TypeParam().value(), 0u);
    EXPECT_EQ(TypeParam{}, TypeParam(0));
}

TYPED_TEST(Word, IsComparedByValue) {
    EXPECT_EQ(TypeParam(7), TypeParam(7));
    EXPECT_NE(TypeParam(7), TypeParam(8));
}

TYPED_TEST(Word, IsHashedByValue) {
    const std::unordered_set<TypeParam> set{TypeParam(1), TypeParam(2), TypeParam(1)};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_EQ(std::hash<TypeParam>{}(TypeParam(5)), std::hash<TypeParam>{}(TypeParam(5)));
    EXPECT_NE(std::hash<TypeParam>{}(TypeParam(5)), std::hash<TypeParam>{}(TypeParam(6)));
}

TYPED_TEST(Word, IsWrittenAsItsNumber) {
    std::ostringstream out;
    out << TypeParam(12);
    EXPECT_EQ(out.str(), "12");
}

TYPED_TEST(Word, IsARegisteredTypeThatCanBeAKey) {
    const Kel::Type& type = TypeParam::fwkType_;
    EXPECT_EQ(Kel::typeNode(type.name), &type);
    EXPECT_TRUE(type.hashable);
    const TypeParam word(4294967295u);
    EXPECT_EQ(type.valueString(&word), "4294967295");
}

template <class A, class B>
constexpr bool kMix = std::is_convertible_v<A, B> || std::is_constructible_v<A, B> ||
                      std::equality_comparable_with<A, B>;

static_assert(!kMix<RuxMemberId, RuxGroupId>);
static_assert(!kMix<RuxMemberId, RuxSdkMemberHandle>);
static_assert(!kMix<RuxGroupId, RuxSdkGroupHandle>);
static_assert(!kMix<RuxSdkEntryHandle, RuxSdkMemberHandle>);
static_assert(!kMix<RuxSdkMemberHandle, RuxSdkGroupHandle>);
static_assert(!kMix<RuxMemberId, Kel::U64*>);

TEST(RuxTableTypes, TheMatchSpecBaseIsAnObjectTypeAndRegistered) {
    EXPECT_EQ(Kel::typeNode("RuxTable::MatchSpecBase"), &MatchSpecBase::fwkType_);
    EXPECT_TRUE(MatchSpecBase::fwkType_.isA(Kel::PtrInterface::fwkType_));
}

} // namespace
