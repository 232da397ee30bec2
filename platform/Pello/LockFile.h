#pragma once

#include <string_view>

#include "framework/Export.h"
#include "framework/String.h"
#include "platform/Pello/FileDescriptor.h"

namespace Pello {

/**
 * Makes this process the only agent that uses something, until the object goes, or the process dies
 * in whatever way: an advisory lock on a file, which is made (mode 0600) when it is missing and
 * stays behind. Removing it by hand while somebody holds it lets a second agent in.
 *
 * The file has the holder's process id, for the message that a second agent gets, and a note that
 * holders leave to those after them. Nothing depends on that: on a full disk the lock holds all the
 * same. A child of the process that does not execute another program keeps the lock too.
 */
class KEL_EXPORT LockFile {
  public:
    /// Takes the lock at a path; `subject` is what it stands for. Throws `StateException`: about
    /// the subject ("in use by another agent, process 7") when somebody holds it, about the file
    /// when that is a link, no regular file, another user's, or of another mode or more names.
    LockFile(const Kel::String& path, const Kel::String& subject);
    /// The same for a file in a directory that is open.
    LockFile(const FileDescriptor& directory, const Kel::String& name, const Kel::String& path,
             const Kel::String& subject);

    /// The bytes that the latest holder left; empty: none. They are what the file has, whoever
    /// wrote that.
    const Kel::String& note() const noexcept { return note_; }
    /// Leaves these bytes, at most `kLongestNote`, in one write, which the death of this process
    /// does not divide. It goes to the disk when the system sees fit; one that fails leaves the
    /// note as it was, or damaged.
    void noteIs(std::string_view note) noexcept;

    static constexpr std::size_t kLongestNote = 48;

  private:
    LockFile(int directory, const Kel::String& name, const Kel::String& path,
             const Kel::String& subject);

    FileDescriptor file_;
    Kel::String note_;
};

} // namespace Pello
