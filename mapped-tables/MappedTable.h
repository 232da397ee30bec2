#pragma once

#include "mapped-tables/TableFile.h"
#include "platform/Glimt/MbbVantof.h"
#include "platform/RuxMbbShared/RuxMbbShared.h"

namespace Glimt {

/// How each kind of record is laid out in its slot.
template <class Record>
struct RecordTraits;

template <>
struct RecordTraits<MbbVantof::EntryConfig> {
    static constexpr TableDescription kTable{.name = "entries", .kind = 1, .extraWords = 2};

    static SlotContent content(const MbbVantof::EntryConfig& record) {
        return {.key = record.entryKey,
                .handle = record.sdkEntryHandle.value(),
                .extra = {Kel::U64{record.mask} << 32 | record.value,
                          Kel::U64{record.isDefault} << 32 | record.priority}};
    }
    static MbbVantof::EntryConfig record(const SlotContent& content) {
        return {.entryKey = content.key,
                .sdkEntryHandle = RuxTable::RuxSdkEntryHandle(content.handle),
                .value = static_cast<Kel::U32>(content.extra[0]),
                .mask = static_cast<Kel::U32>(content.extra[0] >> 32),
                .priority = static_cast<Kel::U32>(content.extra[1]),
                .isDefault = content.extra[1] >> 32 != 0};
    }
};

template <>
struct RecordTraits<RuxMbbShared::AdtEntryConfig> {
    static constexpr TableDescription kTable{.name = "members", .kind = 2, .isAnonymous = true};

    static SlotContent content(const RuxMbbShared::AdtEntryConfig& record) {
        return {.key = record.entryKey, .handle = record.sdkMemberHandle.value()};
    }
    static RuxMbbShared::AdtEntryConfig record(const SlotContent& content) {
        return {content.key, RuxTable::RuxSdkMemberHandle(content.handle)};
    }
};

template <>
struct RecordTraits<RuxMbbShared::SelGrpEntryConfig> {
    static constexpr TableDescription kTable{.name = "groups", .kind = 3, .isAnonymous = true};

    static SlotContent content(const RuxMbbShared::SelGrpEntryConfig& record) {
        return {.key = record.entryKey, .handle = record.sdkGroupHandle.value()};
    }
    static RuxMbbShared::SelGrpEntryConfig record(const SlotContent& content) {
        return {content.key, RuxTable::RuxSdkGroupHandle(content.handle)};
    }
};

/**
 * A shared table in a memory-mapped file: what is recorded is there in the next run, whatever ended
 * this one. Records are walked in the order of their slots; one that is updated while a walk is
 * under way may be met again in its new slot.
 */
template <class RecordType>
class MappedTable : public SharedTable<RecordType> {
  public:
    using Record = RecordType;
    using Traits = RecordTraits<Record>;

    /// See `TableFile` for how it opens and what it throws.
    MappedTable(std::shared_ptr<const Posix::StateDirectory> directory, Kel::U32 capacity,
                const TableContext& context, SlotTable::BeforeStore beforeStore = {})
        : file_(std::move(directory), describe(capacity, context), std::move(beforeStore)) {}

    static TableDescription describe(Kel::U32 capacity, const TableContext& context) {
        TableDescription description = Traits::kTable;
        description.capacity = capacity;
        description.context = context;
        return description;
    }

    const TableFile& file() const noexcept { return file_; }
    SlotTable& slots() noexcept { return file_.slots(); }
    const SlotTable& slots() const noexcept { return file_.slots(); }

    /// The record under a key; none when there is none, or only a reservation.
    std::optional<Record> record(EntryKey key) const {
        const auto content = slots().find(key);
        if (!content || content->kind != SlotContent::Kind::kRecord) {
            return std::nullopt;
        }
        return Traits::record(*content);
    }

    bool begin(IterHint& hint, Record& record) const override {
        return read(hint.position, hint, record);
    }
    bool advance(IterHint& hint, Record& record) const override {
        return read(hint.position + 1, hint, record);
    }
    void doCorruptionDetected(const Kel::String& message) override {
        file_.corruptionDetected(message.charPtr());
    }

  private:
    bool read(Kel::U64 from, IterHint& hint, Record& record) const {
        std::size_t slot = from;
        SlotContent content{};
        if (!slots().next(slot, content)) {
            return false;
        }
        hint.position = slot;
        record = Traits::record(content);
        return true;
    }

    TableFile file_;
};

} // namespace Glimt
