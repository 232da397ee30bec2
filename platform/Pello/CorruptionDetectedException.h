#pragma once

#include "framework/Exception.h"

namespace Pello {

/// Base of the shared-memory layer's exceptions.
class KEL_EXPORT Exception : public Kel::Exception {
  public:
    ~Exception() override;
    /// The message.
    Kel::String msg() const { return what(); }
    Id id() const noexcept override;

  protected:
    explicit Exception(Kel::String message);
};

/// A shared table holds what cannot be: reading it must stop here.
class KEL_EXPORT CorruptionDetectedException : public Exception {
  public:
    explicit CorruptionDetectedException(Kel::String message) : Exception(std::move(message)) {}
    ~CorruptionDetectedException() override;
};

} // namespace Pello
