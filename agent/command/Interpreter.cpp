#include "agent/command/Interpreter.h"

#include <utility>

#include "agent/command/Commands.h"
#include "agent/outcome/Text.h"
#include "agent/terms/CurrentError.h"

namespace LagAgent {

namespace {

/// A command's scope: its changes are kept when it ends well, and forgotten otherwise.
class Transaction {
  public:
    explicit Transaction(Configuration& configuration) : configuration_(configuration) {}
    ~Transaction() { configuration_.rollback(); }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Throws `DesiredStateLost`, which is the command's failure then.
    void commit() { configuration_.commit(); }

  private:
    Configuration& configuration_;
};

/// While it lives, the script whose line is carried out is the agent's.
class Turn {
  public:
    Turn(Agent& agent, ScriptState& script) : agent_(agent), script_(script) { change(); }
    ~Turn() { change(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

  private:
    void change() noexcept { std::swap(agent_.script, script_); }

    Agent& agent_;
    ScriptState& script_;
};

} // namespace

Outcome Interpreter::run(std::string_view line, WantedCalls calls) {
    const Turn turn(agent_, script_);
    Outcome outcome;
    const auto words = wordsOf(line);
    if (words.empty()) {
        return outcome;
    }
    outcome.command = joined(words);
    const auto expected = std::exchange(agent_.script.expectedError, std::nullopt);
    const std::uint64_t begin = agent_.asic.nextCall();
    perform(words, outcome);
    const std::uint64_t end = agent_.asic.nextCall();
    if (words.front() != "expect") {
        agent_.script.callsBegin = begin;
        agent_.script.callsEnd = end;
    }
    if (calls == WantedCalls::all) {
        outcome.calls = agent_.asic.calls(begin, end);
    }
    if (expected) {
        judge(*expected, outcome);
    }
    return outcome;
}

void Interpreter::perform(const std::vector<std::string>& words, Outcome& outcome) {
    try {
        const auto parsed = commandGrammar().parse(words);
        agent_.requireUnharmed();
        Transaction transaction(agent_.configuration);
        parsed.command->run(agent_, parsed.arguments, outcome.reply);
        transaction.commit();
        agent_.requireUnharmed();
    } catch (...) {
        outcome.error = currentError();
    }
}

void Interpreter::judge(const std::string& expected, Outcome& outcome) const {
    if (!outcome.error) {
        outcome.error =
            Error{ErrorKind::expectation,
                  "expected an error with " + inQuotes(expected) + ", but it succeeded"};
    } else if (outcome.error->text().find(expected) != std::string::npos) {
        outcome.expectedError = std::exchange(outcome.error, std::nullopt);
    } else {
        outcome.error->message =
            "expected an error with " + inQuotes(expected) + ": " + outcome.error->message;
    }
}

std::vector<std::string> Interpreter::continuations(const std::vector<std::string>& words) {
    return commandGrammar().continuations(words);
}

std::optional<Error> Interpreter::atEnd() {
    const auto expected = std::exchange(script_.expectedError, std::nullopt);
    if (!expected) {
        return std::nullopt;
    }
    return Error{ErrorKind::expectation, "expected an error with " + inQuotes(*expected) +
                                             ", but there is no more command"};
}

} // namespace LagAgent
