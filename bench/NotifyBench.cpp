/**
 * One change of one object announced to 1, 4 and 64 followers: the notifiee list beside signals of
 * other libraries. Each follower adds to a number, and the sum is checked.
 */

#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/signals2/signal.hpp>
#include <sigc++/sigc++.h>

#include "bench/Ratios.h"
#include "framework/Notifiee.h"
#include "framework/NotifieeList.h"

namespace {

using Kel::U32;

constexpr Kel::AttributeId kAttribute = 259;

class Subject : public Kel::PtrInterface {
  public:
    Kel::NotifieeList* notifieeList() const override { return &notifiees_; }
    void change() { notifiees_.visit(kAttribute); }

  private:
    mutable Kel::NotifieeList notifiees_{*this};
};

struct Follower : Kel::PtrInterface::NotifieeConst {
    void onAttribute(Kel::AttributeId id, const void*) override { sum += id; }
    std::uint64_t sum = 0;
};

class OurNotifiees {
  public:
    explicit OurNotifiees(U32 count) {
        subject_.hasNotificationActiveIs(true);
        for (U32 i = 0; i < count; ++i) {
            followers_.push_back(std::make_unique<Follower>());
            followers_.back()->notifierIs(&subject_);
            followers_.back()->hasNotificationActiveIs(true);
        }
    }
    void change() { subject_.change(); }
    std::uint64_t sum() const {
        std::uint64_t total = 0;
        for (const auto& follower : followers_) {
            total += follower->sum;
        }
        return total;
    }

  private:
    Subject subject_;
    std::vector<std::unique_ptr<Follower>> followers_;
};

struct Slot {
    void onAttribute(Kel::AttributeId id, const void*) { sum += id; }
    std::uint64_t sum = 0;
};

using Signature = void(Kel::AttributeId, const void*);

struct SigcSignal {
    void connect(Slot& slot) { signal.connect(sigc::mem_fun(slot, &Slot::onAttribute)); }
    sigc::signal<Signature> signal;
};

struct BoostSignal {
    void connect(Slot& slot) {
        signal.connect(
            [&slot](Kel::AttributeId id, const void* key) { slot.onAttribute(id, key); });
    }
    boost::signals2::signal<Signature> signal;
};

template <class Signal>
class PeerSlots {
  public:
    explicit PeerSlots(U32 count) : slots_(count) {
        for (Slot& slot : slots_) {
            signal_.connect(slot);
        }
    }
    void change() { signal_.signal(kAttribute, nullptr); }
    std::uint64_t sum() const {
        std::uint64_t total = 0;
        for (const Slot& slot : slots_) {
            total += slot.sum;
        }
        return total;
    }

  private:
    std::vector<Slot> slots_;
    Signal signal_;
};

template <class Contender>
void announce(benchmark::State& state, U32 count) {
    Contender contender(count);
    for (auto _ : state) {
        contender.change();
        benchmark::ClobberMemory();
    }
    const auto told = static_cast<std::uint64_t>(state.iterations()) * count;
    if (contender.sum() != told * kAttribute) {
        state.SkipWithError("a follower was not told");
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(told));
}

template <class Contender>
void registerAll(const std::string& contender) {
    for (U32 count : {1u, 4u, 64u}) {
        const std::string followers = std::to_string(count);
        const std::string name = followers + " notifiees/" + contender + "/one change";
        benchmark::RegisterBenchmark(name.c_str(), announce<Contender>, count);
    }
}

} // namespace

int main(int argc, char** argv) {
    registerAll<OurNotifiees>("NotifieeList");
    registerAll<PeerSlots<SigcSignal>>("sigc::signal");
    registerAll<PeerSlots<BoostSignal>>("boost::signals2");
    const std::string ours = "NotifieeList";
    return Bench::runAndCompare(argc, argv,
                                {{"1 notifiees", ours, "sigc::signal", 0.15, 0},
                                 {"4 notifiees", ours, "sigc::signal", 0.25, 0},
                                 {"64 notifiees", ours, "sigc::signal", 0.55, 0},
                                 {"1 notifiees", ours, "boost::signals2", 0, 0},
                                 {"4 notifiees", ours, "boost::signals2", 0, 0},
                                 {"64 notifiees", ours, "boost::signals2", 0, 0}});
}
