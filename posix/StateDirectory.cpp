#include "posix/StateDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "posix/PrivateFile.h"
#include "posix/StateException.h"

namespace Pello {

namespace {

constexpr const char* kLockName = "lock";

std::string trimmed(std::string path) {
    // A slash at the end makes the system follow a link in spite of O_NOFOLLOW.
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
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

} // namespace

StateDirectory::StateDirectory(const Kel::String& path)
    : path_(trimmed(std::string(std::string_view(path)))) {
    const bool isNew = ::mkdir(path_.charPtr(), kPrivateDirectoryMode) == 0;
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
    if (isNew && ::fchmod(directory_.get(), kPrivateDirectoryMode) != 0) {
        throw StateException(path_, "set the directory's mode", errno);
    }
    checkPrivateDirectory(directory_, path_);
    lock_.emplace(directory_, kLockName, pathOf(kLockName), path_);
}

std::optional<StateDirectory::File> StateDirectory::open(const Kel::String& name) const {
    const Kel::String path = pathOf(name);
    FileDescriptor file = openPrivateFile(directory_.get(), name, path);
    if (!file) {
        return std::nullopt;
    }
    const std::size_t size = checkPrivateFile(file, path);
    return File{std::move(file), size};
}

std::optional<StateDirectory::Identity>
StateDirectory::identityOf(const Kel::String& name) const noexcept {
    struct stat status {};
    if (::fstatat(directory_.get(), name.charPtr(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return std::nullopt;
    }
    return Identity{status.st_dev, status.st_ino, status.st_size};
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
    FileDescriptor file = openPrivateFile(directory_.get(), hidden, path, O_CREAT | O_EXCL);
    try {
        if (::fchmod(file.get(), kPrivateFileMode) != 0) {
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
        if (!identityOf(damaged)) {
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
