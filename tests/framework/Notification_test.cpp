#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::Notifier;
using testing::ElementsAre;
using testing::IsEmpty;

using Log = std::vector<std::string>;

/// Writes what it is told into a log, then does what its handler does.
class Probe : public Kel::PtrInterface::NotifieeConst {
  public:
    using Handler = std::function<void(Kel::AttributeId)>;

    Probe(Log& log, std::string name) : log_(log), name_(std::move(name)) {
        hasNotificationActiveIs(true);
    }
    Probe(Log& log, std::string name, const Kel::PtrInterface& object)
        : Probe(log, std::move(name)) {
        notifierIs(&object);
    }

    void onAttribute(Kel::AttributeId id, const void* key) override {
        log_.push_back(name_ + " " + std::to_string(id));
        latestKey = key;
        const Handler handler = whenTold; // survives the probe's own destruction
        if (handler) {
            handler(id);
        }
    }
    void onNotificationException() override { log_.push_back(name_ + " exception"); }

    Handler whenTold;
    const void* latestKey = nullptr;

  private:
    Log& log_;
    std::string name_;
};

class Notification : public testing::Test {
  protected:
    Log log_;
    Notifier::Ptr notifier_ = new Notifier;
};

TEST_F(Notification, RegisteredNotifieesAreToldInTheOrderOfTheirRegistration) {
    Probe b(log_, "b", *notifier_);
    Probe a(log_, "a", *notifier_);
    Probe c(log_, "c", *notifier_);
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("b 130", "a 130", "c 130"));
    EXPECT_EQ(notifier_->notifieeList()->size(), 3u);
}

TEST_F(Notification, TheKeyOfTheElementIsPassedOnAndAScalarHasNone) {
    Probe probe(log_, "a", *notifier_);
    const Kel::U32 key = 7;
    notifier_->announce(258, &key);
    EXPECT_EQ(probe.latestKey, &key);
    notifier_->announce(259);
    EXPECT_EQ(probe.latestKey, nullptr);
    EXPECT_THAT(log_, ElementsAre("a 258", "a 259"));
}

TEST_F(Notification, AnInactiveNotifieeIsNotTold) {
    Probe probe(log_, "a", *notifier_);
    probe.hasNotificationActiveIs(false);
    notifier_->announce(130);
    EXPECT_THAT(log_, IsEmpty());
    probe.hasNotificationActiveIs(true);
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130"));
}

TEST_F(Notification, ANotifieeIsInactiveAtFirst) {
    struct Plain : Kel::PtrInterface::NotifieeConst {
        int told = 0;
        void onAttribute(Kel::AttributeId, const void*) override { ++told; }
    } plain;
    plain.notifierIs(notifier_.ptr());
    notifier_->announce(130);
    EXPECT_EQ(plain.told, 0);
    EXPECT_FALSE(plain.hasNotificationActive());
}

TEST_F(Notification, AnInactiveNotifierTellsNobody) {
    Probe probe(log_, "a", *notifier_);
    notifier_->hasNotificationActiveIs(false);
    notifier_->announce(130);
    EXPECT_THAT(log_, IsEmpty());
}

TEST_F(Notification, AnUnregisteredNotifieeKeepsItsNotifierAndIsNotTold) {
    Probe probe(log_, "a", *notifier_);
    probe.isRegisteredNotifieeIs(false);
    EXPECT_FALSE(probe.isRegisteredNotifiee());
    EXPECT_EQ(probe.notifier(), notifier_.ptr());
    EXPECT_EQ(notifier_->notifieeList()->size(), 0u);
    notifier_->announce(130);
    EXPECT_THAT(log_, IsEmpty());
    probe.isRegisteredNotifieeIs(true);
    probe.isRegisteredNotifieeIs(true);
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 131"));
}

TEST_F(Notification, ANullNotifierUnregistersAndIsForgotten) {
    Probe probe(log_, "a", *notifier_);
    probe.notifierIs(nullptr);
    EXPECT_EQ(probe.notifier(), nullptr);
    EXPECT_FALSE(probe.isRegisteredNotifiee());
    notifier_->announce(130);
    EXPECT_THAT(log_, IsEmpty());
    probe.isRegisteredNotifieeIs(true);
    EXPECT_FALSE(probe.isRegisteredNotifiee());
}

TEST_F(Notification, ANotifieeFollowsOneNotifierAtATime) {
    const Notifier::Ptr other = new Notifier;
    Probe probe(log_, "a", *notifier_);
    probe.notifierIs(Kel::PtrInterface::PtrConst(other));
    notifier_->announce(130);
    other->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 131"));
    EXPECT_EQ(notifier_->notifieeList()->size(), 0u);
}

TEST_F(Notification, SettingTheSameNotifierAgainKeepsThePlaceInTheOrder) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.notifierIs(notifier_.ptr());
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130"));
}

