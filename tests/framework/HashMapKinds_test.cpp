/// What only one kind of keyed collection does.

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include "tests/framework/HashMapFixtures.h"

namespace {

using namespace KelTest;

using Element = ElementOf<Id>;
using ElementPtr = Kel::Ptr<Element>;
using BucketMap = Kel::HashMap<Element, Id, 2044359915u>;
using EntryNode = Kel::HashMap2018NodeInternalKey<Id, ElementPtr, ElementKeyFunktor<Id>>;
using EntryMap = Kel::HashMap2018<EntryNode, 2319079825u>;
using HandleMap = Kel::HashMap2018<Kel::HashMap2018NodeExternKey<Id, U32>, 1801576338u>;

ElementPtr make(U32 n) {
    return new Element(Id(n));
}

/// Keys that do not follow from their hash.
template <class Kind>
class CollidingKeys : public testing::Test {};
using KindsOfSuchKeys =
    testing::Types<Bucketed<U64>, Bucketed<Kel::Name>, OpenInternal<U64>, OpenExternal<U64>>;
TYPED_TEST_SUITE(CollidingKeys, KindsOfSuchKeys);

/// Two keys of the same hash.
template <class Key>
std::pair<Key, Key> collision(U32 seed) {
    std::unordered_map<U32, U32> numberOfHash;
    for (U32 n = 0;; ++n) {
        const auto [before, isNew] = numberOfHash.emplace(Kel::keyHash(keyOf<Key>(n), seed), n);
        if (!isNew) {
            return {keyOf<Key>(before->second), keyOf<Key>(n)};
        }
    }
}

TYPED_TEST(CollidingKeys, areToldApartByTheKeyItself) {
    using Key = typename TypeParam::Key;
    using Kept = typename TypeParam::Element;
    const auto [low, high] = collision<Key>(TypeParam::Map::kSeed);
    for (const auto& [a, b] : {std::pair<Key, Key>(low, high), std::pair<Key, Key>(high, low)}) {
        typename TypeParam::Map map;
        const Kel::Ptr<Kept> first = new Kept(a);
        const Kel::Ptr<Kept> second = new Kept(b);
        TypeParam::add(map, first);
        EXPECT_EQ(TypeParam::find(map, b), nullptr);
        EXPECT_FALSE(TypeParam::remove(map, b));
        TypeParam::add(map, second);
        EXPECT_EQ(TypeParam::find(map, a), first.ptr());
        EXPECT_EQ(TypeParam::find(map, b), second.ptr());
        EXPECT_EQ(TypeParam::remove(map, b), second);
        EXPECT_EQ(TypeParam::find(map, b), nullptr);
        EXPECT_EQ(TypeParam::find(map, a), first.ptr());
    }
}

TEST(HashMap, ofOneBucketPutsEveryKeyInBucketZero) {
    const BucketMap map;
    EXPECT_EQ(map.buckets(), 1u);
    for (U32 hash : {0u, 1u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        EXPECT_EQ(map.bucketIndex(hash), 0u);
    }
}

TEST(HashMap, takesTheTopBitsOfTheHashForTheBucket) {
    BucketMap map;
    for (U32 n = 0; n < 8; ++n) {
        map.newMember(make(n));
    }
    EXPECT_EQ(map.buckets(), 8u);
    EXPECT_EQ(map.bucketIndex(0x1fffffffu), 0u);
    EXPECT_EQ(map.bucketIndex(0x20000000u), 1u);
    EXPECT_EQ(map.bucketIndex(0xffffffffu), 7u);
}

TEST(HashMap, doublesWhenThereWouldBeMoreElementsThanBuckets) {
    BucketMap map;
    const U32 expected[] = {1, 2, 4, 4, 8, 8, 8, 8, 16};
    for (U32 n = 0; n < 9; ++n) {
        map.newMember(make(n));
        EXPECT_EQ(map.buckets(), expected[n]);
    }
}

TEST(HashMap, leavesAnElementWithoutALinkWhenItIsRemoved) {
    BucketMap map;
    const ElementPtr element = make(1);
    EXPECT_FALSE(element->isMember());
    map.newMember(element);
    EXPECT_TRUE(element->isMember());
    map.deleteMember(Id(1));
    EXPECT_FALSE(element->isMember());
    EXPECT_EQ(element->nextInBucket(), nullptr);
}

TEST(HashMap, findsByAKeyWithItsHash) {
    BucketMap map;
    map.newMember(make(7));
    const Kel::KeyAndRhashNoSeedArg<Id, BucketMap::kSeed> probe(Id(7));
    EXPECT_EQ(map.lookup(probe), map.lookup(Id(7)));
    EXPECT_NE(map.lookup(probe), nullptr);
}

TEST(HashMap, insertsUnderAKeyWithItsHash) {
    BucketMap map;
    for (U32 n = 0; n < 100; ++n) {
        map.newMember(make(n), BucketMap::Probe(Id(n)));
    }
    EXPECT_STREQ(Kel::HashMapChecker<BucketMap>::defectOf(map), "");
    EXPECT_EQ(map.lookup(Id(42))->fwkKey(), Id(42));
}

TEST(HashMap, itsIteratorYieldsAPlainPointer) {
    BucketMap map;
    map.newMember(make(7));
    for (auto& element : map) {
        static_assert(std::is_same_v<decltype(element), Element* const&>);
        const Kel::Ptr<Element> keep = element;
        EXPECT_EQ(keep->kelReferenceCount(), 2u);
    }
}

TEST(HashMap, visitsAnIdOnceThoughItIsMadeAgainFurtherBack) {
    std::vector<ElementPtr> ones;
    for (int i = 0; i < 10; ++i) {
        ones.push_back(make(1));
    }
    std::ranges::sort(ones, std::less<>(), &ElementPtr::ptr);
    BucketMap map;
    map.newMember(ones[0]);
    std::size_t deletions = 0;
    map.memberDelAll([&](const Id& id) {
        map.deleteMember(id);
        if (++deletions < ones.size()) {
            map.newMember(ones[deletions]);
        }
    });
    EXPECT_EQ(deletions, 1u);
    EXPECT_EQ(map.lookup(Id(1)), ones[1].ptr());
}

TEST(HashMapDeathTest, refusesASecondElementOfTheSameKey) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    BucketMap map;
    map.newMember(make(7));
    EXPECT_DEATH(map.newMember(make(7)), "Assertion `!lookup\\( element->fwkKey\\(\\) \\)' failed");
}

TEST(HashMapDeathTest, refusesAnElementOfAnotherCollection) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    BucketMap map;
    BucketMap other;
    const ElementPtr element = make(7);
    other.newMember(element);
    EXPECT_DEATH(map.newMember(element), "Assertion `!element->isMember\\(\\)' failed");
}

