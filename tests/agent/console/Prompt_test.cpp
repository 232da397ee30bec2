#include "tests/agent/console/Terminal.h"

namespace LagAgent {
namespace {

/// The agent's program at a terminal.
class Prompt : public TerminalTest {
  protected:
    Prompt() { start({LAG_AGENT}); }
};

TEST_F(Prompt, CarriesOutWhatIsTyped) {
    awaitsPrompt();
    type("member add 1 action setLagPort port 7\r");
    awaitsPrompt();
    type("show members\r");
    awaits("setLagPort  7");
    awaitsPrompt();
    type("quit\r");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, LineCanBeEdited) {
    awaitsPrompt();
    type(std::string("show memberz") + "\x7f" + "s\r"); // backspace
    awaits("members:");
    awaitsPrompt();
    type(std::string("how groups") + "\x01" + "s\r"); // to the beginning of the line
    awaits("groups:");
    awaitsPrompt();
    type(std::string("show entrie") + kLeft + kLeft + "\x05" + "s\r"); // back, and to the end
    awaits("entries:");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, TabCompletesTheWord) {
    awaitsPrompt();
    type("sho\tmem\t\r");
    awaits("members:");
    awaitsPrompt();
    type("member add 1 act\tsetT\t\r");
    awaitsPrompt();
    type("show members\r");
    awaits("setTunnelInfo");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, HistoryBringsALineBack) {
    awaitsPrompt();
    type("show groups\r");
    awaits("groups:");
    awaitsPrompt();
    type("show members\r");
    awaits("members:");
    awaitsPrompt();
    type(std::string(kUp) + kUp + "\r");
    awaits("groups:");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, ErrorDoesNotEndIt) {
    awaitsPrompt();
    type("mebmer add 1\r");
    awaits("error: unknown command 'mebmer' (did you mean 'member'?)");
    awaitsPrompt();
    type("member del 1\r");
    awaits("error: there is no member 1");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(1, exitStatus());
}

} // namespace
} // namespace LagAgent