TEST_F(Notification, AnObjectThatAnnouncesNothingCannotBeFollowed) {
    const framework_test::Widget::Ptr silent = new framework_test::Widget;
    Probe probe(log_, "a", *notifier_);
    probe.notifierIs(silent.ptr());
    EXPECT_EQ(probe.notifier(), nullptr);
    EXPECT_FALSE(probe.isRegisteredNotifiee());
    EXPECT_EQ(notifier_->notifieeList()->size(), 0u);
}

TEST_F(Notification, ARegistrationTakesNoReference) {
    Probe probe(log_, "a", *notifier_);
    EXPECT_EQ(notifier_->kelReferenceCount(), 1u);
    EXPECT_EQ(probe.kelReferenceCount(), 0u);
}

TEST_F(Notification, ANotifierThatDiesLeavesItsNotifieesWithoutNotifier) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    notifier_ = nullptr;
    EXPECT_EQ(a.notifier(), nullptr);
    EXPECT_EQ(b.notifier(), nullptr);
    EXPECT_FALSE(a.isRegisteredNotifiee());
}

TEST_F(Notification, ANotifierThatDiesIsForgottenByUnregisteredNotifieesToo) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    {
        Probe passing(log_, "c", *notifier_);
        for (Probe* probe : {&a, &passing, &b}) {
            probe->isRegisteredNotifieeIs(false);
        }
    }
    notifier_ = nullptr;
    EXPECT_EQ(a.notifier(), nullptr);
    EXPECT_EQ(b.notifier(), nullptr);
    a.isRegisteredNotifieeIs(true);
    EXPECT_FALSE(a.isRegisteredNotifiee());
}

TEST_F(Notification, ANotifieeThatDiesOnTheStackIsUnregistered) {
    Probe a(log_, "a", *notifier_);
    {
        Probe passing(log_, "b", *notifier_);
        EXPECT_EQ(notifier_->notifieeList()->size(), 2u);
    }
    EXPECT_EQ(notifier_->notifieeList()->size(), 1u);
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130"));
}

TEST_F(Notification, DeleteAllDropsEveryNotifiee) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    notifier_->notifieeList()->deleteAll();
    EXPECT_EQ(notifier_->notifieeList()->size(), 0u);
    EXPECT_EQ(a.notifier(), nullptr);
    EXPECT_FALSE(b.isRegisteredNotifiee());
    notifier_->announce(130);
    EXPECT_THAT(log_, IsEmpty());
    a.notifierIs(notifier_.ptr());
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 131"));
}

TEST_F(Notification, AnyNumberOfNotifieesIsToldInOrder) {
    std::vector<std::unique_ptr<Probe>> probes;
    Log expected;
    for (int i = 0; i < 1000; ++i) {
        probes.push_back(std::make_unique<Probe>(log_, std::to_string(i), *notifier_));
    }
    for (int i = 0; i < 1000; i += 3) { // gaps everywhere
        probes[static_cast<std::size_t>(i)].reset();
    }
    for (int i = 0; i < 1000; ++i) {
        if (i % 3 != 0) {
            expected.push_back(std::to_string(i) + " 130");
        }
    }
    notifier_->announce(130);
    EXPECT_EQ(log_, expected);
    EXPECT_EQ(notifier_->notifieeList()->size(), 666u);
}

TEST_F(Notification, ForEachMeetsEveryRegisteredNotifieeActiveOrNot) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    Probe c(log_, "c", *notifier_);
    a.hasNotificationActiveIs(false);
    b.notifierIs(nullptr);
    std::vector<Kel::PtrInterface::NotifieeConst*> met;
    notifier_->notifieeList()->forEach([&](auto& notifiee) { met.push_back(&notifiee); });
    EXPECT_THAT(met, ElementsAre(&a, &c));
}

TEST_F(Notification, AHandlerMayUnregisterItself) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](auto) { a.notifierIs(nullptr); };
    notifier_->announce(130);
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130", "b 131"));
}

TEST_F(Notification, ANotifieeUnregisteredByAnEarlierOneIsNotTold) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    Probe c(log_, "c", *notifier_);
    a.whenTold = [&](auto) { b.isRegisteredNotifieeIs(false); };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "c 130"));
}

TEST_F(Notification, ANotifieeDeactivatedByAnEarlierOneIsNotTold) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](auto) { b.hasNotificationActiveIs(false); };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130"));
}

TEST_F(Notification, ANotifierDeactivatedByAHandlerTellsNobodyElse) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](auto) { notifier_->hasNotificationActiveIs(false); };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130"));
}

TEST_F(Notification, ANotifieeRegisteredDuringAVisitIsToldFromTheNextChangeOn) {
    Probe a(log_, "a", *notifier_);
    Probe late(log_, "late");
    a.whenTold = [&](auto) { late.notifierIs(notifier_.ptr()); };
    notifier_->announce(130);
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 130", "a 131", "late 131"));
}

