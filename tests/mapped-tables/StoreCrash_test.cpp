#include <sys/mman.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/mapped-tables/SharedKeys.h"

/// What a process that dies before any one of its stores to the tables leaves to the next one.
namespace {

using Glimt::EntryKey;
using Kel::U32;
using namespace table_files;
using shared_keys::entryOf;
using Manager = MbbGlimtKey::SharedKeyManager;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkGroupHandle;
using RuxTable::RuxSdkMemberHandle;

/// The records of all tables, in the order of their keys, and the reservations.
struct Seen {
    std::vector<Glimt::MbbVantof::EntryConfig> entries;
    std::vector<RuxMbbShared::AdtEntryConfig> members;
    std::vector<RuxMbbShared::SelGrpEntryConfig> groups;
    std::vector<Manager::Reservation> reservations;

    bool hasSameRecords(const Seen& other) const {
        return entries == other.entries && members == other.members && groups == other.groups;
    }
    bool hasReservation(const Manager::Reservation& reservation) const {
        return std::ranges::find(reservations, reservation) != reservations.end();
    }
};

template <class Table>
auto byKey(Table& table) {
    auto records = walked(table);
    std::ranges::sort(records, {}, &Table::Record::entryKey);
    EXPECT_EQ(table.file().corruptions(), 0u);
    EXPECT_TRUE(table.file().isWarm()) << table.file().coldReason();
    return records;
}

Seen seen(Manager& manager) {
    return {byKey(*manager.mbbGlimtTableConfig()), byKey(*manager.adtGlimtTableConfig()),
            byKey(*manager.selGrpGlimtTableConfig()), manager.reservations()};
}

using Matches = std::array<Manager::Match, 3>;
using Step = std::function<void(Manager&, const Matches&)>;

/// Every operation, first use and reuse of slots, updates, replacements.
const std::vector<Step>& steps() {
    static const std::vector<Step> all{
        [](Manager& m, auto&) { m.allocAnon(1); },
        [](Manager& m, auto&) { m.memberIs(RuxMemberId(1), RuxSdkMemberHandle(11)); },
        [](Manager& m, auto&) { m.memberIs(RuxMemberId(2), RuxSdkMemberHandle(12)); },
        [](Manager& m, auto&) { m.allocAnon(1); },
        [](Manager& m, auto&) { m.groupIs(RuxGroupId(1), RuxSdkGroupHandle(21)); },
        [](Manager& m, auto& match) { m.alloc(match[0], false); },
        [](Manager& m, auto& match) { m.entryIs(match[0], entryOf(31)); },
        [](Manager& m, auto& match) { m.alloc(match[1], false); },
        [](Manager& m, auto& match) { m.alloc(match[1], false); },
        [](Manager& m, auto& match) { m.entryIs(match[1], entryOf(32)); },
        [](Manager& m, auto& match) { m.entryIs(match[0], entryOf(33)); },
        [](Manager& m, auto& match) { m.alloc(match[0], false); },
        [](Manager& m, auto& match) { m.entryIs(match[0], entryOf(34)); },
        [](Manager& m, auto& match) { m.entryIs(match[2], entryOf(34)); },
        [](Manager& m, auto&) { m.memberIs(RuxMemberId(2), RuxSdkMemberHandle(13)); },
        [](Manager& m, auto&) { m.memberDel(RuxMemberId(1)); },
        [](Manager& m, auto&) { m.allocAnon(3); },
        [](Manager& m, auto&) { m.memberIs(RuxMemberId(3), RuxSdkMemberHandle(11)); },
        [](Manager& m, auto&) { m.groupIs(RuxGroupId(1), RuxSdkGroupHandle(22)); },
        [](Manager& m, auto& match) { m.entryDel(match[1]); },
        [](Manager& m, auto&) { m.groupDel(RuxGroupId(1)); },
        [](Manager& m, auto&) { m.latestKeyIs(EntryKey{100} << 32); },
        [](Manager& m, auto& match) { m.entryIs(match[1], entryOf(32)); },
    };
    return all;
}

Matches newMatches() {
    return {shared_keys::newMatch(), shared_keys::newMatch(), shared_keys::newMatch()};
}

constexpr int kDied = 9;

/// For a process that dies before a store to any table once `left` others were made.
Manager::Options dyingOptions(int& left) {
    auto options = shared_keys::options();
    options.beforeStore = [&left] {
        if (left-- == 0) {
            ::_exit(kDied);
        }
    };
    return options;
}

class StoreCrash : public testing::Test {
  protected:
    StoreCrash() { createTables(); }

