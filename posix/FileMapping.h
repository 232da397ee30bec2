#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "posix/FileDescriptor.h"

namespace Posix {

/// A whole file of `words` 64-bit words, mapped for reading and writing and shared with the file:
/// what is stored here survives the process, also when that is killed. Owns the mapping.
class FileMapping {
  public:
    /// Maps the file, which must have that size and space of its own. Throws `StateException`.
    FileMapping(const FileDescriptor& file, std::size_t words, const std::string& path);
    FileMapping(FileMapping&& other) noexcept : words_(std::exchange(other.words_, {})) {}
    FileMapping& operator=(FileMapping&& other) noexcept {
        std::swap(words_, other.words_);
        return *this;
    }
    ~FileMapping();

    std::span<std::uint64_t> words() const noexcept { return words_; }

  private:
    std::span<std::uint64_t> words_;
};

} // namespace Posix
