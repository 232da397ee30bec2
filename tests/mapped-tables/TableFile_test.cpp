#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/mapped-tables/TableFiles.h"

namespace {

using Glimt::MbbVantof::EntryConfig;
using Kel::U32;
using Kel::U64;
using RuxMbbShared::AdtEntryConfig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace table_files;

using Entries = Glimt::MappedTable<EntryConfig>;
using Members = Glimt::MappedTable<AdtEntryConfig>;

class TableFileTest : public testing::Test {
  protected:
    static void store(Entries& table, U32 n) {
        table.slots().contentIs(Entries::Traits::content(numbered<EntryConfig>(n)));
    }
    std::string coldReason(U32 capacity, U32 device, U64 chipBoot) {
        Entries table(directory_, capacity, {device, chipBoot});
        EXPECT_THAT(walked(table), IsEmpty());
        return std::string(std::string_view(table.file().coldReason()));
    }
    std::string inFile(const std::string& reason) const {
        return place_.file("entries").string() + ": " + reason;
    }

    Place place_;
    std::shared_ptr<const Posix::StateDirectory> directory_ = place_.open();
};

TEST_F(TableFileTest, StartsColdWithoutAFileAndWarmWithOne) {
    EXPECT_EQ(coldReason(8, 1, 1), inFile("there is no such file yet"));
    {
        Entries table(directory_, 8, {1, 1});
        EXPECT_TRUE(table.file().isWarm());
        store(table, 1);
        store(table, 2);
    }
    Entries table(directory_, 8, {1, 1});
    EXPECT_TRUE(table.file().isWarm());
    EXPECT_THAT(walked(table), ElementsAre(numbered<EntryConfig>(1), numbered<EntryConfig>(2)));
    EXPECT_EQ(table.record(numbered<EntryConfig>(2).entryKey), numbered<EntryConfig>(2));
    EXPECT_EQ(table.record(77), std::nullopt);
}

TEST_F(TableFileTest, EveryFieldOfAnEntrySurvives) {
    const EntryConfig record{.entryKey = Kel::U64{1} << 32,
                             .sdkEntryHandle = RuxTable::RuxSdkEntryHandle(0xffffffff),
                             .value = 0xdeadbeef,
                             .mask = 0x80000001,
                             .priority = 0xfffffffe,
                             .isDefault = true};
    {
        Entries table(directory_, 8, {1, 1});
        table.slots().contentIs(Entries::Traits::content(record));
    }
    Entries table(directory_, 8, {1, 1});
    EXPECT_THAT(walked(table), ElementsAre(record));
}

TEST_F(TableFileTest, AnotherDeviceBootOrCapacityStartsColdWithTheReasonAndOnce) {
    coldReason(8, 1, 1);
    EXPECT_EQ(coldReason(8, 2, 1), inFile("its device is 1, not 2"));
    EXPECT_EQ(coldReason(8, 2, 5), inFile("its chip boot generation is 1, not 5"));
    EXPECT_EQ(coldReason(9, 2, 5), inFile("its capacity is 8, not 9"));
    EXPECT_EQ(coldReason(9, 2, 5), "");
    EXPECT_FALSE(std::filesystem::exists(place_.file("entries.damaged-1")));
}

TEST_F(TableFileTest, AnotherLayoutStartsCold) {
    std::vector<U64> words = wordsOfTable<EntryConfig>(8, 3);
    const auto withLayout = [&](U64 word) {
        words[1] = word;
        words[9] = Glimt::crc32c(std::as_bytes(std::span(words).first(6)));
        coldReason(8, 3, 17); // so that there is a file of the right mode
        contentIs(place_.file("entries"),
                  {reinterpret_cast<char*>(words.data()), words.size() * sizeof(U64)});
    };
    for (const U64 version : {1, 3}) {
        withLayout(version << 32 | 56);
        EXPECT_EQ(coldReason(8, 3, 17),
                  inFile("its layout version is " + std::to_string(version) + ", not 2"));
    }
    withLayout(U64{2} << 32 | 64);
    EXPECT_EQ(coldReason(8, 3, 17), inFile("its record size is 64, not 56"));
    withLayout(U64{2} << 32 | 56);
    Entries same(directory_, 8, {3, 17});
    EXPECT_TRUE(same.file().isWarm());
    EXPECT_EQ(walked(same).size(), 3u);
}

TEST_F(TableFileTest, AnotherKindOfRecordStartsCold) {
    { const Members members(directory_, 8, {1, 1}); }
    std::filesystem::rename(place_.file("members"), place_.file("entries"));
    EXPECT_EQ(coldReason(8, 1, 1), inFile("its kind of record is 2, not 1"));
}

TEST_F(TableFileTest, ContextIsToldWithoutOpeningTheTableAlsoOfOneThatWasFoundCorrupt) {
    const auto context = [this] {
        return Glimt::TableFile::contextOf(*directory_, Entries::Traits::kTable);
    };
    EXPECT_FALSE(context());
    {
        Entries table(directory_, 8, {.device = 3, .chipBoot = 17, .state = 23, .commit = 5});
        table.slots().commitIs(6);
        table.slots().mark();
    }
    ASSERT_TRUE(context());
    EXPECT_EQ(context()->state, 23u);
    EXPECT_EQ(context()->commit, 6u);
    contentIs(place_.file("entries"), "too short");
    EXPECT_FALSE(context());
}

TEST_F(TableFileTest, ATableMoreThanOneCommitBehindStartsColdAndOneOfAnotherStateToo) {
    const auto reason = [this](U64 state, U64 commit) {
        const Entries table(directory_, 8, {.state = state, .commit = commit});
        return table.file().coldReason();
    };
    reason(1, 5);
    EXPECT_EQ(reason(1, 4), "");
    EXPECT_EQ(reason(1, 6), "");
    EXPECT_EQ(reason(1, 7), inFile("it is an old copy, of commit 5 of the desired state, which is "
                                   "at commit 7"));
    EXPECT_EQ(reason(1, 8), "");
    EXPECT_EQ(reason(2, 8), inFile("its desired state is 1, not 2"));
}

TEST_F(TableFileTest, ACorruptionIsCountedKeptBesideTheFileAndColdInTheNextRun) {
    coldReason(8, 3, 17);
    std::vector<U64> words = wordsOfTable<EntryConfig>(8, 3);
    words[Glimt::SlotFormat::kHeaderWords + 7 + 2] ^= 4; // the key in slot 1
    const std::string damaged{reinterpret_cast<char*>(words.data()), words.size() * sizeof(U64)};
    contentIs(place_.file("entries"), damaged);
    {
        Entries table(directory_, 8, {3, 17});
        EXPECT_THAT(walked(table), ElementsAre(numbered<EntryConfig>(1)));
        EXPECT_EQ(table.file().corruptions(), 1u);
        EXPECT_EQ(std::string_view(table.file().latestCorruption()),
                  "table entries, slot 1: its checksum is wrong");
        EXPECT_EQ(std::string_view(table.file().damagedCopy()), "entries.damaged-1");
        EXPECT_EQ(contentOf(place_.file("entries.damaged-1")), damaged);
        walked(table);
        EXPECT_EQ(table.file().corruptions(), 2u);
        EXPECT_FALSE(std::filesystem::exists(place_.file("entries.damaged-2")));
    }
    EXPECT_EQ(coldReason(8, 3, 17), inFile("it was found corrupt by an earlier run"));
    EXPECT_FALSE(std::filesystem::exists(place_.file("entries.damaged-2")));
    EXPECT_EQ(coldReason(8, 3, 17), "");
}

TEST_F(TableFileTest, TheFirstDamagedFilesAreKeptAndTheLatest) {
    for (int i = 0; i < 6; ++i) {
        coldReason(8, 3, 17);
        contentIs(place_.file("entries"), "damage " + std::to_string(i));
        coldReason(8, 3, 17);
    }
    EXPECT_EQ(contentOf(place_.file("entries.damaged-1")), "damage 0");
    EXPECT_EQ(contentOf(place_.file("entries.damaged-3")), "damage 2");
    EXPECT_EQ(contentOf(place_.file("entries.damaged-4")), "damage 5");
    EXPECT_FALSE(std::filesystem::exists(place_.file("entries.damaged-5")));
}

TEST_F(TableFileTest, AFileWithHolesGetsItsSpace) {
    coldReason(4096, 3, 17);
    const auto size = std::filesystem::file_size(place_.file("entries"));
    std::filesystem::resize_file(place_.file("entries"),
                                 Glimt::SlotFormat::kHeaderWords * sizeof(U64));
    std::filesystem::resize_file(place_.file("entries"), size);
    EXPECT_EQ(coldReason(4096, 3, 17), "");
    struct stat status {};
    ASSERT_EQ(::stat(place_.file("entries").c_str(), &status), 0);
    EXPECT_GE(static_cast<std::size_t>(status.st_blocks) * 512, size);
}

TEST_F(TableFileTest, APublishedFileIsWholeForWhoeverOpensItAtAnyTime) {
    coldReason(8, 1, 1);
    // The old file stays what it was for those who have it, also when it is replaced.
    Entries old(directory_, 8, {1, 1});
    store(old, 1);
    EXPECT_THAT(coldReason(8, 1, 2), HasSubstr("boot generation"));
    EXPECT_THAT(walked(old), ElementsAre(numbered<EntryConfig>(1)));
    store(old, 2);
    Entries fresh(directory_, 8, {1, 2});
    EXPECT_TRUE(fresh.file().isWarm());
    EXPECT_THAT(walked(fresh), IsEmpty());
}

// ---- Looking before opening ----------------------------------------------------------------

/// Looks at "entries", which must stay as it is, with a description of which nothing but the kind
/// counts.
class MayHoldRecords : public TableFileTest {
  protected:
    bool looked() {
        const std::string before = contentOf(place_.file("entries"));
        const bool may = Glimt::TableFile::mayHoldRecords(*directory_, Entries::Traits::kTable);
        EXPECT_EQ(before, contentOf(place_.file("entries")));
        return may;
    }
    void wordsAre(std::vector<U64> words) {
        coldReason(8, 3, 17); // so that there is a file of the right mode
        contentIs(place_.file("entries"),
                  {reinterpret_cast<char*>(words.data()), words.size() * sizeof(U64)});
    }
};

TEST_F(MayHoldRecords, NoneWithoutAFileOrInAnEmptyTable) {
    EXPECT_FALSE(looked());
    coldReason(8, 0xffff0003, 17);
    EXPECT_FALSE(looked());
}

TEST_F(MayHoldRecords, OneIsSeenInTheTableOfWhateverChipUntilItIsDropped) {
    Entries table(directory_, 8, {0xffff0003, ~U64{0}});
    for (const U32 n : {1u, 2u}) {
        store(table, n);
        EXPECT_TRUE(looked());
        table.slots().contentDel(numbered<EntryConfig>(n).entryKey);
        EXPECT_FALSE(looked());
    }
}

TEST_F(MayHoldRecords, AReservationIsNone) {
    Entries table(directory_, 8, {1, 1});
    table.slots().contentIs({.key = U64{1} << 32, .kind = Glimt::SlotContent::Kind::kReservation});
    EXPECT_FALSE(looked());
}

TEST_F(MayHoldRecords, WhatWasWrittenAndNeverCommittedIsNoneAndIsNotCleared) {
    std::vector<U64> words = wordsOfTable<EntryConfig>(8, 1);
    words[Glimt::SlotFormat::kHeaderWords] = 0; // the state of slot 0
    wordsAre(words);
    EXPECT_FALSE(looked());
}

TEST_F(MayHoldRecords, ADamagedFileMay) {
    const std::vector<U64> empty = wordsOfTable<EntryConfig>(8, 0);
    for (const std::size_t word : {0, 1, 2, 3, 4, 5, 6, 7, 8}) {
        SCOPED_TRACE(word);
        std::vector<U64> words = empty;
        words[word] ^= U64{1} << 40;
        wordsAre(words);
        EXPECT_TRUE(looked());
    }
    for (const std::size_t size : {std::size_t{0}, std::size_t{7}, empty.size() - 1}) {
        SCOPED_TRACE(size);
        wordsAre({empty.begin(), empty.begin() + static_cast<std::ptrdiff_t>(size)});
        EXPECT_TRUE(looked());
    }
    wordsAre(empty);
    EXPECT_FALSE(looked());
}

TEST_F(MayHoldRecords, ATableThatWasFoundCorruptMay) {
    Entries table(directory_, 8, {1, 1});
    table.slots().mark();
    EXPECT_TRUE(looked());
}

TEST_F(MayHoldRecords, AFileOfOthersIsRefused) {
    coldReason(8, 1, 1);
    std::filesystem::permissions(place_.file("entries"), std::filesystem::perms(0644));
    EXPECT_EQ(refusalOf([this] { looked(); }), inFile("refused: its mode is 0644, not 0600"));
}

} // namespace
