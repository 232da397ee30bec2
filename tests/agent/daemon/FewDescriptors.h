#pragma once

#include <sys/resource.h>

#include <string>

#include "agent/outcome/Errors.h"

namespace LagAgent {

/// The undefined behaviour sanitizer takes descriptors itself to look at an object that is thrown,
/// and what it cannot look at it takes for a wrong one.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kCanRunOutOfDescriptors = false;
#else
inline constexpr bool kCanRunOutOfDescriptors = true;
#endif

/// The message of the `CommandError` that the work throws while the process may have no descriptor
/// above the limit; empty when it throws none.
template <class Work>
std::string complaintWithDescriptorsBelow(rlim_t limit, Work work) {
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{limit, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    std::string complaint;
    try {
        work();
    } catch (const CommandError& e) {
        complaint = e.what();
    }
    ::setrlimit(RLIMIT_NOFILE, &before);
    return complaint;
}

} // namespace LagAgent
