#include "posix/LockFile.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <charconv>

#include "posix/PrivateFile.h"
#include "posix/StateException.h"

namespace Posix {

namespace {

/// The process that the file names; 0 when it names none.
unsigned holderOf(const FileDescriptor& file) {
    char text[16];
    const ssize_t size = ::pread(file.get(), text, sizeof text, 0);
    unsigned pid = 0;
    if (size > 0) {
        std::from_chars(text, text + size, pid);
    }
    return pid;
}

} // namespace

LockFile::LockFile(const std::string& path, const std::string& subject)
    : LockFile(AT_FDCWD, path, path, subject) {}

LockFile::LockFile(const FileDescriptor& directory, const std::string& name,
                   const std::string& path, const std::string& subject)
    : LockFile(directory.get(), name, path, subject) {}

LockFile::LockFile(int directory, const std::string& name, const std::string& path,
                   const std::string& subject)
    : file_(openPrivateFile(directory, name, path, O_CREAT)) {
    if (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            throw StateException(subject, "in use by another agent, process " +
                                              std::to_string(holderOf(file_)));
        }
        throw StateException(path, "lock it", errno);
    }
    checkPrivateFile(file_, path);
    // For the message above only: the lock itself ends with the process. So a full disk, on which
    // tables that have their space still work, is no reason to stop.
    const std::string pid = std::to_string(::getpid()) + "\n";
    [[maybe_unused]] const bool isNamed =
        ::ftruncate(file_.get(), 0) == 0 &&
        ::pwrite(file_.get(), pid.c_str(), pid.size(), 0) == static_cast<ssize_t>(pid.size());
}

} // namespace Posix
