#include "framework/Assert.h"

#include <cerrno> // program_invocation_short_name
#include <cstdio>
#include <cstdlib>

namespace Kel {

void assertFail(const char* text, const char* source, U32 line, const char* function) noexcept {
    std::fprintf(stderr, "%s: %s:%u: %s: Assertion `%s' failed.\n", program_invocation_short_name,
                 source, line, function, text);
    std::fflush(nullptr);
    std::abort();
}

} // namespace Kel
