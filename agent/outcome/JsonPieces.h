#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "agent/outcome/Pieces.h"

// JSON that is written, not built.

namespace LagAgent {

using Json = nlohmann::ordered_json;

/// Without blanks, on one line; bytes that are not UTF-8 are replaced.
std::string toText(const Json& json);

/// The text as it stands between the quotes of a JSON string; bytes that are not UTF-8 are
/// replaced.
void appendEscaped(std::string_view text, std::string& out);

/// An object that is written piece by piece, in the order in which its members are added. The names
/// differ.
class ObjectPieces {
  public:
    void add(std::string_view name, Json value);
    /// REQUIRES: the pieces are JSON.
    void add(std::string_view name, const Pieces& json);
    /// An array; `write(i, out)` writes an element of it, as JSON.
    void addArray(std::string_view name, std::size_t count, Pieces::Write write);

    bool isEmpty() const noexcept { return pieces_.isEmpty(); }
    /// The object.
    Pieces pieces() const;

  private:
    void addName(std::string_view name);

    Pieces pieces_; // but for the last brace
};

} // namespace LagAgent
