#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/Kel.h"
#include "platform/BfPdLagGroup/BfPdLagGroupIntf.h"

/// The one operation that this process has of its own.
pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member(p4_pd_sess_hdl_t session,
                                                                int device,
                                                                p4_pd_mbr_hdl_t member) {
    return session + static_cast<pipe_status>(device) + member;
}

namespace {

using BfPdLagGroup::BfPdLagGroupIntf;
using Intf = Kel::Ptr<BfPdLagGroupIntf>;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class PdInterface : public testing::Test {
  protected:
    PdInterface() {
        Kel::traceSinkIs([this](std::string_view line) { lines_.emplace_back(line); });
        Kel::traceLevelIs("BfLagGroup", 8);
    }
    ~PdInterface() override {
        Kel::traceLevelIs("BfLagGroup", 0);
        Kel::traceSinkIs(nullptr);
        if (library_) {
            dlclose(library_);
        }
    }

    void* library() {
        if (!library_) {
            library_ = dlopen(SPARSE_PD_LIBRARY, RTLD_NOW | RTLD_LOCAL);
            EXPECT_NE(library_, nullptr) << dlerror();
        }
        return library_;
    }
    /// How many operations are bound, and the name of the last that is.
    static std::pair<int, std::string> bound(BfPdLagGroupIntf& intf) {
        std::pair<int, std::string> result;
        intf.forEach([&](const auto& operation) {
            if (operation.isBound()) {
                ++result.first;
                result.second = operation.name();
            }
        });
        return result;
    }

    std::vector<std::string> lines_;

  private:
    void* library_ = nullptr;
};

using Bound = std::pair<int, std::string>;

TEST_F(PdInterface, IsAnEntityNamedAfterTheLibrary) {
    const Intf intf = new BfPdLagGroupIntf("libpd.so", library(), 7);
    EXPECT_EQ(intf->name(), "libpd.so");
    EXPECT_EQ(intf->fullName(), "libpd.so");
    EXPECT_EQ(intf->dlHandle(), library());
    EXPECT_EQ(intf->sessionId(), 7u);
}

TEST_F(PdInterface, KnowsTheTwentySixOperationsByTheirNames) {
    const Intf intf = new BfPdLagGroupIntf("pd", library(), 0);
    std::vector<std::string> names;
    intf->forEach([&](const auto& operation) { names.emplace_back(operation.name()); });
    const std::string table = "p4_pd_velmor_switch_lagGroup_";
    const std::string profile = "p4_pd_velmor_switch_lagPortActionProfile_";
    std::vector<std::string> expected;
    for (const char* name :
         {"set_property", "add_entry", "add_entry_with_selector", "modify_entry",
          "modify_entry_with_selector", "set_default_entry", "set_default_entry_with_selector",
          "table_delete", "table_reset_default_entry", "get_entry"}) {
        expected.push_back(table + name);
    }
    for (const char* verb : {"add_member_with_", "modify_member_with_"}) {
        for (const char* action : {"fixL2SubintfAlignment", "invalidateUcastEgressPort",
                                   "setLagPort", "setPhysicalPort", "setTunnelInfo"}) {
            expected.push_back(profile + verb + action);
        }
    }
    for (const char* name : {"del_member", "create_group", "del_group", "add_member_to_group",
                             "del_member_from_group", "group_member_state_set"}) {
        expected.push_back(profile + name);
    }
    EXPECT_EQ(names, expected);
    EXPECT_EQ(names.size(), 26u);
}

TEST_F(PdInterface, ResolvesWhatALoadedLibraryHas) {
    const Intf intf = new BfPdLagGroupIntf("pd", library(), 7);
    EXPECT_EQ(bound(*intf), Bound(1, "p4_pd_velmor_switch_lagGroup_table_delete"));
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagGroup_table_delete(7u, 3, 42u), 0u);
    using LastCall = const Kel::U32* (*)();
    const auto* last = reinterpret_cast<LastCall>(dlsym(library(), "sparse_pd_last_call"))();
    EXPECT_THAT(std::vector<Kel::U32>(last, last + 3), ElementsAre(7u, 3u, 42u));
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagGroup_table_delete(7u, 3, 0u), 6u);
    EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(PdInterface, ANullHandleMeansTheSymbolsOfTheProcess) {
    const Intf intf = new BfPdLagGroupIntf("", nullptr, 0);
    EXPECT_EQ(bound(*intf), Bound(1, "p4_pd_velmor_switch_lagPortActionProfile_del_member"));
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagPortActionProfile_del_member(100u, 20, 3u), 123u);
}

TEST_F(PdInterface, AnOperationThatTheLibraryLacksIsNotSupportedAndTracedOnce) {
    const Intf intf = new BfPdLagGroupIntf("pd", library(), 0);
    EXPECT_THAT(lines_, IsEmpty()) << "nothing is reported before it is called";
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(intf->p4_pd_velmor_switch_lagPortActionProfile_del_group(0u, 0, 1u), 17u);
    }
    EXPECT_THAT(lines_,
                ElementsAre(EndsWith("the PD library lacks "
                                     "p4_pd_velmor_switch_lagPortActionProfile_del_group")));
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagPortActionProfile_del_member(0u, 0, 1u), 17u);
    EXPECT_EQ(lines_.size(), 2u);
}

