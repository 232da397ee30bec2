#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace LagAgent {

struct Finished {
    int status;
    std::string out;
    std::string err;
};

/// Runs the agent's program with arguments as a shell reads them, and commands on standard input.
inline Finished runProgram(const std::string& arguments, const std::string& input = "") {
    const char* test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    const std::string base =
        ::testing::TempDir() + "lag-agent-" + test + "-" + std::to_string(::getpid());
    std::ofstream(base + ".in") << input;
    const int status = std::system(
        (LAG_AGENT " " + arguments + " < " + base + ".in > " + base + ".out 2> " + base + ".err")
            .c_str());
    const auto slurp = [](const std::string& name) {
        std::ostringstream text;
        text << std::ifstream(name).rdbuf();
        std::remove(name.c_str());
        return text.str();
    };
    std::remove((base + ".in").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(base + ".out"),
            slurp(base + ".err")};
}

} // namespace LagAgent
