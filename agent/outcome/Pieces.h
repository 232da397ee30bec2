#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace LagAgent {

/// A text of any length that is written piece by piece, so that nobody has to wait for all of it.
/// Whoever adds pieces sees to it that each of them is short, and that what they are written from
/// changes no more.
class Pieces {
  public:
    /// Writes a piece, of a number of them that are counted from 0, to the end of `out`.
    using Write = std::function<void(std::size_t piece, std::string& out)>;

    void add(std::string text);
    void add(std::size_t count, Write write);
    /// All pieces of another text, from its beginning.
    void add(const Pieces& other);

    /// There is nothing in it.
    bool isEmpty() const noexcept { return sections_.empty(); }
    std::string whole() const;

    /// Everything has been written by `writeNext`.
    bool isAtEnd() const noexcept { return section_ == sections_.size(); }
    /// Writes the next piece. REQUIRES: `!isAtEnd()`.
    void writeNext(std::string& out);

  private:
    struct Section {
        std::size_t count; // at least 1
        Write write;
    };

    std::vector<Section> sections_;
    // What comes next.
    std::size_t section_ = 0;
    std::size_t piece_ = 0;
};

} // namespace LagAgent
