#include "asic-tool/Options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <string_view>

namespace asic_tool {

namespace {

template <class Number>
std::optional<Number> toNumber(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex)
        text.remove_prefix(2);
    Number number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

/// Takes the text before the separator off, or all if there is none.
std::string_view takeUpTo(char separator, std::string_view& text) {
    const auto at = text.find(separator);
    const auto taken = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + 1);
    return taken;
}

CLI::Validator isExpectation() {
    return {[](std::string& text) -> std::string {
                return toExpectation(text) ? "" : text + " is not VALUE=PORT[,PORT...]";
            },
            "VALUE=PORT[,PORT...]"};
}

} // namespace

std::optional<Expectation> toExpectation(const std::string& text) {
    if (text.find('=') == std::string::npos || text.back() == ',')
        return std::nullopt;
    std::string_view rest = text;
    const auto value = toNumber<std::uint32_t>(takeUpTo('=', rest));
    if (!value)
        return std::nullopt;
    Expectation expectation{*value, {}};
    do {
        const auto port = toNumber<std::uint16_t>(takeUpTo(',', rest));
        if (!port)
            return std::nullopt;
        expectation.ports.push_back(*port);
    } while (!rest.empty());
    return expectation;
}

std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode) {
    Options options;
    std::vector<std::string> expected;
    CLI::App app("Looks into the file of a software ASIC's chip, and sends flows through it",
                 "velmor-asic");
    app.set_version_flag("--version", "velmor-asic " VELMOR_ASIC_VERSION);
    app.require_subcommand(1);
    app.footer("Exit status: 0; 1 if 'watch' saw a lookup without port or with a wrong one;\n"
               "2 for bad arguments or a file that cannot be used.");

    const auto add = [&](Command command, const char* name, const char* description) {
        CLI::App* const sub = app.add_subcommand(name, description);
        sub->add_option("FILE", options.file, "File of the chip")->required();
        sub->parse_complete_callback([&options, command] { options.command = command; });
        return sub;
    };
    const auto addJson = [&](CLI::App* sub) {
        sub->add_flag("--json", options.isJson, "Write JSON");
        return sub;
    };
    addJson(add(Command::show, "show", "Show boot generation, usage and tables"));
    addJson(add(Command::calls, "calls", "Show the call log"))
        ->add_option("--last", options.last, "Only the latest so many calls");
    add(Command::powerCycle, "power-cycle", "Power-cycle the chip: it loses its state");
    CLI::App* const watch = addJson(add(Command::watch, "watch",
                                        "Send flows until standard input ends or SIGTERM; report "
                                        "on each line of input"));
    watch
        ->add_option("--expect", expected,
                     "Flows of this value leave through one of these ports; may be repeated")
        ->required()
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(isExpectation());
    watch->add_option("--pipe", options.pipe, "Pipe that the flows are in")->capture_default_str();
    watch->add_flag("--wait", options.isPatient, "Wait for the file to appear");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        *exitCode = app.exit(e) == 0 ? kExitGood : kExitNotDone;
        return std::nullopt;
    }
    for (const std::string& text : expected)
        options.expectations.push_back(*toExpectation(text));
    return options;
}

} // namespace asic_tool
