// A stream to a Unix socket, with a limit on every wait.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace ovs {

/// The switch is not there, has gone, or does not answer.
class NoSwitch : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// Nothing of it raises a signal. All but hasInput throws NoSwitch, which names the socket.
class UnixSocket {
  public:
    explicit UnixSocket(std::string path);
    ~UnixSocket();
    UnixSocket(const UnixSocket&) = delete;
    UnixSocket& operator=(const UnixSocket&) = delete;

    /// Returns when all bytes are on their way.
    void send(std::span<const std::uint8_t> bytes);
    /// Waits for as many bytes as there is room for.
    void receive(std::span<std::uint8_t> room);
    /// Waits for some bytes; returns how many there were.
    std::size_t receiveSome(std::span<std::uint8_t> room);

    /// Whether bytes, or the other side's end of the stream, are there to be received.
    [[nodiscard]] bool hasInput() const noexcept;

  private:
    [[noreturn]] void failed(const char* what, const char* why) const;

    std::string path_;
    int fd_;
};

} // namespace ovs
