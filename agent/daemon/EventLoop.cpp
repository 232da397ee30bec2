#include "agent/daemon/EventLoop.h"

#include <csignal>
#include <ctime>
#include <system_error>
#include <utility>

namespace LagAgent {

namespace {

/// REQUIRES: the result of a function of sd-event; negative: the error's number.
int checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), what);
    }
    return result;
}

} // namespace

void EventSource::enabledIs(bool isEnabled) {
    checked(sd_event_source_set_enabled(source_.get(), isEnabled ? SD_EVENT_ON : SD_EVENT_OFF),
            "cannot enable an event");
}

void EventSource::eventsAre(std::uint32_t events) {
    checked(sd_event_source_set_io_events(source_.get(), events), "cannot change an event");
}

void EventSource::startIn(std::chrono::microseconds delay) {
    constexpr const char* kWhat = "cannot start a timer";
    checked(
        sd_event_source_set_time_relative(source_.get(), static_cast<std::uint64_t>(delay.count())),
        kWhat);
    checked(sd_event_source_set_enabled(source_.get(), SD_EVENT_ONESHOT), kWhat);
}

EventLoop::EventLoop() {
    sd_event* event = nullptr;
    checked(sd_event_new(&event), "cannot make an event loop");
    event_.reset(event);
}

int EventLoop::dispatch(void* target, std::uint32_t events) {
    // A copy, since the handler may end its own source.
    const EventSource::Target called = *static_cast<EventSource::Target*>(target);
    try {
        called.handler(events);
    } catch (...) {
        called.loop.failure_ = std::current_exception();
        called.loop.exit(0);
    }
    return 0;
}

template <class Add>
EventSource EventLoop::made(EventSource::Handler handler, Add add) {
    EventSource result;
    result.target_.reset(new EventSource::Target{*this, std::move(handler)});
    sd_event_source* source = nullptr;
    checked(add(&source, result.target_.get()), "cannot wait for an event");
    result.source_.reset(source);
    return result;
}

EventSource EventLoop::onFile(int fd, std::uint32_t events, EventSource::Handler handler) {
    return made(std::move(handler), [&](sd_event_source** source, void* target) {
        return sd_event_add_io(
            event_.get(), source, fd, events,
            [](sd_event_source*, int, std::uint32_t seen, void* t) { return dispatch(t, seen); },
            target);
    });
}

EventSource EventLoop::onSignal(int signal, EventSource::Handler handler) {
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, signal);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    auto result = made(std::move(handler), [&](sd_event_source** source, void* target) {
        return sd_event_add_signal(
            event_.get(), source, signal,
            [](sd_event_source*, const signalfd_siginfo*, void* t) { return dispatch(t, 0); },
            target);
    });
    checked(sd_event_source_set_priority(result.source_.get(), SD_EVENT_PRIORITY_IMPORTANT),
            "cannot prefer a signal");
    return result;
}

EventSource EventLoop::onTime(EventSource::Handler handler) {
    auto result = made(std::move(handler), [&](sd_event_source** source, void* target) {
        return sd_event_add_time(
            event_.get(), source, CLOCK_MONOTONIC, 0, 0,
            [](sd_event_source*, std::uint64_t, void* t) { return dispatch(t, 0); }, target);
    });
    result.enabledIs(false);
    return result;
}

EventSource EventLoop::onTurn(EventSource::Handler handler) {
    // For one turn only: a source of this kind that stays would be the one that has waited longest
    // for ever, and others would not have theirs.
    return made(std::move(handler), [&](sd_event_source** source, void* target) {
        return sd_event_add_defer(
            event_.get(), source, [](sd_event_source*, void* t) { return dispatch(t, 0); }, target);
    });
}

EventSource EventLoop::afterEvents(EventSource::Handler handler) {
    return made(std::move(handler), [&](sd_event_source** source, void* target) {
        return sd_event_add_post(
            event_.get(), source, [](sd_event_source*, void* t) { return dispatch(t, 0); }, target);
    });
}

int EventLoop::run() {
    checked(sd_event_set_watchdog(event_.get(), 1), "cannot feed the watchdog");
    const int status = checked(sd_event_loop(event_.get()), "the event loop failed");
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
    return status;
}

void EventLoop::exit(int status) {
    sd_event_exit(event_.get(), status);
}

} // namespace LagAgent
