#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/mapped-tables/TableFiles.h"

namespace {

using Glimt::EntryKey;
using Glimt::SlotContent;
using Glimt::SlotTable;
using Glimt::MbbVantof::EntryConfig;
using Kel::U32;
using Kel::U64;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace table_files;
namespace SlotFormat = Glimt::SlotFormat;
using Kind = SlotContent::Kind;

constexpr EntryKey key(U32 serial, U32 id = 0) {
    return EntryKey{serial} << 32 | id;
}

SlotContent entry(U32 serial, U32 handle) {
    return {.key = key(serial), .handle = handle, .extra = {serial, serial}};
}
SlotContent member(U32 serial, U32 id, U32 handle) {
    return {.key = key(serial, id), .handle = handle};
}
SlotContent reservation(U32 serial) {
    return {.key = key(serial), .kind = Kind::kReservation};
}

/// A table of match entries in memory, reopened as often as a test likes.
class SlotTableTest : public testing::Test {
  protected:
    static constexpr U32 kCapacity = 4;

    explicit SlotTableTest(bool isAnonymous = false) {
        description_.isAnonymous = isAnonymous;
        SlotFormat::writeHeader(std::span(words_).first<SlotFormat::kHeaderWords>(), description_);
    }

    SlotTable open() { return SlotTable(words_, description_); }
    U64& word(std::size_t slot, std::size_t at) {
        return words_[SlotFormat::kHeaderWords + slot * SlotFormat::slotWords(description_) + at];
    }
    /// Puts a committed content into a slot, as only a defect of the writer could.
    void forge(std::size_t slot, U64 sequence, const SlotContent& content) {
        const auto image = SlotFormat::slotImage(description_, slot, sequence, content);
        std::copy_n(image.begin(), SlotFormat::slotWords(description_) - 1, &word(slot, 1));
        word(slot, 0) = SlotFormat::kStateCommitted;
    }
    void expectCorrupt(std::size_t slot, const std::string& reason) {
        const SlotTable table = open();
        std::string corruption;
        const auto records = read(table, &corruption);
        EXPECT_EQ(corruption, "table entries, slot " + std::to_string(slot) + ": " + reason);
        EXPECT_LE(records.size(), slot);
    }

