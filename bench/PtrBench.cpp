/**
 * Copying and destroying a counted pointer, beside the peers' pointers: hot (one object, in the
 * nearest cache) and cold (a million objects in random order).
 */

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

#include "bench/Ratios.h"
#include "framework/PtrInterface.h"

namespace {

constexpr std::size_t kColdObjects = 1'000'000;

/// What all contenders' objects are beside their counter.
struct Payload {
    virtual ~Payload() = default;
    int value = 1;
};

struct OurObject : Kel::PtrInterface {
    int value = 1;
};

template <class Policy>
struct PeerObject : Payload, boost::intrusive_ref_counter<PeerObject<Policy>, Policy> {};

template <bool kThreadSafe>
struct Ours {
    using Pointer = Kel::Ptr<OurObject>;
    static void begin() { Kel::VFPtrInterface::threadSafePointers_ = kThreadSafe; }
    static Pointer make() { return new OurObject; }
};

template <class Policy>
struct IntrusivePeer {
    using Pointer = boost::intrusive_ptr<PeerObject<Policy>>;
    static void begin() {}
    static Pointer make() { return Pointer(new PeerObject<Policy>); }
};

struct SharedPeer {
    using Pointer = std::shared_ptr<Payload>;
    static void begin() {}
    static Pointer make() { return std::make_shared<Payload>(); }
};

/// Owners in an order that has nothing to do with where the objects lie.
template <class Contender>
std::vector<typename Contender::Pointer> makeOwners(std::size_t count) {
    std::vector<typename Contender::Pointer> owners;
    owners.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        owners.push_back(Contender::make());
    }
    std::shuffle(owners.begin(), owners.end(), std::mt19937(4711));
    return owners;
}

template <class Contender>
void copyAndDestroy(benchmark::State& state, std::size_t objects, std::size_t copies) {
    Contender::begin();
    {
        const auto owners = makeOwners<Contender>(objects);
        for (auto _ : state) {
            for (std::size_t i = 0; i < copies; ++i) {
                auto copy = owners[objects == 1 ? 0 : i];
                benchmark::DoNotOptimize(copy);
                benchmark::ClobberMemory();
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(copies));
    Kel::VFPtrInterface::threadSafePointers_ = false;
}

template <class Contender>
void move(benchmark::State& state) {
    Contender::begin();
    {
        auto from = Contender::make();
        for (auto _ : state) {
            auto to = std::move(from);
            benchmark::DoNotOptimize(to);
            from = std::move(to);
            benchmark::DoNotOptimize(from);
        }
    }
    Kel::VFPtrInterface::threadSafePointers_ = false;
}

template <class Contender>
void registerAll(const std::string& table, const std::string& contender) {
    const auto name = [&](const char* cell) { return table + " " + cell + "/" + contender; };
    benchmark::RegisterBenchmark((name("hot") + "/copy and destroy").c_str(),
                                 copyAndDestroy<Contender>, std::size_t{1}, std::size_t{1000});
    benchmark::RegisterBenchmark((name("cold") + "/copy and destroy").c_str(),
                                 copyAndDestroy<Contender>, kColdObjects, kColdObjects);
    benchmark::RegisterBenchmark((name("move") + "/move").c_str(), move<Contender>);
}

} // namespace

int main(int argc, char** argv) {
    registerAll<Ours<false>>("plain", "Ptr, flag off");
    registerAll<IntrusivePeer<boost::thread_unsafe_counter>>("plain", "intrusive_ptr, plain");
    registerAll<Ours<true>>("atomic", "Ptr, flag on");
    registerAll<IntrusivePeer<boost::thread_safe_counter>>("atomic", "intrusive_ptr, atomic");
    registerAll<SharedPeer>("atomic", "shared_ptr");
    const std::string off = "Ptr, flag off";
    const std::string on = "Ptr, flag on";
    return Bench::runAndCompare(argc, argv,
                                {{"plain hot", off, "intrusive_ptr, plain", 1.2, 0},
                                 {"plain cold", off, "intrusive_ptr, plain", 1.15, 0},
                                 {"plain move", off, "intrusive_ptr, plain", 0, 0},
                                 {"atomic hot", on, "intrusive_ptr, atomic", 1.02, 0},
                                 {"atomic cold", on, "intrusive_ptr, atomic", 1.02, 0},
                                 {"atomic move", on, "intrusive_ptr, atomic", 0, 0},
                                 {"atomic hot", on, "shared_ptr", 0, 0},
                                 {"atomic cold", on, "shared_ptr", 0, 0}});
}
