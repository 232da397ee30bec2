#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "framework/String.h"
#include "tests/framework/HashMapFixtures.h"

namespace {

using namespace KelTest;

/// What holds for every keyed collection, whatever its kind and key.
template <class Kind>
class KeyedCollection : public testing::Test {
  protected:
    using Map = typename Kind::Map;
    using Key = typename Kind::Key;
    using Element = typename Kind::Element;
    using ElementPtr = Kel::Ptr<Element>;

    void SetUp() override {
        Element::live = 0;
        Memory::reset();
        Memory::blocks = 0;
    }

    void TearDown() override {
        Memory::reset();
        EXPECT_EQ(Element::live, 0) << "elements live on";
        EXPECT_EQ(Memory::blocks, 0) << "memory is not given back";
    }

    static Key key(U32 n) { return keyOf<Key>(n); }
    static ElementPtr make(U32 n) { return new Element(key(n)); }

    static void fill(Map& map, U32 count) {
        for (U32 n = 0; n < count; ++n) {
            Kind::add(map, make(n));
        }
    }

    static void expectSound(const Map& map) { ASSERT_STREQ(Kind::Checker::defectOf(map), ""); }

    static std::vector<Key> keysInOrder(const Map& map) {
        std::vector<Key> keys;
        for (auto& item : map) {
            keys.push_back(Kind::elementOf(item).fwkKey());
        }
        return keys;
    }

    static std::vector<Key> sorted(std::vector<Key> keys) {
        std::sort(keys.begin(), keys.end());
        return keys;
    }

    static std::vector<Key> keysBelow(U32 count) {
        std::vector<Key> keys;
        for (U32 n = 0; n < count; ++n) {
            keys.push_back(key(n));
        }
        return sorted(keys);
    }
};

using Kinds = testing::Types<Bucketed<Id>, Bucketed<Kel::Name>, Bucketed<U64>, OpenInternal<Id>,
                             OpenInternal<U64>, OpenExternal<Id>, OpenExternal<U64>>;

class KindNames {
  public:
    template <class Kind>
    static std::string GetName(int index) {
        static const char* const names[] = {
            "BucketedById",       "BucketedByName", "BucketedByWord", "OpenInternalById",
            "OpenInternalByWord", "OpenById",       "OpenByWord"};
        return names[index];
    }
};

TYPED_TEST_SUITE(KeyedCollection, Kinds, KindNames);

TYPED_TEST(KeyedCollection, isEmptyAtFirstAndHoldsNoMemory) {
    const typename TestFixture::Map map;
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.size(), 0u);
    EXPECT_EQ(TypeParam::find(map, this->key(1)), nullptr);
    EXPECT_EQ(map.begin(), map.end());
    EXPECT_EQ(Memory::blocks, 0);
    this->expectSound(map);
}

TYPED_TEST(KeyedCollection, takesOneReferenceToEachElement) {
    typename TestFixture::Map map;
    const auto element = this->make(5);
    TypeParam::add(map, element);
    EXPECT_EQ(element->kelReferenceCount(), 2u);
    EXPECT_EQ(TypeParam::find(map, this->key(5)), element.ptr());
    EXPECT_EQ(element->kelReferenceCount(), 2u) << "a look-up changed the count";
    EXPECT_EQ(map.size(), 1u);
}

TYPED_TEST(KeyedCollection, handsTheRemovedElementOverWithItsReference) {
    typename TestFixture::Map map;
    TypeParam::add(map, this->make(5));
    const auto removed = TypeParam::remove(map, this->key(5));
    ASSERT_TRUE(removed);
    EXPECT_EQ(removed->kelReferenceCount(), 1u);
    EXPECT_EQ(removed->fwkKey(), this->key(5));
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(TypeParam::find(map, this->key(5)), nullptr);
}

TYPED_TEST(KeyedCollection, removesNothingUnderAnAbsentKey) {
    typename TestFixture::Map map;
    EXPECT_FALSE(TypeParam::remove(map, this->key(1)));
    this->fill(map, 10);
    EXPECT_FALSE(TypeParam::remove(map, this->key(10)));
    EXPECT_EQ(map.size(), 10u);
}

TYPED_TEST(KeyedCollection, releasesItsElementsWhenItDies) {
    {
        typename TestFixture::Map map;
        this->fill(map, 100);
        EXPECT_EQ(TestFixture::Element::live, 100);
    }
    EXPECT_EQ(TestFixture::Element::live, 0);
}

