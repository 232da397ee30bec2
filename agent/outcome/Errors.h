#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace LagAgent {

/// Why a command failed.
enum class ErrorKind {
    usage,       ///< the line is not a command
    refused,     ///< the order is one that the driver does not survive, or that makes no sense now
    table,       ///< the chip refused a PD call
    model,       ///< the driver's model refused a value
    expectation, ///< what a script expects is not so
    unsupported, ///< the PD library has no such controls
    start,       ///< the driver could not be started
    storage,     ///< the desired state could not be read or kept
    connection,  ///< the daemon cannot be reached, or what came over the socket makes no sense
    internal,    ///< anything else
};

/// The kind's name as tools see it.
const char* kindName(ErrorKind kind);
/// The kind of that name, if there is one.
std::optional<ErrorKind> kindOfName(std::string_view name);

/// A failed command, as it is shown.
struct Error {
    ErrorKind kind;
    std::string message;
    /// Of a refused PD call: the exception's class, the PD function, the status.
    std::string exceptionClass{};
    std::string function{};
    std::optional<std::uint32_t> status{};

    /// One line: the message, for a refused PD call with class and status.
    std::string text() const;
};

/// What the agent itself throws, of one kind each.
class CommandError : public std::runtime_error {
  public:
    CommandError(ErrorKind kind, const std::string& message)
        : std::runtime_error(message), kind_(kind) {}
    ErrorKind kind() const noexcept { return kind_; }

  private:
    ErrorKind kind_;
};

/// The chip was changed, but the desired state that says so could not be kept: they disagree, and
/// only a restart, which brings the chip back to the desired state, puts that right.
class DesiredStateLost : public CommandError {
  public:
    explicit DesiredStateLost(const std::string& message)
        : CommandError(ErrorKind::storage, message) {}
};

[[noreturn]] void refuse(const std::string& message);
[[noreturn]] void notAsExpected(const std::string& message);

/// Describes an exception where no driver is: a `CommandError` by its kind, any other as internal.
/// Over a driver, `currentError` knows more.
Error errorOf(const std::exception& e);

} // namespace LagAgent
