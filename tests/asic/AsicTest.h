// Fixture of the software ASIC's tests: that of all PD libraries, and chips of a chosen size.
#pragma once

#include "asic/SoftwareAsic.h"
#include "tests/pd-conformance/PdTest.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

namespace asic_test {

using namespace pd_test;
using pd_test::pipe; // and not that of the C library

class AsicTest : public PdTest {
  protected:
    /// What holds for chips in memory holds for chips in files: with a path in the environment the
    /// tests run on one that lives there.
    static const char* chipFile() { return std::getenv("ASIC_TEST_CHIP_FILE"); }

    static void replaceChip(const velmor_asic_chip_config_t& config) {
        ASSERT_EQ(0u, velmor_asic_chip_destroy(kDevice));
        if (!chipFile()) {
            ASSERT_EQ(0u, velmor_asic_chip_create(kDevice, &config));
            return;
        }
        std::remove(chipFile());
        ASSERT_EQ(0u, velmor_asic_chip_attach(kDevice, chipFile(), &config))
            << velmor_asic_attach_error();
    }
    static velmor_asic_chip_config_t defaultConfig() {
        velmor_asic_chip_config_t config{};
        EXPECT_EQ(0u, velmor_asic_chip_config_default(&config));
        return config;
    }
};

} // namespace asic_test
