// What every call of the PD API goes through, from the C arguments to the work and back.
//
//   call<pd::operation(__func__)>(work, arguments...)
//
// 1. a planned fault, if there is one for this call, ends it;
// 2. the arguments are admitted in their order: the session must be open, the device known, the
//    pipe one that the chip has, and no pointer null;
// 3. the work runs on what the arguments named: work(Sessions&), work(Chip&) or
//    work(Chip&, ScopeIndex), whichever it takes. It writes outputs only if it succeeds;
// 4. an exception becomes a status;
// 5. the call log, if it records, gets the call. With an attached chip, log and chip get it in one.
#pragma once

#include "asic/Runtime.h"
#include "asic/Types.h"
#include "pd/Operations.h"
#include "pd/calls/CallRecord.h"

#include <array>
#include <cstddef>
#include <new>
#include <type_traits>

namespace asic {

/// Runs the function, and turns an exception into a status: none may cross the C API.
template <class Function>
Status contained(Function&& function) noexcept {
    try {
        return function();
    } catch (const ChipFileError& error) {
        return error.status();
    } catch (const std::bad_alloc&) {
        return P4_PD_STATUS_NO_SYS_RESOURCES;
    } catch (...) {
        return P4_PD_STATUS_INTERNAL_ERROR;
    }
}

/// Where a call looks for its chip: an attached chip is met by watched calls only.
enum class Path : bool { plain, watched };

/// What the arguments of a call named.
template <Path path>
struct Subject {
    Runtime& runtime;
    Chip* chip = nullptr;
    ScopeIndex scope = 0;

    /// The first argument is the session, or where a session is opened the place for it.
    Status admitFirst(p4_pd_sess_hdl_t session) noexcept {
        return runtime.sessions.isOpen(session) ? P4_PD_STATUS_SUCCESS
                                                : P4_PD_STATUS_SESSION_NOT_FOUND;
    }
    template <class T>
    Status admitFirst(T* pointer) noexcept {
        return admit(pointer);
    }
    // A number names nothing.
    template <class T>
    Status admit(const T&) noexcept {
        return P4_PD_STATUS_SUCCESS;
    }
    template <class T>
    Status admit(T* pointer) noexcept {
        return pointer ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    }
    Status admit(int device) noexcept {
        if constexpr (path == Path::watched)
            chip = runtime.chip(device);
        else
            chip = runtime.chips.find(device);
        return chip ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    }
    Status admit(const p4_pd_dev_target_t& target) noexcept {
        if (const Status status = admit(target.device_id); status != P4_PD_STATUS_SUCCESS)
            return status;
        const auto named = chip->scope(target.dev_pipe_id);
        if (!named)
            return P4_PD_STATUS_INVALID_ARG;
        scope = *named;
        return P4_PD_STATUS_SUCCESS;
    }
};

template <Path path, class Work, class First, class... Rest>
Status perform(Runtime& runtime, const Work& work, const First& first, const Rest&... rest) {
    Subject<path> subject{runtime};
    Status status = subject.admitFirst(first);
    if (status != P4_PD_STATUS_SUCCESS ||
        !(... && ((status = subject.admit(rest)) == P4_PD_STATUS_SUCCESS)))
        return status;
    if constexpr (std::is_invocable_v<Work, Sessions&>)
        return work(runtime.sessions);
    else if constexpr (std::is_invocable_v<Work, Chip&>)
        return work(*subject.chip);
    else
        return work(*subject.chip, subject.scope);
}

// ---- Calls that have to do more than their work

/// Whether an argument names the device.
template <class T>
constexpr bool names(int, const T&) noexcept {
    return false;
}
constexpr bool names(int deviceId, int device) noexcept {
    return device == deviceId;
}
constexpr bool names(int deviceId, const p4_pd_dev_target_t& target) noexcept {
    return target.device_id == deviceId;
}

/// The work, unless a fault strikes, and the call in the log of the process.
template <std::size_t index, class Work, class... Arguments>
Status performInMemory(Runtime& runtime, const Work& work, const Arguments&... arguments) noexcept {
    Status status = runtime.faults.strike(index);
    if (status == P4_PD_STATUS_SUCCESS)
        status = contained([&] { return perform<Path::watched>(runtime, work, arguments...); });
    if constexpr (pd::kOperations[index].isLogged()) {
        if (runtime.log.recording())
            runtime.log.append(pd::recordOf<index>(status, arguments...));
    }
    return status;
}

/// The same while a chip is attached, whatever device the call is about. A call that the log keeps
/// has the file for itself; when the file fails it, it returns why, and is not logged.
template <std::size_t index, class Work, class... Arguments>
Status performAttached(Runtime& runtime, const Work& work, const Arguments&... arguments) {
    AttachedChip& attached = *runtime.attached;
    const Status fault = runtime.faults.strike(index);
    if constexpr (!pd::kOperations[index].isLogged()) {
        if (fault != P4_PD_STATUS_SUCCESS)
            return fault;
        attached.catchUp();
        return perform<Path::watched>(runtime, work, arguments...);
    } else {
        const bool isOwn = (... || names(attached.device(), arguments));
        AttachedChip::Turn turn(attached);
        const Status status = fault != P4_PD_STATUS_SUCCESS ? fault : contained([&] {
            if (isOwn)
                turn.roomFor(index);
            return perform<Path::watched>(runtime, work, arguments...);
        });
        const bool isChange = isOwn && status == P4_PD_STATUS_SUCCESS &&
                              pd::kOperations[index].kind == pd::Kind::change;
        turn.record(pd::recordOf<index>(status, arguments...), isChange);
        return attached.isCutShort() ? Status{P4_PD_STATUS_INTERNAL_ERROR} : status;
    }
}

/// A call while the log records, a fault is planned, a step hook is set, or a chip is attached.
template <std::size_t index, class Work, class... Arguments>
[[gnu::noinline]] Status performWatched(Runtime& runtime, const Work& work,
                                        const Arguments&... arguments) noexcept {
    runtime.steps.callBegins(pd::kOperations[index].name);
    const Status status =
        runtime.attached
            ? contained([&] { return performAttached<index>(runtime, work, arguments...); })
            : performInMemory<index>(runtime, work, arguments...);
    runtime.watchedIs();
    runtime.steps.callEnds();
    return status;
}

template <std::size_t index, class Work, class... Arguments>
Status call(const Work& work, const Arguments&... arguments) noexcept {
    static_assert(pd::kOperations[index].argumentCount() == sizeof...(Arguments));
    return contained([&] {
        Runtime& all = runtime();
        if (all.isWatched()) [[unlikely]]
            return performWatched<index>(all, work, arguments...);
        return perform<Path::plain>(all, work, arguments...);
    });
}

} // namespace asic
