#include "agent/outcome/OutcomeJson.h"

#include <limits>
#include <memory>

namespace LagAgent {

Json toJson(const Error& error) {
    Json json{{"kind", kindName(error.kind)}, {"message", error.message}};
    if (error.status) {
        json["class"] = error.exceptionClass;
        json["function"] = error.function;
        json["status"] = *error.status;
    }
    return json;
}

void addCalls(std::vector<PdCallRecord> calls, ObjectPieces& object) {
    const std::size_t count = calls.size();
    const auto rows = std::make_shared<Listing>(
        std::vector<std::string>{"operation", "status", "call"}, count,
        [calls = std::move(calls)](std::size_t i) {
            return Cells{calls[i].operation, calls[i].status, calls[i].text};
        });
    object.addArray("calls", count,
                    [rows](std::size_t i, std::string& out) { rows->appendJson(i, out); });
}

void makesNoSense(const std::string& message) {
    throw CommandError(ErrorKind::connection, message);
}

std::string textOf(const Json& json, const char* name) {
    const auto found = json.find(name); // the end for anything but an object
    if (found == json.end() || !found->is_string()) {
        makesNoSense(std::string("what was received has no text '") + name + "'");
    }
    return found->get<std::string>();
}

std::uint32_t numberOf(const Json& json, const char* name) {
    const auto found = json.find(name);
    if (found == json.end() || !found->is_number_unsigned() ||
        found->get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        makesNoSense(std::string("what was received has no number '") + name + "'");
    }
    return found->get<std::uint32_t>();
}

Error errorOf(const Json& json) {
    const auto kind = kindOfName(textOf(json, "kind"));
    if (!kind) {
        makesNoSense("what was received has an unknown kind of error");
    }
    Error error{*kind, textOf(json, "message")};
    if (json.contains("status")) {
        error.exceptionClass = textOf(json, "class");
        error.function = textOf(json, "function");
        error.status = numberOf(json, "status");
    }
    return error;
}

std::vector<PdCallRecord> callsOf(const Json& json) {
    if (!json.is_array()) {
        makesNoSense("the PD calls in an answer are no array");
    }
    std::vector<PdCallRecord> calls;
    for (const auto& call : json) {
        calls.push_back({calls.size(), textOf(call, "operation"), numberOf(call, "status"),
                         textOf(call, "call")});
    }
    return calls;
}

std::string toLine(const Json& document) {
    return toText(document) + "\n";
}

} // namespace LagAgent
