#include "tests/support/TraceLines.h"

#include <gtest/gtest.h>

#include <regex>

#include "framework/Trace.h"

namespace test_support {

TraceLines::TraceLines(const char* facility, Kel::U8 level) : facility_(facility) {
    Kel::traceSinkIs([this](std::string_view line) {
        static const std::regex form(
            R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6} (\S+) (\d+) (\S+):(\d+) (\S+) (.*))");
        std::match_results<std::string_view::const_iterator> parts;
        if (!std::regex_match(line.begin(), line.end(), parts, form)) {
            ADD_FAILURE() << "not a trace line: " << line;
            return;
        }
        const auto number = [&](int part) {
            return static_cast<unsigned>(std::stoul(parts[part].str()));
        };
        lines_.push_back(
            {parts[1].str(), number(2), parts[3].str(), number(4), parts[5].str(), parts[6].str()});
    });
    Kel::traceLevelIs(facility, level);
}

TraceLines::~TraceLines() {
    Kel::traceLevelIs(facility_, 0);
    Kel::traceSinkIs(nullptr);
}

std::vector<std::string> TraceLines::texts() const {
    std::vector<std::string> texts;
    for (const Line& line : lines_) {
        texts.push_back(std::to_string(line.level) + ' ' + line.source + ' ' + line.function +
                        ": " + line.text);
    }
    return texts;
}

} // namespace test_support
