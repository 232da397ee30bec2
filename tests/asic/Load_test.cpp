// The library as a program has it that loads it by path.

#include "asic/SoftwareAsic.h"
#include "pd/p4_pd_velmor_switch.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

class LoadedLibrary {
  public:
    LoadedLibrary() : handle_(dlopen(PD_VELMOR_SWITCH_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(nullptr, handle_) << dlerror();
    }
    ~LoadedLibrary() { dlclose(handle_); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    template <class Function>
    Function* resolve(const char* name) const {
        auto* const function = reinterpret_cast<Function*>(dlsym(handle_, name));
        EXPECT_NE(nullptr, function) << name;
        return function;
    }

  private:
    void* handle_;
};

pipe_status addMember(const LoadedLibrary& library, p4_pd_mbr_hdl_t* member) {
    auto* const add = library.resolve<
        decltype(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo)>(
        "p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo");
    return add(0, {0, P4_PD_ALL_PIPES}, member);
}

TEST(LoadTest, TheControlsAreFoundByName) {
    const LoadedLibrary library;
    for (const char* name :
         {"velmor_asic_chip_config_default", "velmor_asic_chip_create", "velmor_asic_chip_destroy",
          "velmor_asic_reset", "velmor_asic_forward", "velmor_asic_outcome_name",
          "velmor_asic_log_start", "velmor_asic_log_stop", "velmor_asic_log_clear",
          "velmor_asic_log_begin", "velmor_asic_log_end", "velmor_asic_log_read",
          "velmor_asic_log_format", "velmor_asic_fault_plan", "velmor_asic_fault_clear",
          "velmor_asic_fault_count"})
        library.resolve<void()>(name);
}

TEST(LoadTest, UnloadingFreesTheChipAndLoadingAgainStartsAfresh) {
    for (int round = 0; round < 2; ++round) {
        {
            const LoadedLibrary library;
            p4_pd_mbr_hdl_t member = 0;
            ASSERT_EQ(0u, addMember(library, &member));
            EXPECT_EQ(1u, member);
        }
        EXPECT_EQ(nullptr, dlopen(PD_VELMOR_SWITCH_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
    }
}

TEST(LoadTest, ThePlannedFaultAndTheLogWorkThroughResolvedNames) {
    const LoadedLibrary library;
    auto* const plan = library.resolve<decltype(velmor_asic_fault_plan)>("velmor_asic_fault_plan");
    auto* const start = library.resolve<decltype(velmor_asic_log_start)>("velmor_asic_log_start");
    auto* const end = library.resolve<decltype(velmor_asic_log_end)>("velmor_asic_log_end");
    ASSERT_EQ(0u, start(10));
    ASSERT_EQ(0u, plan("p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo", 1,
                       9, VELMOR_ASIC_FAULT_ONCE));
    p4_pd_mbr_hdl_t member = 0;
    EXPECT_EQ(9u, addMember(library, &member));
    EXPECT_EQ(0u, addMember(library, &member));
    EXPECT_EQ(3u, end());
}

} // namespace
