// What the tests of all PD libraries need of the one over Open vSwitch.

#include "tests/pd-conformance/PdTest.h"

namespace pd_test {

void freshChip() {
    velmor_asic_reset();
    ASSERT_EQ(0u, velmor_asic_chip_power_cycle(kDevice)) << velmor_asic_problem();
}

// Each is a question to the switch.
std::size_t flowCount() {
    return 400;
}

} // namespace pd_test
