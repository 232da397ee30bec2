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

#include "asic/Arguments.h"
#include "asic/CallLog.h"
#include "asic/Runtime.h"
#include "asic/Types.h"
#include "pd/Operations.h"

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

    // A number names nothing, nor does a struct by itself.
    template <class T>
    Status admit(const T&) noexcept {
        return P4_PD_STATUS_SUCCESS;
    }
    template <class T>
    Status admit(const In<T>& in) noexcept {
        return in.value ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    }
    template <class T>
    Status admit(const Out<T>& out) noexcept {
        return out.value ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    }
    Status admit(const Session& session) noexcept {
        return runtime.sessions.isOpen(session.handle) ? P4_PD_STATUS_SUCCESS
                                                       : P4_PD_STATUS_SESSION_NOT_FOUND;
    }
    Status admit(const Device& device) noexcept {
        if constexpr (path == Path::watched)
            chip = runtime.chip(device.id);
        else
            chip = runtime.chips.find(device.id);
        return chip ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    }
    Status admit(const p4_pd_dev_target_t& target) noexcept {
        if (const Status status = admit(Device{target.device_id}); status != P4_PD_STATUS_SUCCESS)
            return status;
        const auto named = chip->scope(target.dev_pipe_id);
        if (!named)
            return P4_PD_STATUS_INVALID_ARG;
        scope = *named;
        return P4_PD_STATUS_SUCCESS;
    }
};

template <Path path, class Work, class... Arguments>
Status perform(Runtime& runtime, const Work& work, const Arguments&... arguments) {
    Subject<path> subject{runtime};
    Status status = P4_PD_STATUS_SUCCESS;
    if (!(... && ((status = subject.admit(arguments)) == P4_PD_STATUS_SUCCESS)))
        return status;
    if constexpr (std::is_invocable_v<Work, Sessions&>)
        return work(runtime.sessions);
    else if constexpr (std::is_invocable_v<Work, Chip&>)
        return work(*subject.chip);
    else
        return work(*subject.chip, subject.scope);
}

// ---- Recording

template <class T>
struct ShapeOf {
    static constexpr ArgumentShape value{kindOf(T{}), Direction::in};
};
template <class T>
struct ShapeOf<In<T>> {
    static constexpr ArgumentShape value{kindOf(T{}), Direction::in};
};
template <class T>
struct ShapeOf<Out<T>> {
    static constexpr ArgumentShape value{kindOf(T{}), Direction::out};
};

template <class... Arguments>
inline constexpr ArgumentShapes kShapes{ShapeOf<Arguments>::value...};

template <class... Arguments>
constexpr std::size_t wordCount() noexcept {
    return (... + wordsOf(ShapeOf<Arguments>::value.kind));
}

/// Writes arguments into a record one after the other.
class Recorder {
  public:
    explicit Recorder(CallRecord& record) noexcept : record_(record) {}

    template <class T>
    void add(const T& value) noexcept {
        put(word(), value);
        passed(ShapeOf<T>::value.kind);
    }
    template <class T>
    void add(const In<T>& in) noexcept {
        pointer(in.value, true);
    }
    template <class T>
    void add(const Out<T>& out) noexcept {
        pointer(out.value, record_.status == P4_PD_STATUS_SUCCESS);
    }

  private:
    std::uint32_t* word() noexcept { return record_.arguments.words.data() + words_; }

    // An output that was not written may be uninitialised, and is not read.
    template <class T>
    void pointer(const T* value, bool readable) noexcept {
        if (!value)
            record_.arguments.nulls =
                static_cast<std::uint16_t>(record_.arguments.nulls | 1u << arguments_);
        else if (readable)
            put(word(), *value);
        passed(kindOf(T{}));
    }
    void passed(ValueKind kind) noexcept {
        words_ += wordsOf(kind);
        ++arguments_;
    }

    CallRecord& record_;
    std::size_t words_ = 0;
    std::size_t arguments_ = 0;
};

template <std::size_t index, class... Arguments>
CallRecord recordOf(Status status, const Arguments&... arguments) noexcept {
    static_assert(wordCount<Arguments...>() <= ArgumentWords::kMaxWords);
    CallRecord call{.operation = index, .shapes = kShapes<Arguments...>, .status = status};
    Recorder recorder(call);
    (recorder.add(arguments), ...);
    return call;
}

// ---- Calls that have to do more than their work

/// Whether an argument names the device.
template <class T>
constexpr bool names(int, const T&) noexcept {
    return false;
}
constexpr bool names(int deviceId, const Device& device) noexcept {
    return device.id == deviceId;
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
            runtime.log.append(recordOf<index>(status, arguments...));
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
        turn.record(recordOf<index>(status, arguments...), isChange);
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
