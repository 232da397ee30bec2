#include "posix/PrivateFile.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "posix/StateException.h"

namespace Posix {

namespace {

struct stat statusOf(const FileDescriptor& file, const std::string& path) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        throw StateException(path, "examine it", errno);
    }
    return status;
}

std::string octal(mode_t mode) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04o", mode);
    return text.data();
}

std::string textOf(Flaw flaw, const struct stat& status, mode_t mode) {
    switch (flaw) {
    case Flaw::none:
        break;
    case Flaw::notRegular:
        return "it is not a regular file";
    case Flaw::otherOwner:
        return "its owner is user " + std::to_string(status.st_uid) + ", not user " +
               std::to_string(::geteuid());
    case Flaw::otherMode:
        return "its mode is " + octal(modeOf(status)) + ", not " + octal(mode);
    case Flaw::moreNames:
        return "it has " + std::to_string(status.st_nlink) + " links, not 1";
    }
    return {};
}

void require(Flaw flaw, const struct stat& status, mode_t mode, const std::string& path) {
    if (flaw != Flaw::none) {
        throw StateException(path, "refused: " + textOf(flaw, status, mode));
    }
}

[[noreturn]] void throwOpenFailed(const std::string& path, int error) {
    if (error == ELOOP) {
        throw StateException(path, "refused: it is a symbolic link");
    }
    if (error == EISDIR || error == ENXIO) {
        throw StateException(path, "refused: " + textOf(Flaw::notRegular, {}, 0));
    }
    throw StateException(path, "open it", error);
}

} // namespace

FileDescriptor openPrivateFile(int directory, const std::string& name, const std::string& path,
                               int flags) {
    FileDescriptor file = openPrivately(directory, name, flags);
    const int error = errno;
    const bool isMerelyMissing = error == ENOENT && (flags & O_CREAT) == 0;
    if (!file && !isMerelyMissing) {
        throwOpenFailed(path, error);
    }
    return file;
}

std::size_t checkPrivateFile(const FileDescriptor& file, const std::string& path) {
    const auto status = statusOf(file, path);
    require(flawOfFile(status), status, kPrivateFileMode, path);
    return static_cast<std::size_t>(status.st_size);
}

void checkPrivateDirectory(const FileDescriptor& directory, const std::string& path) {
    const auto status = statusOf(directory, path);
    require(flawOfDirectory(status), status, kPrivateDirectoryMode, path);
}

} // namespace Posix
