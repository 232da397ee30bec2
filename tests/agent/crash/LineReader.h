#pragma once

#include <optional>
#include <string>

namespace LagAgent::Crash {

/// Reads whole lines from a pipe that it does not own.
class LineReader {
  public:
    explicit LineReader(int pipe) : pipe_(pipe) {}

    /// The next line without its end; waits for it. None when there will be none; a line that was
    /// cut short by the writer's death is none.
    std::optional<std::string> next();

  private:
    int pipe_;
    std::string buffer_;
    std::size_t at_ = 0;
};

/// Writes a line with its end; false when nobody reads it any more.
bool writeLine(int pipe, std::string line);

} // namespace LagAgent::Crash