TYPED_TEST(KeyedCollection, findsEachElementWhileItGrows) {
    typename TestFixture::Map map;
    U32 growths = 0;
    for (U32 n = 0; n < 2000; ++n) {
        const U32 before = TypeParam::capacity(map);
        TypeParam::add(map, this->make(n));
        growths += TypeParam::capacity(map) != before;
        EXPECT_EQ(map.size(), n + 1);
    }
    EXPECT_GE(growths, 8u);
    EXPECT_LE(growths, 12u);
    this->expectSound(map);
    for (U32 n = 0; n < 2000; ++n) {
        const auto* found = TypeParam::find(map, this->key(n));
        ASSERT_TRUE(found);
        EXPECT_EQ(found->fwkKey(), this->key(n));
    }
    EXPECT_EQ(TypeParam::find(map, this->key(2000)), nullptr);
}

TYPED_TEST(KeyedCollection, visitsEachElementOnce) {
    typename TestFixture::Map map;
    this->fill(map, 1000);
    EXPECT_EQ(this->sorted(this->keysInOrder(map)), this->keysBelow(1000));
    EXPECT_EQ(std::distance(map.begin(), map.end()), 1000);
}

TYPED_TEST(KeyedCollection, keepsItsOrderWhileItGrows) {
    typename TestFixture::Map map;
    this->fill(map, 100);
    const auto before = this->keysInOrder(map);
    for (U32 n = 100; n < 1000; ++n) {
        TypeParam::add(map, this->make(n));
    }
    auto after = this->keysInOrder(map);
    std::erase_if(after, [&before](const auto& key) {
        return std::find(before.begin(), before.end(), key) == before.end();
    });
    EXPECT_EQ(after, before);
}

TYPED_TEST(KeyedCollection, toleratesDeletionOfTheCurrentElement) {
    for (U32 count : {1u, 2u, 3u, 7u, 64u, 1000u}) {
        typename TestFixture::Map map;
        this->fill(map, count);
        std::vector<typename TestFixture::Key> visited;
        for (auto& item : map) {
            const auto key = TypeParam::elementOf(item).fwkKey();
            visited.push_back(key);
            EXPECT_TRUE(TypeParam::remove(map, key));
        }
        EXPECT_EQ(this->sorted(visited), this->keysBelow(count));
        EXPECT_TRUE(map.empty());
        EXPECT_EQ(TestFixture::Element::live, 0) << "the current element was kept alive";
    }
}

TYPED_TEST(KeyedCollection, visitsEveryOtherElementOnceAfterEachSingleDeletion) {
    constexpr U32 kCount = 200;
    for (U32 victim = 0; victim < kCount; ++victim) {
        typename TestFixture::Map map;
        this->fill(map, kCount);
        std::vector<typename TestFixture::Key> visited;
        for (auto& item : map) {
            visited.push_back(TypeParam::elementOf(item).fwkKey());
            if (visited.size() == victim + 1) {
                TypeParam::remove(map, visited.back());
            }
        }
        ASSERT_EQ(this->sorted(visited), this->keysBelow(kCount)) << "victim " << victim;
    }
}

TYPED_TEST(KeyedCollection, doesNotVisitAnElementDeletedAhead) {
    typename TestFixture::Map map;
    this->fill(map, 100);
    const auto order = this->keysInOrder(map);
    std::vector<typename TestFixture::Key> visited;
    for (auto& item : map) {
        visited.push_back(TypeParam::elementOf(item).fwkKey());
        if (visited.size() % 2 == 1) {
            TypeParam::remove(map, order[visited.size() * 2 - 1]);
        }
        if (visited.size() == 50) {
            break;
        }
    }
    for (const auto& key : visited) {
        EXPECT_EQ(std::count(visited.begin(), visited.end(), key), 1);
    }
    this->expectSound(map);
}

TYPED_TEST(KeyedCollection, endsTheVisitWhenEverythingIsDeletedInIt) {
    typename TestFixture::Map map;
    this->fill(map, 50);
    U32 visits = 0;
    for (auto& item : map) {
        (void)TypeParam::elementOf(item);
        ++visits;
        map.emptyAllBuckets();
    }
    EXPECT_EQ(visits, 1u);
    EXPECT_TRUE(map.empty());
}

