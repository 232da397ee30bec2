#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::Notifier;

struct Mischief {};

/// One notifier and its notifiees, whose handlers do whatever a handler may do, beside a model that
/// knows whom each visit has to tell next.
class Playground {
  public:
    explicit Playground(unsigned seed) : random_(seed), notifier_(new Notifier) {
        for (int i = 0; i < 6; ++i) {
            create();
        }
    }

    /// Announces one change from outside; true when a notifiee threw.
    bool play() {
        act(4);
        return visit();
    }

    bool isNotifierAlive() const { return notifier_ != nullptr; }
    int told() const { return told_; }
    const std::string& defect() const { return defect_; }

    void compareAtRest() {
        if (!notifier_) {
            return;
        }
        require(notifier_->notifieeList()->size() == registrations_.size(), "size at rest");
        std::vector<int> order;
        notifier_->notifieeList()->forEach([&](Kel::PtrInterface::NotifieeConst& notifiee) {
            order.push_back(static_cast<Imp&>(notifiee).id);
        });
        std::vector<int> expected;
        for (const auto& [number, id] : registrations_) {
            expected.push_back(id);
        }
        require(order == expected, "order at rest");
    }

  private:
    struct Imp : Kel::PtrInterface::NotifieeConst {
        Imp(Playground& playground, int number) : owner(playground), id(number) {}
        void onAttribute(Kel::AttributeId attribute, const void*) override {
            // The imp may be gone when this returns.
            owner.onTold(id, attribute);
        }
        void onNotificationException() override { owner.onException(id); }
        Playground& owner;
        const int id;
    };

    /// A visit under way: the registration told last, and the first one that came too late.
    struct Visit {
        Kel::AttributeId attribute;
        int cursor;
        int end;
    };

    void require(bool holds, const std::string& text) {
        if (!holds && defect_.empty()) {
            defect_ = text;
        }
    }
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }

    Imp* anyImp() {
        return imps_.empty()
                   ? nullptr
                   : std::next(imps_.begin(), pick(static_cast<int>(imps_.size())))->second.get();
    }
    void forgetRegistration(int id) {
        std::erase_if(registrations_, [&](const auto& entry) { return entry.second == id; });
    }
    void enterRegistration(int id) { registrations_.emplace(nextRegistration_++, id); }

    void create() {
        const int id = nextImp_++;
        Imp* imp = imps_.emplace(id, std::make_unique<Imp>(*this, id)).first->second.get();
        imp->hasNotificationActiveIs(pick(8) != 0);
        if (notifier_) {
            imp->notifierIs(notifier_.ptr());
            enterRegistration(id);
        }
    }
    void destroy(int id) {
        forgetRegistration(id);
        dead_.insert_or_assign(id, true);
        imps_.erase(id);
    }
    void toggleRegistration(Imp& imp) {
        if (!notifier_ || imp.isRegisteredNotifiee()) {
            imp.notifierIs(nullptr);
            forgetRegistration(imp.id);
        } else {
            imp.notifierIs(notifier_.ptr());
            enterRegistration(imp.id);
        }
    }
    void dropNotifier() {
        registrations_.clear();
        for (Visit& visit : visits_) {
            visit.end = 0;
        }
        notifier_ = nullptr;
    }

    /// What a handler does: up to `most` things out of everything that is allowed.
    void act(int most) {
        for (int i = pick(most + 1); i > 0; --i) {
            Imp* imp = anyImp();
            const int what = pick(imp ? 40 : 6);
            if (what < 6) {
                if (imps_.size() < 40) {
                    create();
                }
            } else if (what < 18) {
                toggleRegistration(*imp);
            } else if (what < 24) {
                imp->hasNotificationActiveIs(!imp->hasNotificationActive());
            } else if (what < 29) {
                destroy(imp->id);
            } else if (what < 37) {
                visit();
            } else if (notifier_ && what == 37) {
                notifier_->hasNotificationActiveIs(pick(4) != 0);
            } else if (notifier_ && what == 38 && pick(10) == 0) {
                notifier_->notifieeList()->deleteAll();
                registrations_.clear();
            } else if (what == 39 && pick(20) == 0) {
                dropNotifier();
            }
        }
    }

    /// Announces a change; true when it came back as an exception, which then is dropped here.
    bool visit() {
        if (!notifier_ || visits_.size() == 4) {
            return false;
        }
        const auto attribute = static_cast<Kel::AttributeId>(1000 + visits_.size());
        visits_.push_back({attribute, -1, nextRegistration_});
        bool threw = false;
        try {
            notifier_->announce(attribute);
        } catch (const Mischief&) {
            threw = true;
            require(!throwing_ || dead_[*throwing_], "the thrower was not told of its exception");
            throwing_.reset();
        }
        require(threw || !nextToTell(), "a visit ended early");
        visits_.pop_back();
        return threw;
    }

    /// The registration that the innermost visit has to tell next.
    std::optional<std::pair<int, int>> nextToTell() {
        const Visit& visit = visits_.back();
        if (!notifier_ || !notifier_->hasNotificationActive()) {
            return std::nullopt;
        }
        for (auto at = registrations_.upper_bound(visit.cursor);
             at != registrations_.end() && at->first < visit.end; ++at) {
            if (imps_.at(at->second)->hasNotificationActive()) {
                return *at;
            }
        }
        return std::nullopt;
    }

    void onTold(int id, Kel::AttributeId attribute) {
        ++told_;
        const auto next = nextToTell();
        require(next && next->second == id, "the wrong notifiee was told");
        require(visits_.back().attribute == attribute, "the wrong attribute was told");
        if (next) {
            visits_.back().cursor = next->first;
        }
        act(3);
        if (pick(12) == 0) {
            throwing_ = id;
            throw Mischief{};
        }
    }
    void onException(int id) {
        require(throwing_ == id, "the wrong notifiee was told of an exception");
        throwing_.reset();
    }

    std::mt19937 random_;
    Notifier::Ptr notifier_;
    std::map<int, std::unique_ptr<Imp>> imps_;
    std::map<int, int> registrations_; // registration number to notifiee
    std::map<int, bool> dead_;
    std::vector<Visit> visits_;
    std::optional<int> throwing_;
    int nextImp_ = 0;
    int nextRegistration_ = 0;
    int told_ = 0;
    std::string defect_;
};

TEST(HostileVisit, TellsExactlyWhomTheModelExpectsWhateverTheHandlersDo) {
    const unsigned seed = std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    std::printf("seed %u\n", seed);
    int told = 0;
    int exceptions = 0;
    int dyingNotifiers = 0;
    for (unsigned round = 0; round < 300; ++round) {
        Playground playground(seed + round);
        for (int i = 0; i < 40 && playground.isNotifierAlive(); ++i) {
            exceptions += playground.play();
            playground.compareAtRest();
            ASSERT_EQ(playground.defect(), "") << "seed " << seed << ", round " << round;
        }
        told += playground.told();
        dyingNotifiers += !playground.isNotifierAlive();
    }
    // The game is worth something only when all of it happened.
    EXPECT_GT(told, 10'000);
    EXPECT_GT(exceptions, 100);
    EXPECT_GT(dyingNotifiers, 0);
}

} // namespace
