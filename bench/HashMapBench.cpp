/**
 * The keyed collections beside their peers: one benchmark a contender, operation and size.
 *
 * Every contender runs over the same keys in the same order: distinct random ids. The keys of the
 * misses are disjoint from them. The intrusive peer gets the same hash, the same limit of one
 * element a bucket, the same doubling and power-of-two buckets, and elements of the same size that
 * lie in memory as ours do; only ours count references. The open peers get the hash of their own
 * library.
 *
 * Each operation is one pass over all keys, so that the time of a cell is that of a pass.
 */

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <boost/intrusive/unordered_set.hpp>
#include <boost/unordered/unordered_flat_map.hpp>

#include "bench/Ratios.h"
#include "framework/HashMap.h"
#include "framework/HashMap2018.h"
#include "framework/PtrInterface.h"

namespace {

using Kel::U32;

constexpr U32 kSeed = 2044359915;
constexpr U32 kSizes[] = {1'000, 100'000, 1'000'000};

/// The keys of one size, in the orders in which the passes use them.
struct Keys {
    std::vector<U32> present;
    std::vector<U32> shuffled;
    std::vector<U32> absent;

    explicit Keys(U32 count) {
        std::mt19937 random(20180815);
        std::vector<U32> drawn;
        while (drawn.size() < 2 * std::size_t{count}) {
            for (std::size_t i = drawn.size(); i < 2 * std::size_t{count}; ++i) {
                drawn.push_back(random());
            }
            std::sort(drawn.begin(), drawn.end());
            drawn.erase(std::unique(drawn.begin(), drawn.end()), drawn.end());
        }
        std::shuffle(drawn.begin(), drawn.end(), random);
        present.assign(drawn.begin(), drawn.begin() + count);
        absent.assign(drawn.begin() + count, drawn.end());
        shuffled = present;
        std::shuffle(shuffled.begin(), shuffled.end(), random);
    }

    static const Keys& of(U32 count) {
        static std::vector<std::unique_ptr<Keys>> made;
        for (const auto& keys : made) {
            if (keys->present.size() == count) {
                return *keys;
            }
        }
        made.push_back(std::make_unique<Keys>(count));
        return *made.back();
    }
};

/// Contenders with elements of their own in memory. `Elements` keeps them alive.
class OurElement : public Kel::PtrInterface, public Kel::HashMapLink<OurElement> {
  public:
    explicit OurElement(U32 key) : value(0), key_(key) {}
    U32 fwkKey() const { return key_; }
    U32 value;

  private:
    U32 key_;
};

class OurHashMap {
  public:
    using Elements = std::vector<Kel::Ptr<OurElement>>;

    static Elements makeElements(const std::vector<U32>& keys) {
        Elements made;
        for (U32 key : keys) {
            made.emplace_back(new OurElement(key));
        }
        return made;
    }
    void insert(Elements& elements, std::size_t i) { map_.newMember(elements[i]); }
    U32 find(U32 key) const {
        const OurElement* found = map_.lookup(key);
        return found ? found->value + 1 : 0;
    }
    void eraseAndInsert(U32 key) { map_.newMember(map_.deleteMember(key)); }
    U32 sum() const {
        U32 total = 0;
        for (auto& element : map_) {
            total += element->value + 1;
        }
        return total;
    }

  private:
    Kel::HashMap<OurElement, U32, kSeed> map_;
};

struct PeerElement : boost::intrusive::unordered_set_base_hook<
                         boost::intrusive::link_mode<boost::intrusive::normal_link>> {
    explicit PeerElement(U32 of) : value(0), key(of) {}
    /// As large as ours: the virtual table, the count and the number of a framework object.
    std::byte object[sizeof(OurElement) - 2 * sizeof(void*)] = {};
    U32 value;
    U32 key;
};

struct PeerKey {
    using type = U32;
    U32 operator()(const PeerElement& element) const { return element.key; }
};

struct PeerHash {
    std::size_t operator()(U32 key) const { return Kel::keyHash(key, kSeed) >> 8; }
};

class IntrusivePeer {
  public:
    using Elements = std::vector<std::unique_ptr<PeerElement>>;

    static Elements makeElements(const std::vector<U32>& keys) {
        Elements made;
        for (U32 key : keys) {
            made.push_back(std::make_unique<PeerElement>(key));
        }
        return made;
    }
    void insert(Elements& elements, std::size_t i) {
        if (set_.size() == buckets_.size()) {
            std::vector<Bucket> doubled(2 * buckets_.size());
            set_.rehash(Traits(doubled.data(), doubled.size()));
            buckets_.swap(doubled);
        }
        set_.insert(*elements[i]);
    }
    U32 find(U32 key) const {
        const auto found = set_.find(key);
        return found != set_.end() ? found->value + 1 : 0;
    }
    void eraseAndInsert(U32 key) {
        const auto found = set_.find(key);
        PeerElement& element = *found;
        set_.erase(found);
        set_.insert(element);
    }
    U32 sum() const {
        U32 total = 0;
        for (const PeerElement& element : set_) {
            total += element.value + 1;
        }
        return total;
    }

  private:
    using Set =
        boost::intrusive::unordered_set<PeerElement, boost::intrusive::key_of_value<PeerKey>,
                                        boost::intrusive::hash<PeerHash>,
                                        boost::intrusive::power_2_buckets<true>>;
    using Bucket = Set::bucket_type;
    using Traits = Set::bucket_traits;

