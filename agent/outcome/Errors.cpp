#include "agent/outcome/Errors.h"

#include <algorithm>
#include <array>

namespace LagAgent {

namespace {

/// In the order of `ErrorKind`.
constexpr std::array kKindNames{"usage",       "refused", "table",   "model",      "expectation",
                                "unsupported", "start",   "storage", "connection", "internal"};

} // namespace

const char* kindName(ErrorKind kind) {
    return kKindNames.at(static_cast<std::size_t>(kind));
}

std::optional<ErrorKind> kindOfName(std::string_view name) {
    const auto found = std::ranges::find(kKindNames, name,
                                         [](const char* kind) { return std::string_view(kind); });
    if (found == kKindNames.end()) {
        return std::nullopt;
    }
    return static_cast<ErrorKind>(found - kKindNames.begin());
}

std::string Error::text() const {
    if (!status) {
        return message;
    }
    return exceptionClass + ": " + message + " (status " + std::to_string(*status) + ")";
}

void refuse(const std::string& message) {
    throw CommandError(ErrorKind::refused, message);
}

void notAsExpected(const std::string& message) {
    throw CommandError(ErrorKind::expectation, message);
}

Error errorOf(const std::exception& e) {
    const auto* known = dynamic_cast<const CommandError*>(&e);
    return {known ? known->kind() : ErrorKind::internal, e.what()};
}

} // namespace LagAgent
