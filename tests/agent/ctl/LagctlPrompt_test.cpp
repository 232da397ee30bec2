#include <fstream>

#include "tests/agent/console/Terminal.h"
#include "tests/agent/daemon/Client.h"
#include "tests/agent/daemon/Daemon.h"

namespace LagAgent {
namespace {

/// lagctl at a terminal.
class LagctlPrompt : public TerminalTest {
  protected:
    LagctlPrompt() {
        daemon.startProgram();
        startAgain();
    }

    void startAgain() {
        start({LAGCTL, "--state-dir", daemon.directory()},
              {{"XDG_STATE_HOME", daemon.folder / "home"}});
    }

    Daemon daemon;
};

TEST_F(LagctlPrompt, CarriesOutWhatIsTypedAndCompleted) {
    awaitsPrompt();
    type("member add 1 act\tsetT\t\r");
    awaitsPrompt();
    type("sho\tmem\t\r");
    awaits("setTunnelInfo");
    awaitsPrompt();
    type("mebmer add 1\r");
    awaits("error: unknown command 'mebmer' (did you mean 'member'?)");
    awaitsPrompt();
    type("quit\r");
    EXPECT_EQ(1, exitStatus());
    Client client(daemon.control());
    EXPECT_EQ("lag-agent", client.hears()["hello"]);
}

TEST_F(LagctlPrompt, HistoryIsThereTheNextTime) {
    awaitsPrompt();
    type("show groups\r");
    awaits("groups:");
    awaitsPrompt();
    type("show members\r");
    awaits("members:");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
    startAgain();
    awaitsPrompt();
    type(std::string(kUp) + kUp + "\r");
    awaits("groups:");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
    std::ostringstream kept;
    kept << std::ifstream(daemon.folder / "home/lagctl/history").rdbuf();
    EXPECT_EQ("show groups\nshow members\nshow groups\n", kept.str());
}

TEST_F(LagctlPrompt, EndsWhenTheDaemonIsGone) {
    awaitsPrompt();
    EXPECT_EQ(0, daemon.stop());
    type("show\r");
    awaits("error: lost the daemon at " + daemon.control());
    EXPECT_EQ(1, exitStatus());
}

} // namespace
} // namespace LagAgent
