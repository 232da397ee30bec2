#include "mapped-tables/SlotTable.h"

#include <algorithm>
#include <atomic>
#include <ranges>

#include "posix/StateException.h"

namespace Glimt {

using Kel::U32;
using Kel::U64;
using SlotFormat::Examined;
using Kind = SlotContent::Kind;

static_assert(std::atomic_ref<U64>::is_always_lock_free,
              "a word of a table file is read and written at once");

namespace {
constexpr unsigned kSerialShift = 32;
} // namespace

/// The examination of a whole table, at construction.
class SlotTable::Scan {
  public:
    explicit Scan(SlotTable& table) : table_(table) {}

    void run() {
        collect();
        condemnTwice([](const Committed& c) { return c.sequence; },
                     "its commit has the number of another slot's commit");
        resolveKeys();
        std::erase_if(committed_, [this](const Committed& c) { return isCorrupt(c); });
        auto isRecord = [](const Committed& c) { return c.content.kind == Kind::kRecord; };
        const auto firstReservation =
            std::stable_partition(committed_.begin(), committed_.end(), isRecord);
        reservations_.assign(firstReservation, committed_.end());
        committed_.erase(firstReservation, committed_.end());
        condemnTwice([](const Committed& c) { return c.content.handle; },
                     "another record has its handle");
        if (table_.description_.isAnonymous) {
            condemnTwice([](const Committed& c) { return SlotFormat::idOf(c.content.key); },
                         "another record stands for the same id");
        }
        boundRecords();
        enterAll();
    }

  private:
    bool isCorrupt(const Committed& c) const { return table_.corrupt_.contains(c.slot); }
    void condemn(const Committed& c, const char* reason) {
        table_.corrupt_.try_emplace(c.slot, reason);
    }

    void collect() {
        using State = Examined::State;
        const std::size_t slots = SlotFormat::slots(table_.description_);
        for (std::size_t slot = 0; slot < slots; ++slot) {
            const Examined examined = table_.examine(slot);
            switch (examined.state) {
            case State::kCommitted:
                committed_.push_back({slot, examined.sequence, examined.content});
                latestSequence_ = std::max(latestSequence_, examined.sequence);
                break;
            case State::kCorrupt:
                table_.corrupt_.emplace(slot, examined.reason);
                break;
            case State::kNeverCommitted:
                ++table_.neverCommitted_;
                neverCommitted_.push_back(slot);
                [[fallthrough]];
            default:
                table_.free_.push_back(slot);
            }
        }
        table_.latestSequence_ = latestSequence_;
    }

    /// Calls `visit(first, last)` for every run of two or more that `identity` does not tell apart.
    template <class Identity, class Visit>
    void forEachTwice(Identity identity, Visit visit) {
        std::ranges::sort(committed_, {}, [&](const Committed& c) {
            return std::pair(U64{identity(c)}, c.sequence);
        });
        for (auto first = committed_.begin(); first != committed_.end();) {
            const auto last = std::find_if(first, committed_.end(), [&](const Committed& c) {
                return identity(c) != identity(*first);
            });
            if (last - first > 1) {
                visit(first, last);
            }
            first = last;
        }
    }

    template <class Identity>
    void condemnTwice(Identity identity, const char* reason) {
        forEachTwice(identity, [&](auto first, auto last) {
            std::for_each(first, last, [&](const Committed& c) { condemn(c, reason); });
        });
    }

    /// Of two slots of one key the last commit of the table replaces the other.
    void resolveKeys() {
        forEachTwice([](const Committed& c) { return c.content.key; },
                     [&](auto first, auto last) {
                         const bool isUpdate = last - first == 2 &&
                                               first[1].sequence == latestSequence_ &&
                                               !isCorrupt(first[0]) && !isCorrupt(first[1]);
                         if (isUpdate) {
                             superseded_ = first->slot;
                         } else {
                             std::for_each(first, last, [&](const Committed& c) {
                                 condemn(c, "another slot has its key");
                             });
                         }
                     });
        std::erase_if(committed_, [this](const Committed& c) { return c.slot == superseded_; });
        table_.superseded_ = superseded_.has_value();
    }

