#pragma once

#include <string>
#include <string_view>

#include "posix/FileDescriptor.h"

namespace Posix {

/**
 * Makes this process the only agent that uses something, until the object goes, or the process dies
 * in whatever way: an advisory lock on a file, which is made (mode 0600) when it is missing and
 * stays behind. Removing it by hand while a process holds the lock lets a second agent in.
 *
 * The file has the holder's process id, for the message that a second agent gets, and a note that
 * holders leave to those after them. Nothing depends on that: on a full disk the lock holds all the
 * same. A child of the process that does not execute another program keeps the lock too.
 */
class LockFile {
  public:
    /// Takes the lock at a path; `subject` is what it stands for. Throws `StateException`: about
    /// the subject ("in use by another agent, process 7") when another process holds it, about the
    /// file when that is a link, no regular file, another user's, or of another mode or more names.
    LockFile(const std::string& path, const std::string& subject);
    /// The same for a file in a directory that is open.
    LockFile(const FileDescriptor& directory, const std::string& name, const std::string& path,
             const std::string& subject);

    /// The bytes that the latest holder left; empty: none. They are what the file has, and
    /// another process may have written that.
    const std::string& note() const noexcept { return note_; }
    /// Leaves these bytes, at most `kLongestNote`, in one write, which the death of this process
    /// does not divide. It goes to the disk when the system sees fit; one that fails leaves the
    /// note as it was, or damaged.
    void noteIs(std::string_view note) noexcept;

    static constexpr std::size_t kLongestNote = 48;

  private:
    LockFile(int directory, const std::string& name, const std::string& path,
             const std::string& subject);

    FileDescriptor file_;
    std::string note_;
};

} // namespace Posix
