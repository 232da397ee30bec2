#include "ovs/Settings.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace ovs {

namespace {

constexpr std::uint8_t kLastTable = 251; // 252 is the one after it, the marks are in 253

void tableIs(Settings& settings, const std::string& value) {
    const char* const end = value.data() + value.size();
    const auto [stop, failure] = std::from_chars(value.data(), end, settings.table);
    if (failure != std::errc() || stop != end || settings.table < 1 ||
        settings.table > kLastTable) {
        throw BadSetting("table: '" + value + "' is no number from 1 to 251");
    }
}

void doneIs(Settings& settings, const std::string& value) {
    if (value != "tables" && value != "forwarding") {
        throw BadSetting("done: '" + value + "' is neither tables nor forwarding");
    }
    settings.waitsForForwarding = value == "forwarding";
}

struct Row {
    const char* name;
    const char* variable;
    void (*take)(Settings& settings, const std::string& value);
};
constexpr std::array<Row, 4> kRows{{
    {"management", "VELMOR_OVS_MANAGEMENT",
     [](Settings& settings, const std::string& value) { settings.management = value; }},
    {"control", "VELMOR_OVS_CONTROL",
     [](Settings& settings, const std::string& value) { settings.control = value; }},
    {"table", "VELMOR_OVS_TABLE", tableIs},
    {"done", "VELMOR_OVS_DONE", doneIs},
}};

std::string_view trimmed(std::string_view text) {
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

void takeLine(Settings& settings, std::string_view line) {
    line = trimmed(line.substr(0, line.find('#')));
    if (line.empty()) {
        return;
    }
    const auto equals = line.find('=');
    const std::string_view name = trimmed(line.substr(0, equals));
    for (const Row& row : kRows) {
        if (equals != line.npos && name == row.name) {
            return row.take(settings, std::string(trimmed(line.substr(equals + 1))));
        }
    }
    throw BadSetting("'" + std::string(line) + "' is no setting");
}

} // namespace

std::string Settings::bridge() const {
    return std::filesystem::path(management).stem().string();
}

Settings Settings::read(const std::optional<std::string>& file) {
    Settings settings;
    if (file && std::filesystem::exists(*file)) {
        std::ifstream in(*file);
        for (std::string line; std::getline(in, line);) {
            takeLine(settings, line);
        }
        if (!in.eof()) {
            throw BadSetting(*file + ": cannot be read");
        }
    }
    for (const Row& row : kRows) {
        if (const char* const value = std::getenv(row.variable); value && *value) {
            row.take(settings, value);
        }
    }
    if (settings.management.empty()) {
        throw BadSetting("no switch: set VELMOR_OVS_MANAGEMENT to the bridge's management socket, "
                         "BRIDGE.mgmt in Open vSwitch's run directory");
    }
    if (settings.waitsForForwarding && settings.control.empty()) {
        throw BadSetting("done = forwarding needs the control socket of ovs-vswitchd: set "
                         "VELMOR_OVS_CONTROL");
    }
    return settings;
}

} // namespace ovs
