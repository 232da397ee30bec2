#pragma once

#include <memory>
#include <string>

#include "agent/outcome/JsonPieces.h"
#include "agent/outcome/Listing.h"
#include "agent/outcome/Work.h"

namespace LagAgent {

/// What a command has to say: the same for people and for tools. It is made when it is read, from
/// values that were taken when the command ran, and costs little until then.
class Reply {
  public:
    Reply() = default;
    /// What a reply held, as it came from elsewhere. REQUIRES: `json` is an object.
    Reply(Json json, std::string text);

    /// A part under a name of its own, in both forms.
    void add(const std::string& name, Json json, std::string text);
    /// The same as an array, of which `write(i, out)` writes an element.
    void addArray(const std::string& name, std::size_t count, Pieces::Write write,
                  const Pieces& text);
    /// A table, for people under its name, or under `title`.
    void add(const std::string& name, Listing listing) {
        add(name, std::move(listing), name + ":\n");
    }
    void add(const std::string& name, Listing listing, std::string title);

    /// There is nothing for tools.
    bool isEmpty() const noexcept { return json_.isEmpty(); }
    Pieces jsonPieces() const { return json_.pieces(); }
    const Pieces& textPieces() const noexcept { return text_; }

    /// What is left to be done before the reply can be read; null: nothing.
    void workIs(std::shared_ptr<Work> work) { work_ = std::move(work); }
    const std::shared_ptr<Work>& work() const noexcept { return work_; }

    Json json() const;
    std::string text() const { return text_.whole(); }

  private:
    ObjectPieces json_;
    Pieces text_;
    std::shared_ptr<Work> work_;
};

} // namespace LagAgent
