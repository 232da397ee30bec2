#include "agent/outcome/Text.h"

#include <algorithm>
#include <numeric>

namespace LagAgent {

std::vector<std::string> wordsOf(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r\n\v\f";
    std::vector<std::string> words;
    for (std::size_t at = line.find_first_not_of(kBlanks); at != std::string_view::npos;
         at = line.find_first_not_of(kBlanks, at)) {
        if (line[at] == '#') {
            break;
        }
        const std::size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
        words.emplace_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::string alternatives(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += i == 0 ? "" : i + 1 == words.size() ? " or " : ", ";
        text += words[i];
    }
    return text;
}

std::string printable(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f) {
            result += c;
        } else {
            result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return result;
}

std::string inQuotes(std::string_view text) {
    constexpr std::size_t kLongest = 40;
    const bool isCut = text.size() > kLongest;
    return "'" + printable(text.substr(0, kLongest)) + (isCut ? "..." : "") + "'";
}

namespace {

/// Number of letters to change, insert or drop, two neighbours swapped counting as one.
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    std::iota(d[0].begin(), d[0].end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        d[i][0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, changed});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

} // namespace

std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates) {
    constexpr std::size_t kLongest = 64;
    const std::string* best = nullptr;
    std::size_t bestDistance = 0;
    for (const auto& candidate : candidates) {
        if (word.size() > kLongest) {
            break;
        }
        const bool isBeginning = word.size() > 1 && candidate.starts_with(word);
        const std::size_t distance = isBeginning ? 1 : editDistance(word, candidate);
        const std::size_t tolerated = std::max<std::size_t>(1, candidate.size() / 3);
        if (distance <= tolerated && (!best || distance < bestDistance)) {
            best = &candidate;
            bestDistance = distance;
        }
    }
    return inQuotes(word) + (best ? " (did you mean '" + *best + "'?)" : "");
}

} // namespace LagAgent
