#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "agent/daemon/Connection.h"
#include "agent/daemon/ControlSocket.h"
#include "agent/daemon/EventLoop.h"
#include "agent/daemon/Log.h"

namespace LagAgent {

/**
 * Takes requests from clients on the control socket, and carries them out: one at a time, in the
 * order received, one of each client in turn. A long answer takes many turns of its client, and the
 * others have theirs between.
 *
 * From when it is made, clients can connect, and SIGTERM and SIGINT wait for `run`. SIGPIPE and
 * SIGHUP are ignored from then on. One thread; one server at a time in a process.
 */
class Server {
  public:
    /// Makes the script of a new client.
    using MakeRunner = std::function<std::unique_ptr<CommandRunner>()>;
    /// Asked after every request: why what is on disk can be kept no longer, so that the daemon
    /// cannot go on. Empty: it can.
    using Obstacle = std::function<std::string()>;
    /// Work for when no request has come for a while since the latest one.
    using WhenIdle = std::function<void()>;

    /// Throws what `ControlSocket` does. REQUIRES: the log outlives this object.
    Server(std::string control, const Log& log);

    /// Serves until SIGTERM or SIGINT, or `stop`. The request under way is carried out to its end
    /// and its client gets the answer, unless it does not take it within a few seconds. Then the
    /// socket is gone. Returns the exit status; `kExitDaemonFailed` when there was an obstacle,
    /// which is in the log as an error, and whose request gets its answer too. A client that cannot
    /// be served, for want of memory or because `makeRunner` throws, is told so and goes; nothing
    /// else ends for it.
    int run(MakeRunner makeRunner, Obstacle obstacle = {}, WhenIdle whenIdle = {});

    /// Ends `run`, which then returns that. More than once: the first call counts. Not to be called
    /// by a runner.
    void stop(const std::string& reason, int status);

    static constexpr std::size_t kMostClients = 64;

  private:
    struct Client {
        std::uint64_t number;
        Connection connection;
        EventSource source{};
        EventSource work{};     // there while its request waits for something
        bool isWaiting = false; // for its turn: it is in `waiting_`
    };

    void accept();
    void pauseAccepting(int error);
    /// The error for somebody who gets no connection; empty for who does.
    std::string objection(const Peer& peer) const;
    void add(Posix::FileDescriptor socket, const Peer& peer);
    /// Takes the socket only when nothing is left that is likely to fail.
    std::unique_ptr<Client> newClient(std::uint64_t number, Posix::FileDescriptor& socket);

    void serve(Client& client, std::uint32_t events);
    void takeTurn();
    void carryOutNext();
    void carryOut(Client& client);
    void waitFor(int fd, Client& client);
    void settle(Client& client);
    void letWait(Client& client);
    /// Runs a part of the work for a client. A failure that is not the client's ends its connection
    /// and nothing else.
    template <class Work>
    void guarded(Client& client, Work work);
    void drop(Client& client);
    void exitWhenDone();
    void checkLog();
    void startPause();
    void endPause();

    const Log& log_;
    EventLoop loop_;
    EventSource terminate_;
    EventSource interrupt_;
    ControlSocket control_;
    EventSource logRetry_;
    EventSource logCheck_;
    EventSource retry_;
    EventSource grace_;
    EventSource pause_;
    MakeRunner makeRunner_;
    Obstacle obstacle_;
    WhenIdle whenIdle_;

    EventSource listener_;
    EventSource turn_;

    std::map<std::uint64_t, std::unique_ptr<Client>> clients_;
    std::uint64_t latestClient_ = 0;
    std::deque<std::uint64_t> waiting_; // numbers of clients with something to do
    bool isTurnDue_ = false;
    bool isPauseUnderWay_ = false;
    bool isPauseBroken_ = false; // by a request
    bool isStopping_ = false;
    int status_ = 0;
};

} // namespace LagAgent
