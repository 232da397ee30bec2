// Random calls against a model that is as plain as can be: everything in vectors, found by looking
// at each. Status, outputs, and what the data path does with packets must agree after every call.

#include "tests/asic/AsicTest.h"
#include "tests/asic/ChipFiles.h"
#include "tests/pd-conformance/Snapshot.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace asic_test {
namespace {

constexpr std::uint32_t kEntryCapacity = 12;
constexpr std::uint32_t kMemberCapacity = 10;
constexpr std::uint32_t kGroupCapacity = 4;
constexpr std::uint16_t kGroupSizeLimit = 3;

class Model {
  public:
    struct Member {
        std::uint32_t handle;
        std::uint16_t port;
    };
    struct Membership {
        std::uint32_t member;
        bool active;
    };
    struct Group {
        std::uint32_t handle;
        std::uint16_t size;
        std::vector<Membership> members;
    };
    struct Entry {
        std::uint32_t handle;
        std::uint32_t value, mask, priority;
        std::uint32_t target;
    };

    Entry* bestMatch(std::uint32_t metadata) {
        Entry* best = nullptr;
        for (Entry& entry : entries)
            if ((metadata & entry.mask) == (entry.value & entry.mask) &&
                (!best || entry.priority > best->priority)) // entries stand in rising handle order
                best = &entry;
        return best ? best : byDefault.empty() ? nullptr : &byDefault.front();
    }
    bool isDuplicate(const Entry& key) const {
        return std::any_of(entries.begin(), entries.end(), [&](const Entry& entry) {
            return entry.mask == key.mask && entry.priority == key.priority &&
                   (entry.value & entry.mask) == (key.value & key.mask);
        });
    }
    bool isTarget(std::uint32_t handle) const {
        const auto refers = [handle](const Entry& entry) { return entry.target == handle; };
        return std::any_of(entries.begin(), entries.end(), refers) ||
               std::any_of(byDefault.begin(), byDefault.end(), refers);
    }
    bool isGrouped(std::uint32_t member) const {
        return std::any_of(groups.begin(), groups.end(), [member](const Group& group) {
            return std::any_of(group.members.begin(), group.members.end(),
                               [member](const Membership& m) { return m.member == member; });
        });
    }
    template <class Items>
    static auto find(Items& items, std::uint32_t handle) {
        return std::find_if(items.begin(), items.end(),
                            [handle](const auto& item) { return item.handle == handle; });
    }
    static auto findMembership(Group& group, std::uint32_t member) {
        return std::find_if(group.members.begin(), group.members.end(),
                            [member](const Membership& m) { return m.member == member; });
    }

    std::vector<Member> members;
    std::vector<Group> groups;
    std::vector<Entry> entries;
    std::vector<Entry> byDefault; // at most one
    std::uint32_t next = 1;
};

class ModelTest : public AsicTest {
  protected:
    void SetUp() override {
        AsicTest::SetUp();
        makeChip(smallConfig());
    }
    virtual void makeChip(const velmor_asic_chip_config_t& config) { replaceChip(config); }
    /// What is done now and then beside the calls.
    virtual void pause() {}

    static velmor_asic_chip_config_t smallConfig() {
        velmor_asic_chip_config_t config = defaultConfig();
        config.entry_capacity = kEntryCapacity;
        config.member_capacity = kMemberCapacity;
        config.group_capacity = kGroupCapacity;
        config.group_size_limit = kGroupSizeLimit;
        return config;
    }

    std::uint32_t below(std::uint32_t bound) {
        return static_cast<std::uint32_t>(random_() % bound);
    }

    // A handle of the collection, now and then one that is of something else or of nothing.
    template <class Items>
    std::uint32_t pick(const Items& items) {
        if (items.empty() || below(10) == 0)
            return below(model_.next + 2);
        return items[below(static_cast<std::uint32_t>(items.size()))].handle;
    }

    // Records a creation: the call must give the status, and the next handle if it succeeds.
    void expectCreated(pipe_status expected, pipe_status status, std::uint32_t handle) {
        ASSERT_EQ(expected, status);
        ASSERT_EQ(status == 0 ? model_.next++ : kUntouched, handle);
    }

