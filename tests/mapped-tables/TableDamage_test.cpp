#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/mapped-tables/TableFiles.h"

namespace {

using Kel::U32;
using Kel::U64;
using namespace table_files;
namespace SlotFormat = Glimt::SlotFormat;

constexpr U32 kRecords = 64;

enum class Outcome { kRefused, kCorrupt, kHarmless, kWrong };

/// Damage to a table of 64 records, for each kind of record.
template <class Record>
class TableDamage : public testing::Test {
  protected:
    const std::vector<U64> sound_ = wordsOfTable<Record>(kRecords, kRecords);
    const Glimt::TableDescription description_ =
        Glimt::MappedTable<Record>::describe(kRecords, {3, 17});
    const std::string name_ = Glimt::RecordTraits<Record>::kTable.name;

    std::string bytes(const std::vector<U64>& words) const {
        return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof(U64)};
    }
    std::vector<Record> expected() const {
        std::vector<Record> all;
        for (U32 n = 1; n <= kRecords; ++n) {
            all.push_back(numbered<Record>(n));
        }
        return all;
    }

    /// What becomes of a table whose words were damaged.
    Outcome outcome(std::vector<U64>& words) const {
        const auto header = std::span(words).template first<SlotFormat::kHeaderWords>();
        if (SlotFormat::checkHeader(header, description_)) {
            return Outcome::kRefused;
        }
        std::string corruption;
        const auto records = read(Glimt::SlotTable(words, description_), &corruption);
        for (std::size_t i = 0; i < records.size(); ++i) {
            const auto n = static_cast<U32>(i) + 1;
            if (Glimt::RecordTraits<Record>::record(records[i]) != numbered<Record>(n)) {
                return Outcome::kWrong;
            }
        }
        if (!corruption.empty()) {
            return Outcome::kCorrupt;
        }
        return records.size() == kRecords ? Outcome::kHarmless : Outcome::kWrong;
    }
};

using RecordTypes = testing::Types<Glimt::MbbVantof::EntryConfig, RuxMbbShared::AdtEntryConfig,
                                   RuxMbbShared::SelGrpEntryConfig>;
TYPED_TEST_SUITE(TableDamage, RecordTypes);

TYPED_TEST(TableDamage, EverySingleBitFlipIsDetectedOrHarmless) {
    std::map<Outcome, std::size_t> counts;
    std::vector<U64> words;
    for (std::size_t bit = 0; bit < this->sound_.size() * 64; ++bit) {
        words = this->sound_;
        words[bit / 64] ^= U64{1} << bit % 64;
        const Outcome outcome = this->outcome(words);
        ++counts[outcome];
        ASSERT_NE(outcome, Outcome::kWrong) << "bit " << bit;
        const std::size_t word = bit / 64;
        const std::size_t slotWords = SlotFormat::slotWords(this->description_);
        if (word < SlotFormat::kHeaderWords) {
            ASSERT_EQ(outcome, Outcome::kRefused) << "bit " << bit;
        } else if (word < SlotFormat::kHeaderWords + kRecords * slotWords) {
            ASSERT_EQ(outcome, Outcome::kCorrupt) << "bit " << bit;
        }
    }
    // Only the contents of slots that are not in force may change unseen.
    const std::size_t spare = SlotFormat::slots(this->description_) - kRecords;
    EXPECT_EQ(counts[Outcome::kHarmless],
              spare * (SlotFormat::slotWords(this->description_) - 1) * 64);
}

TYPED_TEST(TableDamage, ABitFlipInTheFileIsSaidAndTheRestOfTheFileKept) {
    using Table = Glimt::MappedTable<TypeParam>;
    const std::string sound = this->bytes(this->sound_);
    for (std::size_t bit = 0; bit < sound.size() * 8; bit += 499) {
        const Place place;
        const auto directory = place.open();
        { const Table created(directory, kRecords, {3, 17}); }
        std::string damaged = sound;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
        contentIs(place.file(this->name_), damaged);

        Table table(directory, kRecords, {3, 17});
        const auto records = walked(table);
        if (!table.file().isWarm()) {
            EXPECT_TRUE(records.empty());
            EXPECT_EQ(contentOf(place.file(this->name_ + ".damaged-1")), damaged) << "bit " << bit;
        } else if (table.file().corruptions() != 0) {
            EXPECT_EQ(contentOf(place.file(this->name_ + ".damaged-1")), damaged) << "bit " << bit;
            auto before = this->expected();
            before.resize(records.size());
            EXPECT_EQ(records, before) << "bit " << bit;
        } else {
            EXPECT_EQ(records, this->expected()) << "bit " << bit;
        }
    }
}

TYPED_TEST(TableDamage, TruncationAtEveryLengthStartsColdAndSaysSo) {
    using Table = Glimt::MappedTable<TypeParam>;
    const std::string sound = this->bytes(this->sound_);
    const Place place;
    const auto directory = place.open();
    { const Table created(directory, kRecords, {3, 17}); }
    for (std::size_t length = 0; length < sound.size(); ++length) {
        contentIs(place.file(this->name_), sound.substr(0, length));
        Table table(directory, kRecords, {3, 17});
        ASSERT_EQ(std::string_view(table.file().coldReason()),
                  place.file(this->name_).string() + ": its size is " + std::to_string(length) +
                      " bytes, not " + std::to_string(sound.size()));
        ASSERT_EQ(table.slots().records(), 0u);
    }
    contentIs(place.file(this->name_), sound + '\0');
    EXPECT_FALSE(Table(directory, kRecords, {3, 17}).file().isWarm());
    contentIs(place.file(this->name_), sound);
    Table table(directory, kRecords, {3, 17});
    EXPECT_EQ(std::string_view(table.file().coldReason()), "");
    EXPECT_EQ(walked(table), this->expected());
}

TYPED_TEST(TableDamage, AFileOfNoiseOfTheRightSizeStartsCold) {
    std::vector<U64> words = this->sound_;
    U64 state = 88172645463325252u;
    for (U64& word : words) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        word = state;
    }
    EXPECT_EQ(this->outcome(words), Outcome::kRefused);
    std::ranges::copy_n(this->sound_.begin(), SlotFormat::kHeaderWords, words.begin());
    EXPECT_EQ(this->outcome(words), Outcome::kCorrupt);
}

} // namespace
