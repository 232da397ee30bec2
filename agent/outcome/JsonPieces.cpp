#include "agent/outcome/JsonPieces.h"

#include <algorithm>
#include <memory>

namespace LagAgent {

std::string toText(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void appendEscaped(std::string_view text, std::string& out) {
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
    // Nearly all text is plain, up to the end of its line.
    const auto plain =
        static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
    out += text.substr(0, plain);
    const std::string_view rest = text.substr(plain);
    if (rest == "\n") {
        out += "\\n";
    } else if (!rest.empty()) {
        const std::string quoted = toText(rest);
        out.append(quoted, 1, quoted.size() - 2);
    }
}

void ObjectPieces::addName(std::string_view name) {
    pieces_.add((isEmpty() ? "{" : ",") + toText(name) + ":");
}

void ObjectPieces::add(std::string_view name, Json value) {
    addName(name);
    pieces_.add(1, [value = std::make_shared<const Json>(std::move(value))](
                       std::size_t, std::string& out) { out += toText(*value); });
}

void ObjectPieces::add(std::string_view name, const Pieces& json) {
    addName(name);
    pieces_.add(json);
}

void ObjectPieces::addArray(std::string_view name, std::size_t count, Pieces::Write write) {
    addName(name);
    pieces_.add("[");
    pieces_.add(count, [write = std::move(write)](std::size_t i, std::string& out) {
        out += i == 0 ? "" : ",";
        write(i, out);
    });
    pieces_.add("]");
}

Pieces ObjectPieces::pieces() const {
    Pieces object = pieces_;
    object.add(isEmpty() ? "{}" : "}");
    return object;
}

} // namespace LagAgent
