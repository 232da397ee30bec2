#include "agent/Reply.h"

#include <algorithm>
#include <sstream>

namespace LagAgent {

namespace {

/// A value as people read it.
std::string cellText(const Json& value, bool isHex = false) {
    if (isHex && value.is_number()) {
        std::ostringstream text;
        text << "0x" << std::hex << value.get<std::uint32_t>();
        return text.str();
    }
    if (value.is_null()) {
        return "-";
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    if (value.is_array()) {
        std::string text;
        for (const auto& element : value) {
            text += (text.empty() ? "" : ", ") + cellText(element);
        }
        return text.empty() ? "-" : text;
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
    std::string text = " ";
    for (std::size_t i = 0; i < cells.size(); ++i) {
        text += " " + cells[i] + std::string(widths[i] - cells[i].size() + 1, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
}

} // namespace

void Listing::add(std::vector<Json> row) {
    rows_.push_back(std::move(row));
}

Json Listing::json() const {
    Json array = Json::array();
    for (const auto& row : rows_) {
        Json object = Json::object();
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            object[columns_[i]] = row.at(i);
        }
        array.push_back(std::move(object));
    }
    return array;
}

std::string Listing::text() const {
    if (rows_.empty()) {
        return "  none\n";
    }
    std::vector<std::vector<std::string>> lines{columns_};
    for (const auto& row : rows_) {
        auto& cells = lines.emplace_back();
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const bool isHex = std::ranges::find(hex_, columns_[i]) != hex_.end();
            cells.push_back(cellText(row.at(i), isHex));
        }
    }
    std::vector<std::size_t> widths(columns_.size());
    for (const auto& cells : lines) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], cells.at(i).size());
        }
    }
    std::string text;
    for (const auto& cells : lines) {
        text += line(cells, widths);
    }
    return text;
}

void Reply::add(const std::string& name, Json json, const std::string& text) {
    json_[name] = std::move(json);
    text_ += text;
}

void Reply::add(const std::string& name, const Listing& listing) {
    add(name, listing.json(), name + ":\n" + listing.text());
}

} // namespace LagAgent