    Glimt::TableDescription description_ =
        Glimt::MappedTable<EntryConfig>::describe(kCapacity, {0, 1});
    std::vector<U64> words_ = std::vector<U64>(SlotFormat::words(description_));
};

class AnonymousSlotTableTest : public SlotTableTest {
  protected:
    AnonymousSlotTableTest() : SlotTableTest(true) {}
};

TEST_F(SlotTableTest, StartsEmpty) {
    const SlotTable table = open();
    EXPECT_THAT(read(table), IsEmpty());
    EXPECT_EQ(table.records(), 0u);
    EXPECT_EQ(table.latestSerial(), 0u);
    EXPECT_EQ(table.neverCommitted(), 0u);
    EXPECT_EQ(table.find(key(1)), std::nullopt);
    EXPECT_EQ(table.keyOfHandle(1), 0u);
}

TEST_F(SlotTableTest, KeepsContentsOverAReopening) {
    {
        SlotTable table = open();
        table.contentIs(entry(5, 50));
        table.contentIs(reservation(6));
        table.contentIs(entry(7, 70));
    }
    const SlotTable table = open();
    EXPECT_THAT(read(table), ElementsAre(entry(5, 50), entry(7, 70)));
    EXPECT_THAT(table.reservations(), ElementsAre(key(6)));
    EXPECT_EQ(table.records(), 2u);
    EXPECT_EQ(table.latestSerial(), 7u);
    EXPECT_EQ(table.keyOfHandle(70), key(7));
    EXPECT_EQ(table.find(key(6)), reservation(6));
}

TEST_F(SlotTableTest, AnUpdateTakesANewSlotAndRetiresTheOldOne) {
    SlotTable table = open();
    table.contentIs(entry(1, 10));
    const std::vector<U64> before(&word(0, 1), &word(1, 0));
    table.contentIs(entry(1, 11));
    EXPECT_EQ(word(0, 0), SlotFormat::kStateRetired);
    EXPECT_EQ(std::vector<U64>(&word(0, 1), &word(1, 0)), before);
    EXPECT_EQ(word(1, 0), SlotFormat::kStateCommitted);
    EXPECT_THAT(read(table), ElementsAre(entry(1, 11)));
    EXPECT_EQ(table.keyOfHandle(10), 0u);
    EXPECT_EQ(table.keyOfHandle(11), key(1));
}

TEST_F(SlotTableTest, ARemovedContentIsGoneAndItsSerialStaysUsed) {
    {
        SlotTable table = open();
        table.contentIs(entry(9, 10));
        table.contentDel(key(9));
        table.contentDel(key(9));
        EXPECT_THAT(read(table), IsEmpty());
    }
    EXPECT_EQ(open().latestSerial(), 9u);
    EXPECT_THAT(read(open()), IsEmpty());
}

TEST_F(SlotTableTest, SlotsAreUsedAgainForAsLongAsOneLikes) {
    SlotTable table = open();
    for (U32 n = 1; n <= 1000; ++n) {
        table.contentIs(entry(n, n));
        if (n > kCapacity - 1) {
            table.contentDel(key(n - (kCapacity - 1)));
        }
    }
    EXPECT_EQ(read(table).size(), kCapacity - 1);
    EXPECT_EQ(open().latestSerial(), 1000u);
}

TEST_F(SlotTableTest, AFullTableRefusesOneMoreRecordAndStillTakesUpdatesAndReservations) {
    SlotTable table = open();
    for (U32 n = 1; n <= kCapacity; ++n) {
        table.contentIs(entry(n, n));
    }
    EXPECT_EQ(refusalOf([&] { table.contentIs(entry(5, 5)); }), "entries: full: it has 4 records");
    table.contentIs(reservation(6));
    EXPECT_EQ(refusalOf([&] { table.contentIs(entry(6, 6)); }), "entries: full: it has 4 records");
    table.contentIs(entry(2, 22));
    table.contentDel(key(1));
    table.contentIs(entry(6, 6));
    EXPECT_THAT(table.reservations(), IsEmpty());
    EXPECT_EQ(read(open()).size(), kCapacity);
}

TEST_F(SlotTableTest, TheOldestReservationIsDropped) {
    SlotTable table = open();
    for (U32 n = 1; n <= SlotFormat::kReservations + 2; ++n) {
        table.contentIs(reservation(n));
    }
    EXPECT_EQ(table.reservations().size(), SlotFormat::kReservations);
    EXPECT_EQ(table.reservations().front(), key(3));
    EXPECT_EQ(open().reservations(), table.reservations());
}

TEST_F(SlotTableTest, ASlotThatWasNeverCommittedIsCountedSkippedAndCleared) {
    {
        SlotTable table = open();
        table.contentIs(entry(1, 10));
        table.contentIs(entry(2, 20));
    }
    word(1, 0) = 0;
    {
        SlotTable table = open();
        EXPECT_EQ(table.neverCommitted(), 1u);
        EXPECT_THAT(read(table), ElementsAre(entry(1, 10)));
        EXPECT_EQ(table.corruptSlots(), 0u);
    }
    EXPECT_EQ(open().neverCommitted(), 0u);
    EXPECT_EQ(word(1, 2), 0u);
}

TEST_F(SlotTableTest, OfTwoSlotsOfOneKeyTheLastCommitHolds) {
    {
        SlotTable table = open();
        table.contentIs(entry(1, 10));
        table.contentIs(entry(2, 20));
        table.contentIs(entry(1, 11));
    }
    word(0, 0) = SlotFormat::kStateCommitted; // as if the process had died before retiring it
    {
        SlotTable table = open();
        EXPECT_EQ(table.superseded(), 1u);
        EXPECT_EQ(table.corruptSlots(), 0u);
        EXPECT_THAT(read(table), ElementsAre(entry(2, 20), entry(1, 11)));
    }
    EXPECT_EQ(word(0, 0), SlotFormat::kStateRetired);
    EXPECT_EQ(open().superseded(), 0u);
}

TEST_F(SlotTableTest, TwoSlotsOfOneKeyThatAreNoLastCommitAreBothCorrupt) {
    open().contentIs(entry(1, 10));
    forge(1, 2, entry(1, 11));
    forge(2, 3, entry(1, 12));
    expectCorrupt(0, "another slot has its key");
    forge(2, 3, entry(1, 13));
    word(1, 0) = SlotFormat::kStateRetired;
    forge(3, 4, entry(1, 14));
    word(2, 0) = SlotFormat::kStateRetired;
    forge(3, 2, entry(1, 14));
    EXPECT_EQ(open().superseded(), 1u);
}

TEST_F(SlotTableTest, TwoSlotsOfOneKeyWithALaterCommitAreBothCorrupt) {
    {
        SlotTable table = open();
        table.contentIs(entry(1, 10));
        table.contentIs(entry(1, 11));
        table.contentIs(entry(2, 20));
        table.contentIs(entry(3, 30));
    }
    // The slot of key 1's first commit was used again by key 2.
    forge(5, 2, entry(1, 12));
    const SlotTable table = open();
    EXPECT_GE(table.corruptSlots(), 2u);
    EXPECT_EQ(table.find(key(1)), std::nullopt);
}

TEST_F(SlotTableTest, AHandleTwiceIsACorruptionOfBothRecords) {
    SlotTable(words_, description_).latestSerialIs(9);
    forge(0, 1, entry(1, 10));
    forge(1, 2, entry(2, 20));
    forge(2, 3, entry(3, 10));
    expectCorrupt(0, "another record has its handle");
    EXPECT_EQ(open().corruptSlots(), 2u);
    EXPECT_EQ(open().keyOfHandle(10), 0u);
    EXPECT_EQ(open().keyOfHandle(20), key(2));
}

TEST_F(SlotTableTest, OneCommitNumberTwiceIsACorruptionOfBothSlots) {
    SlotTable(words_, description_).latestSerialIs(9);
    forge(0, 1, entry(1, 10));
    forge(1, 1, entry(2, 20));
    expectCorrupt(0, "its commit has the number of another slot's commit");
    EXPECT_EQ(open().corruptSlots(), 2u);
}

TEST_F(SlotTableTest, HandleZeroIsACorruption) {
    SlotTable(words_, description_).latestSerialIs(9);
    forge(1, 1, entry(1, 0));
    expectCorrupt(1, "its handle is 0");
}

TEST_F(SlotTableTest, AReservationWithAHandleIsACorruption) {
    SlotTable(words_, description_).latestSerialIs(9);
    forge(0, 1, {.key = key(1), .kind = Kind::kReservation, .handle = 4});
    expectCorrupt(0, "a reservation with a handle");
}

TEST_F(SlotTableTest, AContentOfAnUnknownKindIsACorruption) {
    SlotTable(words_, description_).latestSerialIs(9);
    forge(0, 1, {.key = key(1), .kind = static_cast<Kind>(3), .handle = 4});
    expectCorrupt(0, "it is neither record nor reservation");
}

TEST_F(SlotTableTest, AKeyThatWasNeverGivenOutIsACorruption) {
    SlotTable(words_, description_).latestSerialIs(9);
    forge(0, 1, entry(10, 1));
    expectCorrupt(0, "its key was never given out");
    forge(0, 1, {.key = 7, .handle = 1});
    expectCorrupt(0, "its key was never given out");
}

TEST_F(SlotTableTest, MoreRecordsThanTheCapacityAreACorruption) {
    SlotTable(words_, description_).latestSerialIs(9);
    for (U32 n = 0; n <= kCapacity; ++n) {
        forge(n, n + 1, entry(n + 1, n + 1));
    }
    expectCorrupt(kCapacity, "there are more records than the table may have");
    EXPECT_EQ(open().records(), kCapacity);
}

TEST_F(SlotTableTest, AContentIsNotValidInAnotherSlot) {
    open().contentIs(entry(1, 10));
    std::copy_n(&word(0, 0), SlotFormat::slotWords(description_), &word(3, 0));
    word(0, 0) = SlotFormat::kStateRetired;
    expectCorrupt(3, "its checksum is wrong");
}

TEST_F(SlotTableTest, ACorruptSlotIsNeverWrittenOver) {
    SlotTable(words_, description_).latestSerialIs(99);
    word(2, 0) = 1;
    SlotTable table = open();
    for (U32 n = 1; n <= 50; ++n) {
        table.contentIs(entry(1, n));
    }
    EXPECT_EQ(word(2, 0), 1u);
}

TEST_F(SlotTableTest, WithoutASlotThatIsSoundItSaysWhatHelps) {
    const std::size_t slots =
        (words_.size() - SlotFormat::kHeaderWords) / SlotFormat::slotWords(description_);
    for (std::size_t slot = 0; slot < slots; ++slot) {
        word(slot, 0) = 1;
    }
    SlotTable table = open();
    EXPECT_EQ(refusalOf([&] { table.contentIs(entry(1, 1)); }),
              "entries: full: the slots left are corrupt; a restart of the agent clears them");
}

TEST_F(SlotTableTest, DamageAfterTheOpeningIsFoundByTheWalk) {
    SlotTable table = open();
    table.contentIs(entry(1, 10));
    table.contentIs(entry(2, 20));
    word(1, 3) ^= 1;
    std::string corruption;
    EXPECT_THAT(read(table, &corruption), ElementsAre(entry(1, 10)));
    EXPECT_EQ(corruption, "table entries, slot 1: its checksum is wrong");
    EXPECT_EQ(table.find(key(2)), std::nullopt);
    word(1, 3) ^= 1;
    word(1, 0) = SlotFormat::kStateRetired;
    read(table, &corruption);
    EXPECT_EQ(corruption, "table entries, slot 1: its state was changed");
    forge(1, 2, entry(1, 30));
    read(table, &corruption);
    EXPECT_EQ(corruption, "table entries, slot 1: its content was changed");
}

TEST_F(AnonymousSlotTableTest, AnIdLeadsToItsRecord) {
    SlotTable table = open();
    table.contentIs(member(1, 77, 10));
    table.contentIs(member(2, 0, 11));
    EXPECT_EQ(table.keyOfId(77), key(1, 77));
    EXPECT_EQ(table.keyOfId(0), key(2, 0));
    EXPECT_EQ(table.keyOfId(1), 0u);
    table.contentDel(key(1, 77));
    EXPECT_EQ(table.keyOfId(77), 0u);
}

TEST_F(AnonymousSlotTableTest, AnIdTwiceIsACorruptionOfBothRecords) {
    SlotTable(words_, description_).latestSerialIs(9);
    forge(0, 1, member(1, 77, 10));
    forge(1, 2, member(2, 77, 20));
    expectCorrupt(0, "another record stands for the same id");
    EXPECT_EQ(open().corruptSlots(), 2u);
}

} // namespace