    void addMember() {
        const auto port = static_cast<std::uint16_t>(below(0x10000));
        std::uint32_t handle = kUntouched;
        const pipe_status status = tryMember(&handle, port);
        const bool full = model_.members.size() == kMemberCapacity;
        expectCreated(full ? P4_PD_STATUS_NO_SPACE : P4_PD_STATUS_SUCCESS, status, handle);
        if (status == 0)
            model_.members.push_back({handle, port});
    }

    void modifyMember() {
        const std::uint32_t handle = pick(model_.members);
        p4_pd_velmor_switch_setLagPort_action_spec_t spec{static_cast<std::uint16_t>(below(9))};
        const auto it = Model::find(model_.members, handle);
        const bool known = it != model_.members.end();
        ASSERT_EQ(known ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_OBJ_NOT_FOUND,
                  p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
                      kSession, kDevice, handle, &spec));
        if (known)
            it->port = spec.action_egrL2AintfPort;
    }

    void deleteMember() {
        const std::uint32_t handle = pick(model_.members);
        const auto it = Model::find(model_.members, handle);
        const bool known = it != model_.members.end();
        const bool used = model_.isTarget(handle) || model_.isGrouped(handle);
        ASSERT_EQ(!known ? P4_PD_STATUS_OBJ_NOT_FOUND
                  : used ? P4_PD_STATUS_IN_USE
                         : P4_PD_STATUS_SUCCESS,
                  delMember(handle));
        if (known && !used)
            model_.members.erase(it);
    }

    void createGroup() {
        const auto size = static_cast<std::uint16_t>(below(kGroupSizeLimit + 2));
        std::uint32_t handle = kUntouched;
        const pipe_status status = tryGroup(&handle, size);
        const bool full = model_.groups.size() == kGroupCapacity;
        expectCreated(size == 0 || size > kGroupSizeLimit ? P4_PD_STATUS_INVALID_ARG
                      : full                              ? P4_PD_STATUS_NO_SPACE
                                                          : P4_PD_STATUS_SUCCESS,
                      status, handle);
        if (status == 0)
            model_.groups.push_back({handle, size, {}});
    }

    void deleteGroup() {
        const std::uint32_t handle = pick(model_.groups);
        const auto it = Model::find(model_.groups, handle);
        const bool known = it != model_.groups.end();
        const bool used = model_.isTarget(handle);
        ASSERT_EQ(!known ? P4_PD_STATUS_OBJ_NOT_FOUND
                  : used ? P4_PD_STATUS_IN_USE
                         : P4_PD_STATUS_SUCCESS,
                  delGroup(handle));
        if (known && !used)
            model_.groups.erase(it);
    }

    void addToGroup() {
        const std::uint32_t groupHandle = pick(model_.groups);
        const std::uint32_t memberHandle = pick(model_.members);
        const auto it = Model::find(model_.groups, groupHandle);
        pipe_status expected = P4_PD_STATUS_SUCCESS;
        if (it == model_.groups.end() ||
            Model::find(model_.members, memberHandle) == model_.members.end())
            expected = P4_PD_STATUS_OBJ_NOT_FOUND;
        else if (Model::findMembership(*it, memberHandle) != it->members.end())
            expected = P4_PD_STATUS_ALREADY_EXISTS;
        else if (it->members.size() == it->size)
            expected = P4_PD_STATUS_NO_SPACE;
        ASSERT_EQ(expected, join(groupHandle, memberHandle));
        if (expected == P4_PD_STATUS_SUCCESS)
            it->members.push_back({memberHandle, true});
    }

