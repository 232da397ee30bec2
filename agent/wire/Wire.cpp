#include "agent/wire/Wire.h"

#include "agent/outcome/OutcomeJson.h"
#include "agent/wire/Received.h"
#include "agent/wire/ReplyParts.h"

namespace LagAgent::Wire {

namespace {

Json objectOf(std::string_view document) {
    // What is nested deeply would be copied and shown by deep recursion.
    constexpr int kDeepest = 32;
    bool isTooDeep = false;
    const auto look = [&](int depth, auto, auto&) { return !(isTooDeep |= depth > kDeepest); };
    Json json = Json::parse(document, look, false);
    if (isTooDeep) {
        makesNoSense("what was received is nested too deeply");
    }
    if (!json.is_object()) {
        makesNoSense("what was received is no JSON object");
    }
    return json;
}

/// Bytes as characters of UTF-8, U+0000 to U+00FF, and back.
std::string charactersOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xc0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3f));
        }
    }
    return text;
}

/// REQUIRES: the text is UTF-8, as all text is that came through the JSON parser.
std::string bytesOf(std::string_view text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto first = static_cast<unsigned char>(text[at]);
        if (first < 0x80) {
            bytes += text[at];
        } else if (first <= 0xc3) {
            bytes += static_cast<char>(first << 6 | (text[++at] & 0x3f));
        } else {
            makesNoSense("a command line has a character beyond U+00FF: it is a string of bytes");
        }
    }
    return bytes;
}

WantedCalls wantedCalls(const Json& request) {
    if (!request.contains("calls") || request["calls"] == false) {
        return WantedCalls::none;
    }
    if (request["calls"] != true) {
        makesNoSense("whether a request wants \"calls\" is true or false");
    }
    return WantedCalls::all;
}

} // namespace

std::string hello() {
    return toLine(
        {{"hello", "lag-agent"}, {"protocol", kProtocol}, {"version", LAG_AGENT_VERSION}});
}

void readHello(std::string_view document) {
    const Json json = objectOf(document);
    if (json.contains("error")) {
        const Error error = errorOf(json["error"]);
        throw CommandError(error.kind, error.message);
    }
    if (textOf(json, "hello") != "lag-agent") {
        makesNoSense("there is another service");
    }
    if (const auto protocol = numberOf(json, "protocol"); protocol != kProtocol) {
        makesNoSense("the daemon speaks protocol " + std::to_string(protocol) +
                     ", and this program protocol " + std::to_string(kProtocol) +
                     ": use lagctl and lag-agent of one version");
    }
}

std::string encode(const Request& request) {
    if (request.line) {
        Json json{{"run", charactersOf(*request.line)}};
        if (request.calls == WantedCalls::all) {
            json["calls"] = true;
        }
        return toLine(json);
    }
    if (request.begun) {
        return toLine({{"complete", charactersOf(*request.begun)}});
    }
    return toLine({{"end", true}});
}

Request requestOf(std::string_view document) {
    const Json json = objectOf(document);
    const auto kinds = json.contains("run") + json.contains("complete") + json.contains("end");
    if (kinds != 1 || (json.contains("end") && json["end"] != true)) {
        makesNoSense("a request has either \"run\", \"complete\" or \"end\"");
    }
    Request request;
    if (json.contains("run")) {
        request.line = bytesOf(textOf(json, "run"));
        request.calls = wantedCalls(json);
    } else if (json.contains("complete")) {
        request.begun = bytesOf(textOf(json, "complete"));
    }
    return request;
}

Pieces encode(Answer answer) {
    Outcome& outcome = answer.outcome;
    ObjectPieces document;
    if (!outcome.reply.isEmpty()) {
        document.add("parts", partsOf(outcome.reply));
    }
    if (outcome.error) {
        document.add("error", toJson(*outcome.error));
    }
    if (outcome.expectedError) {
        document.add("expectedError", toJson(*outcome.expectedError));
    }
    if (!outcome.calls.empty()) {
        addCalls(std::move(outcome.calls), document);
    }
    if (answer.isOver) {
        document.add("over", true);
    }
    if (!answer.continuations.empty()) {
        document.add("continuations", Json(answer.continuations));
    }
    Pieces line = document.pieces();
    line.add("\n");
    return line;
}

Answer answerOf(std::string_view document) {
    const Json json = objectOf(document);
    Answer answer;
    if (json.contains("parts")) {
        answer.outcome.reply = replyOf(json);
    }
    if (json.contains("error")) {
        answer.outcome.error = errorOf(json["error"]);
    }
    if (json.contains("expectedError")) {
        answer.outcome.expectedError = errorOf(json["expectedError"]);
    }
    if (json.contains("calls")) {
        answer.outcome.calls = callsOf(json);
    }
    answer.isOver = json.contains("over");
    if (json.contains("continuations")) {
        answer.continuations = wordsOf(json, "continuations");
    }
    return answer;
}

} // namespace LagAgent::Wire