    void boundRecords() {
        std::ranges::sort(committed_, {}, &Committed::slot);
        for (std::size_t i = table_.description_.capacity; i < committed_.size(); ++i) {
            condemn(committed_[i], "there are more records than the table may have");
        }
    }

    void enterAll() {
        for (const auto* list : {&committed_, &reservations_}) {
            for (const Committed& c : *list) {
                if (!isCorrupt(c)) {
                    table_.enter(c.slot, c.content);
                }
            }
        }
        std::ranges::for_each(neverCommitted_, [this](std::size_t slot) { table_.clear(slot); });
        // From the back, so that slots are used from the front.
        std::ranges::reverse(table_.free_);
        if (superseded_) {
            table_.retire(*superseded_);
        }
    }

    SlotTable& table_;
    std::vector<Committed> committed_;
    std::vector<Committed> reservations_;
    std::vector<std::size_t> neverCommitted_;
    std::optional<std::size_t> superseded_;
    U64 latestSequence_ = 0;
};

SlotTable::SlotTable(std::span<U64> words, const TableDescription& description,
                     BeforeStore beforeStore)
    : words_(words), description_(description), beforeStore_(std::move(beforeStore)),
      latestSerial_(static_cast<U32>(words[SlotFormat::kSerialWord] >> kSerialShift)),
      isRecord_(SlotFormat::slots(description)) {
    held_.reserve(description.capacity);
    Scan(*this).run();
}

std::span<U64> SlotTable::slotAt(std::size_t slot) const noexcept {
    const std::size_t size = SlotFormat::slotWords(description_);
    return words_.subspan(SlotFormat::kHeaderWords + slot * size, size);
}

Examined SlotTable::examine(std::size_t slot) const noexcept {
    return SlotFormat::examine(description_, slot, latestSerial(), slotAt(slot));
}

void SlotTable::store(U64& word, U64 value, bool isRelease) {
    if (beforeStore_) {
        beforeStore_();
    }
    // Not plain stores: those the compiler may split, merge and move.
    std::atomic_ref(word).store(value,
                                isRelease ? std::memory_order_release : std::memory_order_relaxed);
}

void SlotTable::clear(std::size_t slot) {
    for (U64& word : slotAt(slot)) {
        if (word != 0) {
            store(word, 0);
        }
    }
}

void SlotTable::retire(std::size_t slot) {
    store(slotAt(slot).front(), SlotFormat::kStateRetired, true);
    free_.push_back(slot);
}

bool SlotTable::next(std::size_t& slot, SlotContent& content) const {
    for (std::size_t at = slot; at < isRecord_.size(); ++at) {
        if (const auto wrong = corrupt_.find(at); wrong != corrupt_.end()) {
            throwCorrupt(at, wrong->second);
        }
        if (!isRecord_[at]) {
            continue;
        }
        // Examined again: it may have been damaged since the table was opened.
        const Examined examined = examine(at);
        if (examined.state != Examined::State::kCommitted) {
            throwCorrupt(at, examined.state == Examined::State::kCorrupt ? examined.reason
                                                                         : "its state was changed");
        }
        const auto holder = held_.find(examined.content.key);
        if (holder == held_.end() || holder->second.slot != at) {
            throwCorrupt(at, "its content was changed");
        }
        slot = at;
        content = examined.content;
        return true;
    }
    return false;
}

std::optional<SlotContent> SlotTable::find(EntryKey key) const {
    const auto found = held_.find(key);
    if (found == held_.end()) {
        return std::nullopt;
    }
    const Examined examined = examine(found->second.slot);
    if (examined.state != Examined::State::kCommitted || examined.content.key != key) {
        return std::nullopt;
    }
    return examined.content;
}

std::vector<EntryKey> SlotTable::keys() const {
    const auto keys = std::views::keys(held_);
    return {keys.begin(), keys.end()};
}

EntryKey SlotTable::keyOfHandle(U32 handle) const {
    const auto found = keyOfHandle_.find(handle);
    return found == keyOfHandle_.end() ? 0 : found->second;
}

EntryKey SlotTable::keyOfId(U32 id) const {
    const auto found = keyOfId_.find(id);
    return found == keyOfId_.end() ? 0 : found->second;
}

/// Room for a content: refuses one too many record, drops the oldest reservation for one more.
std::size_t SlotTable::freeSlot(const SlotContent& content) {
    const bool isRecord = content.kind == Kind::kRecord;
    const auto held = held_.find(content.key);
    const bool wasRecord = held != held_.end() && held->second.handle != 0;
    if (isRecord && !wasRecord && records() >= description_.capacity) {
        throw Posix::StateException(description_.name, "full: it has " +
                                                           std::to_string(description_.capacity) +
                                                           " records");
    }
    if (!isRecord && held == held_.end() && reserved_.size() >= SlotFormat::kReservations) {
        contentDel(*reserved_.begin());
    }
    if (free_.empty()) {
        throw Posix::StateException(description_.name,
                                    "full: the slots left are corrupt; a restart of the agent "
                                    "clears them");
    }
    const std::size_t slot = free_.back();
    free_.pop_back();
    return slot;
}

void SlotTable::contentIs(const SlotContent& content) {
    const std::size_t slot = freeSlot(content);
    latestSerialIs(SlotFormat::serialOf(content.key));

    const auto words = slotAt(slot);
    const auto image = SlotFormat::slotImage(description_, slot, ++latestSequence_, content);
    if (words.front() != 0) {
        store(words.front(), 0);
    }
    for (std::size_t i = 1; i < words.size(); ++i) {
        // Not before state 0 is, nor before each other: the next run judges by what it finds.
        store(words[i], image[i - 1], true);
    }
    store(words.front(), SlotFormat::kStateCommitted, true);

    contentDel(content.key);
    enter(slot, content);
}

void SlotTable::contentDel(EntryKey key) {
    const auto found = held_.find(key);
    if (found != held_.end()) {
        const std::size_t slot = found->second.slot;
        leave(key);
        retire(slot);
    }
}

void SlotTable::enter(std::size_t slot, const SlotContent& content) {
    held_.emplace(content.key, Held{slot, content.handle});
    if (content.kind == Kind::kReservation) {
        reserved_.insert(content.key);
        return;
    }
    isRecord_[slot] = true;
    keyOfHandle_[content.handle] = content.key;
    if (description_.isAnonymous) {
        keyOfId_[SlotFormat::idOf(content.key)] = content.key;
    }
}

/// By what was entered, never by what the slot says now: that may have been damaged.
void SlotTable::leave(EntryKey key) {
    const auto found = held_.find(key);
    const auto [slot, handle] = found->second;
    held_.erase(found);
    if (handle == 0) {
        reserved_.erase(key);
        return;
    }
    isRecord_[slot] = false;
    keyOfHandle_.erase(handle);
    keyOfId_.erase(SlotFormat::idOf(key));
}

void SlotTable::latestSerialIs(U32 serial) {
    if (serial > latestSerial_) {
        latestSerial_ = serial;
        store(words_[SlotFormat::kSerialWord], SlotFormat::serialWord(serial), true);
    }
}

U64 SlotTable::commit() const noexcept {
    return SlotFormat::commitOf(words_[SlotFormat::kCommitWord]);
}

void SlotTable::commitIs(U64 commit) {
    if (const U64 word = SlotFormat::commitWord(commit); words_[SlotFormat::kCommitWord] != word) {
        store(words_[SlotFormat::kCommitWord], word, true);
    }
}

void SlotTable::condemn(EntryKey key, const char* reason) {
    const auto found = held_.find(key);
    if (found != held_.end()) {
        corrupt_.try_emplace(found->second.slot, reason);
        leave(key);
    }
}

void SlotTable::mark() {
    store(words_[SlotFormat::kMarkWord], SlotFormat::kMarkCorrupt, true);
}

bool SlotTable::isMarked() const noexcept {
    return words_[SlotFormat::kMarkWord] != 0;
}

void SlotTable::throwCorrupt(std::size_t slot, const char* reason) const {
    throw Pello::CorruptionDetectedException(
        Kel::format("table %s, slot %zu: %s", description_.name, slot, reason));
}

} // namespace Glimt