TEST(HashMap2018, overwritesAValueAndSaysSo) {
    HandleMap map;
    EXPECT_TRUE(map.memberIs(Id(3), 70));
    EXPECT_FALSE(map.memberIs(Id(3), 71));
    EXPECT_EQ(map.size(), 1u);
    EXPECT_EQ(map.lookupNodeG(Id(3))->value(), 71u);
    EXPECT_EQ(map.lookupNodeG(Id(3))->key(), Id(3));
    U32 removed = 0;
    EXPECT_TRUE(map.deleteMemberG(Id(3), &removed));
    EXPECT_EQ(removed, 71u);
    EXPECT_FALSE(map.deleteMemberG(Id(3), &removed));
}

TEST(HashMap2018, replacesAnElementAndReleasesTheOldOne) {
    Element::live = 0;
    EntryMap map;
    const ElementPtr second = make(3);
    EXPECT_TRUE(map.memberIs(Id(3), make(3)));
    EXPECT_FALSE(map.memberIs(Id(3), second));
    EXPECT_EQ(Element::live, 1);
    EXPECT_EQ(second->kelReferenceCount(), 2u);
    EXPECT_EQ(map.lookupNodeG(Id(3))->value(), second);
}

TEST(HashMap2018DeathTest, refusesToReplaceAnElementByOneOfAnotherKey) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EntryMap map;
    map.memberIs(Id(3), make(3));
    EXPECT_DEATH(map.memberIs(Id(3), make(4)),
                 "Assertion `fwkKey\\(\\) == KeyFunktor\\(\\)\\( _value \\)' failed");
}

