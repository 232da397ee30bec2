// One chip file: found or made, checked, mapped, locked, and grown.
//
// The lock is one of fcntl: it goes with the process that holds it, however that ends, and it is
// not inherited by fork. Closing any other descriptor of the file within the process releases it,
// so nothing may open the file while a call runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string>

#include "asic/ChipFileLayout.h"
#include "asic/SoftwareAsic.h"
#include "asic/Steps.h"
#include "asic/Types.h"
#include "posix/FileDescriptor.h"

namespace asic {

/// Why a chip file cannot be used, or not now.
class ChipFileError : public std::exception {
  public:
    ChipFileError(Status status, std::string text) : status_(status), text_(std::move(text)) {}

    /// NO_SYS_RESOURCES, INVALID_ARG (not a file to use), ALREADY_EXISTS (a file to be made),
    /// NOT_SUPPORTED (another layout) or INTERNAL_ERROR (damaged).
    [[nodiscard]] Status status() const noexcept { return status_; }
    [[nodiscard]] const char* what() const noexcept override { return text_.c_str(); }

  private:
    Status status_;
    std::string text_;
};

/// Operations throw ChipFileError or std::bad_alloc, and then the file says what it said before.
class ChipFile {
  public:
    /// Opens the file, or makes one with an empty chip of this configuration. A file that is not
    /// taken is left as it is.
    ChipFile(const char* path, const velmor_asic_chip_config_t& config, Steps& steps);
    /// Makes a file with an empty chip of this configuration. ALREADY_EXISTS if the name is taken.
    static void makeNew(const char* path, const velmor_asic_chip_config_t& config, Steps& steps);
    ChipFile(const ChipFile&) = delete;
    ChipFile& operator=(const ChipFile&) = delete;

    [[nodiscard]] const velmor_asic_chip_config_t& config() const noexcept { return config_; }
    [[nodiscard]] ChipFileHead& head() noexcept { return layout_->head; }
    [[nodiscard]] SharedRecord<call_at::kWords>& call(std::uint64_t sequence) noexcept {
        return layout_->calls[sequence % kRingSize];
    }

    /// Waits for the lock. Not recursive. INTERNAL_ERROR, and no lock, when the file is cut short.
    void lock();
    void unlock() noexcept;

    /// Another program has taken a part of the mapping away: what is stored there is lost.
    [[nodiscard]] bool isCutShort() const noexcept;

    /// Gives both areas this many chunks. REQUIRES: the lock.
    void roomIs(std::uint64_t chunks);

    /// The changes are those of a chunk from its start; there is room for it.
    void writeChunk(std::uint64_t area, std::uint64_t chunk, std::span<const Change> changes);
    void readChunk(std::uint64_t area, std::uint64_t chunk, std::span<Change> changes);

    [[noreturn]] void throwRefused(Status status, const std::string& reason) const;

  private:
    /// Of no file yet.
    ChipFile(const char* path, Steps& steps) : path_(path), steps_(steps) {}

    struct Unmap {
        void operator()(ChipFileLayout* layout) const noexcept;
    };

    [[noreturn]] void throwFailed(const char* what, int error) const;
    bool openExisting();
    bool make(const velmor_asic_chip_config_t& config, Steps& steps);
    void checkFile() const;
    void checkIdentity();
    void checkRoom() const;
    void allocate(std::size_t from, std::size_t size) const;
    void map();

    std::string path_;
    Posix::FileDescriptor file_;
    velmor_asic_chip_config_t config_{};
    std::unique_ptr<ChipFileLayout, Unmap> layout_;
    Steps& steps_;
};

/// The boot of the computer, as a number. Throws ChipFileError if it cannot be told.
[[nodiscard]] std::uint64_t systemBoot();

} // namespace asic
