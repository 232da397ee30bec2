#pragma once

#include <system_error>

#include "platform/Pello/CorruptionDetectedException.h"

namespace Pello {

/// The state on disk cannot be used: the message names the path and the reason. Whoever catches it
/// can neither go on with that state nor replace it without a person's decision.
class StateException : public Exception {
  public:
    StateException(const Kel::String& path, const Kel::String& reason)
        : Exception(path + ": " + reason) {}
    /// The same from a failed system call: "cannot WHAT: the error's text".
    StateException(const Kel::String& path, const Kel::String& what, int error)
        : StateException(path, "cannot " + what + ": " +
                                   Kel::String(std::generic_category().message(error))) {}
    ~StateException() override;
};

} // namespace Pello