TEST_F(Notification, AHandlerMayRegisterMoreNotifieesThanTheListHeld) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    std::vector<std::unique_ptr<Probe>> late;
    a.whenTold = [&](auto) {
        for (int i = 0; i < 100; ++i) {
            late.push_back(std::make_unique<Probe>(log_, "late", *notifier_));
        }
        a.whenTold = nullptr;
    };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130"));
    notifier_->announce(131);
    EXPECT_EQ(log_.size(), 104u);
}

TEST_F(Notification, ANotifieeThatRegistersAnewDuringAVisitIsNotToldTwice) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](auto) {
        a.isRegisteredNotifieeIs(false);
        a.isRegisteredNotifieeIs(true);
    };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130"));
    a.whenTold = nullptr;
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130", "b 131", "a 131"));
}

TEST_F(Notification, AHandlerMayDestroyItsNotifiee) {
    auto a = std::make_unique<Probe>(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a->whenTold = [&](auto) { a.reset(); };
    notifier_->announce(130);
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130", "b 131"));
}

TEST_F(Notification, AHandlerMayDestroyNotifieesBeforeAndBehindItself) {
    auto a = std::make_unique<Probe>(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    auto c = std::make_unique<Probe>(log_, "c", *notifier_);
    Probe d(log_, "d", *notifier_);
    b.whenTold = [&](auto) {
        a.reset();
        c.reset();
    };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130", "d 130"));
    EXPECT_EQ(notifier_->notifieeList()->size(), 2u);
}

TEST_F(Notification, AHandlerMayDestroyTheNotifierAndNobodyElseIsTold) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](auto) { notifier_ = nullptr; };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130"));
    EXPECT_EQ(a.notifier(), nullptr);
    EXPECT_EQ(b.notifier(), nullptr);
}

TEST_F(Notification, AHandlerMayDestroyTheNotifierFromANestedVisit) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](Kel::AttributeId id) {
        if (id == 130) {
            notifier_->announce(131);
        }
    };
    b.whenTold = [&](auto) { notifier_ = nullptr; };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "a 131", "b 131"));
}

TEST_F(Notification, AHandlerMayDropAllNotifiees) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](auto) { notifier_->notifieeList()->deleteAll(); };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130"));
    EXPECT_EQ(b.notifier(), nullptr);
    EXPECT_EQ(notifier_->notifieeList()->size(), 0u);
}

TEST_F(Notification, AChangeMadeByAHandlerIsAnnouncedBeforeTheVisitUnderWayGoesOn) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](Kel::AttributeId id) {
        if (id < 132) {
            notifier_->announce(id + 1);
        }
    };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "a 131", "a 132", "b 132", "b 131", "b 130"));
}

TEST_F(Notification, ANotifieeRegisteredInANestedVisitIsToldByNeitherVisit) {
    Probe a(log_, "a", *notifier_);
    Probe late(log_, "late");
    a.whenTold = [&](Kel::AttributeId id) {
        id == 130 ? notifier_->announce(131) : late.notifierIs(notifier_.ptr());
    };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "a 131"));
}

[[noreturn]] void fail(Kel::AttributeId) {
    throw std::runtime_error("failed");
}

TEST_F(Notification, AnExceptionReachesItsNotifieeFirstAndThenLeavesAtOnce) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    Probe c(log_, "c", *notifier_);
    b.whenTold = fail;
    EXPECT_EQ(framework_test::messageOf<std::runtime_error>([&] { notifier_->announce(130); }),
              "failed");
    EXPECT_THAT(log_, ElementsAre("a 130", "b 130", "b exception"));
    b.whenTold = nullptr;
    log_.clear();
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 131", "b 131", "c 131"));
}

TEST_F(Notification, AnExceptionFromANestedVisitReachesEveryNotifieeThatItPasses) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a.whenTold = [&](Kel::AttributeId id) {
        if (id == 130) {
            notifier_->announce(131);
        }
    };
    b.whenTold = fail;
    EXPECT_THROW(notifier_->announce(130), std::runtime_error);
    EXPECT_THAT(log_, ElementsAre("a 130", "a 131", "b 131", "b exception", "a exception"));
}

