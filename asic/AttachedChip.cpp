#include "asic/AttachedChip.h"

#include "asic/Changes.h"
#include "asic/Generation.h"

#include <algorithm>
#include <atomic>

namespace asic {

namespace {

constexpr auto kAcquire = std::memory_order_acquire;
constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr auto kRelease = std::memory_order_release;

void digest(Digest& sum, const Change& change) noexcept {
    for (const std::uint64_t word : std::bit_cast<std::array<std::uint64_t, 3>>(change))
        sum.add(word);
}

} // namespace

AttachedChip::AttachedChip(int device, const char* path, const velmor_asic_chip_config_t& config,
                           Steps& steps)
    : device_(device), file_(path, config, steps), steps_(steps) {
    chunk_.reserve(kChunkItems);
    const Turn::Lock lock(file_);
    const std::uint64_t epoch = file_.head().epoch.load(kAcquire);
    const CheckpointWords words = checkpointOf(epoch);
    if (!isSealed(words) || words[checkpoint_at::kFirstCall] > end())
        damaged();
    // What a computer that went down has left of the ring and of the list is not looked at.
    if (words[checkpoint_at::kSystemBoot] != systemBoot())
        powerCycleLocked();
    if (!tryCatchUp())
        damaged();
}

void AttachedChip::damaged() {
    file_.refuse(P4_PD_STATUS_INTERNAL_ERROR, "what it says of the chip is damaged");
}

CheckpointWords AttachedChip::checkpointOf(std::uint64_t epoch) noexcept {
    return file_.head().checkpoints[epoch % 2].load();
}

// ---- Following the other processes

void AttachedChip::catchUp() {
    constexpr int kTries = 3;
    for (int i = 0; i < kTries; ++i)
        if (tryCatchUp())
            return;
    const Turn::Lock lock(file_);
    if (!tryCatchUp())
        damaged();
}

/// Under the lock it fails only if the file is damaged.
bool AttachedChip::tryCatchUp() {
    return (chip_ && follow()) || (reload() && follow());
}

/// Makes the calls of the ring that are new; false if they are not all there any more.
bool AttachedChip::follow() {
    if (file_.head().epoch.load(kAcquire) != epoch_ && !followCheckpoint())
        return false;
    for (const std::uint64_t last = end(); next_ != last; ++next_) {
        const auto words = read(next_);
        if (!words || !make(*words))
            return false;
    }
    return true;
}

/// A checkpoint of the same chip changes nothing for who is still within the ring.
bool AttachedChip::followCheckpoint() noexcept {
    const std::uint64_t epoch = file_.head().epoch.load(kAcquire);
    const CheckpointWords words = checkpointOf(epoch);
    std::atomic_thread_fence(kAcquire);
    // The description is written over only after the next checkpoint holds.
    if (file_.head().epoch.load(kRelaxed) != epoch || !isSealed(words) ||
        words[checkpoint_at::kGeneration] != generation_)
        return false;
    epoch_ = epoch;
    firstCall_ = words[checkpoint_at::kFirstCall];
    items_ = words[checkpoint_at::kItems] + (next_ > firstCall_ ? next_ - firstCall_ : 0);
    return true;
}

/// The words of a call; none if the ring has dropped it, maybe while it was read.
std::optional<CallWords> AttachedChip::read(std::uint64_t sequence) noexcept {
    const CallWords words = file_.call(sequence).load();
    std::atomic_thread_fence(kAcquire);
    const std::uint64_t end = file_.head().end.load(kRelaxed);
    if (end - sequence >= kRingSize || words[call_at::kSequence] != sequence)
        return std::nullopt;
    return words;
}

/// False if the call is of the chip after a power cycle, or damaged.
bool AttachedChip::make(const CallWords& words) {
    const auto recorded = toCall(words);
    if (!recorded || recorded->generation != generation_)
        return false;
    if (!recorded->isChange)
        return true;
    const auto change = changeOf(recorded->record, *chip_, recorded->handle);
    if (!change || change->handle != chip_->handles().peek() || !apply(*chip_, *change))
        return false;
    if (addsToList(change->operation))
        ++items_;
    return true;
}

/// Makes the chip of the checkpoint; false if another checkpoint came to hold meanwhile.
bool AttachedChip::reload() {
    const std::uint64_t epoch = file_.head().epoch.load(kAcquire);
    const CheckpointWords words = checkpointOf(epoch);
    std::vector<Change> list;
    if (!isSealed(words) || !readList(epoch, words, list))
        return false;
    auto chip = std::make_unique<Chip>(file_.config());
    for (const Change& change : list)
        if (!restore(*chip, change))
            return false;
    chip->handles().nextIs(static_cast<Handle>(words[checkpoint_at::kNextHandle]));
    chip_ = std::move(chip);
    epoch_ = epoch;
    generation_ = words[checkpoint_at::kGeneration];
    next_ = firstCall_ = words[checkpoint_at::kFirstCall];
    items_ = list.size();
    return true;
}

bool AttachedChip::readList(std::uint64_t epoch, const CheckpointWords& words,
                            std::vector<Change>& list) {
    const std::uint64_t items = words[checkpoint_at::kItems];
    if (items > file_.head().room.load(kAcquire) * kChunkItems)
        return false;
    list.resize(items);
    for (std::uint64_t at = 0; at < items; at += kChunkItems)
        file_.readChunk(epoch % 2, at / kChunkItems,
                        std::span(list).subspan(at, std::min(items - at, kChunkItems)));
    Digest sum;
    for (const Change& change : list)
        digest(sum, change);
    // While the epoch is the same nobody has begun to write over the area.
    std::atomic_thread_fence(std::memory_order_seq_cst);
    return file_.head().epoch.load(kAcquire) == epoch &&
           sum.value() == words[checkpoint_at::kItemsDigest];
}

// ---- Changing the chip

AttachedChip::Turn::Turn(AttachedChip& attached) : attached_(attached), lock_(attached.file_) {
    if (!attached_.tryCatchUp())
        attached_.damaged();
    // One place of the ring is always free: the one that is written before the call holds.
    if (attached_.next_ - attached_.firstCall_ >= kRingSize - 1)
        attached_.checkpoint();
    handle_ = attached_.chip().handles().peek();
}

void AttachedChip::Turn::roomFor(std::size_t operation) {
    if (!addsToList(operation))
        return;
    const auto isRoom = [this] {
        return attached_.items_ < attached_.file_.head().room.load(kRelaxed) * kChunkItems;
    };
    if (isRoom())
        return;
    try {
        attached_.file_.roomIs(attached_.items_ / kChunkItems + 1);
    } catch (const ChipFileError&) {
        // items_ counts what was deleted since the checkpoint; there may be room for all that is.
        attached_.checkpoint();
        if (!isRoom())
            throw;
    }
}

void AttachedChip::Turn::record(pd::CallRecord record, bool isChange) noexcept {
    // A call that failed half-way may have taken a handle, which no other process knows of.
    if (!isChange)
        attached_.chip().handles().nextIs(handle_);
    record.sequence = attached_.next_;
    const RecordedCall recorded{record, attached_.generation_, handle_, isChange};
    // Readers must see that the ring has passed an old call before they see its place change.
    std::atomic_thread_fence(kRelease);
    attached_.file_.call(record.sequence).store(toWords(recorded), attached_.steps_);
    attached_.file_.head().end.store(record.sequence + 1, kRelease, attached_.steps_);
    attached_.next_ = record.sequence + 1;
    if (isChange && addsToList(record.operation))
        ++attached_.items_;
}

/// REQUIRES: the lock, and that this process has caught up.
void AttachedChip::checkpoint() {
    const std::uint64_t area = (epoch_ + 1) % 2;
    std::uint64_t items = 0;
    Digest sum;
    const auto flush = [&] {
        if (!chunk_.empty())
            file_.writeChunk(area, (items - 1) / kChunkItems, chunk_);
        chunk_.clear();
    };
    chunk_.clear();
    listChanges(*chip_, [&](const Change& change) {
        chunk_.push_back(change);
        digest(sum, change);
        ++items;
        if (chunk_.size() == kChunkItems)
            flush();
    });
    flush();
    CheckpointWords words = checkpointOf(epoch_);
    words[checkpoint_at::kFirstCall] = next_;
    words[checkpoint_at::kNextHandle] = chip_->handles().peek();
    words[checkpoint_at::kItems] = items;
    words[checkpoint_at::kItemsDigest] = sum.value();
    publish(words);
    items_ = items;
}

/// Makes the checkpoint hold. REQUIRES: the lock, and that epoch_ is the one that holds.
void AttachedChip::publish(CheckpointWords words) noexcept {
    std::atomic_thread_fence(kRelease);
    file_.head().checkpoints[(epoch_ + 1) % 2].store(sealed(words), steps_);
    file_.head().epoch.store(epoch_ + 1, kRelease, steps_);
    ++epoch_;
    firstCall_ = words[checkpoint_at::kFirstCall];
}

void AttachedChip::powerCycle() {
    const Turn::Lock lock(file_);
    powerCycleLocked();
}

void AttachedChip::powerCycleLocked() {
    auto fresh = std::make_unique<Chip>(file_.config());
    epoch_ = file_.head().epoch.load(kAcquire);
    CheckpointWords words{};
    words[checkpoint_at::kGeneration] =
        nextGeneration(checkpointOf(epoch_)[checkpoint_at::kGeneration]);
    words[checkpoint_at::kSystemBoot] = systemBoot();
    words[checkpoint_at::kFirstCall] = end();
    words[checkpoint_at::kNextHandle] = file_.config().first_handle;
    publish(words);
    chip_ = std::move(fresh);
    generation_ = words[checkpoint_at::kGeneration];
    next_ = words[checkpoint_at::kFirstCall];
    items_ = 0;
}

// ---- The calls in the ring

std::uint64_t AttachedChip::end() noexcept {
    return file_.head().end.load(kAcquire);
}

std::uint64_t AttachedChip::begin() noexcept {
    constexpr std::uint64_t kKept = kRingSize - 1;
    const std::uint64_t last = end();
    return std::max(seenFrom_, last > kKept ? last - kKept : 1);
}

std::optional<pd::CallRecord> AttachedChip::find(std::uint64_t sequence) noexcept {
    if (sequence < begin() || sequence >= end())
        return std::nullopt;
    const auto words = read(sequence);
    const auto recorded = words ? toCall(*words) : std::nullopt;
    return recorded ? std::optional(recorded->record) : std::nullopt;
}

} // namespace asic
