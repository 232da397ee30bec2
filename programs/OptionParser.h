#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Programs {

/// The options of a program, for its command line and its help. The library behind it is expensive
/// to compile, so that one file alone includes it.
///
/// Options are named as in "-b,--batch", arguments without dashes. What is added refers to where
/// its value goes, which has to be there until the line is parsed. Adding a name that is taken or
/// makes no sense throws `std::exception`.
class OptionParser {
  public:
    /// Returns what is wrong with the text of a value, empty if nothing is. May rewrite it before
    /// it is read.
    using Check = std::function<std::string(std::string& text)>;
    /// A whole number between these.
    static Check range(int least, int most);
    static Check oneOf(const std::vector<std::string>& texts);

    /// A handle of what was added; each call returns it. Valid as long as the parser.
    class Option {
      public:
        /// How the help calls the value.
        Option typeName(const std::string& name) const;
        /// What the help shows as the default, which otherwise is not shown.
        Option defaultText(const std::string& text) const;
        /// Shows the value as it is now.
        Option defaultFromValue() const;
        Option required() const;
        Option excludes(const Option& other) const;
        /// Of a list: takes one value each time that it is given.
        Option oneValue() const;
        /// Of a list: the same, and may be given several times.
        Option repeated() const;
        /// The help shows `accepted` behind the name.
        Option check(const Check& check, const std::string& accepted) const;

      private:
        friend class OptionParser;
        explicit Option(CLI::Option* option) : option_(option) {}

        CLI::Option* option_;
    };

    OptionParser(const std::string& description, const std::string& program);

    void addFlag(const std::string& names, bool& value, const std::string& description);
    Option add(const std::string& names, std::string& value, const std::string& description);
    Option add(const std::string& names, std::vector<std::string>& values,
               const std::string& description);
    Option add(const std::string& names, std::uint16_t& value, const std::string& description);
    Option add(const std::string& names, std::uint32_t& value, const std::string& description);
    Option add(const std::string& names, std::uint64_t& value, const std::string& description);
    Option add(const std::string& names, std::function<void(const std::string&)> apply,
               const std::string& description);
    /// A number between these.
    Option add(const std::string& names, int least, int most, std::function<void(int)> apply,
               const std::string& description);

    /// A command of the program with options of its own; one of the commands has to be given.
    OptionParser addCommand(const std::string& name, const std::string& description);

    void footer(const std::string& text);
    /// To be called when this program, or this command of it, has been read without a mistake. The
    /// last action that is given counts.
    void whenRead(std::function<void()> action);

    /// Reads the arguments behind the program's name; true if there is something to run. Otherwise
    /// (help, version, a mistake) what there was to say has been said, and `*exitCode` is 0 or
    /// `mistake`.
    bool parse(std::vector<std::string> arguments, const std::string& version, int mistake,
               int* exitCode);

    /// Says on standard error what is wrong with the value of an option, as `parse` does.
    void complain(const std::string& option, const std::string& reason) const;

  private:
    explicit OptionParser(std::shared_ptr<CLI::App> app) : app_(std::move(app)) {}

    std::shared_ptr<CLI::App> app_;
};

} // namespace Programs
