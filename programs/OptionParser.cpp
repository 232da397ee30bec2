#include "programs/OptionParser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

namespace Programs {

using Option = OptionParser::Option;

OptionParser::Check OptionParser::range(int least, int most) {
    return CLI::Range(least, most);
}

OptionParser::Check OptionParser::oneOf(const std::vector<std::string>& texts) {
    return CLI::IsMember(texts);
}

Option Option::typeName(const std::string& name) const {
    return Option(option_->type_name(name));
}

Option Option::defaultText(const std::string& text) const {
    return Option(option_->default_str(text));
}

Option Option::defaultFromValue() const {
    return Option(option_->capture_default_str());
}

Option Option::required() const {
    return Option(option_->required());
}

Option Option::excludes(const Option& other) const {
    return Option(option_->excludes(other.option_));
}

Option Option::oneValue() const {
    return Option(option_->expected(1));
}

Option Option::repeated() const {
    return Option(option_->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll));
}

Option Option::check(const Check& check, const std::string& accepted) const {
    return Option(option_->transform(CLI::Validator(check, accepted)));
}

OptionParser::OptionParser(const std::string& description, const std::string& program)
    : app_(std::make_shared<CLI::App>(description, program)) {}

void OptionParser::addFlag(const std::string& names, bool& value, const std::string& description) {
    app_->add_flag(names, value, description);
}

Option OptionParser::add(const std::string& names, std::string& value,
                         const std::string& description) {
    return Option(app_->add_option(names, value, description));
}

Option OptionParser::add(const std::string& names, std::vector<std::string>& values,
                         const std::string& description) {
    return Option(app_->add_option(names, values, description));
}

Option OptionParser::add(const std::string& names, std::uint16_t& value,
                         const std::string& description) {
    return Option(app_->add_option(names, value, description));
}

Option OptionParser::add(const std::string& names, std::uint32_t& value,
                         const std::string& description) {
    return Option(app_->add_option(names, value, description));
}

Option OptionParser::add(const std::string& names, std::uint64_t& value,
                         const std::string& description) {
    return Option(app_->add_option(names, value, description));
}

Option OptionParser::add(const std::string& names, std::function<void(const std::string&)> apply,
                         const std::string& description) {
    return Option(app_->add_option_function<std::string>(names, std::move(apply), description));
}

Option OptionParser::add(const std::string& names, int least, int most,
                         std::function<void(int)> apply, const std::string& description) {
    return Option(app_->add_option_function<int>(
                      names, [apply = std::move(apply)](int value) { apply(value); }, description))
        .check(range(least, most), CLI::Range(least, most).get_description());
}

OptionParser OptionParser::addCommand(const std::string& name, const std::string& description) {
    app_->require_subcommand(1);
    return OptionParser({app_, app_->add_subcommand(name, description)});
}

void OptionParser::footer(const std::string& text) {
    app_->footer(text);
}

void OptionParser::whenRead(std::function<void()> action) {
    app_->parse_complete_callback(std::move(action));
}

bool OptionParser::parse(std::vector<std::string> arguments, const std::string& version,
                         int mistake, int* exitCode) {
    app_->set_version_flag("--version", app_->get_name() + " " + version);
    std::ranges::reverse(arguments); // as the library wants them
    try {
        app_->parse(std::move(arguments));
        return true;
    } catch (const CLI::ParseError& e) {
        *exitCode = app_->exit(e) == 0 ? 0 : mistake;
        return false;
    }
}

void OptionParser::complain(const std::string& option, const std::string& reason) const {
    app_->exit(CLI::ValidationError(option, reason));
}

} // namespace Programs