    void changeMembership(bool remove) {
        const std::uint32_t groupHandle = pick(model_.groups);
        const std::uint32_t memberHandle = pick(model_.members);
        const std::uint32_t state = below(2);
        const auto it = Model::find(model_.groups, groupHandle);
        const bool known = it != model_.groups.end() &&
                           Model::findMembership(*it, memberHandle) != it->members.end();
        ASSERT_EQ(known ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_OBJ_NOT_FOUND,
                  remove ? leave(groupHandle, memberHandle)
                         : setState(groupHandle, memberHandle, state));
        if (!known)
            return;
        const auto membership = Model::findMembership(*it, memberHandle);
        if (remove)
            it->members.erase(membership);
        else
            membership->active = state == P4_PD_MEMBER_ACTIVE;
    }

    // Few values, masks and priorities, so that keys overlap, tie and repeat.
    void addEntry() {
        static const std::uint32_t masks[] = {0, 0x3, 0x7, 0xC, 0xF, 0xFFFFFFFF};
        Model::Entry entry{0, below(16), masks[below(6)], below(3), 0};
        const bool toGroup = below(2) == 0;
        entry.target = toGroup ? pick(model_.groups) : pick(model_.members);
        const Key key{entry.value, entry.mask, entry.priority};
        entry.handle = kUntouched;
        const pipe_status status = toGroup ? tryEntryWithGroup(&entry.handle, key, entry.target)
                                           : tryEntry(&entry.handle, key, entry.target);
        pipe_status expected = P4_PD_STATUS_SUCCESS;
        if (!isKnownTarget(toGroup, entry.target))
            expected = P4_PD_STATUS_OBJ_NOT_FOUND;
        else if (model_.isDuplicate(entry))
            expected = P4_PD_STATUS_ALREADY_EXISTS;
        else if (model_.entries.size() == kEntryCapacity)
            expected = P4_PD_STATUS_NO_SPACE;
        expectCreated(expected, status, entry.handle);
        if (status == 0)
            model_.entries.push_back(entry);
    }

    void repointEntry() {
        const bool isDefault = !model_.byDefault.empty() && below(4) == 0;
        const std::uint32_t handle = isDefault ? model_.byDefault[0].handle : pick(model_.entries);
        const bool toGroup = below(2) == 0;
        const std::uint32_t target = toGroup ? pick(model_.groups) : pick(model_.members);
        Model::Entry* entry = nullptr;
        for (auto* entries : {&model_.entries, &model_.byDefault})
            if (const auto it = Model::find(*entries, handle); it != entries->end())
                entry = &*it;
        const bool good = entry && isKnownTarget(toGroup, target);
        ASSERT_EQ(
            good ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_OBJ_NOT_FOUND,
            toGroup ? p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(kSession, kDevice,
                                                                              handle, target)
                    : p4_pd_velmor_switch_lagGroup_modify_entry(kSession, kDevice, handle, target));
        if (good)
            entry->target = target;
    }

    void deleteEntry() {
        const std::uint32_t handle = pick(model_.entries);
        const auto it = Model::find(model_.entries, handle);
        const bool known = it != model_.entries.end();
        const bool isDefault = Model::find(model_.byDefault, handle) != model_.byDefault.end();
        ASSERT_EQ(known       ? P4_PD_STATUS_SUCCESS
                  : isDefault ? P4_PD_STATUS_INVALID_ARG
                              : P4_PD_STATUS_OBJ_NOT_FOUND,
                  delEntry(handle));
        if (known)
            model_.entries.erase(it);
    }

    void setOrResetDefault() {
        if (below(2) == 0) {
            ASSERT_EQ(0u, resetDefault());
            model_.byDefault.clear();
            return;
        }
        const std::uint32_t target = pick(model_.members);
        std::uint32_t handle = kUntouched;
        const pipe_status status = tryDefault(&handle, target);
        const bool known = isKnownTarget(false, target);
        if (!known || model_.byDefault.empty()) {
            expectCreated(known ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_OBJ_NOT_FOUND, status,
                          handle);
            if (known)
                model_.byDefault.push_back({handle, 0, 0, 0, target});
            return;
        }
        ASSERT_EQ(0u, status);
        ASSERT_EQ(model_.byDefault[0].handle, handle);
        model_.byDefault[0].target = target;
    }

    bool isKnownTarget(bool isGroup, std::uint32_t handle) {
        return isGroup ? Model::find(model_.groups, handle) != model_.groups.end()
                       : Model::find(model_.members, handle) != model_.members.end();
    }

