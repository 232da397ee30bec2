// Every function of the PD API in one list, for what holds for all of them.
#pragma once

#include "tests/asic/AsicTest.h"

#include <cstdint>
#include <vector>

namespace asic_test {

using Session = p4_pd_sess_hdl_t;
using Target = p4_pd_dev_target_t;

/// What the pointer arguments of a call point at, by the names of the PD header.
struct Arguments {
    p4_pd_velmor_switch_lagGroup_match_spec_t match_spec{kUntouched, kUntouched};
    p4_pd_velmor_switch_setLagPort_action_spec_t action_spec{0xBEEF};
    p4_pd_velmor_switch_usage_t usage{kUntouched, kUntouched, kUntouched, kUntouched,
                                      kUntouched, kUntouched, kUntouched};
    std::uint32_t sess_hdl = kUntouched;
    std::uint32_t entry_hdl = kUntouched;
    std::uint32_t mbr_hdl = kUntouched;
    std::uint32_t grp_hdl = kUntouched;
    std::uint32_t next_hdl = kUntouched;
    std::uint32_t priority = kUntouched;
    std::uint32_t action = kUntouched;
    std::uint32_t member_count = kUntouched;
    std::uint32_t state = kUntouched;
    std::uint16_t max_grp_size = 0xBEEF;
    bool has_mbr = true;
    bool has_grp = true;
    bool spare = true;
};

/// Hands out the addresses of arguments, and null for one of them (counted from 0 in the order in
/// which the compiler evaluates the arguments: over all counts, each argument is null once).
class Pointers {
  public:
    static constexpr int kNoNull = -1;
    explicit Pointers(int null = kNoNull) : null_(null) {}

    template <class T>
    T* pass(T& argument) {
        return passed_++ == null_ ? nullptr : &argument;
    }

  private:
    int null_;
    int passed_ = 0;
};

/// A PD function, called with handles that no object has.
struct PdOperation {
    const char* name;
    bool takesSession;
    bool takesDevice;
    bool takesTarget;
    int pointers;
    pipe_status (*call)(Session, Target, Pointers&, Arguments&);
};

const std::vector<PdOperation>& pdOperations();

} // namespace asic_test
