#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

/// Runs a program with arguments as a shell reads them, and commands on standard input.
inline Finished runCommandLine(const std::string& command, const std::string& input = "") {
    std::string test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::ranges::replace(test, '/', '-'); // of a parameter
    const std::string base =
        ::testing::TempDir() + "lag-agent-" + test + "-" + std::to_string(::getpid());
    std::ofstream(base + ".in") << input;
    const int status = std::system(
        (command + " < " + base + ".in > " + base + ".out 2> " + base + ".err").c_str());
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

/// The same with the agent's program.
inline Finished runProgram(const std::string& arguments, const std::string& input = "") {
    return runCommandLine(LAG_AGENT " " + arguments, input);
}

} // namespace LagAgent