TEST(HashMap2018, countsTheReferencesOfItsKeys) {
    using PointerMap =
        Kel::HashMap2018<Kel::HashMap2018NodeExternKey<Kel::Ptr<Element const>, U32>, 95370541u>;
    const ElementPtr a = make(1);
    const ElementPtr b = make(1);
    {
        PointerMap map;
        for (U32 n = 0; n < 100; ++n) {
            map.memberIs(make(n), n);
        }
        map.memberIs(a, 7);
        EXPECT_EQ(a->kelReferenceCount(), 2u);
        EXPECT_EQ(map.lookupNodeG(b), nullptr) << "found by the fields, not by the address";
        EXPECT_EQ(map.lookupNodeG(a)->value(), 7u);
        map.deleteMemberG(a);
        EXPECT_EQ(a->kelReferenceCount(), 1u);
        map.memberIs(a, 8);
    }
    EXPECT_EQ(a->kelReferenceCount(), 1u);
}

/// Ids whose hashes lie in the last 2^-15 of the range, so that they share the last home.
std::vector<Id> idsOfTheLastHome(U32 count) {
    std::vector<Id> ids;
    for (U32 n = 0; ids.size() < count; ++n) {
        if (Kel::keyHash(Id(n), 1801576338u) >= 0xfffe0000u) {
            ids.push_back(Id(n));
        }
    }
    return ids;
}

TEST(HashMap2018, goesOnBehindTheLastHomeWithoutWrapping) {
    const std::vector<Id> ids = idsOfTheLastHome(60);
    HandleMap map;
    for (const Id& id : ids) {
        map.memberIs(id, id.value());
        ASSERT_STREQ(Kel::HashMap2018Checker<HandleMap>::defectOf(map), "");
    }
    U32 visits = 0;
    for (auto& node : map) {
        ++visits;
        EXPECT_TRUE(map.deleteMemberG(Id(node.key())));
        ASSERT_STREQ(Kel::HashMap2018Checker<HandleMap>::defectOf(map), "");
    }
    EXPECT_EQ(visits, 60u);
    EXPECT_TRUE(map.empty());
}

/// The id whose hash is the greatest, which is also the tag of unused slots.
const Id kIdOfTheEmptyTag = Kel::keyOfHash<Id>(0xffffffffu, HandleMap::kSeed);

TEST(HashMap2018, tellsTheKeyOfTheGreatestHashFromAnUnusedSlot) {
    HandleMap map;
    EXPECT_EQ(map.lookupNodeG(kIdOfTheEmptyTag), nullptr);
    for (U32 n = 0; n < 300; ++n) {
        map.memberIs(Id(n), n);
        EXPECT_EQ(map.lookupNodeG(kIdOfTheEmptyTag), nullptr);
        EXPECT_FALSE(map.deleteMemberG(kIdOfTheEmptyTag));
        EXPECT_TRUE(map.memberIs(kIdOfTheEmptyTag, 7));
        EXPECT_FALSE(map.memberIs(kIdOfTheEmptyTag, 8));
        ASSERT_STREQ(Kel::HashMap2018Checker<HandleMap>::defectOf(map), "");
        ASSERT_NE(map.lookupNodeG(kIdOfTheEmptyTag), nullptr);
        EXPECT_EQ(map.lookupNodeG(kIdOfTheEmptyTag)->key(), kIdOfTheEmptyTag);
        EXPECT_EQ(std::distance(map.begin(), map.end()), n + 2);
        EXPECT_TRUE(map.deleteMemberG(kIdOfTheEmptyTag));
        ASSERT_STREQ(Kel::HashMap2018Checker<HandleMap>::defectOf(map), "");
    }
}

TEST(HashMap2018, movesTheKeyOfTheGreatestHashLikeAnyOther) {
    const std::vector<Id> ids = idsOfTheLastHome(20);
    HandleMap map;
    map.memberIs(kIdOfTheEmptyTag, 7);
    for (const Id& id : ids) {
        map.memberIs(id, id.value());
        ASSERT_STREQ(Kel::HashMap2018Checker<HandleMap>::defectOf(map), "");
    }
    for (const Id& id : ids) {
        EXPECT_TRUE(map.deleteMemberG(id));
        ASSERT_STREQ(Kel::HashMap2018Checker<HandleMap>::defectOf(map), "");
    }
    EXPECT_EQ(map.size(), 1u);
    ASSERT_NE(map.lookupNodeG(kIdOfTheEmptyTag), nullptr);
    EXPECT_EQ(map.lookupNodeG(kIdOfTheEmptyTag)->value(), 7u);
}

TEST(HashMap2018, takesEightBytesForAHandleUnderAnId) {
    using PointerMap = Kel::HashMap2018<Kel::HashMap2018NodeExternKey<ElementPtr, U32>, 95370541u>;
    EXPECT_EQ(sizeof(HandleMap::Node), 8u);
    EXPECT_EQ(sizeof(EntryMap::Node), 16u);
    EXPECT_EQ(sizeof(PointerMap::Node), 16u);
}

