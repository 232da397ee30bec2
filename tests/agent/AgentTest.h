#pragma once

#include <dlfcn.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "agent/command/Interpreter.h"
#include "agent/command/ValueType.h"

namespace LagAgent {

/// An agent over an empty software ASIC, driven by command lines.
class AgentTest : public testing::Test {
  protected:
    AgentTest() {
        resetAsic();
        agent = std::make_unique<Agent>(Target{.pdPath = PD_VELMOR_SWITCH_LIBRARY});
        interpreter = std::make_unique<Interpreter>(*agent);
    }
    ~AgentTest() override {
        agent.reset();
        resetAsic();
    }

    /// The ASIC's library as when it was loaded.
    static void resetAsic() {
        void* library = dlopen(PD_VELMOR_SWITCH_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, library) << dlerror();
        reinterpret_cast<void (*)()>(dlsym(library, "velmor_asic_reset"))();
    }

    Outcome run(const std::string& line) { return interpreter->run(line, WantedCalls::all); }

    void good(const std::string& line) {
        const Outcome outcome = run(line);
        EXPECT_FALSE(outcome.error) << line << ": " << outcome.error->text();
    }
    void good(std::initializer_list<const char*> lines) {
        for (const char* line : lines) {
            good(line);
        }
    }

    /// The error of a command that must fail.
    Error bad(const std::string& line) {
        Outcome outcome = run(line);
        EXPECT_TRUE(outcome.error) << line << " succeeded";
        return outcome.error.value_or(Error{ErrorKind::internal, ""});
    }

    /// The error of a command that the agent must refuse without a PD call.
    std::string refusal(const std::string& line) {
        const Outcome outcome = run(line);
        EXPECT_TRUE(outcome.error) << line << " succeeded";
        EXPECT_TRUE(outcome.calls.empty()) << line << " reached the chip";
        EXPECT_TRUE(outcome.error && outcome.error->kind == ErrorKind::refused) << line;
        return outcome.error ? outcome.error->message : "";
    }

    /// What the driver and the chip hold, in a form that can be compared.
    std::string state() {
        std::string text;
        for (const char* section : {"", " asic"}) {
            text += run(std::string("show") + section).reply.text();
        }
        return text;
    }

    std::unique_ptr<Agent> agent;
    std::unique_ptr<Interpreter> interpreter;
};

/// The same with members 1 and 2 of setLagPort, member 3 of setTunnelInfo, group 10 of members 1
/// and 2, and an entry that points at the group.
class LagTest : public AgentTest {
  protected:
    LagTest() {
        good({"member add 1 action setLagPort port 1", "member add 2 action setLagPort port 2",
              "member add 3 action setTunnelInfo",
              "group add 10 size 4 initial 1 action setLagPort", "group member add 10 2",
              "entry set value 5 mask 0xff priority 9 group 10"});
    }
};

} // namespace LagAgent
