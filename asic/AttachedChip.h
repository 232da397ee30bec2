// A chip that lives in a file: this process's copy of it, and how the copies of all processes stay
// alike.
//
// The file holds the list of changes that made the chip at some time (the checkpoint), and all
// calls since, in a ring. A process makes the same changes on a Chip of its own, and so has the
// same chip. A call that changes the chip is done on the caller's copy first, under the lock; then
// its record is written to the ring, and one store of the number of the next call makes it hold.
// Whoever dies before that store has changed nothing; after it the call is made, for every process.
// There is nothing to repair, whatever the moment of death.
//
// Before the ring comes round to calls that the checkpoint does not hold, a new checkpoint is
// written to the other area, and one store of its number makes it hold. A power cycle is a
// checkpoint of an empty chip with another boot generation.
//
// Who only reads takes no lock: it makes the changes that are new, or starts over from the
// checkpoint when the ring has overtaken it.
#pragma once

#include "asic/Chip.h"
#include "asic/ChipFile.h"
#include "asic/RecordedCalls.h"
#include "asic/Steps.h"
#include "asic/Types.h"
#include "pd/calls/CallLog.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace asic {

/// Operations throw ChipFileError or std::bad_alloc, and then neither the file nor what it holds of
/// the chip has changed.
class AttachedChip {
  public:
    /// See ChipFile. A chip that was powered up before the computer was is power-cycled.
    AttachedChip(int device, const char* path, const velmor_asic_chip_config_t& config,
                 Steps& steps);

    [[nodiscard]] int device() const noexcept { return device_; }

    /// As it was at the latest catchUp() or turn.
    [[nodiscard]] Chip& chip() noexcept { return *chip_; }
    [[nodiscard]] std::uint64_t generation() const noexcept { return generation_; }

    /// Makes the changes of other processes that are new. Takes no lock unless others change the
    /// chip faster than this process reads.
    void catchUp();

    void powerCycle();

    /// See ChipFile.
    [[nodiscard]] bool isCutShort() const noexcept { return file_.isCutShort(); }

    /// The time in which one process alone may make a call that the file records.
    class Turn {
      public:
        /// Waits for the lock, catches up, and makes sure that the call's record finds its place.
        explicit Turn(AttachedChip& attached);

        /// Makes sure that the file can hold what the operation adds; to be called before it runs.
        void roomFor(std::size_t operation);

        /// Records the call; isChange if it succeeded and was about this chip. The last thing of a
        /// turn, and to be done whenever the chip was changed.
        void record(pd::CallRecord record, bool isChange) noexcept;

      private:
        struct Lock {
            explicit Lock(ChipFile& chipFile) : file(chipFile) { file.lock(); }
            ~Lock() { file.unlock(); }
            Lock(const Lock&) = delete;
            Lock& operator=(const Lock&) = delete;
            ChipFile& file;
        };
        friend class AttachedChip;

        AttachedChip& attached_;
        Lock lock_;
        Handle handle_;
    };

    // ---- The calls in the ring, in the manner of pd::CallLog

    /// Recording is always on, and what is kept is for all processes.
    void start(std::size_t) noexcept {}
    void stop() noexcept {}
    /// This process does not see the earlier calls any more.
    void clear() noexcept { seenFrom_ = end(); }
    [[nodiscard]] std::uint64_t begin() noexcept;
    [[nodiscard]] std::uint64_t end() noexcept;
    [[nodiscard]] std::optional<pd::CallRecord> find(std::uint64_t sequence) noexcept;

  private:
    [[nodiscard]] bool tryCatchUp();
    [[nodiscard]] bool follow();
    [[nodiscard]] bool followCheckpoint() noexcept;
    [[nodiscard]] bool make(const CallWords& words);
    [[nodiscard]] bool reload();
    [[nodiscard]] bool readList(std::uint64_t epoch, const CheckpointWords& words,
                                std::vector<Change>& list);
    [[nodiscard]] std::optional<CallWords> read(std::uint64_t sequence) noexcept;
    [[nodiscard]] CheckpointWords checkpointOf(std::uint64_t epoch) noexcept;
    void checkpoint();
    void publish(CheckpointWords words) noexcept;
    void powerCycleLocked();
    [[noreturn]] void damaged();

    int device_;
    ChipFile file_;
    Steps& steps_;
    std::unique_ptr<Chip> chip_;
    std::uint64_t generation_ = 0;
    std::uint64_t epoch_ = 0;     // of the latest checkpoint that this process knows of
    std::uint64_t next_ = 0;      // the first call that chip_ has not seen
    std::uint64_t firstCall_ = 0; // the first call that the checkpoint does not hold
    std::uint64_t items_ = 0;     // at least as many as the list that makes the chip has
    std::uint64_t seenFrom_ = 1;
    std::vector<Change> chunk_; // being written
};

} // namespace asic
