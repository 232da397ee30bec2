#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace LagAgent {

using Json = nlohmann::ordered_json;

/// A table of values: rows under named columns. In JSON an array of objects.
class Listing {
  public:
    explicit Listing(std::vector<std::string> columns) : columns_(std::move(columns)) {}

    /// As text, the numbers of these columns are hexadecimal.
    void hexIs(std::vector<std::string> columns) { hex_ = std::move(columns); }

    /// REQUIRES: one value for each column; null for none.
    void add(std::vector<Json> row);

    Json json() const;
    /// Aligned columns under their names, each line indented; one line for an empty table.
    std::string text() const;

  private:
    std::vector<std::string> columns_;
    std::vector<std::string> hex_;
    std::vector<std::vector<Json>> rows_;
};

/// What a command has to say: the same for people and for tools.
class Reply {
  public:
    Reply() = default;
    /// What a reply held, as it came from elsewhere. REQUIRES: `json` is an object.
    Reply(Json json, std::string text) : json_(std::move(json)), text_(std::move(text)) {}

    /// A part under a name, in both forms.
    void add(const std::string& name, Json json, const std::string& text);
    void add(const std::string& name, const Listing& listing);

    const Json& json() const noexcept { return json_; }
    const std::string& text() const noexcept { return text_; }

  private:
    Json json_ = Json::object();
    std::string text_;
};

} // namespace LagAgent
