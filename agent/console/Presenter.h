#pragma once

#include <ostream>
#include <string>

#include "agent/outcome/CommandRunner.h"

namespace LagAgent {

struct PresenterOptions {
    /// One JSON document a line for each command, instead of text.
    bool json = false;
    /// Each command is shown, with the PD calls that it made.
    bool calls = false;
    /// What commands have to say is not shown; errors are. Text only.
    bool quiet = false;
};

/// Where a command line comes from; no name for the prompt.
struct Place {
    std::string name{};
    std::size_t line = 0;
};

/// Shows outcomes: results go to `out`; errors to `err` as text, to `out` as JSON.
class Presenter {
  public:
    Presenter(PresenterOptions options, std::ostream& out, std::ostream& err)
        : options_(options), out_(out), err_(err) {}

    void show(const Outcome& outcome, const Place& place);
    /// An error that belongs to no command.
    void show(const Error& error, const Place& place);

    /// What outcomes need to have for what it shows.
    WantedCalls wantedCalls() const noexcept {
        return options_.calls ? WantedCalls::all : WantedCalls::none;
    }
    /// Nothing is written when that outcome is shown.
    bool isSilentAbout(const Outcome& outcome) const;

    /// Results could not be written, as on a full disk.
    bool hasLost() const { return !out_; }

  private:
    void showJson(const Outcome& outcome, const Place& place);
    void showText(const Outcome& outcome, const Place& place);

    PresenterOptions options_;
    std::ostream& out_;
    std::ostream& err_;
};

} // namespace LagAgent
