#include "driver-status/BfTableException.h"

namespace BfTable {

BfTableException::BfTableException(pipe_status failure, Kel::String&& message)
    : Kel::InternalException(std::move(message)), status(failure) {}

// The destructors stand here so that each class has one home for its type information.
BfTableException::~BfTableException() = default;
BfTableFull::~BfTableFull() = default;
BfNoSysResources::~BfNoSysResources() = default;
BfNotSupported::~BfNotSupported() = default;

} // namespace BfTable
