#pragma once

#include <sys/resource.h>

#include <exception>
#include <string>

namespace LagAgent {

/// The message of what the work throws while the process may have no descriptor above the limit;
/// empty when it throws nothing. The exception is looked at afterwards: where the undefined
/// behaviour sanitizer looks over the shoulder, that takes descriptors.
template <class Work>
std::string complaintWithDescriptorsBelow(rlim_t limit, Work work) {
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{limit, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    std::exception_ptr thrown;
    try {
        work();
    } catch (...) {
        thrown = std::current_exception();
    }
    ::setrlimit(RLIMIT_NOFILE, &before);
    try {
        if (thrown) {
            std::rethrow_exception(thrown);
        }
    } catch (const std::exception& e) {
        return e.what();
    }
    return {};
}

} // namespace LagAgent
