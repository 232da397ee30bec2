#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace LagAgent {

class AsicControl;
class Configuration;
class Flows;
class PersistentState;
class Reply;
struct ScriptState;
struct View;

/// The values that a command's parameters got.
class Arguments {
  public:
    bool has(std::string_view parameter) const { return find(parameter) != nullptr; }
    /// REQUIRES: the parameter was given, and is a number.
    std::uint32_t number(std::string_view parameter) const { return required(parameter).number; }
    /// The same, or a value for a parameter that was left out.
    std::uint32_t number(std::string_view parameter, std::uint32_t otherwise) const;
    /// REQUIRES: the parameter was given.
    const std::string& word(std::string_view parameter) const { return required(parameter).word; }

    void add(std::string parameter, std::string word, std::uint32_t number);

  private:
    struct Value {
        std::string parameter;
        std::string word;
        std::uint32_t number;
    };
    const Value* find(std::string_view parameter) const;
    const Value& required(std::string_view parameter) const;

    std::vector<Value> values_;
};

/// Carries a command out. Its parameters say what it works on; what it has no parameter for, it
/// leaves alone.
using CommandFunction =
    std::variant<void (*)(Configuration&, const Arguments&),
                 void (*)(Flows&, const Arguments&, Reply&),
                 void (*)(const AsicControl&, const Arguments&),
                 void (*)(PersistentState&, const View&, const Arguments&, Reply&),
                 void (*)(ScriptState&, const Arguments&), void (*)(const View&, const Arguments&),
                 void (*)(const View&, const Arguments&, Reply&)>;

/**
 * One command of the language.
 *
 * `pattern` reads like "member add <id> action <action> [port <port>]": words stand for themselves,
 * `<type>` or `<name:type>` for a value, and what is in brackets may be left out and begins with a
 * word. The types are listed in Grammar.cpp.
 */
struct Command {
    const char* pattern;
    CommandFunction run;
    const char* help;
};

/// The command language: parser, completion and help, all made from one table of commands.
class Grammar {
  public:
    /// REQUIRES: the commands outlive the grammar.
    explicit Grammar(std::span<const Command> commands);
    ~Grammar();
    Grammar(const Grammar&) = delete;
    Grammar& operator=(const Grammar&) = delete;

    struct Parsed {
        const Command* command;
        Arguments arguments;
    };
    /// Throws `CommandError` (usage) that says what is wrong with the words, and where.
    Parsed parse(const std::vector<std::string>& words) const;

    /// What may follow the words, as far as it can be listed: words, and values of closed types.
    std::vector<std::string> continuations(const std::vector<std::string>& words) const;

    /// The commands that begin with the words (all for none), in the order of the table.
    std::vector<const Command*> commandsOf(const std::vector<std::string>& words) const;

  private:
    struct Rule;
    struct Matching;
    static Matching match(const Rule& rule, const std::vector<std::string>& words);
    /// The rules that the words follow furthest.
    std::vector<Matching> furthest(const std::vector<std::string>& words) const;
    static std::string complaint(const std::vector<Matching>& best,
                                 const std::vector<std::string>& words);

    std::vector<Rule> rules_;
};

} // namespace LagAgent
