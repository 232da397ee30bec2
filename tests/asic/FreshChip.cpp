// What the tests of all PD libraries need of the software ASIC.

#include "tests/asic/AsicTest.h"

namespace pd_test {

void freshChip() {
    velmor_asic_reset();
    const char* const file = std::getenv("ASIC_TEST_CHIP_FILE");
    if (!file)
        return;
    std::remove(file);
    ASSERT_EQ(0u, velmor_asic_chip_destroy(kDevice));
    ASSERT_EQ(0u, velmor_asic_chip_attach(kDevice, file, nullptr)) << velmor_asic_attach_error();
}

std::size_t flowCount() {
    return 10'000;
}

} // namespace pd_test
