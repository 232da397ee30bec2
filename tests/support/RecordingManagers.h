#pragma once

#include <exception>
#include <map>
#include <utility>
#include <variant>
#include <vector>

#include "platform/MbbGlimtKey/GlimtKeyManager.h"
#include "platform/RuxTableStatusManager/StatusManager.h"
#include "tests/support/Journal.h"

namespace test_support {

/// A match key as the journal shows it: by the name that the test gave the object, otherwise by its
/// fields as VALUE/MASK/PRIORITY; "null" when there is none.
std::string matchText(const Journal& journal, const RuxTable::MatchSpecBase::PtrConst& match);

/**
 * A shared table that yields records in the order in which they were written down, and between them
 * whatever exceptions the test wants the walk to meet. Reported corruptions go into the journal as
 * "NAME.doCorruptionDetected(MESSAGE)".
 */
template <class RecordType>
class RecordingTable : public Glimt::SharedTable<RecordType> {
  public:
    using Record = RecordType;

    RecordingTable(Journal& journal, std::string name)
        : journal_(journal), name_(std::move(name)) {}

    void recordIs(const Record& record) { items_.push_back(record); }
    /// Reading on from the records so far throws this.
    template <class Exception>
    void exceptionIs(const Exception& exception) {
        items_.push_back(std::make_exception_ptr(exception));
    }
    void corruptionIs(const char* message) {
        exceptionIs(Pello::CorruptionDetectedException(message));
    }

    bool begin(Glimt::IterHint& hint, Record& record) const override { return read(hint, record); }
    bool advance(Glimt::IterHint& hint, Record& record) const override {
        ++hint.position;
        return read(hint, record);
    }
    void doCorruptionDetected(const Kel::String& message) override {
        journal_.add(name_ + ".doCorruptionDetected(" + message.charPtr() + ")");
    }

  private:
    bool read(const Glimt::IterHint& hint, Record& record) const {
        if (hint.position >= items_.size()) {
            return false;
        }
        const auto& item = items_[hint.position];
        if (const auto* exception = std::get_if<std::exception_ptr>(&item)) {
            std::rethrow_exception(*exception);
        }
        record = std::get<Record>(item);
        return true;
    }

    Journal& journal_;
    std::string name_;
    std::vector<std::variant<Record, std::exception_ptr>> items_;
};

/// A key manager that writes every call into a journal. It hands out 1, 2, 3 and so on.
class RecordingKeyManager : public Kel::Object<RecordingKeyManager, MbbGlimtKey::GlimtKeyManager> {
    Journal& journal_; // before the tables, which write into it

  public:
    explicit RecordingKeyManager(Journal& journal) : journal_(journal) {}

    Glimt::EntryKey alloc(const RuxTable::MatchSpecBase::PtrConst& match, bool temporary) override;
    Glimt::EntryKey allocAnon(Kel::U32 id) override;
    Kel::U32 anonId(Glimt::EntryKey key) const override;
    void populate(Glimt::EntryKey key, const RuxTable::MatchSpecBase::PtrConst& match) override;
    void latestKeyIs(Glimt::EntryKey key) override;
    EntryTable* mbbGlimtTableConfig() override { return hasEntries ? &entries : nullptr; }
    MemberTable* adtGlimtTableConfig() override { return hasMembers ? &members : nullptr; }
    GroupTable* selGrpGlimtTableConfig() override { return hasGroups ? &groups : nullptr; }

    /// The number that `anonId` gives for this key; 0 unless set here or given by `allocAnon`.
    void anonIdIs(Glimt::EntryKey key, Kel::U32 id) { anonIds_.insert_or_assign(key, id); }
    /// The matches that were populated, in order.
    const std::vector<RuxTable::MatchSpecBase::PtrConst>& populated() const { return populated_; }

    RecordingTable<Glimt::MbbVantof::EntryConfig> entries{journal_, "mbbGlimtTableConfig"};
    RecordingTable<RuxMbbShared::AdtEntryConfig> members{journal_, "adtGlimtTableConfig"};
    RecordingTable<RuxMbbShared::SelGrpEntryConfig> groups{journal_, "selGrpGlimtTableConfig"};
    /// Without it, the table of that kind is null.
    bool hasEntries = true, hasMembers = true, hasGroups = true;

    static const Kel::Type fwkType_;

  private:
    Glimt::EntryKey latestKey_ = 0;
    std::map<Glimt::EntryKey, Kel::U32> anonIds_;
    std::vector<RuxTable::MatchSpecBase::PtrConst> populated_;
};

/// A status manager that writes every call into a journal.
class RecordingStatusManager
    : public Kel::Object<RecordingStatusManager, RuxTableStatusManager::StatusManager> {
  public:
    explicit RecordingStatusManager(Journal& journal) : journal_(journal) {}

    void initStatus(const RuxTable::MatchSpecBase::PtrConst& match) override;
    void initAdtStatus(RuxTable::RuxMemberId memberId) override;
    void initSelGroupStatus(RuxTable::RuxGroupId groupId) override;
    void resyncStatus() override;
    void resyncSelAdtStatus() override;

    static const Kel::Type fwkType_;

  private:
    Journal& journal_;
};

} // namespace test_support
