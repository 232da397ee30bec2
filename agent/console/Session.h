#pragma once

#include <istream>

#include "agent/console/Presenter.h"
#include "agent/outcome/Progress.h"

namespace LagAgent {

/// Where the commands come from.
struct Input {
    /// One command; empty for those of a file, a pipe or a terminal.
    std::string command{};
    /// The file of commands; empty or "-" for standard input.
    std::string batch{};
    /// Go on after an error.
    bool isForced = false;
    /// Where the prompt keeps its lines for the next time; empty for nowhere.
    std::string historyFile{};
};

/// The commands of one script, carried out and shown.
class Session {
  public:
    /// `progress` is told how far a file is.
    Session(CommandRunner& runner, Presenter& presenter, Progress& progress)
        : runner_(runner), presenter_(presenter), progress_(progress) {}

    /// Reads and carries out all commands of the input: one, a file's, those at a prompt when
    /// standard input is a terminal, or standard input's. False if there was an error. Throws
    /// `CommandError` (start) when the file cannot be opened.
    bool run(const Input& input);

    /// Reads commands from a file or pipe called `name`, of `size` bytes if that is known, to its
    /// end, to 'quit', or unless `isForced` to the first error. False if there was an error.
    bool runBatch(std::istream& in, const std::string& name, bool isForced, std::size_t size = 0);

    /// Reads commands from the terminal, with line editing, history and completion, to the end of
    /// input or to 'quit'. False if there was an error.
    bool runPrompt(const std::string& historyFile);

  private:
    bool runFile(const std::string& name, bool isForced);
    /// Carries out one line and shows what came of it; false if that is an error.
    bool runLine(std::string_view line, const Place& place);
    bool end(const Place& place);

    CommandRunner& runner_;
    Presenter& presenter_;
    Progress& progress_;
};

} // namespace LagAgent
