#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace LagAgent {

/// The words of a command line; a word that begins with '#' begins a comment.
std::vector<std::string> wordsOf(std::string_view line);

/// Words on one line, with blanks between them.
std::string joined(const std::vector<std::string>& words);

/// "a", "a or b", "a, b or c".
std::string alternatives(const std::vector<std::string>& words);

/// The text with bytes that a terminal would act on, or that are not ASCII, as \xNN.
std::string printable(std::string_view text);

/// The text in single quotes, printable, and cut when it is long.
std::string inQuotes(std::string_view text);

/// 'word', with ", did you mean ...?" when one of the candidates is a likely reading.
std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates);

} // namespace LagAgent
