#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <span>
#include <string>

#include "posix/FileDescriptor.h"

/// System calls on files with what every caller of them needs around: they go on after a signal,
/// and leave it to the caller to say what a failure means. Failures are told as `errno` is.
namespace Posix {

constexpr mode_t kPrivateFileMode = 0600;
constexpr mode_t kPrivateDirectoryMode = 0700;

/// Opens a file for reading and writing, in a directory or (AT_FDCWD) anywhere. No link is
/// followed, and nothing is waited for, whatever has the name. A file that `flags` make is private.
/// No descriptor, and `errno`, on failure.
FileDescriptor openPrivately(int directory, const std::string& name, int flags = 0) noexcept;

/// Why a file, or a directory, is not one user's own.
enum class Flaw { none, notRegular, otherOwner, otherMode, moreNames };
/// The first flaw in the order above.
Flaw flawOfFile(const struct stat& status) noexcept;
Flaw flawOfDirectory(const struct stat& status) noexcept;
/// The permissions with the bits beyond them.
constexpr mode_t modeOf(const struct stat& status) noexcept {
    return status.st_mode & 07777;
}

/// Gives the file space for the bytes from a place on; 0 or why it has not got it. A hole that a
/// full disk cannot fill would end the process with SIGBUS at some later store to a mapping.
int allocate(const FileDescriptor& file, std::size_t from, std::size_t size) noexcept;

/// Reads or writes all bytes at a place. On failure false and `errno`, which is 0 at the end of the
/// file.
bool readAll(const FileDescriptor& file, std::span<std::byte> bytes, std::size_t place) noexcept;
bool writeAll(const FileDescriptor& file, std::span<const std::byte> bytes,
              std::size_t place) noexcept;

} // namespace Posix
