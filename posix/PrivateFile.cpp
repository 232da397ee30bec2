#include "posix/PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "posix/StateException.h"

namespace Pello {

namespace {

constexpr mode_t kModeBits = 07777;
// Without O_NONBLOCK a pipe in the place of a file would hold the agent up for ever.
constexpr int kOpenFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

struct stat statusOf(const FileDescriptor& file, const Kel::String& path) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        throw StateException(path, "examine it", errno);
    }
    return status;
}

void checkOwnerAndMode(const struct stat& status, mode_t mode, const Kel::String& path) {
    if (status.st_uid != ::geteuid()) {
        throw StateException(path, Kel::format("refused: its owner is user %u, not user %u",
                                               status.st_uid, ::geteuid()));
    }
    if ((status.st_mode & kModeBits) != mode) {
        throw StateException(path, Kel::format("refused: its mode is %04o, not %04o",
                                               status.st_mode & kModeBits, mode));
    }
}

[[noreturn]] void throwOpenFailed(const Kel::String& path, int error) {
    if (error == ELOOP) {
        throw StateException(path, "refused: it is a symbolic link");
    }
    if (error == EISDIR || error == ENXIO) {
        throw StateException(path, "refused: it is not a regular file");
    }
    throw StateException(path, "open it", error);
}

} // namespace

FileDescriptor openPrivateFile(int directory, const Kel::String& name, const Kel::String& path,
                               int flags) {
    FileDescriptor file(::openat(directory, name.charPtr(), kOpenFlags | flags, kPrivateFileMode));
    const int error = errno;
    const bool isMerelyMissing = error == ENOENT && (flags & O_CREAT) == 0;
    if (!file && !isMerelyMissing) {
        throwOpenFailed(path, error);
    }
    return file;
}

std::size_t checkPrivateFile(const FileDescriptor& file, const Kel::String& path) {
    const auto status = statusOf(file, path);
    if (!S_ISREG(status.st_mode)) {
        throw StateException(path, "refused: it is not a regular file");
    }
    checkOwnerAndMode(status, kPrivateFileMode, path);
    if (status.st_nlink != 1) {
        throw StateException(path, Kel::format("refused: it has %lu links, not 1",
                                               static_cast<unsigned long>(status.st_nlink)));
    }
    return static_cast<std::size_t>(status.st_size);
}

void checkPrivateDirectory(const FileDescriptor& directory, const Kel::String& path) {
    checkOwnerAndMode(statusOf(directory, path), kPrivateDirectoryMode, path);
}

} // namespace Pello
