#include "agent/outcome/Reply.h"

#include <memory>

namespace LagAgent {

Reply::Reply(Json json, std::string text) {
    for (auto& [name, value] : json.items()) {
        json_.add(name, std::move(value));
    }
    text_.add(std::move(text));
}

void Reply::add(const std::string& name, Json json, std::string text) {
    json_.add(name, std::move(json));
    text_.add(std::move(text));
}

void Reply::addArray(const std::string& name, std::size_t count, Pieces::Write write,
                     const Pieces& text) {
    json_.addArray(name, count, std::move(write));
    text_.add(text);
}

void Reply::add(const std::string& name, Listing listing, std::string title) {
    const auto shared = std::make_shared<Listing>(std::move(listing));
    Pieces text;
    text.add(std::move(title));
    text.add(shared->lines(),
             [shared](std::size_t line, std::string& out) { shared->appendLine(line, out); });
    addArray(
        name, shared->rows(),
        [shared](std::size_t row, std::string& out) { shared->appendJson(row, out); }, text);
}

Json Reply::json() const {
    return Json::parse(jsonPieces().whole());
}

} // namespace LagAgent
