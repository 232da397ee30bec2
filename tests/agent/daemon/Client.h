#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "agent/wire/Address.h"
#include "agent/wire/Wire.h"
#include "posix/FileDescriptor.h"

namespace LagAgent {

/// What an answer has to say, for people and for tools.
inline std::string textIn(const nlohmann::json& answer) {
    return Wire::answerOf(answer.dump()).outcome.reply.text();
}
inline nlohmann::json resultIn(const nlohmann::json& answer) {
    return Wire::answerOf(answer.dump()).outcome.reply.json();
}

/// A client that says what the test wants it to say, be it nonsense.
class Client {
  public:
    explicit Client(const std::string& control)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = addressOf(control);
        EXPECT_EQ(0, ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address),
                               sizeof address))
            << control;
    }

    void say(const std::string& text) {
        for (std::size_t at = 0; at < text.size();) {
            const ssize_t size =
                ::send(socket_.get(), text.data() + at, text.size() - at, MSG_NOSIGNAL);
            ASSERT_GT(size, 0);
            at += static_cast<std::size_t>(size);
        }
    }
    void run(const std::string& line) { say(nlohmann::json{{"run", line}}.dump() + "\n"); }

    /// No more will be said.
    void sayNoMore() { ::shutdown(socket_.get(), SHUT_WR); }
    void hangUp() { socket_ = Posix::FileDescriptor(); }

    /// The next document; null when the daemon closed the connection, or says nothing for a minute.
    nlohmann::json hears() {
        std::size_t end, searched = 0;
        while ((end = heard_.find('\n', searched)) == std::string::npos) {
            searched = heard_.size();
            pollfd waiting{socket_.get(), POLLIN, 0};
            char buffer[1 << 16];
            const bool isReadable = ::poll(&waiting, 1, 60'000) == 1;
            const ssize_t size = isReadable ? ::recv(socket_.get(), buffer, sizeof buffer, 0) : -1;
            if (size <= 0) {
                return nullptr;
            }
            heard_.append(buffer, static_cast<std::size_t>(size));
        }
        const auto document = nlohmann::json::parse(heard_.substr(0, end));
        heard_.erase(0, end + 1);
        return document;
    }

    /// The text that a command line's answer has.
    std::string textOf(const std::string& line) {
        run(line);
        return textIn(hears());
    }

    int fd() const { return socket_.get(); }

  private:
    Posix::FileDescriptor socket_;
    std::string heard_;
};

} // namespace LagAgent
