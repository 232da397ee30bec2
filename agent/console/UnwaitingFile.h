#pragma once

#include <sys/types.h>

#include <string_view>

#include "posix/FileDescriptor.h"

namespace LagAgent {

/**
 * Writes to an open file, which other processes may share, and never waits for whoever reads it.
 *
 * The file's own flags stay as they are, since they are all its users'. A pipe or a terminal is
 * opened a second time instead; where that is not allowed, it is written to when it says that it
 * has room. A socket takes what it can at once. Anything else, such as a file on a disk, has no
 * reader to wait for.
 */
class UnwaitingFile {
  public:
    /// `fd` stays the caller's, and must outlive this object.
    explicit UnwaitingFile(int fd);

    /// Writes what finds room, and returns how many bytes: the rest is up to the caller. Of up to
    /// PIPE_BUF bytes a pipe takes all or none.
    std::size_t write(std::string_view bytes) const noexcept;

  private:
    enum class Kind { file, socket, own, polled };

    ssize_t writeSome(std::string_view bytes) const noexcept;

    Kind kind_ = Kind::file;
    int fd_;
    Posix::FileDescriptor own_; // a pipe or terminal that could be opened again
};

} // namespace LagAgent
