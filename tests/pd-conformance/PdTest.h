// Fixture of the tests that hold for every PD library: a fresh library with an empty chip, and the
// PD calls that most tests make in a form that fails the test if the call fails.
#pragma once

#include "pd/PdTools.h"
#include "pd/p4_pd_velmor_switch.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>

namespace pd_test {

inline constexpr p4_pd_sess_hdl_t kSession = 0;
inline constexpr int kDevice = 0;
inline constexpr p4_pd_dev_target_t kAllPipes{kDevice, P4_PD_ALL_PIPES};
inline constexpr std::uint32_t kUntouched = 0xDEADBEEF;
inline constexpr std::uint32_t kUnknown = 4'000'000'000; // no test gets a handle this far

inline p4_pd_dev_target_t pipe(std::uint16_t id) {
    return {kDevice, id};
}

// What differs between the libraries. The test program of each defines them.

/// Puts the library back to where it was when it was loaded, with an empty chip as device 0.
void freshChip();
/// How many flows a test sends to see what becomes of all.
std::size_t flowCount();

class PdTest : public testing::Test {
  protected:
    void SetUp() override { freshChip(); }
    void TearDown() override { freshChip(); }

    static pipe_status tryMember(std::uint32_t* member, std::uint16_t port = 0,
                                 p4_pd_dev_target_t target = kAllPipes) {
        p4_pd_velmor_switch_setLagPort_action_spec_t spec{port};
        return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(kSession, target,
                                                                                   &spec, member);
    }
    static std::uint32_t member(std::uint16_t port, p4_pd_dev_target_t target = kAllPipes) {
        std::uint32_t handle = 0;
        EXPECT_EQ(0u, tryMember(&handle, port, target));
        return handle;
    }
    static pipe_status delMember(std::uint32_t member) {
        return p4_pd_velmor_switch_lagPortActionProfile_del_member(kSession, kDevice, member);
    }

    static pipe_status tryGroup(std::uint32_t* group, std::uint16_t size,
                                p4_pd_dev_target_t target = kAllPipes) {
        return p4_pd_velmor_switch_lagPortActionProfile_create_group(kSession, target, size, group);
    }
    static std::uint32_t group(std::uint16_t size, p4_pd_dev_target_t target = kAllPipes) {
        std::uint32_t handle = 0;
        EXPECT_EQ(0u, tryGroup(&handle, size, target));
        return handle;
    }
    static pipe_status delGroup(std::uint32_t group) {
        return p4_pd_velmor_switch_lagPortActionProfile_del_group(kSession, kDevice, group);
    }
    static pipe_status join(std::uint32_t group, std::uint32_t member) {
        return p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(kSession, kDevice,
                                                                            group, member);
    }
    static pipe_status leave(std::uint32_t group, std::uint32_t member) {
        return p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(kSession, kDevice,
                                                                              group, member);
    }
    static pipe_status setState(std::uint32_t group, std::uint32_t member, std::uint32_t state) {
        return p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
            kSession, kDevice, group, member, state);
    }

    struct Key {
        std::uint32_t value;
        std::uint32_t mask = 0xFFFFFFFF;
        std::uint32_t priority = 0;
    };
    static pipe_status tryEntry(std::uint32_t* entry, Key key, std::uint32_t member,
                                p4_pd_dev_target_t target = kAllPipes) {
        p4_pd_velmor_switch_lagGroup_match_spec_t spec{key.value, key.mask};
        return p4_pd_velmor_switch_lagGroup_add_entry(kSession, target, &spec, key.priority, member,
                                                      entry);
    }
    static std::uint32_t entry(Key key, std::uint32_t member,
                               p4_pd_dev_target_t target = kAllPipes) {
        std::uint32_t handle = 0;
        EXPECT_EQ(0u, tryEntry(&handle, key, member, target));
        return handle;
    }
    static pipe_status tryEntryWithGroup(std::uint32_t* entry, Key key, std::uint32_t group,
                                         p4_pd_dev_target_t target = kAllPipes) {
        p4_pd_velmor_switch_lagGroup_match_spec_t spec{key.value, key.mask};
        return p4_pd_velmor_switch_lagGroup_add_entry_with_selector(kSession, target, &spec,
                                                                    key.priority, group, entry);
    }
    static std::uint32_t entryWithGroup(Key key, std::uint32_t group,
                                        p4_pd_dev_target_t target = kAllPipes) {
        std::uint32_t handle = 0;
        EXPECT_EQ(0u, tryEntryWithGroup(&handle, key, group, target));
        return handle;
    }
    static pipe_status delEntry(std::uint32_t entry) {
        return p4_pd_velmor_switch_lagGroup_table_delete(kSession, kDevice, entry);
    }
    static pipe_status tryDefault(std::uint32_t* entry, std::uint32_t member,
                                  p4_pd_dev_target_t target = kAllPipes) {
        return p4_pd_velmor_switch_lagGroup_set_default_entry(kSession, target, member, entry);
    }
    static std::uint32_t defaultEntry(std::uint32_t member, p4_pd_dev_target_t target = kAllPipes) {
        std::uint32_t handle = 0;
        EXPECT_EQ(0u, tryDefault(&handle, member, target));
        return handle;
    }
    static pipe_status resetDefault(p4_pd_dev_target_t target = kAllPipes) {
        return p4_pd_velmor_switch_lagGroup_table_reset_default_entry(kSession, target);
    }
    static pipe_status setEntryScope(std::uint32_t value) {
        return p4_pd_velmor_switch_lagGroup_set_property(kSession, kDevice,
                                                         P4_PD_PROPERTY_ENTRY_SCOPE, value);
    }

    static p4_pd_velmor_switch_usage_t usage(p4_pd_dev_target_t target = kAllPipes) {
        p4_pd_velmor_switch_usage_t counters{};
        EXPECT_EQ(0u, p4_pd_velmor_switch_get_usage(kSession, target, &counters));
        return counters;
    }
    static velmor_asic_result_t forward(std::uint32_t metadata, std::uint32_t flow = 0,
                                        std::uint16_t pipe = 0) {
        velmor_asic_result_t result{};
        EXPECT_EQ(0u, velmor_asic_forward(kDevice, pipe, metadata, flow, &result));
        return result;
    }
};

} // namespace pd_test
