#pragma once

#include <functional>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BfLagGroup/LagGroupActionProfile.h"
#include "tests/support/Followers.h"
#include "tests/support/LiveObjects.h"

namespace model_test {

using namespace BfLagGroup;
using Kel::U16;
using Kel::U32;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using test_support::Follower;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Action = LagGroupBaseActionProfileSpec::PtrConst;
using Notice = test_support::Notice<U32>;
using Type = LagGroupActionProfileType;

inline constexpr auto kSetLagPort = Type::setLagPortActionProfileSpec;

inline Action lagPort(U16 port) {
    const SetLagPortActionProfileSpec::Ptr action = new SetLagPortActionProfileSpec;
    Kel::attributeIs(action, "egrL2AintfPort", port);
    return action;
}

inline LagGroupActionProfileEntry::Ptr newEntry(U32 memberId, const Action& action = nullptr) {
    LagGroupActionProfileEntry::Ptr entry =
        new LagGroupActionProfileEntry(RuxMemberId(memberId), action);
    entry->hasNotificationActiveIs(true);
    return entry;
}

inline LagGroupActionProfile::Ptr newProfile() {
    LagGroupActionProfile::Ptr profile = new LagGroupActionProfile("lagGroup");
    profile->hasNotificationActiveIs(true);
    return profile;
}

/// Follows one object and does, at each announcement, what the test wants.
class Reaction : public Kel::PtrInterface::NotifieeConst {
  public:
    using Do = std::function<void(Kel::AttributeId, U32 key)>;

    template <class Object>
    Reaction(const Object& object, Do react) : react_(std::move(react)) {
        notifierIs(&*object);
        hasNotificationActiveIs(true);
    }

    void onAttribute(Kel::AttributeId id, const void* key) override {
        ++told_;
        U32 word = 0;
        if (key) {
            std::memcpy(&word, key, sizeof word);
        }
        react_(id, word);
    }
    void onNotificationException() override { ++exceptions_; }

    int told() const noexcept { return told_; }
    int exceptions() const noexcept { return exceptions_; }

  private:
    Do react_;
    int told_ = 0;
    int exceptions_ = 0;
};

/// An empty profile with notifications on; the test fails when it leaves an object behind.
struct Model : testing::Test {
    test_support::LiveObjects liveObjects;
    LagGroupActionProfile::Ptr profile = newProfile();

    LagGroupGroup::Ptr newGroup(U32 groupId) const {
        return profile->groupIs(RuxGroupId(groupId), 4, 1, kSetLagPort);
    }
};

} // namespace model_test
