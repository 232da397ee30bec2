#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agent/outcome/JsonPieces.h"
#include "agent/outcome/Listing.h"
#include "agent/outcome/Work.h"

namespace LagAgent {

/// What a command has to say: the same for people and for tools. It is made readable when it is
/// read, from values that were taken when the command ran, and costs little until then.
class Reply {
  public:
    /// One thing that it says.
    struct Part {
        /// Different from that of the other parts.
        std::string name;
        /// For people: the title of a table, or all of anything else.
        std::string text;
        /// What is no table, for tools.
        Json value{};
        /// Null for what is no table.
        std::shared_ptr<Listing> table{};
    };

    /// A part in both forms.
    void add(std::string name, Json value, std::string text) {
        parts_.push_back({std::move(name), std::move(text), std::move(value)});
    }
    /// A table, for people under its name, or under `title`.
    void add(const std::string& name, Listing table) { add(name, std::move(table), name + ":\n"); }
    void add(std::string name, Listing table, std::string title) {
        parts_.push_back(
            {std::move(name), std::move(title), {}, std::make_shared<Listing>(std::move(table))});
    }

    const std::vector<Part>& parts() const noexcept { return parts_; }

    /// There is nothing for tools.
    bool isEmpty() const noexcept { return parts_.empty(); }
    Pieces jsonPieces() const;
    Pieces textPieces() const;

    /// What is left to be done before the reply can be read; null: nothing.
    void workIs(std::shared_ptr<Work> work) { work_ = std::move(work); }
    const std::shared_ptr<Work>& work() const noexcept { return work_; }

    Json json() const { return Json::parse(jsonPieces().whole()); }
    std::string text() const { return textPieces().whole(); }

  private:
    std::vector<Part> parts_;
    std::shared_ptr<Work> work_;
};

} // namespace LagAgent
