#include "mapped-tables/TableFile.h"

#include "posix/StateException.h"

namespace Glimt {

using Kel::U64;
using Posix::FileMapping;

namespace {

constexpr std::size_t kHeaderSize = SlotFormat::kHeaderWords * sizeof(U64);

std::size_t sizeOf(const TableDescription& description) {
    return SlotFormat::words(description) * sizeof(U64);
}

} // namespace

bool TableFile::mayHoldRecords(const Posix::StateDirectory& directory,
                               TableDescription description) {
    const auto file = directory.open(description.name);
    if (!file) {
        return false;
    }
    if (file->size < kHeaderSize) {
        return true;
    }
    const FileMapping mapping(file->descriptor, file->size / sizeof(U64),
                              directory.pathOf(description.name));
    const auto header = mapping.words().first<SlotFormat::kHeaderWords>();
    description = SlotFormat::ofThisChip(description, header);
    if (SlotFormat::checkHeader(header, description) || file->size != sizeOf(description)) {
        return true;
    }
    // A copy, since a table puts right what an agent's death has left.
    std::vector<U64> words(mapping.words().begin(), mapping.words().end());
    const SlotTable table(words, description);
    return table.records() != 0 || table.corruptSlots() != 0;
}

std::optional<TableContext> TableFile::contextOf(const Posix::StateDirectory& directory,
                                                 const TableDescription& description) {
    const auto file = directory.open(description.name);
    if (!file || file->size < kHeaderSize) {
        return std::nullopt;
    }
    const FileMapping mapping(file->descriptor, SlotFormat::kHeaderWords,
                              directory.pathOf(description.name));
    const auto header = mapping.words().first<SlotFormat::kHeaderWords>();
    const TableDescription found = SlotFormat::ofThisChip(description, header);
    // What marks a table as corrupt leaves its header sound.
    const bool isMarked = header[SlotFormat::kMarkWord] == SlotFormat::kMarkCorrupt;
    return SlotFormat::checkHeader(header, found) && !isMarked ? std::nullopt
                                                               : std::optional(found.context);
}

TableFile::TableFile(std::shared_ptr<const Posix::StateDirectory> directory,
                     const TableDescription& description, SlotTable::BeforeStore beforeStore)
    : directory_(std::move(directory)) {
    mapping_ = openWarm(description);
    if (!mapping_) {
        mapping_ = createCold(description);
    }
    slots_.emplace(mapping_->words(), description, std::move(beforeStore));
}

void TableFile::refuse(const std::string& name, const SlotFormat::Refusal& refusal) {
    coldReason_ = directory_->pathOf(name) + ": " + refusal.reason;
    if (refusal.isDamage) {
        damagedCopy_ = directory_->moveDamaged(name);
    }
}

std::optional<FileMapping> TableFile::openWarm(const TableDescription& description) {
    const std::string name = description.name;
    const auto file = directory_->open(name);
    if (!file) {
        isNew_ = true;
        coldReason_ = directory_->pathOf(name) + ": there is no such file yet";
        return std::nullopt;
    }
    const std::size_t size = sizeOf(description);
    const SlotFormat::Refusal wrongSize{
        "its size is " + std::to_string(file->size) + " bytes, not " + std::to_string(size), true};
    if (file->size < kHeaderSize) {
        refuse(name, wrongSize);
        return std::nullopt;
    }
    // The header first: that of another table tells more than the size does.
    const FileMapping header(file->descriptor, SlotFormat::kHeaderWords, directory_->pathOf(name));
    auto refusal =
        SlotFormat::checkHeader(header.words().first<SlotFormat::kHeaderWords>(), description);
    if (!refusal && file->size != size) {
        refusal = wrongSize;
    }
    if (refusal) {
        refuse(name, *refusal);
        return std::nullopt;
    }
    directory_->allocate(name, *file);
    return FileMapping(file->descriptor, size / sizeof(U64), directory_->pathOf(name));
}

FileMapping TableFile::createCold(const TableDescription& description) const {
    const std::size_t words = SlotFormat::words(description);
    const auto file = directory_->create(description.name, words * sizeof(U64));
    FileMapping mapping(file, words, directory_->pathOf(description.name));
    SlotFormat::writeHeader(mapping.words().first<SlotFormat::kHeaderWords>(), description);
    directory_->publish(description.name);
    return mapping;
}

void TableFile::corruptionDetected(const std::string& message) {
    ++corruptions_;
    latestCorruption_ = message;
    if (slots_->isMarked()) {
        return;
    }
    try {
        damagedCopy_ =
            directory_->keepDamaged(slots_->description().name, std::as_bytes(mapping_->words()));
    } catch (const Posix::StateException& e) {
        latestCorruption_ = message + "; no copy was kept: " + e.what();
    }
    slots_->mark();
}

} // namespace Glimt
