#include "asic-tool/Options.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "programs/OptionParser.h"

namespace asic_tool {

namespace {

using Programs::OptionParser;

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

std::string isExpectation(std::string& text) {
    return toExpectation(text) ? "" : text + " is not VALUE=PORT[,PORT...]";
}

/// Adds a number of this range, which is written anew for the parser of the options: that takes no
/// text for 0 and 010 for 8.
template <class Number>
OptionParser::Option addNumber(OptionParser& command, const char* name, Number& value,
                               const char* description, Number least = 0,
                               Number most = std::numeric_limits<Number>::max()) {
    const std::string range = std::to_string(least) + " to " + std::to_string(most);
    const auto check = [=](std::string& text) -> std::string {
        const auto number = toNumber<Number>(text);
        if (!number || *number < least || *number > most) {
            return "'" + text + "' is not a number from " + range;
        }
        text = std::to_string(*number);
        return "";
    };
    return command.add(name, value, description).check(check, range);
}

/// For options that may be repeated, each time with one expectation.
OptionParser::Option addExpectations(OptionParser& command, const char* name,
                                     std::vector<std::string>& texts, const char* description) {
    return command.add(name, texts, description)
        .repeated()
        .check(isExpectation, "VALUE=PORT[,PORT...]");
}

/// Enters ports of inactive members with the expectations of their value. Returns what is wrong if
/// there is none, or one that has such a port among its own.
std::string addInactive(const std::string& text, std::vector<Expectation>& expectations) {
    const Expectation inactive = *toExpectation(text);
    bool isExpected = false;
    for (Expectation& expectation : expectations) {
        if (expectation.value != inactive.value) {
            continue;
        }
        isExpected = true;
        for (const std::uint16_t port : inactive.ports) {
            if (std::ranges::find(expectation.ports, port) != expectation.ports.end()) {
                return text + ": flows of this value are expected at this port";
            }
            expectation.inactive.push_back(port);
        }
    }
    return isExpected ? "" : text + ": --expect says nothing of this value";
}

/// What the options of `watch` say, as texts.
struct Watched {
    std::vector<std::string> expected{};
    std::vector<std::string> inactive{};
};

void addWatch(OptionParser& command, Options& options, Watched& watched) {
    addExpectations(command, "--expect", watched.expected,
                    "Flows of this value leave through one of these ports; may be repeated")
        .required();
    addExpectations(command, "--inactive", watched.inactive,
                    "Ports of inactive members, which flows of this value must not leave through; "
                    "counted apart; may be repeated");
    addNumber(command, "--pipe", options.pipe, "Pipe that the flows are in").defaultFromValue();
    command.addFlag("--wait", options.isPatient, "Wait for the file to appear");
}

void addCreate(OptionParser& command, velmor_asic_chip_config_t& config) {
    const auto add = [&](const char* name, auto& value, const char* description, auto... range) {
        addNumber(command, name, value, description, range...).defaultFromValue();
    };
    add("--entries", config.entry_capacity, "Match entries of a scope");
    add("--members", config.member_capacity, "Members of a scope");
    add("--groups", config.group_capacity, "Groups of a scope");
    add("--group-size", config.group_size_limit, "Most members that a group can ask for",
        std::uint16_t{1});
    add("--pipes", config.pipes, "Pipes", std::uint16_t{1}, std::uint16_t{VELMOR_ASIC_MAX_PIPES});
}

void addCommands(OptionParser& parser, Options& options, Watched& watched) {
    const auto add = [&](Command command, const char* name, const char* description) {
        OptionParser sub = parser.addCommand(name, description);
        sub.add("FILE", options.file, "File of the chip").required();
        sub.whenRead([&options, command] { options.command = command; });
        return sub;
    };
    const auto addWithJson = [&](Command command, const char* name, const char* description) {
        OptionParser sub = add(command, name, description);
        sub.addFlag("--json", options.isJson, "Write JSON");
        return sub;
    };
    addWithJson(Command::show, "show", "Show boot generation, usage and tables");
    auto calls = addWithJson(Command::calls, "calls", "Show the call log");
    addNumber(calls, "--last", options.last, "Only the latest so many calls");
    add(Command::powerCycle, "power-cycle", "Power-cycle the chip: it loses its state");
    auto create =
        add(Command::create, "create", "Make the file of an empty chip, if there is none");
    addCreate(create, options.config);
    auto watch = addWithJson(
        Command::watch, "watch",
        "Send flows until standard input ends or SIGTERM; report on each line of input");
    addWatch(watch, options, watched);
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
    Watched watched;
    OptionParser parser(
        "Makes the file of a software ASIC's chip, looks into it, and sends flows through it",
        "velmor-asic");
    parser.footer(
        "Exit status: 0; 1 if 'watch' saw a lookup without port, with a wrong one or that of an\n"
        "inactive member; 2 for bad arguments, a file that cannot be used, or lost output.");
    addCommands(parser, options, watched);
    if (!parser.parse({argv + 1, argv + argc}, VELMOR_ASIC_VERSION, kExitNotDone, exitCode)) {
        return std::nullopt;
    }
    for (const std::string& text : watched.expected) {
        options.expectations.push_back(*toExpectation(text));
    }
    for (const std::string& text : watched.inactive) {
        const std::string complaint = addInactive(text, options.expectations);
        if (!complaint.empty()) {
            parser.complain("--inactive", complaint);
            *exitCode = kExitNotDone;
            return std::nullopt;
        }
    }
    return options;
}

} // namespace asic_tool
