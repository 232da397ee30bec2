#include "framework/Hash.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "framework/PtrInterface.h"
#include "framework/String.h"

namespace {

using Kel::keyHash;
using Kel::U32;
using Kel::U64;

constexpr U32 kSeed = 2785377793u;

class Id {
  public:
    explicit Id(U32 value) : value_(value) {}
    U32 value() const { return value_; }

  private:
    U32 value_;
};

enum class Colour : std::uint8_t { kRed = 1, kBlue = 200 };

struct Counted : Kel::PtrInterface {};

/// How often each index occurs when the top `bits` of the hashes choose one of 2^bits buckets.
std::vector<U32> fill(const std::vector<U32>& hashes, U32 bits) {
    std::vector<U32> counts(std::size_t{1} << bits);
    for (U32 hash : hashes) {
        ++counts[hash >> (32 - bits)];
    }
    return counts;
}

/// With as many keys as buckets, random hashing leaves 1/e of the buckets empty, puts no more than
/// about ten keys into one, and gives a chi-square close to the number of buckets.
void expectSpreadLikeRandom(const std::vector<U32>& hashes, U32 bits, const std::string& what) {
    const std::vector<U32> counts = fill(hashes, bits);
    const double buckets = static_cast<double>(counts.size());
    const double expected = static_cast<double>(hashes.size()) / buckets;
    double chiSquare = 0;
    for (U32 count : counts) {
        chiSquare += (count - expected) * (count - expected) / expected;
    }
    const double slack = 8 * std::sqrt(2 * buckets);
    EXPECT_LT(chiSquare, buckets + slack) << what << ", " << bits << " bits";
    EXPECT_LT(*std::max_element(counts.begin(), counts.end()), 14 * expected + 1)
        << what << ", " << bits << " bits";
}

template <class MakeKey>
void expectSpreadAtAllSizes(const std::string& what, MakeKey&& makeKey) {
    for (U32 seed : {0u, 1u, 95370541u, kSeed, 3625760601u}) {
        for (U32 bits : {3u, 6u, 10u, 16u}) {
            std::vector<U32> hashes;
            for (U32 i = 0; i < U32{1} << bits; ++i) {
                hashes.push_back(keyHash(makeKey(i), seed));
            }
            expectSpreadLikeRandom(hashes, bits, what + " under seed " + std::to_string(seed));
        }
    }
}

TEST(Hash, sequentialIdsSpreadOverTheTopBits) {
    expectSpreadAtAllSizes("ids from 0", [](U32 i) { return Id(i); });
    expectSpreadAtAllSizes("ids from 1000000", [](U32 i) { return Id(1000000 + i); });
}

TEST(Hash, stridedIdsSpreadOverTheTopBits) {
    for (U32 shift : {1u, 4u, 8u, 12u, 16u}) {
        expectSpreadAtAllSizes("stride 2^" + std::to_string(shift),
                               [shift](U32 i) { return Id(i << shift); });
    }
    expectSpreadAtAllSizes("stride 10", [](U32 i) { return Id(10 * i); });
    expectSpreadAtAllSizes("stride 1000", [](U32 i) { return Id(1000 * i); });
}

TEST(Hash, alignedPointersSpreadOverTheTopBits) {
    for (U64 alignment : {8u, 16u, 64u, 4096u}) {
        expectSpreadAtAllSizes("alignment " + std::to_string(alignment), [alignment](U32 i) {
            return reinterpret_cast<const char*>(0x00007f3a5c000000ull + i * alignment);
        });
    }
}

TEST(Hash, shortTextsSpreadOverTheTopBits) {
    expectSpreadAtAllSizes("names",
                           [](U32 i) { return Kel::Name("Ethernet" + std::to_string(i)); });
}

TEST(Hash, ofThirtyTwoBitKeysIsABijection) {
    static_assert(Kel::kKeyHashIsExact<U32> && Kel::kKeyHashIsExact<Id> &&
                  Kel::kKeyHashIsExact<Colour> && Kel::kKeyHashIsExact<std::int16_t>);
    static_assert(!Kel::kKeyHashIsExact<U64> && !Kel::kKeyHashIsExact<Kel::Ptr<Counted>> &&
                  !Kel::kKeyHashIsExact<Kel::Name> && !Kel::kKeyHashIsExact<int*>);
    for (U64 key = 0; key <= 0xffffffffu; key += 65521) {
        const U32 hash = keyHash(static_cast<U32>(key), kSeed);
        ASSERT_EQ(Kel::keyOfHash<U32>(hash, kSeed), key);
    }
    for (int key = -32768; key < 32768; key += 13) {
        const auto narrow = static_cast<std::int16_t>(key);
        ASSERT_EQ(Kel::keyOfHash<std::int16_t>(keyHash(narrow, kSeed), kSeed), key);
    }
    EXPECT_EQ(Kel::keyOfHash<Colour>(keyHash(Colour::kBlue, 7), 7), Colour::kBlue);
    EXPECT_EQ(Kel::keyOfHash<Id>(keyHash(Id(12), 7), 7).value(), 12u);
    EXPECT_TRUE(Kel::keyOfHash<bool>(keyHash(true, 7), 7));
}

TEST(Hash, differsBySeed) {
    std::set<U32> hashes;
    for (U32 seed : {2044359915u, 2785377793u, 2319079825u, 95370541u, 2162009060u, 1801576338u,
                     3625760601u, 820652789u, 2970215000u}) {
        hashes.insert(keyHash(Id(10), seed));
        hashes.insert(keyHash(U64{10}, seed));
        hashes.insert(keyHash(Kel::Name("10"), seed));
    }
    EXPECT_EQ(hashes.size(), 27u);
}

TEST(Hash, ofAnIdAndOfItsNumberAreTheSame) {
    EXPECT_EQ(keyHash(Id(77), kSeed), keyHash(U32{77}, kSeed));
    EXPECT_EQ(keyHash(Colour::kBlue, kSeed), keyHash(U32{200}, kSeed));
}

TEST(Hash, ofACountedPointerGoesByTheAddress) {
    Kel::Ptr<Counted> a = new Counted;
    Kel::Ptr<Counted> b = new Counted;
    EXPECT_EQ(keyHash(a, kSeed), keyHash(a.ptr(), kSeed));
    EXPECT_EQ(keyHash(Kel::Ptr<Counted const>(a), kSeed), keyHash(a, kSeed));
    EXPECT_NE(keyHash(a, kSeed), keyHash(b, kSeed));
    EXPECT_EQ(a->kelReferenceCount(), 1u);
}

TEST(Hash, ofTextGoesByAllItsBytes) {
    const std::string zeros("\0\0\0\0\0\0\0\0\0", 9);
    std::set<U32> hashes;
    for (std::size_t length = 0; length <= zeros.size(); ++length) {
        hashes.insert(keyHash(Kel::String(zeros.substr(0, length)), kSeed));
    }
    EXPECT_EQ(hashes.size(), 10u);
    EXPECT_EQ(keyHash(Kel::Name("lagGroup"), kSeed), keyHash(Kel::String("lagGroup"), kSeed));
    EXPECT_EQ(keyHash(std::string("lagGroup"), kSeed), keyHash(Kel::String("lagGroup"), kSeed));
    EXPECT_NE(keyHash(Kel::Name("Ethernet1/1/1"), kSeed),
              keyHash(Kel::Name("Ethernet1/1/2"), kSeed));
}

TEST(Hash, aKeyWithItsHashKnowsTheHashOfTheCollection) {
    const Kel::KeyAndRhashNoSeedArg<Id, kSeed> probe(Id(10));
    EXPECT_EQ(probe.keyRhashNonInline(), keyHash(Id(10), kSeed));
    EXPECT_EQ(probe.keyRhash(), probe.keyRhashNonInline());
    EXPECT_EQ(probe.key().value(), 10u);
}

} // namespace