TEST_F(Notification, ANotifieeThatDestroysItselfAndThrowsIsNotCalledAgain) {
    auto a = std::make_unique<Probe>(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a->whenTold = [&](Kel::AttributeId id) {
        a.reset();
        fail(id);
    };
    EXPECT_THROW(notifier_->announce(130), std::runtime_error);
    EXPECT_THAT(log_, ElementsAre("a 130"));
    EXPECT_EQ(notifier_->notifieeList()->size(), 1u);
}

TEST_F(Notification, AnOnlyNotifieeThatDestroysItselfAndThrowsIsNotCalledAgain) {
    auto a = std::make_unique<Probe>(log_, "a", *notifier_);
    a->whenTold = [&](Kel::AttributeId id) {
        a.reset();
        fail(id);
    };
    EXPECT_THROW(notifier_->announce(130), std::runtime_error);
    EXPECT_THAT(log_, ElementsAre("a 130"));
    EXPECT_EQ(notifier_->notifieeList()->size(), 0u);
}

TEST_F(Notification, AnOnlyNotifieeMayGiveItsPlaceToAnotherThatIsToldOfTheNestedChangeAlone) {
    Probe a(log_, "a", *notifier_);
    Probe late(log_, "late");
    a.whenTold = [&](auto) {
        a.notifierIs(nullptr);
        late.notifierIs(notifier_.ptr());
        notifier_->announce(131);
    };
    notifier_->announce(130);
    EXPECT_THAT(log_, ElementsAre("a 130", "late 131"));
}

TEST_F(Notification, GapsThatAnExceptionLeavesAreNotTold) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    Probe c(log_, "c", *notifier_);
    a.whenTold = [&](Kel::AttributeId id) {
        b.notifierIs(nullptr);
        fail(id);
    };
    EXPECT_THROW(notifier_->announce(130), std::runtime_error);
    EXPECT_EQ(notifier_->notifieeList()->size(), 2u);
    a.whenTold = nullptr;
    notifier_->announce(131);
    EXPECT_THAT(log_, ElementsAre("a 130", "a exception", "a 131", "c 131"));
}

TEST_F(Notification, ANotifieeThatUnregistersItselfAndThrowsIsStillToldOfItsException) {
    Probe a(log_, "a", *notifier_);
    a.whenTold = [&](Kel::AttributeId id) {
        a.notifierIs(nullptr);
        fail(id);
    };
    EXPECT_THROW(notifier_->announce(130), std::runtime_error);
    EXPECT_THAT(log_, ElementsAre("a 130", "a exception"));
}

TEST_F(Notification, ANotifieeThatDestroysTheNotifierAndThrowsIsStillToldOfItsException) {
    Probe a(log_, "a", *notifier_);
    a.whenTold = [&](Kel::AttributeId id) {
        notifier_ = nullptr;
        fail(id);
    };
    EXPECT_THROW(notifier_->announce(130), std::runtime_error);
    EXPECT_THAT(log_, ElementsAre("a 130", "a exception"));
}

TEST_F(Notification, ANotifieeDestroyedInANestedVisitIsNotCalledByTheOuterOneThatItThrewFrom) {
    auto a = std::make_unique<Probe>(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    a->whenTold = [&](Kel::AttributeId id) {
        if (id == 130) {
            notifier_->announce(131);
            return;
        }
        a.reset();
        fail(id);
    };
    EXPECT_THROW(notifier_->announce(130), std::runtime_error);
    EXPECT_THAT(log_, ElementsAre("a 130", "a 131"));
}

TEST_F(Notification, ASingleNotificationFollowsTheRulesOfAVisit) {
    Probe a(log_, "a", *notifier_);
    Probe b(log_, "b", *notifier_);
    const int key = 3;
    Kel::ActivityConfig config{.attributeId = 258, .key = &key};
    a.handleNotification(&config);
    EXPECT_EQ(a.latestKey, &key);
    a.hasNotificationActiveIs(false);
    a.handleNotification(&config);
    a.hasNotificationActiveIs(true);
    notifier_->hasNotificationActiveIs(false);
    a.handleNotification(&config);
    notifier_->hasNotificationActiveIs(true);
    a.isRegisteredNotifieeIs(false);
    a.handleNotification(&config);
    EXPECT_THAT(log_, ElementsAre("a 258"));
}

TEST_F(Notification, AnExceptionFromASingleNotificationReachesTheNotifieeThatStillLives) {
    Kel::ActivityConfig config{.attributeId = 258};
    Probe a(log_, "a", *notifier_);
    a.whenTold = fail;
    EXPECT_THROW(a.handleNotification(&config), std::runtime_error);
    auto b = std::make_unique<Probe>(log_, "b", *notifier_);
    b->whenTold = [&](Kel::AttributeId id) {
        b.reset();
        fail(id);
    };
    EXPECT_THROW(b->handleNotification(&config), std::runtime_error);
    EXPECT_THAT(log_, ElementsAre("a 258", "a exception", "b 258"));
}

TEST_F(Notification, AllNotifieesRunInTheOneNotificationActivity) {
    Probe a(log_, "a");
    EXPECT_EQ(a.kelFwkActivity(), &Kel::Activity::notification());
    EXPECT_EQ(a.actsm(), &Kel::Activity::notification());
    EXPECT_STREQ(a.actsm()->name(), "notification");
}

} // namespace
