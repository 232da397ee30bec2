#include "driver-status/PdCall.h"

#include "driver-status/BfTableException.h"

namespace BfTable {

void throwPdFailure(const char* function, pipe_status status) {
    const Kel::Expect expect(Kel::Exception::kInternal);
    Kel::String message = Kel::format("%s() failed: %s", function, pipeStatusText(status));
    if (status == kStatusTableFull) {
        throw BfTableFull(status, std::move(message));
    }
    if (status == kStatusNoSysResources) {
        throw BfNoSysResources(status, std::move(message));
    }
    if (status == kStatusNotSupported) {
        throw BfNotSupported(status, std::move(message));
    }
    throw BfTableException(status, std::move(message));
}

} // namespace BfTable
