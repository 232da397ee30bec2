#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace LagAgent {

/// Cuts a stream of bytes into lines. Never holds much more than the longest line allowed: of a
/// longer one nothing is kept but that it was there.
class LineBuffer {
  public:
    explicit LineBuffer(std::size_t longest) : longest_(longest) {}

    void add(std::string_view bytes);

    struct Line {
        std::string text{};
        /// It had more bytes than allowed, and its text is lost.
        bool isTooLong = false;
    };
    /// Takes the next complete line, without its end.
    std::optional<Line> next();
    bool hasLine() const noexcept { return end_ != std::string::npos; }

  private:
    void findEnd();

    std::size_t longest_;
    std::string bytes_;
    std::size_t searched_ = 0;            // no line ends before here
    std::size_t end_ = std::string::npos; // where the next line ends, if it does
    bool isTooLong_ = false;              // the beginning of the next line is lost
};

} // namespace LagAgent