TYPED_TEST(KeyedCollection, toleratesGrowthDuringAVisit) {
    typename TestFixture::Map map;
    this->fill(map, 20);
    const auto present = this->keysInOrder(map);
    std::vector<typename TestFixture::Key> visited;
    U32 next = 1000;
    for (auto& item : map) {
        visited.push_back(TypeParam::elementOf(item).fwkKey());
        if (next < 1400) {
            for (int i = 0; i < 40; ++i) {
                TypeParam::add(map, this->make(next++));
            }
        }
    }
    for (const auto& key : present) {
        EXPECT_EQ(std::count(visited.begin(), visited.end(), key), 1);
    }
    EXPECT_EQ(map.size(), 420u);
    this->expectSound(map);
}

TYPED_TEST(KeyedCollection, memberDelAllCallsBackOnceForEachKey) {
    typename TestFixture::Map map;
    this->fill(map, 300);
    std::vector<typename TestFixture::Key> deleted;
    map.memberDelAll([&](const auto& key) {
        deleted.push_back(key);
        TypeParam::remove(map, key);
    });
    EXPECT_EQ(this->sorted(deleted), this->keysBelow(300));
    EXPECT_TRUE(map.empty());
}

TYPED_TEST(KeyedCollection, memberDelAllToleratesADeletionThatDoesNotHappen) {
    typename TestFixture::Map map;
    this->fill(map, 30);
    U32 calls = 0;
    map.memberDelAll([&](const auto&) { ++calls; });
    EXPECT_EQ(calls, 30u);
    EXPECT_EQ(map.size(), 30u);
}

TYPED_TEST(KeyedCollection, emptyAllBucketsReleasesEverythingAndLeavesAUsableCollection) {
    typename TestFixture::Map map;
    this->fill(map, 300);
    const auto kept = Kel::Ptr(TypeParam::find(map, this->key(7)));
    map.emptyAllBuckets();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(TestFixture::Element::live, 1);
    EXPECT_EQ(kept->kelReferenceCount(), 1u);
    this->expectSound(map);
    this->fill(map, 10);
    EXPECT_EQ(map.size(), 10u);
    this->expectSound(map);
}

TYPED_TEST(KeyedCollection, memberDelAllWithoutACallbackReleasesEverything) {
    typename TestFixture::Map map;
    this->fill(map, 300);
    map._memberDelAll();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(TestFixture::Element::live, 0);
    this->expectSound(map);
}

TYPED_TEST(KeyedCollection, isConsistentForDestructorsThatRunWhileItIsEmptied) {
    typename TestFixture::Map map;
    this->fill(map, 40);
    for (auto& item : map) {
        TypeParam::elementOf(item).atDeath = [&](const auto& key) {
            EXPECT_EQ(TypeParam::find(map, key), nullptr);
            ASSERT_STREQ(TypeParam::Checker::defectOf(map), "");
            // One destructor removes another element, which then dies in turn.
            if (!map.empty()) {
                TypeParam::remove(map, TypeParam::elementOf(*map.begin()).fwkKey());
            }
        };
    }
    map.emptyAllBuckets();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(TestFixture::Element::live, 0);
}

TYPED_TEST(KeyedCollection, isConsistentForADestructorThatRunsAfterADeletion) {
    typename TestFixture::Map map;
    this->fill(map, 40);
    int deaths = 0;
    TypeParam::find(map, this->key(3))->atDeath = [&](const auto& key) {
        ++deaths;
        EXPECT_EQ(TypeParam::find(map, key), nullptr);
        EXPECT_EQ(map.size(), 39u);
        ASSERT_STREQ(TypeParam::Checker::defectOf(map), "");
        TypeParam::add(map, TestFixture::make(3));
    };
    TypeParam::remove(map, this->key(3));
    EXPECT_EQ(deaths, 1);
    EXPECT_EQ(map.size(), 40u);
    this->expectSound(map);
}

