#pragma once

#include <sys/types.h>

#include <optional>
#include <span>
#include <string>

#include "posix/LockFile.h"

namespace Posix {

/**
 * The directory in which an agent keeps what outlives it. Constructing one makes this process the
 * directory's only agent until the object goes, or the process dies in whatever way.
 *
 * Nothing in the directory is believed because of its name: every file is opened without following
 * links, and is refused when another user could have written it. A file comes into being under a
 * private name, complete and with its space allocated, and is published by renaming it, so that a
 * reader finds the old file or the new one, never a part of one.
 *
 * All failures are `StateException`. One thread at a time.
 */
class StateDirectory {
  public:
    /// Creates the directory (mode 0700; the one above it must be there) or checks the one that is
    /// there: a directory, not a link, of this user, mode 0700. Then takes the lock; another agent
    /// that has it is named.
    explicit StateDirectory(const std::string& path);

    const std::string& path() const noexcept { return path_; }
    std::string pathOf(const std::string& name) const { return path_ + "/" + name; }

    struct File {
        FileDescriptor descriptor;
        std::size_t size = 0;
    };
    /// Opens a file for reading and writing; none when there is no such file. Throws when it is not
    /// a regular file of this user with mode 0600 and one name only; which it is stands in the
    /// message. The size is for the caller to judge.
    std::optional<File> open(const std::string& name) const;

    /// What tells a file from another one that takes its name, and its size.
    struct Identity {
        dev_t device = 0;
        ino_t file = 0;
        off_t size = 0;

        bool isSameFile(const Identity& other) const noexcept {
            return device == other.device && file == other.file;
        }
    };
    /// Of whatever has the name now; none when nothing has, or it cannot be looked at.
    std::optional<Identity> identityOf(const std::string& name) const noexcept;

    /// Gives an opened file the space for all its bytes, should it have holes.
    void allocate(const std::string& name, const File& file) const;

    /// Creates a file of that size, zeros with their space allocated, under the private name that
    /// `publish` expects. A file system without that much room is a `StateException`, now and not a
    /// signal at some later store.
    FileDescriptor create(const std::string& name, std::size_t size) const;
    /// Lets the created file take the place of whatever has the name.
    void publish(const std::string& name) const;

    /// Keeps a copy of the bytes beside the file for a person to look at, or moves the file itself
    /// there; returns the name that it got. The first copies are kept, being closest to the cause;
    /// when there are `kDamagedCopies` the latest is replaced.
    std::string keepDamaged(const std::string& name, std::span<const std::byte> bytes) const;
    std::string moveDamaged(const std::string& name) const;

    static constexpr int kDamagedCopies = 4;

  private:
    std::string damagedName(const std::string& name) const;

    std::string path_;
    FileDescriptor directory_;
    std::optional<LockFile> lock_;
};

} // namespace Posix
