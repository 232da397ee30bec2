#include "agent/console/Session.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "tests/agent/daemon/TestDirectory.h"

namespace LagAgent {
namespace {

using testing::ElementsAre;

/// A runner that succeeds; 'say' has something to say.
class Runner final : public CommandRunner {
  public:
    Outcome run(std::string_view line, WantedCalls) override {
        Outcome outcome;
        outcome.command = line;
        if (line == "say") {
            outcome.reply.add("said", true, "said\n");
        }
        return outcome;
    }
    std::optional<Error> atEnd() override { return std::nullopt; }
    bool isOver() const override { return false; }
};

class ShownProgress final : public Progress {
  public:
    void show(std::string_view phase, std::size_t done, std::size_t total) override {
        events.push_back(std::string(phase) + " " + std::to_string(done) + "/" +
                         std::to_string(total));
    }
    void hide() override { events.push_back("hide"); }

    std::vector<std::string> events;
};

TEST(SessionProgress, IsInBytesOfTheFileAndGivesWayToOutput) {
    const TestDirectory folder;
    const std::string name = folder / "commands";
    std::ofstream(name) << "one\nsay\nthree";
    std::ostringstream out, err;
    Presenter presenter({}, out, err);
    Runner runner;
    ShownProgress progress;
    EXPECT_TRUE(Session(runner, presenter, progress).run({.batch = name}));
    EXPECT_THAT(progress.events,
                ElementsAre(name + " 4/13", "hide", name + " 8/13", name + " 13/13", "hide"));
    EXPECT_EQ("said\n", out.str());
    EXPECT_EQ("", err.str());
}

} // namespace
} // namespace LagAgent