TYPED_TEST(KeyedCollection, isUnchangedWhenGrowingFails) {
    typename TestFixture::Map map;
    for (int permitted : {0, 1}) {
        U32 failures = 0;
        for (U32 n = map.size(); failures < 4; ++n) {
            const auto element = this->make(n);
            Memory::allocationsLeft = permitted;
            const auto before = this->keysInOrder(map);
            try {
                TypeParam::add(map, element);
            } catch (const std::bad_alloc&) {
                ++failures;
                EXPECT_EQ(this->keysInOrder(map), before);
                EXPECT_EQ(map.size(), n);
                EXPECT_EQ(element->kelReferenceCount(), 1u);
                this->expectSound(map);
                Memory::reset();
                TypeParam::add(map, element);
            }
            if (permitted == 1 && Memory::allocationsLeft == 0 && failures == 0 && n > 200) {
                break; // This kind needs only one block to grow.
            }
        }
        this->expectSound(map);
    }
}

TYPED_TEST(KeyedCollection, behavesLikeAnOrderedMapUnderRandomOperations) {
    const U32 seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    typename TestFixture::Map map;
    std::map<typename TestFixture::Key, typename TestFixture::Element*> oracle;
    for (int step = 0; step < 20000; ++step) {
        // The range breathes, so that the collection grows and empties several times.
        const U32 range = step / 4000 % 2 == 0 ? 600 : 60;
        const auto key = this->key(random() % range);
        const auto known = oracle.find(key);
        if (known == oracle.end()) {
            ASSERT_EQ(TypeParam::find(map, key), nullptr);
            ASSERT_FALSE(TypeParam::remove(map, key));
            if (random() % 3 != 0) {
                const Kel::Ptr element(new typename TestFixture::Element(key));
                TypeParam::add(map, element);
                oracle[key] = element.ptr();
            }
        } else {
            ASSERT_EQ(TypeParam::find(map, key), known->second);
            if (random() % 3 == 0) {
                ASSERT_EQ(TypeParam::remove(map, key).ptr(), known->second);
                oracle.erase(known);
            }
        }
        ASSERT_EQ(map.size(), oracle.size());
        if (step % 500 == 0) {
            this->expectSound(map);
            ASSERT_EQ(this->keysInOrder(map).size(), oracle.size());
        }
    }
    std::vector<typename TestFixture::Key> keys;
    for (const auto& [key, element] : oracle) {
        keys.push_back(key);
    }
    EXPECT_EQ(this->sorted(this->keysInOrder(map)), keys);
}

TYPED_TEST(KeyedCollection, visitsWhatStaysExactlyOnceUnderRandomChanges) {
    const U32 seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 60; ++round) {
        typename TestFixture::Map map;
        const U32 count = random() % 200;
        this->fill(map, count);
        std::map<typename TestFixture::Key, int> visits;
        std::map<typename TestFixture::Key, bool> changed;
        for (auto& item : map) {
            ++visits[TypeParam::elementOf(item).fwkKey()];
            for (U32 i = random() % 3; i > 0; --i) {
                const auto key = this->key(random() % 400);
                changed[key] = true;
                if (!TypeParam::remove(map, key) && map.size() < 300) {
                    TypeParam::add(map, Kel::Ptr(new typename TestFixture::Element(key)));
                }
            }
        }
        for (U32 n = 0; n < count; ++n) {
            if (!changed.count(this->key(n))) {
                ASSERT_EQ(visits[this->key(n)], 1) << "key " << n << ", round " << round;
            }
        }
        this->expectSound(map);
    }
}

template <class Kind>
std::vector<U32> orderOfSequentialIds() {
    typename Kind::Map map;
    for (U32 n = 0; n < 64; ++n) {
        Kind::add(map, new typename Kind::Element(Id(n)));
    }
    std::vector<U32> ids;
    for (auto& item : map) {
        ids.push_back(Kind::elementOf(item).fwkKey().value());
    }
    return ids;
}

TEST(HashMap, theSeedDecidesTheOrder) {
    EXPECT_NE((orderOfSequentialIds<Bucketed<Id, 2044359915u>>()),
              (orderOfSequentialIds<Bucketed<Id, 820652789u>>()));
    EXPECT_EQ((orderOfSequentialIds<Bucketed<Id, 2044359915u>>()),
              (orderOfSequentialIds<Bucketed<Id, 2044359915u>>()));
}

TEST(HashMap2018, theSeedDecidesTheOrder) {
    EXPECT_NE((orderOfSequentialIds<OpenExternal<Id, 1801576338u>>()),
              (orderOfSequentialIds<OpenExternal<Id, 2162009060u>>()));
}

} // namespace
