#pragma once

#include <span>
#include <string>

#include "agent/console/Presenter.h"
#include "agent/console/Session.h"

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace LagAgent {

// What the command lines of the programs have in common. What is added refers to where its values
// go, which has to be there until the line is parsed.

/// Returns the option of the file, which has these names.
CLI::Option* addInput(CLI::App& app, const char* names, Input& input);
void addPresentation(CLI::App& app, PresenterOptions& presenter);

/// For the end of the help of a program that carries out commands.
inline constexpr const char* kStatusHelp =
    "-json, -force and -batch are understood with one dash too.\n"
    "Exit status: 0 if every command succeeded, 1 if one failed, 2 if nothing ran.\n";

/// Fills the options in from the arguments behind the program's name; true if there is something to
/// run. Otherwise what there was to say has been said, and `*exitCode` is what to exit with.
bool parse(CLI::App& app, std::span<const char* const> argv, int* exitCode);

} // namespace LagAgent
