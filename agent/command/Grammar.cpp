#include "agent/command/Grammar.h"

#include <algorithm>
#include <ranges>
#include <stdexcept>

#include "agent/command/ValueType.h"
#include "agent/outcome/Errors.h"
#include "agent/outcome/Text.h"

namespace LagAgent {

namespace {

void addOnce(std::vector<std::string>& words, const std::string& word) {
    if (std::ranges::find(words, word) == words.end()) {
        words.push_back(word);
    }
}

} // namespace

// ---- Arguments -----------------------------------------------------------------------------

void Arguments::add(std::string parameter, std::string word, std::uint32_t number) {
    values_.push_back({std::move(parameter), std::move(word), number});
}

const Arguments::Value* Arguments::find(std::string_view parameter) const {
    const auto found = std::ranges::find(values_, parameter, &Value::parameter);
    return found == values_.end() ? nullptr : &*found;
}

const Arguments::Value& Arguments::required(std::string_view parameter) const {
    if (const Value* value = find(parameter)) {
        return *value;
    }
    throw std::logic_error("no parameter '" + std::string(parameter) + "'");
}

std::uint32_t Arguments::number(std::string_view parameter, std::uint32_t otherwise) const {
    const Value* value = find(parameter);
    return value ? value->number : otherwise;
}

// ---- Patterns ------------------------------------------------------------------------------

/// One step of a pattern: a word (`type` null), or a value. When the word that begins an optional
/// part is absent, matching goes on `skip` elements further.
struct Element {
    std::string word; // a value's parameter name
    const ValueType* type;
    std::size_t skip = 0;

    bool isOptional() const { return skip != 0; }
};

struct Grammar::Rule {
    const Command* command;
    std::vector<Element> elements;
};

namespace {

/// "<name:type>" or "<type>", without its brackets.
Element valueElement(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::string name = text.substr(0, colon);
    return {name, &valueType(colon == std::string::npos ? name : text.substr(colon + 1))};
}

std::vector<Element> elementsOf(std::string_view pattern) {
    std::vector<Element> elements;
    std::size_t optionalBegin = 0;
    for (std::string word : wordsOf(pattern)) {
        if (word.starts_with('[')) {
            optionalBegin = elements.size();
            word.erase(0, 1);
        }
        const bool endsOptional = word.ends_with(']');
        if (endsOptional) {
            word.pop_back();
        }
        const bool isValue = word.starts_with('<');
        elements.push_back(isValue ? valueElement(word.substr(1, word.size() - 2))
                                   : Element{word, nullptr});
        if (endsOptional) {
            elements[optionalBegin].skip = elements.size() - optionalBegin;
        }
    }
    return elements;
}

} // namespace

// ---- Matching ------------------------------------------------------------------------------

/// How far the words follow a rule, and what the rule wanted where they left it.
struct Grammar::Matching {
    const Rule* rule = nullptr;
    std::size_t matched = 0;
    bool isComplete = false;
    Arguments arguments{};
    /// At the first word that does not match, or at the end of the words.
    std::vector<std::string> wantedWords{};
    const Element* wantedValue = nullptr;
};

Grammar::Matching Grammar::match(const Rule& rule, const std::vector<std::string>& words) {
    Matching result{.rule = &rule};
    std::size_t at = 0;
    for (std::size_t i = 0; i < rule.elements.size();) {
        const Element& element = rule.elements[i];
        const bool isText = element.type && element.type->kind == ValueType::Kind::text;
        const bool isEnd = at == words.size();
        if (element.type && !isEnd && element.type->complaint(element.word, words[at]).empty()) {
            const std::size_t end = isText ? words.size() : at + 1;
            const std::string text = joined({words.begin() + static_cast<std::ptrdiff_t>(at),
                                             words.begin() + static_cast<std::ptrdiff_t>(end)});
            result.arguments.add(element.word, text, element.type->number(text));
            at = end;
        } else if (!element.type && !isEnd && words[at] == element.word) {
            ++at;
        } else if (element.isOptional()) {
            result.wantedWords.push_back(element.word);
            i += element.skip;
            continue;
        } else {
            result.matched = at;
            if (element.type) {
                result.wantedValue = &element;
            } else {
                result.wantedWords.push_back(element.word);
            }
            return result;
        }
        result.wantedWords.clear();
        ++i;
    }
    result.matched = at;
    result.isComplete = at == words.size();
    return result;
}

Grammar::Grammar(std::span<const Command> commands) {
    for (const Command& command : commands) {
        rules_.push_back({&command, elementsOf(command.pattern)});
    }
}

Grammar::~Grammar() = default;

std::vector<Grammar::Matching> Grammar::furthest(const std::vector<std::string>& words) const {
    std::vector<Matching> best;
    for (const Rule& rule : rules_) {
        Matching matching = match(rule, words);
        if (!best.empty() && matching.matched > best.front().matched) {
            best.clear();
        }
        if (best.empty() || matching.matched == best.front().matched) {
            best.push_back(std::move(matching));
        }
    }
    return best;
}

Grammar::Parsed Grammar::parse(const std::vector<std::string>& words) const {
    const std::vector<Matching> best = furthest(words);
    for (const Matching& matching : best) {
        if (matching.isComplete) {
            return {matching.rule->command, matching.arguments};
        }
    }
    throw CommandError(ErrorKind::usage, complaint(best, words));
}

std::string Grammar::complaint(const std::vector<Matching>& best,
                               const std::vector<std::string>& words) {
    std::vector<std::string> candidates, wanted;
    std::vector<const Element*> values;
    for (const Matching& matching : best) {
        for (const auto& word : matching.wantedWords) {
            addOnce(candidates, word);
            addOnce(wanted, word);
        }
        if (matching.wantedValue) {
            values.push_back(matching.wantedValue);
        }
    }
    for (const Element* value : values) {
        std::ranges::for_each(value->type->choices, [&](auto& c) { addOnce(candidates, c); });
        addOnce(wanted, "<" + value->word + ">");
    }
    const auto at = static_cast<std::ptrdiff_t>(best.front().matched);
    const std::string before =
        at == 0 ? "" : " after " + inQuotes(joined({words.begin(), words.begin() + at}));
    if (best.front().matched == words.size()) {
        return "incomplete command: give " + alternatives(wanted) + before;
    }
    const std::string& word = words[best.front().matched];
    if (wanted.empty()) {
        return "nothing may follow" + before + ", but there is " + inQuotes(word);
    }
    if (wanted.size() == 1 && !values.empty()) {
        return values.front()->type->complaint(values.front()->word, word) + before;
    }
    return (at == 0 ? "unknown command " : "unknown keyword ") + didYouMean(word, candidates) +
           before + ": give " + alternatives(wanted);
}

std::vector<std::string> Grammar::continuations(const std::vector<std::string>& words) const {
    std::vector<std::string> result;
    for (const Matching& matching : furthest(words)) {
        if (matching.matched != words.size()) {
            continue;
        }
        for (const auto& word : matching.wantedWords) {
            addOnce(result, word);
        }
        if (matching.wantedValue) {
            for (const auto& choice : matching.wantedValue->type->choices) {
                addOnce(result, choice);
            }
        }
    }
    return result;
}

std::vector<const Command*> Grammar::commandsOf(const std::vector<std::string>& words) const {
    std::vector<const Command*> result;
    for (const Rule& rule : rules_) {
        const bool begins =
            words.size() <= rule.elements.size() &&
            std::ranges::equal(words, rule.elements | std::views::take(words.size()), {}, {},
                               &Element::word);
        if (begins) {
            result.push_back(rule.command);
        }
    }
    return result;
}

} // namespace LagAgent
