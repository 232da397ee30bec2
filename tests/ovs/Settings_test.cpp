#include "ovs/Settings.h"

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <unistd.h>

namespace ovs {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

class SettingsTest : public testing::Test {
  protected:
    void SetUp() override { clear(); }
    void TearDown() override {
        clear();
        ::unlink(file_.c_str());
    }

    static void clear() {
        for (const char* name :
             {"VELMOR_OVS_MANAGEMENT", "VELMOR_OVS_CONTROL", "VELMOR_OVS_TABLE", "VELMOR_OVS_DONE"})
            ::unsetenv(name);
    }
    Settings readFile(const std::string& text) {
        std::ofstream(file_) << text;
        return Settings::read(file_);
    }

    std::string file_ = testing::TempDir() + "settings." + std::to_string(::getpid());
};

TEST_F(SettingsTest, AFileNamesTheSwitch) {
    const Settings settings = readFile("# the switch of rack 7\n"
                                       "management = /run/openvswitch/lag0.mgmt\n"
                                       "  control=/run/openvswitch/control # of the daemon\n"
                                       "\ntable = 251\ndone = forwarding\n");
    EXPECT_EQ("/run/openvswitch/lag0.mgmt", settings.management);
    EXPECT_EQ("lag0", settings.bridge());
    EXPECT_EQ("/run/openvswitch/control", settings.control);
    EXPECT_EQ(251, settings.table);
    EXPECT_TRUE(settings.waitsForForwarding);
}

TEST_F(SettingsTest, TheEnvironmentWinsOverTheFile) {
    ::setenv("VELMOR_OVS_MANAGEMENT", "/other.mgmt", 1);
    const Settings settings = readFile("management = /one.mgmt\ntable = 2\n");
    EXPECT_EQ("/other.mgmt", settings.management);
    EXPECT_EQ(2, settings.table);
    EXPECT_FALSE(settings.waitsForForwarding);
}

TEST_F(SettingsTest, AFileThatIsNotThereSaysNothing) {
    ::setenv("VELMOR_OVS_MANAGEMENT", "/a.mgmt", 1);
    EXPECT_EQ(1, Settings::read("/nowhere/at/all").table);
}

TEST_F(SettingsTest, WhatCannotBeUsedIsNamed) {
    const auto refused = [&](const std::string& text, const std::string& why) {
        EXPECT_THAT([&] { readFile(text); }, ThrowsMessage<BadSetting>(HasSubstr(why))) << text;
    };
    refused("", "VELMOR_OVS_MANAGEMENT");
    refused("management = /a\ncolour = red\n", "'colour = red' is no setting");
    refused("management\n", "'management' is no setting");
    for (const char* table : {"0", "252", "-1", "1x", ""})
        refused(std::string("table = ") + table + "\n", "no number from 1 to 251");
    refused("done = soon\n", "'soon'");
    refused("management = /a\ndone = forwarding\n", "VELMOR_OVS_CONTROL");
}

} // namespace
} // namespace ovs
