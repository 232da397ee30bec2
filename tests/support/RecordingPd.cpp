#include "tests/support/RecordingPd.h"

#include <dlfcn.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace test_support {

const char* RecordingPd::path() noexcept {
    return RECORDING_PD_LIBRARY;
}

template <class Function>
void RecordingPd::resolve(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(dlsym(library_, name));
    if (!function) {
        throw std::runtime_error(std::string(path()) + " lacks " + name);
    }
}

RecordingPd::RecordingPd(Journal* journal)
    : library_(dlopen(path(), RTLD_NOW | RTLD_LOCAL)), journal_(journal) {
    if (!library_) {
        throw std::runtime_error(dlerror());
    }
    resolve(reset_, "recording_pd_reset");
    resolve(listenerIs_, "recording_pd_listener_is");
    resolve(statusIs_, "recording_pd_status_is");
    resolve(nextHandleIs_, "recording_pd_next_handle_is");
    resolve(entryIs_, "recording_pd_entry_is");
    reset();
}

RecordingPd::~RecordingPd() {
    reset_();
    dlclose(library_);
}

void RecordingPd::reset() {
    reset_();
    calls_.clear();
    const auto record = [](void* context, const char* line) {
        auto& self = *static_cast<RecordingPd*>(context);
        self.calls_.emplace_back(line);
        if (self.journal_) {
            self.journal_->add(line);
        }
    };
    listenerIs_(record, this);
}

std::vector<std::string> RecordingPd::takeCalls() {
    return std::exchange(calls_, {});
}

std::size_t RecordingPd::count(std::string_view function) const {
    const auto isCallOf = [function](const std::string& line) {
        return std::string_view(line).substr(0, line.find('(')) == function;
    };
    return static_cast<std::size_t>(std::count_if(calls_.begin(), calls_.end(), isCallOf));
}

} // namespace test_support
