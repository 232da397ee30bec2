#include "platform/Pello/LockFile.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <charconv>
#include <string>

#include "platform/Pello/PrivateFile.h"
#include "platform/Pello/StateException.h"

namespace Pello {

namespace {

/// The note begins here; before it stands the holder's process id.
constexpr std::size_t kNoteAt = 16;

std::string contentOf(const FileDescriptor& file) {
    char content[kNoteAt + LockFile::kLongestNote];
    const ssize_t size = ::pread(file.get(), content, sizeof content, 0);
    return {content, static_cast<std::size_t>(size > 0 ? size : 0)};
}

/// The process that the file names; 0 when it names none.
unsigned holderOf(const FileDescriptor& file) {
    const std::string content = contentOf(file);
    unsigned pid = 0;
    std::from_chars(content.data(), content.data() + content.size(), pid);
    return pid;
}

} // namespace

LockFile::LockFile(const Kel::String& path, const Kel::String& subject)
    : LockFile(AT_FDCWD, path, path, subject) {}

LockFile::LockFile(const FileDescriptor& directory, const Kel::String& name,
                   const Kel::String& path, const Kel::String& subject)
    : LockFile(directory.get(), name, path, subject) {}

LockFile::LockFile(int directory, const Kel::String& name, const Kel::String& path,
                   const Kel::String& subject)
    : file_(openPrivateFile(directory, name, path, O_CREAT)) {
    if (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            throw StateException(
                subject, Kel::format("in use by another agent, process %u", holderOf(file_)));
        }
        throw StateException(path, "lock it", errno);
    }
    checkPrivateFile(file_, path);
    const std::string before = contentOf(file_);
    std::string content = Kel::format("%d\n", ::getpid()).charPtr();
    if (before.size() > kNoteAt) {
        note_ = before.substr(kNoteAt);
        content.resize(kNoteAt, '\n');
        content += note_;
    }
    // The lock itself ends with the process. So a full disk, on which tables that have their space
    // still work, is no reason to stop.
    [[maybe_unused]] const bool isNamed =
        ::pwrite(file_.get(), content.data(), content.size(), 0) ==
            static_cast<ssize_t>(content.size()) &&
        ::ftruncate(file_.get(), static_cast<off_t>(content.size())) == 0;
}

void LockFile::noteIs(std::string_view note) noexcept {
    [[maybe_unused]] const ssize_t written =
        ::pwrite(file_.get(), note.data(), note.size(), kNoteAt);
}

} // namespace Pello
