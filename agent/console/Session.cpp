#include "agent/console/Session.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace LagAgent {

bool Session::run(const Input& input) {
    if (!input.command.empty()) {
        const bool isGood = runLine(input.command, {});
        return end({}) && isGood;
    }
    if (!input.batch.empty() && input.batch != "-") {
        return runFile(input.batch, input.isForced);
    }
    if (input.batch.empty() && isatty(STDIN_FILENO)) {
        return runPrompt(input.historyFile);
    }
    return runBatch(std::cin, "stdin", input.isForced);
}

bool Session::runFile(const std::string& name, bool isForced) {
    std::ifstream file(name);
    if (!file || std::filesystem::is_directory(name)) {
        throw CommandError(ErrorKind::start, "cannot open " + name);
    }
    std::error_code hasNone; // a pipe
    const auto size = std::filesystem::file_size(name, hasNone);
    return runBatch(file, name, isForced, hasNone ? 0 : size);
}

bool Session::runLine(std::string_view line, const Place& place) {
    const Outcome outcome = runner_.run(line, presenter_.wantedCalls());
    if (!presenter_.isSilentAbout(outcome)) {
        progress_.hide();
    }
    presenter_.show(outcome, place);
    return !outcome.error && !presenter_.hasLost();
}

bool Session::end(const Place& place) {
    const auto error = runner_.atEnd();
    if (error) {
        presenter_.show(*error, place);
    }
    return !error;
}

bool Session::runBatch(std::istream& in, const std::string& name, bool isForced, std::size_t size) {
    bool isGood = true;
    Place place{name, 0};
    std::size_t done = 0;
    for (std::string line; (isGood || isForced) && !runner_.isOver() && std::getline(in, line);) {
        ++place.line;
        done += line.size() + (in.eof() ? 0 : 1);
        isGood = runLine(line, place) && isGood;
        progress_.show(name, done, size);
    }
    progress_.hide();
    // The standard library takes a failed read of standard input for its end.
    if (in.bad() || (&in == &std::cin && std::ferror(stdin) != 0)) {
        presenter_.show(Error{ErrorKind::start, "cannot be read"}, {name, 0});
        return false;
    }
    return end(place) && isGood;
}

} // namespace LagAgent