TEST_F(PdInterface, ACallOfAMissingOperationLeavesItsOutArgumentsUntouched) {
    const Intf intf = new BfPdLagGroupIntf("pd", library(), 0);
    p4_pd_velmor_switch_lagGroup_match_spec_t spec{1, 2};
    p4_pd_entry_hdl_t handle = 99;
    const p4_pd_dev_target_t target{0, 0xffff};
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagGroup_add_entry(0u, target, &spec, 1u, 2u, &handle),
              17u);
    EXPECT_EQ(handle, 99u);
}

TEST_F(PdInterface, AHandleOfNoOpenLibraryResolvesNothing) {
    int noLibrary = 0;
    const BfPdLagGroupIntf::Ptr pdLib = new BfPdLagGroupIntf("libpd.so", &noLibrary, 7);
    pdLib->forEach([](const auto& operation) { EXPECT_FALSE(operation.isBound()); });
    EXPECT_EQ(pdLib->p4_pd_velmor_switch_lagGroup_table_delete(7u, 0, 1u), 17u);
    pdLib->dlHandleIs(nullptr);
    EXPECT_EQ(pdLib->dlHandle(), nullptr);
}

TEST_F(PdInterface, EveryOperationIsMissingWhenTheLibraryHasNone) {
    void* empty = dlopen("libm.so.6", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(empty, nullptr);
    const Intf intf = new BfPdLagGroupIntf("libm", empty, 0);
    EXPECT_EQ(bound(*intf), Bound(0, ""));
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagGroup_set_property(0u, 0, 1u, 0u), 17u);
    dlclose(empty);
}

TEST_F(PdInterface, SettingTheHandleResolvesAnewAndAMissingOperationIsTracedAgain) {
    const Intf intf = new BfPdLagGroupIntf("pd", nullptr, 0);
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagPortActionProfile_del_group(0u, 0, 1u), 17u);
    intf->dlHandleIs(library());
    EXPECT_EQ(intf->dlHandle(), library());
    EXPECT_EQ(bound(*intf), Bound(1, "p4_pd_velmor_switch_lagGroup_table_delete"));
    EXPECT_EQ(intf->p4_pd_velmor_switch_lagPortActionProfile_del_group(0u, 0, 1u), 17u);
    EXPECT_EQ(lines_.size(), 2u);
    intf->dlHandleIs(nullptr);
    EXPECT_EQ(bound(*intf), Bound(1, "p4_pd_velmor_switch_lagPortActionProfile_del_member"));
}

TEST_F(PdInterface, SettingTheSameHandleAfterAReloadResolvesAnewToo) {
    const Intf intf = new BfPdLagGroupIntf("pd", library(), 0);
    auto& operation = intf->p4_pd_velmor_switch_lagGroup_table_delete;
    operation.functionIs(nullptr); // bound to what is no longer there
    intf->dlHandleIs(library());
    EXPECT_TRUE(operation.isBound());
    EXPECT_EQ(operation(7u, 3, 42u), 0u);
}

TEST_F(PdInterface, ItsAttributesAreServedGenerically) {
    const Intf intf = new BfPdLagGroupIntf("pd", nullptr, 5);
    const Kel::Type& type = *intf->fwkType();
    EXPECT_STREQ(type.name, "BfPdLagGroup::BfPdLagGroupIntf");
    EXPECT_EQ(type.attribute("dlHandle")->id, 258u);
    EXPECT_EQ(type.attribute("sessionId")->id, 259u);
    EXPECT_EQ(type.attribute("name")->id, 130u);
    EXPECT_EQ(Kel::attribute<Kel::U32>(intf, "sessionId"), 5u);
    Kel::attributeIs(intf, "sessionId", Kel::U32{6});
    EXPECT_EQ(intf->sessionId(), 6u);
    Kel::attributeIs(intf, "dlHandle", library());
    EXPECT_EQ(Kel::attribute<void*>(intf, "dlHandle"), library());
    EXPECT_TRUE(intf->p4_pd_velmor_switch_lagGroup_table_delete.isBound());
}

TEST_F(PdInterface, ItsMutatorsAnnounceWhatChanges) {
    struct Follower : Kel::PtrInterface::NotifieeConst {
        std::vector<Kel::AttributeId> told;
        void onAttribute(Kel::AttributeId id, const void*) override { told.push_back(id); }
    } follower;
    const Intf intf = new BfPdLagGroupIntf("pd", nullptr, 5);
    intf->hasNotificationActiveIs(true);
    follower.notifierIs(intf.ptr());
    follower.hasNotificationActiveIs(true);
    intf->sessionIdIs(5);
    intf->dlHandleIs(nullptr);
    EXPECT_THAT(follower.told, IsEmpty());
    intf->sessionIdIs(6);
    intf->dlHandleIs(library());
    EXPECT_THAT(follower.told, ElementsAre(259u, 258u));
}

} // namespace
