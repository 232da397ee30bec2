#include "agent/daemon/Server.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "agent/daemon/OutcomeLog.h"
#include "agent/outcome/ExitStatus.h"
#include "agent/outcome/OutcomeJson.h"
#include "agent/terms/CurrentError.h"

namespace LagAgent {

namespace {

/// How long clients have to take their answers when the daemon stops.
constexpr std::chrono::seconds kGrace(5);
constexpr std::chrono::seconds kAcceptPause(1);
constexpr std::chrono::seconds kLogPause(1);
constexpr std::chrono::seconds kIdlePause(1);

/// For somebody who is turned away instead of greeted. What the new socket has no room for is lost.
void sayNo(int socket, const std::string& why) {
    const std::string text = toLine({{"error", toJson(Error{ErrorKind::connection, why})}});
    ::send(socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

} // namespace

Server::Server(std::string control, const Log& log)
    : log_(log), terminate_(loop_.onSignal(SIGTERM, [this](auto) { stop("SIGTERM", 0); })),
      interrupt_(loop_.onSignal(SIGINT, [this](auto) { stop("SIGINT", 0); })),
      control_(std::move(control)), logRetry_(loop_.onTime([](auto) {})), // and then the check
      logCheck_(loop_.afterEvents([this](auto) { checkLog(); })),
      retry_(loop_.onTime([this](auto) { listener_.enabledIs(true); })),
      grace_(loop_.onTime([this](auto) { loop_.exit(status_); })),
      pause_(loop_.onTime([this](auto) { endPause(); })) {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
}

int Server::run(MakeRunner makeRunner, Obstacle obstacle, WhenIdle whenIdle) {
    makeRunner_ = std::move(makeRunner);
    obstacle_ = std::move(obstacle);
    whenIdle_ = std::move(whenIdle);
    listener_ = loop_.onFile(control_.fd(), EPOLLIN, [this](auto) { accept(); });
    log_.write(LogLevel::info, "ready", {{"socket", control_.path()}});
    sd_notify(0, "READY=1\nSTATUS=Taking commands");
    return loop_.run();
}

void Server::stop(const std::string& reason, int status) {
    if (std::exchange(isStopping_, true)) {
        return;
    }
    status_ = status;
    log_.write(LogLevel::info, "stop", {{"reason", reason}});
    sd_notify(0, "STOPPING=1\nSTATUS=Stopping");
    retry_.enabledIs(false);
    pause_.enabledIs(false);
    listener_ = {};
    control_.close();
    waiting_.clear();
    grace_.startIn(kGrace);
    for (auto at = clients_.begin(); at != clients_.end();) {
        Client& client = *(at++)->second; // settling may drop it
        client.connection.endInput();
        client.isWaiting = false;
        settle(client); // an answer that is under way goes on
    }
    exitWhenDone();
}

void Server::exitWhenDone() {
    if (isStopping_ && clients_.empty()) {
        loop_.exit(status_);
    }
}

/// A reader of the log who comes back is told what is missing, even if nothing happens any more.
void Server::checkLog() {
    if (!log_.flush()) {
        logRetry_.startIn(kLogPause);
    }
}

/// One timer a second at most, however many requests there are.
void Server::startPause() {
    if (!whenIdle_) {
        return;
    }
    if (isPauseUnderWay_) {
        isPauseBroken_ = true;
        return;
    }
    isPauseUnderWay_ = true;
    pause_.startIn(kIdlePause);
}

void Server::endPause() {
    isPauseUnderWay_ = false;
    if (std::exchange(isPauseBroken_, false)) {
        startPause();
    } else {
        whenIdle_();
    }
}

// ---- Clients come and go -------------------------------------------------------------------

void Server::accept() {
    // One descriptor is left free: without it the watchdog would not be fed.
    const Posix::FileDescriptor spare(::fcntl(control_.fd(), F_DUPFD_CLOEXEC, 0));
    Posix::FileDescriptor socket(
        spare ? ::accept4(control_.fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK) : -1);
    if (!socket) {
        pauseAccepting(errno);
        return;
    }
    const Peer peer = peerOf(socket.get());
    const std::string why = objection(peer);
    if (why.empty()) {
        add(std::move(socket), peer);
        return;
    }
    sayNo(socket.get(), why);
    log_.write(LogLevel::warning, "client-refused",
               {{"pid", peer.process}, {"uid", peer.user}, {"message", why}});
}

/// When there is no descriptor or memory for another client, asking again at once would not help.
void Server::pauseAccepting(int error) {
    if (error == EAGAIN || error == EINTR || error == ECONNABORTED) {
        return;
    }
    log_.write(LogLevel::error, "cannot-accept", {{"message", std::strerror(error)}});
    listener_.enabledIs(false);
    retry_.startIn(kAcceptPause);
}

std::string Server::objection(const Peer& peer) const {
    if (!mayCommand(peer, ::geteuid())) {
        return "the daemon takes no commands from user " + std::to_string(peer.user) +
               ": only from its own user and from root";
    }
    if (clients_.size() >= kMostClients) {
        return "the daemon has " + std::to_string(kMostClients) +
               " clients already: end one of them first";
    }
    return {};
}

void Server::add(Posix::FileDescriptor socket, const Peer& peer) {
    const std::uint64_t number = ++latestClient_;
    try {
        clients_.emplace(number, newClient(number, socket));
    } catch (...) {
        const std::string why = currentError().message;
        sayNo(socket.get(), "the daemon cannot serve another client: " + why);
        log_.write(LogLevel::error, "internal-error", {{"client", number}, {"message", why}});
        return;
    }
    log_.write(LogLevel::debug, "client-connected",
               {{"client", number}, {"pid", peer.process}, {"uid", peer.user}});
}

std::unique_ptr<Server::Client> Server::newClient(std::uint64_t number,
                                                  Posix::FileDescriptor& socket) {
    auto runner = makeRunner_();
    auto source = loop_.onFile(socket.get(), EPOLLIN, [this, number](std::uint32_t events) {
        serve(*clients_.at(number), events);
    });
    auto client = std::make_unique<Client>(
        Client{number, Connection(std::move(socket), std::move(runner)), std::move(source)});
    client->source.eventsAre(client->connection.events());
    return client;
}

void Server::drop(Client& client) {
    const std::uint64_t number = client.number;
    clients_.erase(number);
    log_.write(LogLevel::debug, "client-gone", {{"client", number}});
    exitWhenDone();
}

// ---- Requests ------------------------------------------------------------------------------

template <class Work>
void Server::guarded(Client& client, Work work) {
    try {
        work();
        settle(client);
    } catch (...) {
        log_.write(LogLevel::error, "internal-error",
                   {{"client", client.number}, {"message", currentError().message}});
        drop(client);
    }
}

void Server::serve(Client& client, std::uint32_t events) {
    guarded(client, [&] { client.connection.serve(events); });
}

/// Sees to it that the next client has its turn, after what else is due.
void Server::takeTurn() {
    if (!waiting_.empty() && !std::exchange(isTurnDue_, true)) {
        turn_ = loop_.onTurn([this](auto) { carryOutNext(); });
    }
}

void Server::carryOutNext() {
    isTurnDue_ = false;
    turn_ = {};
    if (waiting_.empty()) {
        return; // the clients are gone, or the server stops
    }
    const std::uint64_t number = waiting_.front();
    waiting_.pop_front();
    if (const auto found = clients_.find(number); found != clients_.end()) {
        carryOut(*found->second);
        startPause();
    }
    if (const std::string why = obstacle_ && !isStopping_ ? obstacle_() : ""; !why.empty()) {
        log_.write(LogLevel::error, "failed",
                   {{"kind", kindName(ErrorKind::storage)}, {"message", why}});
        stop(why, kExitDaemonFailed);
    }
    takeTurn();
}

void Server::carryOut(Client& client) {
    client.isWaiting = false;
    guarded(client, [&] {
        if (const auto outcome = client.connection.takeTurn()) {
            logFailure(log_, client.number, *outcome);
        }
    });
}

/// Until then the client's socket is let alone: one that hung up would be reported all the time.
void Server::waitFor(int fd, Client& client) {
    client.source.enabledIs(false);
    client.work = {}; // a file is waited for once
    client.work = loop_.onFile(fd, EPOLLIN, [this, &client](auto) {
        client.work = {};
        client.source.enabledIs(true);
        letWait(client);
    });
}

/// After anything that happened with a client: it goes, or waits for its turn, or for its socket.
void Server::settle(Client& client) {
    if (client.connection.isOver()) {
        drop(client);
        return;
    }
    if (const int fd = client.connection.waitsFor(); fd >= 0) {
        waitFor(fd, client);
        return;
    }
    client.source.eventsAre(client.connection.events());
    if (!client.isWaiting && client.connection.hasWork()) {
        letWait(client);
    }
}

/// For its turn.
void Server::letWait(Client& client) {
    waiting_.push_back(client.number);
    client.isWaiting = true;
    takeTurn();
}

} // namespace LagAgent
