#pragma once

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>

namespace LagAgent {

class EventLoop;

/// Something that happens, and the handler that is called for it as long as this object lives. The
/// handler may end it.
class EventSource {
  public:
    /// With what epoll saw of a file; 0 for other sources.
    using Handler = std::function<void(std::uint32_t events)>;

    EventSource() = default;

    void enabledIs(bool isEnabled);
    /// Of a timer: its handler is called once, after that time from now. Takes neither memory nor
    /// descriptors.
    void startIn(std::chrono::microseconds delay);
    /// Of a file's source: what to wait for.
    void eventsAre(std::uint32_t events);

  private:
    friend class EventLoop;
    struct Unref {
        void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
    };

    struct Target {
        EventLoop& loop;
        Handler handler;
    };

    // Declared so that the source goes first: it points at the rest.
    std::unique_ptr<Target> target_;
    std::unique_ptr<sd_event_source, Unref> source_;
};

/// One thread's events. Handlers run one after the other; an exception that leaves one ends the
/// loop and leaves `run`. All operations throw `std::system_error` when the kernel refuses.
class EventLoop {
  public:
    EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// The file stays the caller's, and must outlive the source.
    EventSource onFile(int fd, std::uint32_t events, EventSource::Handler handler);
    /// Blocks the signal, and calls the handler for it before any other that is due.
    EventSource onSignal(int signal, EventSource::Handler handler);
    /// A timer, which has yet to be started. Made beforehand, so that what it is for can also be a
    /// shortage of descriptors: the first one takes one.
    EventSource onTime(EventSource::Handler handler);
    /// Once, when all others had their turn that were due before this was made.
    EventSource onTurn(EventSource::Handler handler);

    /// After each event that another source was for.
    EventSource afterEvents(EventSource::Handler handler);

    /// Returns what `exit` was given. Feeds systemd's watchdog, if there is one, between handlers:
    /// a handler that never returns ends the process.
    int run();
    void exit(int status);

  private:
    struct Unref {
        void operator()(sd_event* event) const { sd_event_unref(event); }
    };
    template <class Add>
    EventSource made(EventSource::Handler handler, Add add);
    static int dispatch(void* target, std::uint32_t events);

    std::unique_ptr<sd_event, Unref> event_;
    std::exception_ptr failure_;
};

} // namespace LagAgent
