// The latest PD calls, in a ring.
#pragma once

#include "pd/PdTools.h"
#include "pd/calls/CallRecord.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pd {

class CallLog {
  public:
    [[nodiscard]] bool recording() const noexcept { return recording_; }

    /// Drops all and records from now on. REQUIRES: capacity > 0. On bad_alloc nothing has changed.
    void start(std::size_t capacity);
    void stop() noexcept { recording_ = false; }
    void clear() noexcept { begin_ = end_; }

    /// Gives the record its sequence number and keeps it, in place of the oldest if the ring is
    /// full. REQUIRES: the log was started.
    void append(CallRecord record) noexcept;

    /// Kept sequence numbers: begin() to end() - 1.
    [[nodiscard]] std::uint64_t begin() const noexcept { return begin_; }
    [[nodiscard]] std::uint64_t end() const noexcept { return end_; }

    /// The call, or null if it is not in the ring.
    [[nodiscard]] const CallRecord* find(std::uint64_t sequence) const noexcept;

  private:
    [[nodiscard]] std::size_t slotOf(std::uint64_t sequence) const noexcept {
        return (sequence - first_) % capacity_;
    }

    bool recording_ = false;
    std::uint64_t begin_ = 1;
    std::uint64_t end_ = 1;
    std::uint64_t first_ = 1; // the first call since the start; call n lives n - first_ slots on
    std::size_t capacity_ = 0;
    std::vector<CallRecord> ring_; // grows up to the capacity, for which it has the memory
};

/// The call as one line: operation(argument=value, ...) -> status output=value ...
[[nodiscard]] std::string toText(const CallRecord& record);

/// What velmor_asic_log_read and velmor_asic_log_format give for the record of a call; null stands
/// for a call that is not in the log. The second may throw std::bad_alloc.
[[nodiscard]] pipe_status readCall(const CallRecord* record, velmor_asic_call_t* call) noexcept;
[[nodiscard]] int formatCall(const CallRecord* record, char* buffer, std::size_t size);

} // namespace pd
