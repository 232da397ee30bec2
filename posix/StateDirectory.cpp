#include "posix/StateDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "posix/PrivateFile.h"
#include "posix/StateException.h"

namespace Posix {

namespace {

constexpr const char* kLockName = "lock";

std::string trimmed(std::string path) {
    // A slash at the end makes the system follow a link in spite of O_NOFOLLOW.
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::string privateName(const std::string& name) {
    return "." + name + ".new";
}

void allocateSpace(const FileDescriptor& file, std::size_t size, const std::string& path) {
    if (const int error = Posix::allocate(file, 0, size); error != 0) {
        throw StateException(path, "allocate " + std::to_string(size) + " bytes", error);
    }
}

} // namespace

StateDirectory::StateDirectory(const std::string& path) : path_(trimmed(path)) {
    const bool isNew = ::mkdir(path_.c_str(), kPrivateDirectoryMode) == 0;
    if (!isNew && errno != EEXIST) {
        throw StateException(path_, "create the directory", errno);
    }
    directory_ =
        FileDescriptor(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory_) {
        const int error = errno;
        if (error == ELOOP || error == ENOTDIR) {
            throw StateException(path_, "refused: it is a link or no directory");
        }
        throw StateException(path_, "open the directory", error);
    }
    // What the process's umask took away from a directory of our own is given back.
    if (isNew && ::fchmod(directory_.get(), kPrivateDirectoryMode) != 0) {
        throw StateException(path_, "set the directory's mode", errno);
    }
    checkPrivateDirectory(directory_, path_);
    lock_.emplace(directory_, kLockName, pathOf(kLockName), path_);
}

std::optional<StateDirectory::File> StateDirectory::open(const std::string& name) const {
    const std::string path = pathOf(name);
    FileDescriptor file = openPrivateFile(directory_.get(), name, path);
    if (!file) {
        return std::nullopt;
    }
    const std::size_t size = checkPrivateFile(file, path);
    return File{std::move(file), size};
}

std::optional<StateDirectory::Identity>
StateDirectory::identityOf(const std::string& name) const noexcept {
    struct stat status {};
    if (::fstatat(directory_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return std::nullopt;
    }
    return Identity{status.st_dev, status.st_ino, status.st_size};
}

void StateDirectory::allocate(const std::string& name, const File& file) const {
    allocateSpace(file.descriptor, file.size, pathOf(name));
}

FileDescriptor StateDirectory::create(const std::string& name, std::size_t size) const {
    const std::string hidden = privateName(name);
    const std::string path = pathOf(hidden);
    // One of an agent that was killed before it published may be there.
    if (::unlinkat(directory_.get(), hidden.c_str(), 0) != 0 && errno != ENOENT) {
        throw StateException(path, "remove it", errno);
    }
    FileDescriptor file = openPrivateFile(directory_.get(), hidden, path, O_CREAT | O_EXCL);
    try {
        if (::fchmod(file.get(), kPrivateFileMode) != 0) {
            throw StateException(path, "set its mode", errno);
        }
        allocateSpace(file, size, path);
    } catch (const StateException&) {
        ::unlinkat(directory_.get(), hidden.c_str(), 0);
        throw;
    }
    return file;
}

void StateDirectory::publish(const std::string& name) const {
    const std::string hidden = privateName(name);
    if (::renameat(directory_.get(), hidden.c_str(), directory_.get(), name.c_str()) != 0) {
        throw StateException(pathOf(name), "publish it", errno);
    }
}

std::string StateDirectory::damagedName(const std::string& name) const {
    std::string damaged;
    for (int i = 1; i <= kDamagedCopies; ++i) {
        damaged = name + ".damaged-" + std::to_string(i);
        if (!identityOf(damaged)) {
            break;
        }
    }
    return damaged;
}

std::string StateDirectory::keepDamaged(const std::string& name,
                                        std::span<const std::byte> bytes) const {
    const std::string damaged = damagedName(name);
    if (!writeAll(create(damaged, bytes.size()), bytes, 0)) {
        throw StateException(pathOf(damaged), "write it", errno);
    }
    publish(damaged);
    return damaged;
}

std::string StateDirectory::moveDamaged(const std::string& name) const {
    const std::string damaged = damagedName(name);
    if (::renameat(directory_.get(), name.c_str(), directory_.get(), damaged.c_str()) != 0) {
        throw StateException(pathOf(name), "move it aside", errno);
    }
    return damaged;
}

} // namespace Posix
