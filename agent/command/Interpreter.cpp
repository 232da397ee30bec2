#include "agent/command/Interpreter.h"

#include <algorithm>
#include <iterator>
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
    Outcome outcome = begin(line, calls);
    while (outcome.isUnderWay()) {
        goOn(outcome);
    }
    return outcome;
}

Outcome Interpreter::begin(std::string_view line, WantedCalls calls) {
    Outcome outcome;
    const auto words = wordsOf(line);
    if (words.empty()) {
        return outcome;
    }
    outcome.command = joined(words);
    wanted_ = calls;
    expected_ = std::exchange(script_.expectedError, std::nullopt);
    CallNumbers made;
    perform(outcome, made, [&] {
        const auto parsed = commandGrammar().parse(words);
        agent_.requireUnharmed();
        Transaction transaction(agent_.configuration());
        std::visit(Performance{agent_, script_, parsed.arguments, outcome.reply},
                   parsed.command->run);
        transaction.commit();
    });
    if (words.front() != "expect") {
        script_.calls = std::move(made);
    }
    return outcome;
}

void Interpreter::goOn(Outcome& outcome) {
    perform(outcome, script_.calls, [&] {
        agent_.requireUnharmed();
        const auto work = outcome.reply.work(); // which may end itself
        if (work->goOn(outcome.reply)) {
            outcome.reply.workIs(nullptr);
        }
    });
}

template <class Part>
void Interpreter::perform(Outcome& outcome, CallNumbers& made, Part part) {
    const std::uint64_t begin = agent_.asic().nextCall();
    try {
        part();
        agent_.requireUnharmed();
    } catch (...) {
        outcome.error = currentError();
        outcome.reply.workIs(nullptr);
    }
    const std::uint64_t end = agent_.asic().nextCall();
    made.emplace_back(begin, end);
    if (wanted_ == WantedCalls::all) {
        std::ranges::move(agent_.asic().calls(begin, end), std::back_inserter(outcome.calls));
    }
    if (expected_ && !outcome.isUnderWay()) {
        judge(*expected_, outcome);
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
