#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

namespace Posix {

/// The state on disk cannot be used: the message names the path and the reason. The catcher can
/// neither go on with that state nor replace it without a person's decision.
class StateException : public std::runtime_error {
  public:
    StateException(const std::string& path, const std::string& reason)
        : std::runtime_error(path + ": " + reason) {}
    /// The same from a failed system call: "cannot WHAT: the error's text".
    StateException(const std::string& path, const std::string& what, int error)
        : StateException(path, "cannot " + what + ": " + std::generic_category().message(error)) {}
};

} // namespace Posix