    std::vector<Bucket> buckets_ = std::vector<Bucket>(1);
    Set set_ = Set(Traits(buckets_.data(), buckets_.size()));
};

/// Contenders that store a number beside the key.
class OurHashMap2018 {
  public:
    void insert(U32 key) { map_.memberIs(key, 0); }
    U32 find(U32 key) const {
        const auto* found = map_.lookupNodeG(key);
        return found ? found->value() + 1 : 0;
    }
    void eraseAndInsert(U32 key) {
        map_.deleteMemberG(key);
        map_.memberIs(key, 0);
    }
    U32 sum() const {
        U32 total = 0;
        for (auto& node : map_) {
            total += node.value() + 1;
        }
        return total;
    }

  private:
    Kel::HashMap2018<Kel::HashMap2018NodeExternKey<U32, U32>, kSeed> map_;
};

template <class Map>
class OpenPeer {
  public:
    void insert(U32 key) { map_.insert_or_assign(key, 0); }
    U32 find(U32 key) const {
        const auto found = map_.find(key);
        return found != map_.end() ? found->second + 1 : 0;
    }
    void eraseAndInsert(U32 key) {
        map_.erase(key);
        map_.insert_or_assign(key, 0);
    }
    U32 sum() const {
        U32 total = 0;
        for (const auto& node : map_) {
            total += node.second + 1;
        }
        return total;
    }

  private:
    Map map_;
};

/// Puts the two kinds of contender under one interface.
template <class Contender>
struct Filled {
    explicit Filled(const Keys& keys) {
        if constexpr (requires { typename Contender::Elements; }) {
            elements = Contender::makeElements(keys.present);
        }
    }

    void insertAll(Contender& into, const Keys& keys) {
        for (std::size_t i = 0; i < keys.present.size(); ++i) {
            if constexpr (requires { typename Contender::Elements; }) {
                into.insert(elements, i);
            } else {
                into.insert(keys.present[i]);
            }
        }
    }

    static auto noElements() {
        if constexpr (requires { typename Contender::Elements; }) {
            return typename Contender::Elements();
        } else {
            return 0;
        }
    }

    decltype(noElements()) elements{};
};

void check(benchmark::State& state, bool holds) {
    if (!holds) {
        state.SkipWithError("the pass did not do its work");
    }
}

enum class Operation { kHit, kDependentHit, kMiss, kInsert, kEraseAndInsert, kIterate };

template <class Contender>
U32 pass(Operation operation, Contender& map, const Keys& keys) {
    U32 seen = 0;
    switch (operation) {
    case Operation::kHit:
        for (U32 key : keys.shuffled) {
            seen += map.find(key);
        }
        return seen;
    case Operation::kDependentHit: {
        // The stored values are 0, so the key depends on the last result but stays the same.
        U32 last = 1;
        for (U32 key : keys.shuffled) {
            last = map.find(key + last - 1);
            seen += last;
        }
        return seen;
    }
    case Operation::kMiss:
        for (U32 key : keys.absent) {
            seen += 1 - map.find(key);
        }
        return seen;
    case Operation::kEraseAndInsert:
        for (U32 key : keys.shuffled) {
            map.eraseAndInsert(key);
        }
        return static_cast<U32>(keys.shuffled.size());
    case Operation::kInsert:
    case Operation::kIterate:
        return map.sum();
    }
    return seen;
}

template <class Contender>
void run(benchmark::State& state, Operation operation, U32 count) {
    const Keys& keys = Keys::of(count);
    Filled<Contender> filled(keys);
    Contender map;
    filled.insertAll(map, keys);
    for (auto _ : state) {
        const U32 seen = pass(operation, map, keys);
        check(state, seen == count);
        benchmark::DoNotOptimize(seen);
    }
    state.SetItemsProcessed(state.iterations() * count);
}

template <class Contender>
void runInsert(benchmark::State& state, Operation, U32 count) {
    const Keys& keys = Keys::of(count);
    Filled<Contender> filled(keys);
    for (auto _ : state) {
        auto map = std::make_unique<Contender>();
        filled.insertAll(*map, keys);
        state.PauseTiming();
        check(state, map->find(keys.present.back()) == 1);
        map.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

template <class Contender>
void registerAll(const std::string& contender) {
    const std::pair<const char*, Operation> operations[] = {
        {"hit", Operation::kHit},
        {"dependent hit", Operation::kDependentHit},
        {"miss", Operation::kMiss},
        {"insert", Operation::kInsert},
        {"erase and insert", Operation::kEraseAndInsert},
        {"iterate", Operation::kIterate},
    };
    for (const auto& [name, operation] : operations) {
        for (U32 size : kSizes) {
            const std::string cell = contender + "/" + name + ", " + std::to_string(size);
            auto* const body =
                operation == Operation::kInsert ? runInsert<Contender> : run<Contender>;
            benchmark::RegisterBenchmark(cell.c_str(), body, operation, size)
                ->Unit(benchmark::kMicrosecond);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    registerAll<OurHashMap>("intrusive/HashMap");
    registerAll<IntrusivePeer>("intrusive/boost::intrusive::unordered_set");
    registerAll<OurHashMap2018>("open/HashMap2018");
    registerAll<OpenPeer<boost::unordered_flat_map<U32, U32>>>("open/boost::unordered_flat_map");
    registerAll<OpenPeer<absl::flat_hash_map<U32, U32>>>("open/absl::flat_hash_map");
    return Bench::runAndCompare(
        argc, argv,
        {{"intrusive", "HashMap", "boost::intrusive::unordered_set", 0.9, 1.1},
         {"open", "HashMap2018", "boost::unordered_flat_map", 1.0, 1.5},
         {"open", "HashMap2018", "absl::flat_hash_map", 0, 0}});
}
