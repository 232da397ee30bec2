// The seeds of the keyed collections. They decide the order in which each collection is walked, and
// so the order of what is done for all its elements.
#include <gtest/gtest.h>

#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "BfLagGroup/LagGroupTableHandles.h"

namespace BfLagGroup {
namespace {

TEST(CollectionSeeds, AreThoseOfEachCollection) {
    using Sm = LagGroupActionProfileSm;
    EXPECT_EQ(LagGroupGroup::Members::kSeed, 2044359915u);
    EXPECT_EQ(LagGroupActionProfile::Groups::kSeed, 2785377793u);
    EXPECT_EQ(LagGroupActionProfile::Entries::kSeed, 2319079825u);
    EXPECT_EQ(LagGroupTableHandles::EntryMap::kSeed, 95370541u);
    EXPECT_EQ(LagGroupTableHandles::GroupMap::kSeed, 2162009060u);
    EXPECT_EQ(LagGroupTableHandles::MemberMap::kSeed, 1801576338u);
    EXPECT_EQ(Sm::ActionProfiles::kSeed, 3625760601u);
    EXPECT_EQ(Sm::Groups::kSeed, 820652789u);
    EXPECT_EQ(Sm::KelGroup::GroupMembers::kSeed, 2970215000u);
}

} // namespace
} // namespace BfLagGroup
