#include <editline/readline.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "agent/console/HistoryFile.h"
#include "agent/console/Session.h"
#include "agent/outcome/Text.h"

// The prompt. The line editor is a library of callbacks without context, so what completion needs
// between two calls is at namespace scope; there is one terminal.

namespace LagAgent {

namespace {

constexpr const char* kPrompt = "lag> ";

struct Free {
    void operator()(char* line) const { std::free(line); }
};
using Line = std::unique_ptr<char, Free>;

CommandRunner* asked = nullptr;
std::vector<std::string> candidates;

/// The next candidate after those returned since `isRepeated` was 0; null after the last one.
char* nextCandidate(const char*, int isRepeated) {
    static std::size_t next;
    next = isRepeated ? next : 0;
    return next < candidates.size() ? ::strdup(candidates[next++].c_str()) : nullptr;
}

/// The completions of the word between `start` and `end` of the line.
char** complete(const char* text, int start, int) {
    rl_attempted_completion_over = 1; // not file names
    const std::string_view before(rl_line_buffer, static_cast<std::size_t>(start));
    candidates.clear();
    for (auto& word : asked->continuations(wordsOf(before))) {
        if (word.starts_with(text)) {
            candidates.push_back(std::move(word));
        }
    }
    return rl_completion_matches(text, nextCandidate);
}

void setUpEditor(CommandRunner& runner) {
    asked = &runner;
    static char wordBreaks[] = " \t";
    rl_readline_name = "lag-agent";
    rl_completer_word_break_characters = wordBreaks;
    rl_attempted_completion_function = complete;
    using_history();
}

} // namespace

bool Session::runPrompt(const std::string& historyFile) {
    setUpEditor(runner_);
    const HistoryFile history(historyFile);
    for (const auto& line : history.latest()) {
        add_history(line.c_str());
    }
    bool isGood = true;
    while (!runner_.isOver()) {
        const Line line(::readline(kPrompt));
        if (!line) {
            std::fputc('\n', stdout);
            break;
        }
        if (!wordsOf(line.get()).empty()) {
            add_history(line.get());
            history.add(line.get());
        }
        isGood = runLine(line.get(), {}) && isGood;
    }
    return end({}) && isGood;
}

} // namespace LagAgent
