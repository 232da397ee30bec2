#pragma once

#include <string>
#include <vector>

namespace LagAgent {

/// What somebody typed at prompts, a line each, kept in a file of theirs. Several prompts may add
/// to one file at a time. It is a convenience: a file that cannot be read or written is none.
class HistoryFile {
  public:
    /// An empty path: nothing is kept. Missing folders are made, for this user alone.
    explicit HistoryFile(std::string path);

    /// The latest lines, the oldest first. A file that has grown far beyond them is cut to them.
    std::vector<std::string> latest() const;

    /// False if the line is not, or not wholly, in the file.
    bool add(const std::string& line) const;

    static constexpr std::size_t kKept = 1000;

  private:
    void keepOnly(const std::vector<std::string>& lines) const;

    std::string path_;
};

/// Where the user's history of that program is kept; empty when the user has no home.
std::string historyPath(const std::string& program);

} // namespace LagAgent
