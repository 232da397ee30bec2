#pragma once

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace LagAgent {

/// A folder of the test's own, gone when this object is. Its path is short enough for sockets.
class TestDirectory {
  public:
    TestDirectory() {
        std::string name = "/tmp/lag-agent-XXXXXX";
        EXPECT_NE(nullptr, mkdtemp(name.data()));
        path_ = name;
    }
    ~TestDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace LagAgent
