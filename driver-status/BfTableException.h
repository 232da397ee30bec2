#pragma once

#include "driver-status/PipeStatus.h"
#include "framework/Exception.h"

namespace BfTable {

/**
 * A PD call that the chip refused. `what()` reads "FUNCTION() failed: TEXT", `id()` is that of
 * every internal error, and `status` is what the call returned.
 *
 * Catching `BfTableException&` does not catch `BfNotSupported`: an operation that the chip lacks is
 * not a condition of the table, and wants a handler of its own.
 */
class KEL_EXPORT BfTableException : public Kel::InternalException {
  public:
    BfTableException(pipe_status failure, Kel::String&& message);
    ~BfTableException() override;

    pipe_status status;
};

/// The table, the profile or the selector is full (status 9).
class KEL_EXPORT BfTableFull : public BfTableException {
  public:
    using BfTableException::BfTableException;
    ~BfTableFull() override;
};

/// The SDK is out of resources (status 2).
class KEL_EXPORT BfNoSysResources : public BfTableException {
  public:
    using BfTableException::BfTableException;
    ~BfNoSysResources() override;
};

/// The chip or its PD library lacks the operation (status 17). Deliberately no `BfTableException`
/// (nor `std::exception`) to a handler: only `catch (BfNotSupported&)` or `catch (...)` gets it.
class KEL_EXPORT BfNotSupported : private BfTableException {
  public:
    using BfTableException::BfTableException;
    ~BfNotSupported() override;

    using BfTableException::id;
    using BfTableException::status;
    using BfTableException::what;
};

} // namespace BfTable
