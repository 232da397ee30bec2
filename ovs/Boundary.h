// What every call of the PD API goes through, from the C arguments to the work and back.
//
//   call<pd::operation(__func__)>(work, arguments...)
//
// 1. a planned fault, if there is one for this call, ends it;
// 2. the arguments are admitted in their order: the session must be open, the device the one that
//    there is, the pipe that of all pipes, and no pointer null;
// 3. work(Chip&), or work(pd::Sessions&), does what is asked. It writes outputs only if it
// succeeds;
// 4. an exception becomes a status;
// 5. the call log, if it records, gets the call.
#pragma once

#include <new>
#include <type_traits>

#include "ovs/Runtime.h"
#include "ovs/Types.h"
#include "pd/Operations.h"
#include "pd/calls/CallRecord.h"

namespace ovs {

inline constexpr int kDevice = 0;

/// What the exception under way means to the caller. Keeps its text. REQUIRES: called in a handler.
[[nodiscard]] Status statusOfException() noexcept;

/// Runs the function, and turns an exception into a status: none may cross the C API.
template <class Function>
Status contained(const Function& function) noexcept {
    try {
        return function();
    } catch (...) {
        return statusOfException();
    }
}

// ---- The first argument: the session, or where a session is opened the place for it.
inline Status admitFirst(const Runtime& runtime, p4_pd_sess_hdl_t session) noexcept {
    return runtime.sessions.isOpen(session) ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_SESSION_NOT_FOUND;
}
template <class T>
Status admitFirst(const Runtime&, T* pointer) noexcept {
    return pointer ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
}

// ---- The others. A number, or a struct that is not a target, names nothing.
constexpr bool isAdmissible(int device) noexcept {
    return device == kDevice;
}
constexpr bool isAdmissible(const p4_pd_dev_target_t& target) noexcept {
    return isAdmissible(target.device_id) && target.dev_pipe_id == P4_PD_ALL_PIPES;
}
template <class T>
constexpr bool isAdmissible(const T& argument) noexcept {
    if constexpr (std::is_pointer_v<T>) {
        return argument != nullptr;
    }
    return true;
}

template <class Work, class First, class... Rest>
Status perform(Runtime& runtime, const Work& work, const First& first, const Rest&... rest) {
    if (const Status status = admitFirst(runtime, first); status != P4_PD_STATUS_SUCCESS) {
        return status;
    }
    if (!(... && isAdmissible(rest))) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    if constexpr (std::is_invocable_v<Work, pd::Sessions&>) {
        return work(runtime.sessions);
    } else {
        return work(runtime.madeChip());
    }
}

template <std::size_t index, class Work, class... Arguments>
Status call(const Work& work, const Arguments&... arguments) noexcept {
    return contained([&] {
        Runtime& all = runtime();
        Status status = all.faults.strike(index);
        if (status == P4_PD_STATUS_SUCCESS) {
            status = contained([&] { return perform(all, work, arguments...); });
        }
        if constexpr (pd::kOperations[index].isLogged()) {
            if (all.log.recording()) {
                all.log.append(pd::recordOf<index>(status, arguments...));
            }
        }
        return status;
    });
}

} // namespace ovs
