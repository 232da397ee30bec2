#pragma once

#include <istream>

#include "agent/Presenter.h"

namespace LagAgent {

/// Commands from one place, one line each, carried out and shown.
class Session {
  public:
    Session(Interpreter& interpreter, Presenter& presenter)
        : interpreter_(interpreter), presenter_(presenter) {}

    /// Reads commands from a file or pipe called `name`, to its end, to 'quit', or unless
    /// `isForced` to the first error. False if there was an error.
    bool runBatch(std::istream& in, const std::string& name, bool isForced);

    /// Reads commands from the terminal, with line editing, history and completion, to the end of
    /// input or to 'quit'. False if there was an error.
    bool runPrompt();

  private:
    /// Carries out one line and shows what came of it; false if that is an error.
    bool runLine(std::string_view line, const Place& place);
    bool end(const Place& place);

    Interpreter& interpreter_;
    Presenter& presenter_;
};

} // namespace LagAgent
