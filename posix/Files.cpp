#include "posix/Files.h"

#include <fcntl.h>

#include <cerrno>

namespace Posix {

namespace {

// Without O_NONBLOCK a pipe in the place of a file would hold the process up for ever.
constexpr int kOpenFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

Flaw flawOfOwner(const struct stat& status, mode_t mode) noexcept {
    if (status.st_uid != ::geteuid()) {
        return Flaw::otherOwner;
    }
    return modeOf(status) != mode ? Flaw::otherMode : Flaw::none;
}

/// Moves all bytes with `pread` or `pwrite`.
template <class Move, class Byte>
bool moveAll(Move move, int file, std::span<Byte> bytes, std::size_t place) noexcept {
    while (!bytes.empty()) {
        const ssize_t moved = move(file, bytes.data(), bytes.size(), static_cast<off_t>(place));
        if (moved < 0 && errno == EINTR) {
            continue;
        }
        if (moved <= 0) {
            errno = moved == 0 ? 0 : errno;
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(moved));
        place += static_cast<std::size_t>(moved);
    }
    return true;
}

} // namespace

FileDescriptor openPrivately(int directory, const std::string& name, int flags) noexcept {
    return FileDescriptor(::openat(directory, name.c_str(), kOpenFlags | flags, kPrivateFileMode));
}

Flaw flawOfFile(const struct stat& status) noexcept {
    if (!S_ISREG(status.st_mode)) {
        return Flaw::notRegular;
    }
    const Flaw flaw = flawOfOwner(status, kPrivateFileMode);
    return flaw == Flaw::none && status.st_nlink != 1 ? Flaw::moreNames : flaw;
}

Flaw flawOfDirectory(const struct stat& status) noexcept {
    return flawOfOwner(status, kPrivateDirectoryMode);
}

int allocate(const FileDescriptor& file, std::size_t from, std::size_t size) noexcept {
    int error = 0;
    do {
        error = ::posix_fallocate(file.get(), static_cast<off_t>(from), static_cast<off_t>(size));
    } while (error == EINTR);
    return error;
}

bool readAll(const FileDescriptor& file, std::span<std::byte> bytes, std::size_t place) noexcept {
    return moveAll(::pread, file.get(), bytes, place);
}

bool writeAll(const FileDescriptor& file, std::span<const std::byte> bytes,
              std::size_t place) noexcept {
    return moveAll(::pwrite, file.get(), bytes, place);
}

} // namespace Posix
