#include "asic-tool/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace asic_tool {

namespace {

template <class Number>
std::optional<Number> toNumber(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) {
        text.remove_prefix(2);
    }
    Number number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
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

/// Writes a number anew for the parser of the options, which takes no text for 0 and 010 for 8.
template <class Number>
CLI::Validator asNumber(Number least = 0, Number most = std::numeric_limits<Number>::max()) {
    const std::string range = std::to_string(least) + " to " + std::to_string(most);
    return {[=](std::string& text) -> std::string {
                const auto number = toNumber<Number>(text);
                if (!number || *number < least || *number > most) {
                    return "'" + text + "' is not a number from " + range;
                }
                text = std::to_string(*number);
                return "";
            },
            range};
}

/// For options that may be repeated, each time with one expectation.
CLI::Option* addExpectations(CLI::App* sub, const char* name, std::vector<std::string>& texts,
                             const char* description) {
    return sub->add_option(name, texts, description)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(isExpectation());
}

/// Enters ports of inactive members with the expectations of their value. Throws CLI::ParseError
/// if there is none, or one that has such a port among its own.
void addInactive(const std::string& text, std::vector<Expectation>& expectations) {
    const auto refuse = [&](const char* reason) {
        throw CLI::ValidationError("--inactive", text + ": " + reason);
    };
    const Expectation inactive = *toExpectation(text);
    bool isExpected = false;
    for (Expectation& expectation : expectations) {
        if (expectation.value != inactive.value) {
            continue;
        }
        isExpected = true;
        for (const std::uint16_t port : inactive.ports) {
            if (std::ranges::find(expectation.ports, port) != expectation.ports.end()) {
                refuse("flows of this value are expected at this port");
            }
            expectation.inactive.push_back(port);
        }
    }
    if (!isExpected) {
        refuse("--expect says nothing of this value");
    }
}

void addWatch(CLI::App* sub, Options& options, std::vector<std::string>& expected,
              std::vector<std::string>& inactive) {
    addExpectations(sub, "--expect", expected,
                    "Flows of this value leave through one of these ports; may be repeated")
        ->required();
    addExpectations(sub, "--inactive", inactive,
                    "Ports of inactive members, which flows of this value must not leave through; "
                    "counted apart; may be repeated");
    sub->add_option("--pipe", options.pipe, "Pipe that the flows are in")
        ->capture_default_str()
        ->transform(asNumber<std::uint16_t>());
    sub->add_flag("--wait", options.isPatient, "Wait for the file to appear");
}

void addCreate(CLI::App* sub, velmor_asic_chip_config_t& config) {
    const auto add = [&](const char* name, auto& value, const char* description,
                         const CLI::Validator& number) {
        sub->add_option(name, value, description)->capture_default_str()->transform(number);
    };
    const auto anyCapacity = asNumber<std::uint32_t>();
    add("--entries", config.entry_capacity, "Match entries of a scope", anyCapacity);
    add("--members", config.member_capacity, "Members of a scope", anyCapacity);
    add("--groups", config.group_capacity, "Groups of a scope", anyCapacity);
    add("--group-size", config.group_size_limit, "Most members that a group can ask for",
        asNumber<std::uint16_t>(1));
    add("--pipes", config.pipes, "Pipes", asNumber<std::uint16_t>(1, VELMOR_ASIC_MAX_PIPES));
}

} // namespace

std::optional<Expectation> toExpectation(const std::string& text) {
    if (text.find('=') == std::string::npos || text.back() == ',') {
        return std::nullopt;
    }
    std::string_view rest = text;
    const auto value = toNumber<std::uint32_t>(takeUpTo('=', rest));
    if (!value) {
        return std::nullopt;
    }
    Expectation expectation{*value, {}};
    do {
        const auto port = toNumber<std::uint16_t>(takeUpTo(',', rest));
        if (!port) {
            return std::nullopt;
        }
        expectation.ports.push_back(*port);
    } while (!rest.empty());
    return expectation;
}

std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode) {
    Options options;
    velmor_asic_chip_config_default(&options.config);
    std::vector<std::string> expected;
    std::vector<std::string> inactive;
    CLI::App app(
        "Makes the file of a software ASIC's chip, looks into it, and sends flows through it",
        "velmor-asic");
    app.set_version_flag("--version", "velmor-asic " VELMOR_ASIC_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0; 1 if 'watch' saw a lookup without port, with a wrong one or that of an\n"
        "inactive member; 2 for bad arguments, a file that cannot be used, or lost output.");

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
        ->add_option("--last", options.last, "Only the latest so many calls")
        ->transform(asNumber<std::uint64_t>());
    add(Command::powerCycle, "power-cycle", "Power-cycle the chip: it loses its state");
    addCreate(add(Command::create, "create", "Make the file of an empty chip, if there is none"),
              options.config);
    addWatch(addJson(add(Command::watch, "watch",
                         "Send flows until standard input ends or SIGTERM; report on each line of "
                         "input")),
             options, expected, inactive);
    try {
        app.parse(argc, argv);
        for (const std::string& text : expected) {
            options.expectations.push_back(*toExpectation(text));
        }
        for (const std::string& text : inactive) {
            addInactive(text, options.expectations);
        }
    } catch (const CLI::ParseError& e) {
        *exitCode = app.exit(e) == 0 ? kExitGood : kExitNotDone;
        return std::nullopt;
    }
    return options;
}

} // namespace asic_tool
