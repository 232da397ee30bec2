#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/Glimt/MbbVantof.h"
#include "platform/MbbGlimtKey/InProcessTable.h"
#include "posix/StateException.h"

namespace {

using Glimt::EntryKey;
using Glimt::MbbVantof::EntryConfig;
using testing::ElementsAre;
using testing::IsEmpty;

class SharedTable : public testing::Test {
  protected:
    using Table = MbbGlimtKey::InProcessTable<EntryConfig>;

    void fill(std::initializer_list<EntryKey> keys) {
        for (const EntryKey key : keys) {
            table_.recordIs({key, RuxTable::RuxSdkEntryHandle(static_cast<Kel::U32>(key) + 1000)});
        }
    }
    std::vector<EntryKey> walked() {
        std::vector<EntryKey> keys;
        Glimt::walk<EntryConfig>(table_, [&](const EntryConfig& record) {
            EXPECT_EQ(record.sdkEntryHandle.value(), static_cast<Kel::U32>(record.entryKey) + 1000);
            keys.push_back(record.entryKey);
        });
        return keys;
    }

    Table table_;
};

TEST_F(SharedTable, AnEmptyTableIsWalkedWithoutAVisit) {
    EXPECT_THAT(walked(), IsEmpty());
    Glimt::IterHint hint;
    EntryConfig record{};
    EXPECT_FALSE(table_.begin(hint, record));
    EXPECT_FALSE(table_.advance(hint, record));
}

TEST_F(SharedTable, EveryRecordIsVisitedOnceInTheOrderOfTheKeys) {
    fill({7, 0, ~EntryKey{0}, 3});
    EXPECT_THAT(walked(), ElementsAre(0, 3, 7, ~EntryKey{0}));
    EXPECT_EQ(table_.corruptions(), 0u);
}

TEST_F(SharedTable, ARecordIsReplacedUnderItsKeyAndRemoved) {
    fill({1, 2});
    table_.recordIs({1, RuxTable::RuxSdkEntryHandle(1001)});
    EXPECT_EQ(table_.size(), 2u);
    table_.recordDel(1);
    table_.recordDel(5);
    EXPECT_THAT(walked(), ElementsAre(2));
}

TEST_F(SharedTable, TheHintTellsWhereTheWalkStands) {
    fill({4, 9});
    Glimt::IterHint hint;
    EntryConfig record{};
    ASSERT_TRUE(table_.begin(hint, record));
    EXPECT_EQ(record.entryKey, 4u);
    ASSERT_TRUE(table_.begin(hint, record)) << "the record at the hint is read again";
    EXPECT_EQ(record.entryKey, 4u);
    ASSERT_TRUE(table_.advance(hint, record));
    EXPECT_EQ(record.entryKey, 9u);
    EXPECT_FALSE(table_.advance(hint, record));
}

TEST_F(SharedTable, ARecordRemovedUnderTheWalkDoesNotEndIt) {
    fill({1, 2, 3});
    std::vector<EntryKey> keys;
    Glimt::walk<EntryConfig>(table_, [&](const EntryConfig& record) {
        keys.push_back(record.entryKey);
        table_.recordDel(record.entryKey);
    });
    EXPECT_THAT(keys, ElementsAre(1, 2, 3));
    EXPECT_EQ(table_.size(), 0u);
}

TEST_F(SharedTable, ACorruptFirstRecordIsReportedAndNothingIsVisited) {
    fill({1, 2});
    table_.corruptAt(1, "bad magic");
    EXPECT_THAT(walked(), IsEmpty());
    EXPECT_EQ(table_.corruptions(), 1u);
    EXPECT_EQ(table_.latestCorruption(), "bad magic");
}

TEST_F(SharedTable, ACorruptRecordInTheMiddleEndsTheWalkThere) {
    fill({1, 2, 3, 4});
    table_.corruptAt(3, "bad checksum");
    EXPECT_THAT(walked(), ElementsAre(1, 2));
    EXPECT_EQ(table_.corruptions(), 1u);
    EXPECT_EQ(table_.latestCorruption(), "bad checksum");
}

TEST_F(SharedTable, AReaderOfItsOwnMeetsTheCorruptionAsAnException) {
    fill({1});
    table_.corruptAt(1, "bad magic");
    Glimt::IterHint hint;
    EntryConfig record{};
    try {
        table_.begin(hint, record);
        FAIL() << "nothing was thrown";
    } catch (const Pello::CorruptionDetectedException& e) {
        EXPECT_EQ(e.msg(), "bad magic");
        EXPECT_STREQ(e.what(), "bad magic");
        EXPECT_EQ(e.id(), 64u);
    }
    EXPECT_EQ(table_.corruptions(), 0u) << "reporting is the reader's";
}

TEST_F(SharedTable, StateThatCannotBeUsedIsNoCorruption) {
    struct Unusable : Table {
        bool advance(Glimt::IterHint&, EntryConfig&) const override {
            throw Posix::StateException("/state/entries", "not this user's");
        }
    } unusable;
    unusable.recordIs({1, RuxTable::RuxSdkEntryHandle(1001)});
    int visits = 0;
    EXPECT_THROW(Glimt::walk<EntryConfig>(unusable, [&](const EntryConfig&) { ++visits; }),
                 Posix::StateException);
    EXPECT_EQ(visits, 1);
    EXPECT_EQ(unusable.corruptions(), 0u);
}

TEST_F(SharedTable, WhatTheVisitorThrowsPassesAndIsNotReported) {
    fill({1, 2});
    int visits = 0;
    EXPECT_THROW(Glimt::walk<EntryConfig>(table_,
                                          [&](const EntryConfig&) {
                                              ++visits;
                                              throw std::runtime_error("visitor");
                                          }),
                 std::runtime_error);
    EXPECT_EQ(visits, 1);
    EXPECT_EQ(table_.corruptions(), 0u);
}

TEST_F(SharedTable, ACorruptionThatTheVisitorThrowsIsNotTheTables) {
    fill({1, 2});
    EXPECT_THROW(Glimt::walk<EntryConfig>(table_,
                                          [](const EntryConfig&) {
                                              throw Pello::CorruptionDetectedException(
                                                  "some other table");
                                          }),
                 Pello::CorruptionDetectedException);
    EXPECT_EQ(table_.corruptions(), 0u);
}

TEST_F(SharedTable, ACorruptionIsAPelloAndAFrameworkException) {
    EXPECT_THROW(throw Pello::CorruptionDetectedException("x"), Pello::Exception);
    EXPECT_THROW(throw Pello::CorruptionDetectedException("x"), Kel::Exception);
}

} // namespace
