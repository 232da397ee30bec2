#pragma once

#include "posix/Files.h"

/// Files that are one user's own: no link is followed, and what another user could have written is
/// refused. `path` is what messages name; everything throws `StateException`.
namespace Posix {

/// Opens a file for reading and writing, in a directory or (AT_FDCWD) anywhere; `flags` are added
/// to those of open(). No descriptor when there is no such file and `flags` do not make one.
FileDescriptor openPrivateFile(int directory, const std::string& name, const std::string& path,
                               int flags = 0);

/// Throws unless it is a regular file of this user with mode 0600 and one name only; its size.
std::size_t checkPrivateFile(const FileDescriptor& file, const std::string& path);
/// Throws unless it is of this user and has mode 0700.
void checkPrivateDirectory(const FileDescriptor& directory, const std::string& path);

} // namespace Posix
