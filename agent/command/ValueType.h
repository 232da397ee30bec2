#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace LagAgent {

/// A type of parameter: a number in a range, a choice of words, or text.
struct ValueType {
    enum class Kind { number, choice, text };

    const char* name;
    Kind kind;
    std::uint32_t least = 0;
    std::uint32_t most = 0;
    std::vector<std::string> choices{};
    /// What a choice may begin with, without a difference.
    std::string_view prefix{};

    /// Empty when the word is a value of this type; otherwise what is wrong with it.
    std::string complaint(std::string_view parameter, std::string_view word) const;
    /// The number that a good word stands for: itself, or the place among the choices.
    std::uint32_t number(std::string_view word) const;

  private:
    std::vector<std::string>::const_iterator find(std::string_view word) const;
};

/// The type of that name. REQUIRES: there is one.
const ValueType& valueType(std::string_view name);

/// The driver's PD operation at that place among the choices of type "operation": its full name.
std::string operationName(std::uint32_t number);

} // namespace LagAgent
