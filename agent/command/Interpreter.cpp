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

/// Gives a command's function what it works on.
struct Performance {
    Agent& agent;
    ScriptState& script;
    const Arguments& arguments;
    Reply& reply;

    void operator()(void (*run)(Configuration&, const Arguments&)) const {
        run(agent.configuration(), arguments);
    }
    void operator()(void (*run)(Flows&, const Arguments&, Reply&)) const {
        run(agent.flows(), arguments, reply);
    }
    void operator()(void (*run)(const AsicControl&, const Arguments&)) const {
        run(agent.asic(), arguments);
    }
    void operator()(void (*run)(PersistentState&, const View&, const Arguments&, Reply&)) const {
        run(agent.requiredState(), agent.view(script), arguments, reply);
    }
    void operator()(void (*run)(ScriptState&, const Arguments&)) const { run(script, arguments); }
    void operator()(void (*run)(const View&, const Arguments&)) const {
        run(agent.view(script), arguments);
    }
    void operator()(void (*run)(const View&, const Arguments&, Reply&)) const {
        run(agent.view(script), arguments, reply);
    }
};

} // namespace

Outcome Interpreter::run(std::string_view line, WantedCalls calls) {
    Outcome outcome;
    const auto words = wordsOf(line);
    if (words.empty()) {
        return outcome;
    }
    outcome.command = joined(words);
    const auto expected = std::exchange(script_.expectedError, std::nullopt);
    const std::uint64_t begin = agent_.asic().nextCall();
    perform(words, outcome);
    const std::uint64_t end = agent_.asic().nextCall();
    if (words.front() != "expect") {
        script_.callsBegin = begin;
        script_.callsEnd = end;
    }
    if (calls == WantedCalls::all) {
        outcome.calls = agent_.asic().calls(begin, end);
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
        Transaction transaction(agent_.configuration());
        std::visit(Performance{agent_, script_, parsed.arguments, outcome.reply},
                   parsed.command->run);
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
