#pragma once

#include <string>
#include <string_view>

namespace test_support {

/// The text as a regular expression that matches exactly it.
inline std::string escaped(std::string_view text) {
    std::string expression;
    for (const char c : text) {
        if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos) {
            expression += '\\';
        }
        expression += c;
    }
    return expression;
}

/// What a driver's fatal assertion writes, as the regular expression of a death test. Line 0 is
/// any.
inline std::string assertion(std::string_view text, std::string_view function, unsigned line = 0) {
    return "[^:\n]+: bf_velmor_switch/kel/BfLagGroup/BfLagGroup:" +
           (line ? std::to_string(line) : std::string("[1-9][0-9]*")) + ": " + escaped(function) +
           ": Assertion `" + escaped(text) + "' failed\\.\n";
}

} // namespace test_support
