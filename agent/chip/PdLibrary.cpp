#include "agent/chip/PdLibrary.h"

#include <dlfcn.h>

#include <filesystem>
#include <vector>

#include "agent/outcome/Errors.h"
#include "agent/outcome/Text.h"
#include "driver-status/PipeStatus.h"
#include "platform/BfPdLagGroup/PdOperations.h"

namespace LagAgent {

namespace {

constexpr const char* kFileName = "libpd_velmor_switch.so";

/// The software ASIC beside the executable, in an installation or in a build tree; where it is in
/// none of these, its bare name, which is looked for along the loader's own path.
std::string defaultPath() {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::path here = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    for (const char* place : {".", LAG_AGENT_LIBDIR, "../lib"}) {
        const fs::path candidate = here / place / kFileName;
        if (fs::exists(candidate, ignored)) {
            return candidate.lexically_normal().string();
        }
    }
    return kFileName;
}

void requireOperations(void* library, const std::string& path) {
    std::vector<std::string> missing;
    BfPdLagGroup::PdOperations().forEach([&](const auto& operation) {
        if (!dlsym(library, operation.name())) {
            missing.emplace_back(operation.name());
        }
    });
    if (!missing.empty()) {
        throw CommandError(ErrorKind::start,
                           path + " is no PD library of velmor_switch: it lacks " +
                               std::to_string(missing.size()) + " operations: " + joined(missing));
    }
}

} // namespace

PdLibrary::PdLibrary(const std::string& path)
    : path_(path.empty() ? defaultPath() : path),
      handle_(dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (!handle_) {
        throw CommandError(ErrorKind::start,
                           std::string("cannot open the PD library: ") + dlerror());
    }
    requireOperations(handle_, path_);
    if (const auto init = function<decltype(::p4_pd_velmor_switch_client_init)>(
            "p4_pd_velmor_switch_client_init")) {
        if (const auto status = init(&session_); status != BfTable::kStatusSuccess) {
            throw CommandError(ErrorKind::start,
                               path_ + " opens no session: " + BfTable::pipeStatusText(status) +
                                   " (status " + std::to_string(status) + ")");
        }
    }
}

PdLibrary::~PdLibrary() {
    const auto cleanup = function<decltype(::p4_pd_velmor_switch_client_cleanup)>(
        "p4_pd_velmor_switch_client_cleanup");
    if (cleanup && session_ != 0) {
        cleanup(session_);
    }
}

void* PdLibrary::symbol(const char* name) const {
    return dlsym(handle_, name);
}

} // namespace LagAgent