TEST(HashMap2018, deletesAKeyOnceThoughItIsMadeAgain) {
    HandleMap map;
    for (U32 n = 0; n < 20; ++n) {
        map.memberIs(Id(n), n);
    }
    U32 deletions = 0;
    map.memberDelAll([&](const Id& id) {
        map.deleteMemberG(id);
        if (++deletions < 100) {
            map.memberIs(id, 7);
        }
    });
    EXPECT_EQ(deletions, 20u);
    EXPECT_EQ(map.size(), 20u);
}

template <class Map>
std::vector<typename Map::Key> walkByKeys(Map& map, bool deletes) {
    std::vector<typename Map::Key> keys;
    for (const auto* node = map.begin().currNodeMaybeStale(); node;
         node = map.findNextG(keys.back())) {
        keys.push_back(node->fwkKey());
        if (deletes) {
            map.deleteMemberG(keys.back());
        }
    }
    return keys;
}

TEST(HashMap2018, isWalkedByKeysTooAlsoWhileTheyAreDeleted) {
    using WordMap = Kel::HashMap2018<Kel::HashMap2018NodeExternKey<U64, U32>, 95370541u>;
    HandleMap ids;
    WordMap words;
    EXPECT_EQ(ids.findNextG(Id(7)), nullptr);
    for (U32 n = 0; n < 300; ++n) {
        ids.memberIs(Id(n), n);
        words.memberIs(n, n);
    }
    std::vector<Id> idsInOrder;
    for (auto& node : ids) {
        idsInOrder.push_back(node.key());
    }
    std::vector<U64> wordsInOrder;
    for (auto& node : words) {
        wordsInOrder.push_back(node.key());
    }
    EXPECT_EQ(walkByKeys(ids, false), idsInOrder);
    EXPECT_EQ(walkByKeys(ids, true), idsInOrder);
    EXPECT_TRUE(ids.empty());
    EXPECT_EQ(walkByKeys(words, false), wordsInOrder);
    EXPECT_EQ(walkByKeys(words, true), wordsInOrder);
    EXPECT_TRUE(words.empty());
}

/// Gives no memory for the bits, and remembers how many words of them were wanted.
template <class T>
struct BitCountingAllocator {
    using value_type = T;

    BitCountingAllocator() = default;
    template <class U>
    explicit BitCountingAllocator(const BitCountingAllocator<U>&) {}

    T* allocate(std::size_t count) {
        if constexpr (std::is_same_v<T, U64>) {
            wordsWanted = count;
            throw std::bad_alloc();
        }
        return nullptr; // of the nodes, which are not made before there are bits
    }
    void deallocate(T*, std::size_t) {}

    inline static std::size_t wordsWanted = 0;
};

TEST(HashMap2018, countsTheBitsOfItsLargestArray) {
    using Node = Kel::HashMap2018NodeExternKey<Id, U32>;
    using Map = Kel::HashMap2018<Node, 1801576338u, BitCountingAllocator<Node>>;
    for (const U32 homesLog2 : {3u, 10u, 28u, 29u}) {
        const std::size_t homes = std::size_t{1} << homesLog2;
        EXPECT_THROW(Kel::HashMap2018Checker<Map>::makeTable(homesLog2, 64), std::bad_alloc);
        // One bit for each slot, and eight for each home.
        EXPECT_EQ(BitCountingAllocator<U64>::wordsWanted, (homes + 64 + 63) / 64 + homes / 8)
            << homesLog2;
    }
}

TEST(HashMap2018, itsIteratorKnowsWhetherItsNodeIsStillThere) {
    HandleMap map;
    for (U32 n = 0; n < 20; ++n) {
        map.memberIs(Id(n), n);
    }
    auto it = map.begin();
    const Id first = it.currNodeMaybeStale()->key();
    EXPECT_EQ(it.currNodeNonStale(), map.lookupNodeG(first));
    for (U32 n = 20; n < 200; ++n) {
        map.memberIs(Id(n), n);
    }
    EXPECT_EQ(it.currNodeNonStale(), map.lookupNodeG(first));
    map.deleteMemberG(first);
    EXPECT_EQ(it.currNodeNonStale(), nullptr);
    it.advance();
    EXPECT_EQ(it.currNodeNonStale(), it.currNodeMaybeStale());
}

} // namespace