    void createTables() {
        place_ = std::make_unique<Place>();
        const Manager::Ptr created = new Manager(place_->open(), shared_keys::options());
    }

    /// What is seen before each step and after the last.
    std::vector<Seen> states() {
        std::vector<Seen> all;
        const Manager::Ptr manager = new Manager(place_->open(), shared_keys::options());
        const Matches matches = newMatches();
        all.push_back(seen(*manager));
        for (const Step& step : steps()) {
            step(*manager, matches);
            all.push_back(seen(*manager));
        }
        return all;
    }

    /// Makes the steps in a process of its own that dies before store number `store`; how many
    /// steps it had done. `isOver`: it had done all of them.
    std::size_t stepsBeforeDeath(int store, bool& isOver) {
        void* const shared = ::mmap(nullptr, sizeof(std::size_t), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        auto& done = *static_cast<std::size_t*>(shared);
        const int status = statusOfChild([&] {
            int left = store;
            const auto options = dyingOptions(left);
            const Manager::Ptr manager = new Manager(place_->open(), options);
            const Matches matches = newMatches();
            for (const Step& step : steps()) {
                step(*manager, matches);
                ++done;
            }
            return 0;
        });
        EXPECT_TRUE(status == 0 || status == kDied) << status;
        isOver = status == 0;
        const std::size_t result = done;
        ::munmap(shared, sizeof(std::size_t));
        return result;
    }

    /// The next start finds the state before or after the step under way, never another.
    void expectEither(Manager& manager, const Seen& before, const Seen& after) {
        const Seen now = seen(manager);
        EXPECT_TRUE(now.hasSameRecords(before) || now.hasSameRecords(after));
        for (const auto& reservation : before.reservations) {
            if (after.hasReservation(reservation)) {
                EXPECT_TRUE(now.hasReservation(reservation)) << reservation.key;
            }
        }
        for (const auto& reservation : now.reservations) {
            EXPECT_TRUE(before.hasReservation(reservation) || after.hasReservation(reservation))
                << reservation.key;
        }
    }

    std::unique_ptr<Place> place_;
};

TEST_F(StoreCrash, AnyOneLosesNoStepThatWasDoneAndHalvesNone) {
    const std::vector<Seen> states = this->states();
    bool isOver = false;
    int store = 0;
    std::size_t neverCommitted = 0;
    std::size_t superseded = 0;
    for (; !isOver; ++store) {
        createTables();
        const std::size_t done = stepsBeforeDeath(store, isOver);
        SCOPED_TRACE("store " + std::to_string(store) + ", step " + std::to_string(done));
        const Manager::Ptr next = new Manager(place_->open(), shared_keys::options());
        expectEither(*next, states[done], states[std::min(done + 1, steps().size())]);
        const auto count = [&](const Glimt::SlotTable& slots) {
            neverCommitted += slots.neverCommitted();
            superseded += slots.superseded();
        };
        count(next->mbbGlimtTableConfig()->slots());
        count(next->adtGlimtTableConfig()->slots());
        count(next->selGrpGlimtTableConfig()->slots());
        EXPECT_GT(next->allocAnon(0),
                  states[done].reservations.empty() ? 0 : states[done].reservations.back().key);
    }
    EXPECT_GT(store, 150);
    EXPECT_GT(neverCommitted, 50u);
    EXPECT_GT(superseded, 5u);
}

/// The start itself repairs what a death left, and may be killed while it does.
TEST_F(StoreCrash, DuringTheRepairOfACrashIsJustAnotherCrash) {
    const std::vector<Seen> states = this->states();
    bool isOver = false;
    std::size_t repairs = 0;
    for (int store = 0; !isOver; ++store) {
        for (int repairStore = 0;; ++repairStore) {
            createTables();
            const std::size_t done = stepsBeforeDeath(store, isOver);
            const int status = statusOfChild([&] {
                int left = repairStore;
                const auto options = dyingOptions(left);
                const Manager::Ptr interrupted = new Manager(place_->open(), options);
                return 0;
            });
            SCOPED_TRACE("store " + std::to_string(store) + ", then " +
                         std::to_string(repairStore));
            const Manager::Ptr next = new Manager(place_->open(), shared_keys::options());
            expectEither(*next, states[done], states[std::min(done + 1, steps().size())]);
            if (status == 0) {
                break;
            }
            ++repairs;
        }
    }
    EXPECT_GT(repairs, 50u);
}

} // namespace
