#pragma once

#include <cstddef>
#include <new>
#include <optional>
#include <type_traits>

#include "asic/Runtime.h"
#include "asic/Types.h"
#include "pd/Operations.h"
#include "pd/calls/CallRecord.h"

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

/// What the arguments of a call named, as far as they were admitted.
struct Subject {
    Runtime& runtime;
    Chip* chip = nullptr;
    ScopeIndex scope = 0;

    /// The first argument is the session, or where one is opened the place for it.
    Status admitFirst(p4_pd_sess_hdl_t session) noexcept {
        return runtime.sessions.isOpen(session) ? P4_PD_STATUS_SUCCESS
                                                : P4_PD_STATUS_SESSION_NOT_FOUND;
    }
    template <class T>
    Status admitFirst(T* pointer) noexcept {
        return admit(pointer);
    }
    /// A number names nothing.
    template <class T>
    Status admit(const T&) noexcept {
        return P4_PD_STATUS_SUCCESS;
    }
    template <class T>
    Status admit(T* pointer) noexcept {
        return pointer ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    }
    /// Only a device is an int.
    Status admit(int device) noexcept {
        chip = runtime.chip(device);
        return chip ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    }
    Status admit(const p4_pd_dev_target_t& target) noexcept {
        if (const Status status = admit(target.device_id); status != P4_PD_STATUS_SUCCESS) {
            return status;
        }
        const auto named = chip->scope(target.dev_pipe_id);
        if (!named) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        scope = *named;
        return P4_PD_STATUS_SUCCESS;
    }
};

/// What every call of a PD operation goes through, from the C arguments to the work and back: each
/// function here is a step, and calls the next one.
template <std::size_t index>
class Boundary {
  public:
    /// Every call. Unless it has to do more, it goes straight to its work.
    template <class Work, class... Arguments>
    static Status call(const Work& work, const Arguments&... arguments) noexcept {
        static_assert(kOperation.argumentCount() == sizeof...(Arguments));
        return contained([&] {
            Runtime& all = runtime();
            return all.isWatched() ? watch(all, work, arguments...)
                                   : perform(all, work, arguments...);
        });
    }

  private:
    static constexpr const pd::Operation& kOperation = pd::kOperations[index];

    /// Between the steps that a test hooks into.
    template <class Work, class... Arguments>
    [[gnu::noinline]] static Status watch(Runtime& all, const Work& work,
                                          const Arguments&... arguments) noexcept {
        all.steps.callBegins(kOperation.name);
        const Status status = contained([&] {
            const Status fault = all.faults.strike(index);
            if constexpr (kOperation.isLogged()) {
                return record(all, fault, work, arguments...);
            } else {
                return read(all, fault, work, arguments...);
            }
        });
        all.watchedIs();
        all.steps.callEnds();
        return status;
    }

    /// A call that no log keeps, on what other processes have made of an attached chip.
    template <class Work, class... Arguments>
    static Status read(Runtime& all, Status fault, const Work& work,
                       const Arguments&... arguments) {
        if (fault != P4_PD_STATUS_SUCCESS) {
            return fault;
        }
        if (all.attached) {
            all.attached->catchUp();
        }
        return perform(all, work, arguments...);
    }

    /// A call with its place in the log. While a chip is attached, the call has the file for
    /// itself, whatever device it is about; when the file fails it, the status says why, and it is
    /// not logged.
    template <class Work, class... Arguments>
    static Status record(Runtime& all, Status fault, const Work& work,
                         const Arguments&... arguments) {
        std::optional<AttachedChip::Turn> turn;
        if (all.attached) {
            turn.emplace(*all.attached);
        }
        const bool isOnFile = turn && (... || isDevice(all.attached->device(), arguments));
        const Status status = fault != P4_PD_STATUS_SUCCESS ? fault : contained([&] {
            if (isOnFile) {
                turn->roomFor(index);
            }
            return perform(all, work, arguments...);
        });
        const bool isChange =
            isOnFile && status == P4_PD_STATUS_SUCCESS && kOperation.kind == pd::Kind::change;
        if (turn) {
            turn->record(pd::recordOf<index>(status, arguments...), isChange);
        } else if (all.log.recording()) {
            all.log.append(pd::recordOf<index>(status, arguments...));
        }
        return turn && all.attached->isCutShort() ? Status{P4_PD_STATUS_INTERNAL_ERROR} : status;
    }

    /// Admits the arguments in their order (the session must be open, the device known, the pipe
    /// one that the chip has, and no pointer null), and does the work on what they named.
    template <class Work, class First, class... Rest>
    static Status perform(Runtime& all, const Work& work, const First& first, const Rest&... rest) {
        Subject subject{all};
        Status status = subject.admitFirst(first);
        if (status != P4_PD_STATUS_SUCCESS ||
            !(... && ((status = subject.admit(rest)) == P4_PD_STATUS_SUCCESS))) {
            return status;
        }
        if constexpr (std::is_invocable_v<Work, pd::Sessions&>) {
            return work(all.sessions);
        } else if constexpr (std::is_invocable_v<Work, Chip&>) {
            return work(*subject.chip);
        } else {
            return work(*subject.chip, subject.scope);
        }
    }

    /// Whether an argument names the device.
    template <class T>
    static bool isDevice(int deviceId, const T& argument) noexcept {
        if constexpr (std::is_same_v<T, int>) {
            return argument == deviceId;
        } else if constexpr (std::is_same_v<T, p4_pd_dev_target_t>) {
            return argument.device_id == deviceId;
        } else {
            return false;
        }
    }
};

/// A PD operation's call, which asks with its own name:
///
///     call<pd::operation(__func__)>(work, arguments...)
///
/// The work is work(pd::Sessions&), work(Chip&) or work(Chip&, ScopeIndex), whichever it takes. It
/// writes outputs only if it succeeds.
template <std::size_t index, class Work, class... Arguments>
Status call(const Work& work, const Arguments&... arguments) noexcept {
    return Boundary<index>::call(work, arguments...);
}

} // namespace asic
