// Every function of the PD API in one list, for what holds for all of them.
#pragma once

#include "tests/asic/AsicTest.h"

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace asic_test {

using Session = p4_pd_sess_hdl_t;
using Target = p4_pd_dev_target_t;

/// What the pointer arguments of a call point at: enough of each type for any call.
struct Arguments {
    p4_pd_velmor_switch_lagGroup_match_spec_t matchSpec{kUntouched, kUntouched};
    p4_pd_velmor_switch_setLagPort_action_spec_t actionSpec{0xBEEF};
    p4_pd_velmor_switch_usage_t usage{kUntouched, kUntouched, kUntouched, kUntouched,
                                      kUntouched, kUntouched, kUntouched};
    std::array<std::uint32_t, 3> numbers{kUntouched, kUntouched, kUntouched};
    std::uint16_t size = 0xBEEF;
    std::array<bool, 3> flags{true, true, true};
};

/// Which arguments name the session, the device and the pipe, and which pointer (counted from 0) is
/// null.
struct Call {
    static constexpr int kNoNull = -1;

    Session session = kSession;
    Target target = kAllPipes;
    int null = kNoNull;
};

/// A PD function, called with handles that no object has.
struct PdOperation {
    const char* name;
    bool takesSession;
    bool takesDevice;
    bool takesTarget;
    int pointers;
    std::function<pipe_status(const Call&, Arguments&)> call;
};

const std::vector<PdOperation>& pdOperations();

} // namespace asic_test
