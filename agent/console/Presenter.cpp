#include "agent/console/Presenter.h"

#include "agent/outcome/OutcomeJson.h"
#include "agent/outcome/Text.h"

namespace LagAgent {

namespace {

std::string prefix(const Place& place) {
    return place.name.empty() ? "error: "
           : place.line == 0  ? place.name + ": "
                              : place.name + ":" + std::to_string(place.line) + ": ";
}

} // namespace

void Presenter::show(const Outcome& outcome, const Place& place) {
    if (outcome.command.empty()) {
        return;
    }
    if (options_.json) {
        showJson(outcome, place);
    } else {
        showText(outcome, place);
    }
}

void Presenter::show(const Error& error, const Place& place) {
    if (options_.json) {
        out_ << toLine({{"ok", false}, {"error", toJson(error)}}) << std::flush;
    } else {
        err_ << prefix(place) << error.text() << std::endl;
    }
}

bool Presenter::isSilentAbout(const Outcome& outcome) const {
    const bool saysNothing =
        options_.quiet || (outcome.reply.textPieces().isEmpty() && !outcome.expectedError);
    return outcome.command.empty() ||
           (!options_.json && !options_.calls && !outcome.error && saysNothing);
}

void Presenter::showJson(const Outcome& outcome, const Place& place) {
    ObjectPieces document;
    if (place.line != 0) {
        document.add("line", place.line);
    }
    document.add("command", outcome.command);
    document.add("ok", !outcome.error);
    if (outcome.error) {
        document.add("error", toJson(*outcome.error));
    }
    if (outcome.expectedError) {
        document.add("expectedError", toJson(*outcome.expectedError));
    }
    if (!outcome.reply.isEmpty()) {
        document.add("result", outcome.reply.jsonPieces());
    }
    if (options_.calls) {
        addCalls(outcome.calls, document);
    }
    out_ << document.pieces().whole() << std::endl;
}

void Presenter::showText(const Outcome& outcome, const Place& place) {
    if (options_.calls) {
        out_ << "> " << printable(outcome.command) << "\n";
        for (const auto& call : outcome.calls) {
            out_ << "    " << call.text << "\n";
        }
    }
    if (!options_.quiet) {
        out_ << outcome.reply.text();
        if (outcome.expectedError) {
            out_ << "as expected: " << outcome.expectedError->text() << "\n";
        }
    }
    out_ << std::flush;
    if (outcome.error) {
        show(*outcome.error, place);
    }
}

} // namespace LagAgent
