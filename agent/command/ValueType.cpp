#include "agent/command/ValueType.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <stdexcept>

#include "agent/outcome/Text.h"
#include "agent/terms/ActionNames.h"
#include "platform/BfPdLagGroup/PdOperations.h"

namespace LagAgent {

namespace {

constexpr std::uint32_t kMax = std::numeric_limits<std::uint32_t>::max();
constexpr std::string_view kPdPrefix = "p4_pd_velmor_switch_";

enum class Reading { good, notANumber, tooLarge };

Reading readNumber(std::string_view word, std::uint32_t& number) {
    const bool isHex = word.starts_with("0x") || word.starts_with("0X");
    const std::string_view digits = isHex ? word.substr(2) : word;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), number, isHex ? 16 : 10);
    if (end != digits.data() + digits.size() || error == std::errc::invalid_argument) {
        return Reading::notANumber;
    }
    return error == std::errc() ? Reading::good : Reading::tooLarge;
}

/// The driver's PD operations, without the prefix that all of them share.
std::vector<std::string> operationNames() {
    std::vector<std::string> names;
    BfPdLagGroup::PdOperations().forEach([&](const auto& operation) {
        names.emplace_back(std::string_view(operation.name()).substr(kPdPrefix.size()));
    });
    return names;
}

std::vector<ValueType> makeTypes() {
    using enum ValueType::Kind;
    return {
        {.name = "id", .kind = number, .most = kMax},
        {.name = "number", .kind = number, .most = kMax},
        {.name = "port", .kind = number, .most = 0xFFFF},
        {.name = "size", .kind = number, .least = 1, .most = 0xFFFF},
        {.name = "flows", .kind = number, .least = 1, .most = 1'000'000},
        {.name = "nth", .kind = number, .least = 1, .most = kMax},
        {.name = "percent", .kind = number, .most = 100},
        {.name = "action", .kind = choice, .choices = actionNames()},
        {.name = "state", .kind = choice, .choices = {"active", "inactive"}},
        {.name = "target", .kind = choice, .choices = {"member", "group"}},
        {.name = "direction", .kind = choice, .choices = {"from", "to"}},
        {.name = "mode", .kind = choice, .choices = {"once", "always"}},
        {.name = "operation", .kind = choice, .choices = operationNames(), .prefix = kPdPrefix},
        {.name = "section",
         .kind = choice,
         .choices = {"members", "groups", "entries", "handles", "status", "asic", "calls",
                     "start"}},
        {.name = "objects", .kind = choice, .choices = {"members", "groups", "entries"}},
        {.name = "text", .kind = text},
    };
}

} // namespace

const ValueType& valueType(std::string_view name) {
    static const std::vector<ValueType> kTypes = makeTypes();
    const auto found =
        std::ranges::find_if(kTypes, [&](const ValueType& type) { return type.name == name; });
    if (found == kTypes.end()) {
        throw std::logic_error("no parameter type '" + std::string(name) + "'");
    }
    return *found;
}

std::string operationName(std::uint32_t number) {
    return std::string(kPdPrefix) + valueType("operation").choices.at(number);
}

std::vector<std::string>::const_iterator ValueType::find(std::string_view word) const {
    if (!prefix.empty() && word.starts_with(prefix)) {
        word.remove_prefix(prefix.size());
    }
    return std::ranges::find(choices, word);
}

std::string ValueType::complaint(std::string_view parameter, std::string_view word) const {
    if (kind == Kind::choice && find(word) == choices.end()) {
        const bool isShort = choices.size() <= 8;
        return "unknown " + std::string(parameter) + " " + didYouMean(word, choices) +
               (isShort ? ": give " + alternatives(choices) : "");
    }
    std::uint32_t value = 0;
    const Reading reading = kind == Kind::number ? readNumber(word, value) : Reading::good;
    if (reading == Reading::notANumber) {
        return std::string(parameter) + " " + inQuotes(word) +
               " is not a number (decimal, or hexadecimal with 0x)";
    }
    if (kind == Kind::number && (reading == Reading::tooLarge || value < least || value > most)) {
        return std::string(parameter) + " " + inQuotes(word) + " is out of range (" +
               std::to_string(least) + " to " + std::to_string(most) + ")";
    }
    return {};
}

std::uint32_t ValueType::number(std::string_view word) const {
    std::uint32_t value = 0;
    if (kind == Kind::choice) {
        value = static_cast<std::uint32_t>(find(word) - choices.begin());
    } else if (kind == Kind::number) {
        readNumber(word, value);
    }
    return value;
}

} // namespace LagAgent
