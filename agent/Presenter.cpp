#include "agent/Presenter.h"

#include "agent/Text.h"

namespace LagAgent {

namespace {

Json toJson(const Error& error) {
    Json json{{"kind", kindName(error.kind)}, {"message", error.message}};
    if (error.status) {
        json["class"] = error.exceptionClass;
        json["function"] = error.function;
        json["status"] = *error.status;
    }
    return json;
}

Json toJson(const std::vector<PdCallRecord>& calls) {
    Json json = Json::array();
    for (const auto& call : calls) {
        json.push_back(
            {{"operation", call.operation}, {"status", call.status}, {"call", call.text}});
    }
    return json;
}

/// A document on one line; bytes that are not UTF-8 are replaced.
std::string line(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

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
        out_ << line({{"ok", false}, {"error", toJson(error)}}) << std::flush;
    } else {
        err_ << prefix(place) << error.text() << std::endl;
    }
}

void Presenter::showJson(const Outcome& outcome, const Place& place) {
    Json document = Json::object();
    if (place.line != 0) {
        document["line"] = place.line;
    }
    document["command"] = outcome.command;
    document["ok"] = !outcome.error;
    if (outcome.error) {
        document["error"] = toJson(*outcome.error);
    }
    if (outcome.expectedError) {
        document["expectedError"] = toJson(*outcome.expectedError);
    }
    if (!outcome.reply.json().empty()) {
        document["result"] = outcome.reply.json();
    }
    if (options_.calls) {
        document["calls"] = toJson(outcome.calls);
    }
    out_ << line(document) << std::flush;
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