    void expectSameFate(std::uint32_t metadata) {
        const velmor_asic_result_t result = forward(metadata, random_());
        const Model::Entry* const entry = model_.bestMatch(metadata);
        ASSERT_EQ(entry ? entry->handle : 0, result.entry_hdl);
        if (!entry) {
            ASSERT_EQ(std::uint32_t{VELMOR_ASIC_MISS}, result.outcome);
            return;
        }
        const auto group = Model::find(model_.groups, entry->target);
        const bool isGroup = group != model_.groups.end();
        ASSERT_EQ(isGroup ? entry->target : 0, result.grp_hdl);
        const auto active = [](const Model::Membership& membership) { return membership.active; };
        if (isGroup && std::none_of(group->members.begin(), group->members.end(), active)) {
            ASSERT_EQ(std::uint32_t{VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER}, result.outcome);
            return;
        }
        ASSERT_EQ(std::uint32_t{VELMOR_ASIC_FORWARDED}, result.outcome);
        if (isGroup) {
            const auto membership = Model::findMembership(*group, result.mbr_hdl);
            ASSERT_TRUE(membership != group->members.end() && membership->active);
        } else {
            ASSERT_EQ(entry->target, result.mbr_hdl);
        }
        ASSERT_EQ(Model::find(model_.members, result.mbr_hdl)->port, result.port);
    }

    void step() {
        switch (below(13)) {
        case 0:
        case 1:
            return addMember();
        case 2:
            return modifyMember();
        case 3:
            return deleteMember();
        case 4:
            return createGroup();
        case 5:
            return deleteGroup();
        case 6:
            return addToGroup();
        case 7:
            return changeMembership(true);
        case 8:
            return changeMembership(false);
        case 9:
            return addEntry();
        case 10:
            return repointEntry();
        case 11:
            return deleteEntry();
        default:
            return setOrResetDefault();
        }
    }

    void runRandomCalls() {
        const char* const given = std::getenv("ASIC_MODEL_SEED");
        const auto seed = given ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10))
                                : static_cast<std::uint32_t>(std::random_device{}());
        random_.seed(seed);
        RecordProperty("seed", std::to_string(seed));
        std::cout << "seed " << seed << " (repeat with ASIC_MODEL_SEED=" << seed << ")\n";
        for (int i = 0; i < 50'000; ++i) {
            ASSERT_NO_FATAL_FAILURE(step()) << "step " << i << ", seed " << seed;
            ASSERT_NO_FATAL_FAILURE(expectSameFate(below(20))) << "step " << i << ", seed " << seed;
            const p4_pd_velmor_switch_usage_t counters = usage();
            ASSERT_EQ(model_.entries.size(), counters.entries) << "seed " << seed;
            ASSERT_EQ(model_.members.size(), counters.members) << "seed " << seed;
            ASSERT_EQ(model_.groups.size(), counters.groups) << "seed " << seed;
            if (below(200) == 0) {
                ASSERT_NO_FATAL_FAILURE(pause()) << "step " << i << ", seed " << seed;
            }
        }
    }

    std::mt19937 random_;
    Model model_;
};

/// The same on a chip in a file, which is left and found again now and then.
class AttachedModelTest : public ModelTest {
  protected:
    void makeChip(const velmor_asic_chip_config_t& config) override {
        ASSERT_EQ(0u, velmor_asic_chip_attach(kDevice, directory_.file().c_str(), &config));
    }
    void pause() override {
        const std::string before = snapshot();
        velmor_asic_reset();
        ASSERT_NO_FATAL_FAILURE(makeChip(smallConfig()));
        ASSERT_EQ(before, snapshot());
    }

    Directory directory_;
};

TEST_F(ModelTest, RandomCallsBehaveLikeThePlainModel) {
    runRandomCalls();
}

TEST_F(AttachedModelTest, RandomCallsBehaveLikeThePlainModelInAFile) {
    runRandomCalls();
}

} // namespace
} // namespace asic_test
