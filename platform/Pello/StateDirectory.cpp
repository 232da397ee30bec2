#include "platform/Pello/StateDirectory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string>

#include "platform/Pello/StateException.h"

namespace Pello {

namespace {

constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kFileMode = 0600;
constexpr mode_t kModeBits = 07777;
constexpr const char* kLockName = "lock";
// Without O_NONBLOCK a pipe in the place of a file would hold the agent up for ever.
constexpr int kOpenFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;

std::string trimmed(std::string path) {
    // A slash at the end makes the system follow a link in spite of O_NOFOLLOW.
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

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

std::size_t checkedSize(const FileDescriptor& file, const Kel::String& path) {
    const auto status = statusOf(file, path);
    if (!S_ISREG(status.st_mode)) {
        throw StateException(path, "refused: it is not a regular file");
    }
    checkOwnerAndMode(status, kFileMode, path);
    if (status.st_nlink != 1) {
        throw StateException(path, Kel::format("refused: it has %lu links, not 1",
                                               static_cast<unsigned long>(status.st_nlink)));
    }
    return static_cast<std::size_t>(status.st_size);
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

Kel::String privateName(const Kel::String& name) {
    return "." + name + ".new";
}

void allocateSpace(const FileDescriptor& file, std::size_t size, const Kel::String& path) {
    int error = 0;
    do {
        error = ::posix_fallocate(file.get(), 0, static_cast<off_t>(size));
    } while (error == EINTR);
    if (error != 0) {
        throw StateException(path, Kel::format("allocate %zu bytes", size), error);
    }
}

void writeAll(const FileDescriptor& file, std::span<const std::byte> bytes,
              const Kel::String& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            throw StateException(path, "write it", errno);
        }
        bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

/// The process that the lock file names; 0 when it names none.
unsigned holderOf(const FileDescriptor& lock) {
    char text[16];
    const ssize_t size = ::pread(lock.get(), text, sizeof text, 0);
    unsigned pid = 0;
    if (size > 0) {
        std::from_chars(text, text + size, pid);
    }
    return pid;
}

} // namespace

StateDirectory::StateDirectory(const Kel::String& path)
    : path_(trimmed(std::string(std::string_view(path)))) {
    const bool isNew = ::mkdir(path_.charPtr(), kDirectoryMode) == 0;
    if (!isNew && errno != EEXIST) {
        throw StateException(path_, "create the directory", errno);
    }
    directory_ =
        FileDescriptor(::open(path_.charPtr(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory_) {
        const int error = errno;
        if (error == ELOOP || error == ENOTDIR) {
            throw StateException(path_, "refused: it is a link or no directory");
        }
        throw StateException(path_, "open the directory", error);
    }
    // What the process's umask took away from a directory of our own is given back.
    if (isNew && ::fchmod(directory_.get(), kDirectoryMode) != 0) {
        throw StateException(path_, "set the directory's mode", errno);
    }
    checkOwnerAndMode(statusOf(directory_, path_), kDirectoryMode, path_);
    lock();
}

void StateDirectory::lock() {
    const Kel::String path = pathOf(kLockName);
    lock_ = FileDescriptor(::openat(directory_.get(), kLockName, kOpenFlags | O_CREAT, kFileMode));
    if (!lock_) {
        throwOpenFailed(path, errno);
    }
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            throw StateException(
                path_, Kel::format("in use by another agent, process %u", holderOf(lock_)));
        }
        throw StateException(path, "lock it", errno);
    }
    checkedSize(lock_, path);
    // For the message above only: the lock itself ends with the process. So a full disk, on which
    // tables that have their space still work, is no reason to stop.
    const Kel::String pid = Kel::format("%d\n", ::getpid());
    [[maybe_unused]] const bool isNamed =
        ::ftruncate(lock_.get(), 0) == 0 &&
        ::pwrite(lock_.get(), pid.charPtr(), pid.size(), 0) == static_cast<ssize_t>(pid.size());
}

std::optional<StateDirectory::File> StateDirectory::open(const Kel::String& name) const {
    const Kel::String path = pathOf(name);
    FileDescriptor file(::openat(directory_.get(), name.charPtr(), kOpenFlags));
    if (!file) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throwOpenFailed(path, errno);
    }
    const std::size_t size = checkedSize(file, path);
    return File{std::move(file), size};
}

void StateDirectory::allocate(const Kel::String& name, const File& file) const {
    allocateSpace(file.descriptor, file.size, pathOf(name));
}

FileDescriptor StateDirectory::create(const Kel::String& name, std::size_t size) const {
    const Kel::String hidden = privateName(name);
    const Kel::String path = pathOf(hidden);
    // One of an agent that was killed before it published may be there.
    if (::unlinkat(directory_.get(), hidden.charPtr(), 0) != 0 && errno != ENOENT) {
        throw StateException(path, "remove it", errno);
    }
    FileDescriptor file(
        ::openat(directory_.get(), hidden.charPtr(), kOpenFlags | O_CREAT | O_EXCL, kFileMode));
    if (!file) {
        throwOpenFailed(path, errno);
    }
    try {
        if (::fchmod(file.get(), kFileMode) != 0) {
            throw StateException(path, "set its mode", errno);
        }
        allocateSpace(file, size, path);
    } catch (const StateException&) {
        ::unlinkat(directory_.get(), hidden.charPtr(), 0);
        throw;
    }
    return file;
}

void StateDirectory::publish(const Kel::String& name) const {
    const Kel::String hidden = privateName(name);
    if (::renameat(directory_.get(), hidden.charPtr(), directory_.get(), name.charPtr()) != 0) {
        throw StateException(pathOf(name), "publish it", errno);
    }
}

Kel::String StateDirectory::damagedName(const Kel::String& name) const {
    Kel::String damaged;
    for (int i = 1; i <= kDamagedCopies; ++i) {
        damaged = name + Kel::format(".damaged-%d", i);
        struct stat status {};
        if (::fstatat(directory_.get(), damaged.charPtr(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
            break;
        }
    }
    return damaged;
}

Kel::String StateDirectory::keepDamaged(const Kel::String& name,
                                        std::span<const std::byte> bytes) const {
    const Kel::String damaged = damagedName(name);
    writeAll(create(damaged, bytes.size()), bytes, pathOf(damaged));
    publish(damaged);
    return damaged;
}

Kel::String StateDirectory::moveDamaged(const Kel::String& name) const {
    const Kel::String damaged = damagedName(name);
    if (::renameat(directory_.get(), name.charPtr(), directory_.get(), damaged.charPtr()) != 0) {
        throw StateException(pathOf(name), "move it aside", errno);
    }
    return damaged;
}

} // namespace Pello
