#include "agent/wire/Received.h"

#include <algorithm>
#include <limits>

namespace LagAgent {

namespace {

bool isNumber(const Json& json) {
    return json.is_number_unsigned() &&
           json.get<std::uint64_t>() <= std::numeric_limits<std::uint32_t>::max();
}

bool isText(const Json& json) {
    return json.is_string();
}

bool isArray(const Json& json) {
    return json.is_array();
}

bool isListOfWords(const Json& json) {
    return json.is_array() && std::ranges::all_of(json, isText);
}

const Json& memberOf(const Json& json, const char* name, const char* type,
                     bool (*isGood)(const Json&)) {
    const auto found = json.find(name); // the end for anything but an object
    if (found == json.end() || !isGood(*found)) {
        makesNoSense(std::string("what was received has no ") + type + " '" + name + "'");
    }
    return *found;
}

} // namespace

void makesNoSense(const std::string& message) {
    throw CommandError(ErrorKind::connection, message);
}

std::string textOf(const Json& json, const char* name) {
    return memberOf(json, name, "text", isText).get<std::string>();
}

std::uint32_t numberOf(const Json& json, const char* name) {
    return memberOf(json, name, "number", isNumber).get<std::uint32_t>();
}

const Json& arrayOf(const Json& json, const char* name) {
    return memberOf(json, name, "array", isArray);
}

std::vector<std::string> wordsOf(const Json& json, const char* name) {
    return memberOf(json, name, "list of words", isListOfWords).get<std::vector<std::string>>();
}

Ids idsIn(const Json& array) {
    if (!std::ranges::all_of(array, isNumber)) {
        makesNoSense("what was received has a list of numbers with something else in it");
    }
    return array.get<Ids>();
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
    std::vector<PdCallRecord> calls;
    for (const auto& call : arrayOf(json, "calls")) {
        calls.push_back({calls.size(), textOf(call, "operation"), numberOf(call, "status"),
                         textOf(call, "call")});
    }
    return calls;
}

} // namespace LagAgent
