#include "asic/ChipFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <system_error>

#include "asic/Chips.h"
#include "asic/Generation.h"
#include "asic/MappingGuard.h"
#include "posix/Files.h"

namespace asic {

namespace {

constexpr const char* kCutShort = "was cut short while it was in use";

IdentityWords identityOf(const velmor_asic_chip_config_t& config) noexcept {
    IdentityWords words{};
    words[identity_at::kMagic] = kMagic;
    words[identity_at::kVersion] = kLayoutVersion;
    words[identity_at::kRingSize] = kRingSize;
    words[identity_at::kChunkSize] = kChunkSize;
    words[identity_at::kEntries] = config.entry_capacity;
    words[identity_at::kMembers] = config.member_capacity;
    words[identity_at::kGroups] = config.group_capacity;
    words[identity_at::kGroupSize] = config.group_size_limit;
    words[identity_at::kPipes] = config.pipes;
    words[identity_at::kFirstHandle] = config.first_handle;
    return sealed(words);
}

velmor_asic_chip_config_t configOf(const IdentityWords& words) noexcept {
    return {.entry_capacity = static_cast<std::uint32_t>(words[identity_at::kEntries]),
            .member_capacity = static_cast<std::uint32_t>(words[identity_at::kMembers]),
            .group_capacity = static_cast<std::uint32_t>(words[identity_at::kGroups]),
            .group_size_limit = static_cast<std::uint16_t>(words[identity_at::kGroupSize]),
            .pipes = static_cast<std::uint16_t>(words[identity_at::kPipes]),
            .first_handle = static_cast<std::uint32_t>(words[identity_at::kFirstHandle])};
}

CheckpointWords firstCheckpoint(const velmor_asic_chip_config_t& config) {
    CheckpointWords words{};
    words[checkpoint_at::kGeneration] = anyGeneration();
    words[checkpoint_at::kSystemBoot] = systemBoot();
    words[checkpoint_at::kFirstCall] = 1;
    words[checkpoint_at::kNextHandle] = config.first_handle;
    return sealed(words);
}

// Chunks of the two areas lie in turn, so that both can grow.
constexpr std::size_t placeOf(std::uint64_t area, std::uint64_t chunk) noexcept {
    return kAreasAt + (2 * chunk + area) * kChunkSize;
}

constexpr std::uint64_t kMaxRoom = std::numeric_limits<off_t>::max() / (4 * kChunkSize);

} // namespace

std::uint64_t systemBoot() {
    // Not a stream: one that fails in the middle would give a boot that never was.
    constexpr const char* kPath = "/proc/sys/kernel/random/boot_id";
    std::array<char, 36> text{}; // a UUID in letters
    const Posix::FileDescriptor file(::open(kPath, O_RDONLY | O_CLOEXEC));
    if (!file || !Posix::readAll(file, std::as_writable_bytes(std::span(text)), 0)) {
        throw ChipFileError(P4_PD_STATUS_NO_SYS_RESOURCES,
                            std::string("cannot read ") + kPath + ": " +
                                std::generic_category().message(errno));
    }
    Digest digest;
    for (const char letter : text) {
        digest.add(static_cast<unsigned char>(letter));
    }
    return digest.value();
}

void ChipFile::throwRefused(Status status, const std::string& reason) const {
    throw ChipFileError(status, path_ + ": " + reason);
}

void ChipFile::throwFailed(const char* what, int error) const {
    const bool isShortage = error == ENOSPC || error == EDQUOT || error == EFBIG ||
                            error == ENOMEM || error == ENFILE || error == EMFILE ||
                            error == ENOLCK || error == EIO;
    throwRefused(isShortage ? P4_PD_STATUS_NO_SYS_RESOURCES : P4_PD_STATUS_INVALID_ARG,
                 std::string("cannot ") + what + ": " + std::generic_category().message(error));
}

ChipFile::ChipFile(const char* path, const velmor_asic_chip_config_t& config, Steps& steps)
    : ChipFile(path, steps) {
    // A process that loses the race to make the file finds the winner's, unless that is removed.
    for (int tries = 0; !openExisting() && !make(config, steps); ++tries) {
        if (tries == 10) {
            throwRefused(P4_PD_STATUS_INVALID_ARG, "the file comes and goes");
        }
    }
    checkFile();
    checkIdentity();
    allocate(0, kAreasAt);
    map();
    checkRoom();
}

void ChipFile::makeNew(const char* path, const velmor_asic_chip_config_t& config, Steps& steps) {
    ChipFile file(path, steps);
    if (!file.make(config, steps)) {
        file.throwRefused(P4_PD_STATUS_ALREADY_EXISTS, "exists already");
    }
}

bool ChipFile::openExisting() {
    file_ = Posix::openPrivately(AT_FDCWD, path_);
    if (file_) {
        return true;
    }
    if (errno == ENOENT) {
        return false;
    }
    if (errno == ELOOP) {
        throwRefused(P4_PD_STATUS_INVALID_ARG, "is a symbolic link");
    }
    throwFailed("open the file", errno);
}

/// Makes the file under a name of its own and moves it to its place when it is whole; false if
/// there is a file. Not by a link: the file would have two names for a while, for good if the
/// process dies then.
bool ChipFile::make(const velmor_asic_chip_config_t& config, Steps& steps) {
    struct Temporary {
        std::string path;
        ~Temporary() {
            if (!path.empty()) {
                ::unlink(path.c_str());
            }
        }
    };
    std::string name = path_ + ".XXXXXX";
    const int made = ::mkostemp(name.data(), O_CLOEXEC);
    if (made < 0) {
        throwFailed("make a file in its directory", errno);
    }
    Temporary temporary{name};
    file_ = Posix::FileDescriptor(made);
    if (::fchmod(made, Posix::kPrivateFileMode) != 0) {
        throwFailed("set the mode", errno);
    }
    allocate(0, kAreasAt);
    map();
    head().checkpoints[0].store(firstCheckpoint(config), steps);
    head().end.store(1, std::memory_order_relaxed, steps);
    head().identity.store(identityOf(config), steps);
    layout_.reset();
    steps.store();
    if (::renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0) {
        temporary.path.clear();
        return true;
    }
    if (errno != EEXIST) {
        throwFailed("move the file to its place", errno);
    }
    return false;
}

void ChipFile::checkFile() const {
    struct stat state {};
    if (::fstat(file_.get(), &state) != 0) {
        throwFailed("look at the file", errno);
    }
    switch (Posix::flawOfFile(state)) {
    case Posix::Flaw::none:
        break;
    case Posix::Flaw::notRegular:
        throwRefused(P4_PD_STATUS_INVALID_ARG, "is not a regular file");
    case Posix::Flaw::otherOwner:
        throwRefused(P4_PD_STATUS_INVALID_ARG, "belongs to another user");
    case Posix::Flaw::otherMode:
        throwRefused(P4_PD_STATUS_INVALID_ARG, "its mode is not 0600");
    case Posix::Flaw::moreNames:
        throwRefused(P4_PD_STATUS_INVALID_ARG,
                     "has " + std::to_string(state.st_nlink) + " names (hard links), not one");
    }
    if (state.st_size < static_cast<off_t>(kAreasAt)) {
        throwRefused(P4_PD_STATUS_INTERNAL_ERROR, "is no chip file, or cut off: it has " +
                                                      std::to_string(state.st_size) + " bytes");
    }
}

void ChipFile::checkIdentity() {
    IdentityWords words{};
    if (!Posix::readAll(file_, std::as_writable_bytes(std::span(words)), 0)) {
        throwFailed("read the file", errno);
    }
    if (words[identity_at::kMagic] != kMagic) {
        throwRefused(P4_PD_STATUS_INTERNAL_ERROR, "is no chip file, or its header is damaged");
    }
    if (words[identity_at::kVersion] != kLayoutVersion) {
        throwRefused(P4_PD_STATUS_NOT_SUPPORTED, "its layout is version " +
                                                     std::to_string(words[identity_at::kVersion]) +
                                                     ", not " + std::to_string(kLayoutVersion));
    }
    config_ = configOf(words);
    if (!isSealed(words) || words != identityOf(config_) || !isValid(config_)) {
        throwRefused(P4_PD_STATUS_INTERNAL_ERROR, "its header is damaged");
    }
}

void ChipFile::checkRoom() const {
    const std::uint64_t room = layout_->head.room.load(std::memory_order_acquire);
    struct stat state {};
    if (::fstat(file_.get(), &state) != 0) {
        throwFailed("look at the file", errno);
    }
    if (room > kMaxRoom || state.st_size < static_cast<off_t>(placeOf(0, room))) {
        throwRefused(P4_PD_STATUS_INTERNAL_ERROR, "is cut off, or its header is damaged");
    }
    allocate(kAreasAt, placeOf(0, room) - kAreasAt);
}

/// Blocks that the file has not got by now would be missing when the mapping is written, and that
/// would end the process.
void ChipFile::allocate(std::size_t from, std::size_t size) const {
    if (size == 0) {
        return;
    }
    if (const int error = Posix::allocate(file_, from, size); error != 0) {
        throwFailed("get room for the file", error);
    }
}

void ChipFile::map() {
    void* const memory =
        ::mmap(nullptr, kAreasAt, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0);
    if (memory == MAP_FAILED) {
        throwFailed("map the file", errno);
    }
    layout_.reset(static_cast<ChipFileLayout*>(memory));
    guardMapping(memory, kAreasAt);
}

void ChipFile::Unmap::operator()(ChipFileLayout* layout) const noexcept {
    unguardMapping(layout);
    ::munmap(layout, kAreasAt);
}

void ChipFile::lock() {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    while (::fcntl(file_.get(), F_SETLKW, &whole) != 0) {
        if (errno != EINTR) {
            throwFailed("lock the file", errno);
        }
    }
    if (isCutShort()) {
        unlock();
        throwRefused(P4_PD_STATUS_INTERNAL_ERROR, kCutShort);
    }
}

bool ChipFile::isCutShort() const noexcept {
    struct stat state {};
    return hasLostPages(layout_.get()) ||
           (::fstat(file_.get(), &state) == 0 && state.st_size < static_cast<off_t>(kAreasAt));
}

void ChipFile::unlock() noexcept {
    struct flock whole {};
    whole.l_type = F_UNLCK;
    whole.l_whence = SEEK_SET;
    ::fcntl(file_.get(), F_SETLK, &whole);
}

void ChipFile::roomIs(std::uint64_t chunks) {
    if (chunks > kMaxRoom) {
        throwFailed("get room for the file", EFBIG);
    }
    allocate(kAreasAt, placeOf(0, chunks) - kAreasAt);
    head().room.store(chunks, std::memory_order_release, steps_);
}

void ChipFile::writeChunk(std::uint64_t area, std::uint64_t chunk,
                          std::span<const Change> changes) {
    steps_.store();
    if (!Posix::writeAll(file_, std::as_bytes(changes), placeOf(area, chunk))) {
        throwFailed("write the file", errno);
    }
}

void ChipFile::readChunk(std::uint64_t area, std::uint64_t chunk, std::span<Change> changes) {
    if (!Posix::readAll(file_, std::as_writable_bytes(changes), placeOf(area, chunk))) {
        if (errno == 0) {
            throwRefused(P4_PD_STATUS_INTERNAL_ERROR, kCutShort);
        }
        throwFailed("read the file", errno);
    }
}

} // namespace asic
