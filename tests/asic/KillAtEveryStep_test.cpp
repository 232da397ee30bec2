// A process that drives the chip dies at each of its steps in turn. What it leaves is the chip
// before or after the call, the log says the same, and the chip works on.

#include "tests/asic/AttachedTest.h"

#include "asic/ChipFileLayout.h"

#include <csignal>
#include <fstream>
#include <functional>
#include <sys/mman.h>

namespace asic_test {
namespace {

using Call = std::function<pipe_status()>;

/// Calls of every operation that changes a chip; all succeed, one after the other, on an empty one.
std::vector<Call> script() {
    using Create = pipe_status (*)(p4_pd_sess_hdl_t, p4_pd_dev_target_t, std::uint32_t*);
    using Modify = pipe_status (*)(p4_pd_sess_hdl_t, int, std::uint32_t);
    static std::uint32_t out;
    static p4_pd_velmor_switch_setLagPort_action_spec_t port{11};
    static p4_pd_velmor_switch_lagGroup_match_spec_t key{0x10, 0xFF};
    std::vector<Call> calls;
    const auto create = [&](Create function) {
        calls.emplace_back([function] { return function(kSession, kAllPipes, &out); });
    };
    const auto modify = [&](Modify function, std::uint32_t handle) {
        calls.emplace_back([=] { return function(kSession, kDevice, handle); });
    };
    const auto add = [&](Call call) { calls.push_back(std::move(call)); };

    // Members 1 to 5.
    create(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment);
    create(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort);
    create(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort);
    create(p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo);
    add([] {
        return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
            kSession, kAllPipes, &port, &out);
    });
    modify(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo, 1);
    modify(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment, 2);
    modify(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort,
           3);
    modify(p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort, 4);
    add([] {
        return p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
            kSession, kDevice, 4, &port);
    });
    // Group 6 of members 4 and 5.
    add([] {
        return p4_pd_velmor_switch_lagPortActionProfile_create_group(kSession, kAllPipes, 3, &out);
    });
    for (const std::uint32_t member : {5u, 4u})
        add([member] {
            return p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(kSession, kDevice,
                                                                                6, member);
        });
    for (const std::uint32_t state : {P4_PD_MEMBER_INACTIVE, P4_PD_MEMBER_ACTIVE})
        add([state] {
            return p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
                kSession, kDevice, 6, 5, state);
        });
    // Entries 7 and 8, default entry 9.
    add([] {
        return p4_pd_velmor_switch_lagGroup_add_entry(kSession, kAllPipes, &key, 1, 1, &out);
    });
    add([] {
        return p4_pd_velmor_switch_lagGroup_add_entry_with_selector(kSession, kAllPipes, &key, 2, 6,
                                                                    &out);
    });
    add([] { return p4_pd_velmor_switch_lagGroup_modify_entry(kSession, kDevice, 8, 2); });
    add([] {
        return p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(kSession, kDevice, 8, 6);
    });
    add([] {
        return p4_pd_velmor_switch_lagGroup_set_default_entry(kSession, kAllPipes, 3, &out);
    });
    add([] {
        return p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector(kSession, kAllPipes, 6,
                                                                            &out);
    });
    // And all away again.
    add([] { return p4_pd_velmor_switch_lagGroup_table_reset_default_entry(kSession, kAllPipes); });
    modify(p4_pd_velmor_switch_lagGroup_table_delete, 7);
    modify(p4_pd_velmor_switch_lagGroup_table_delete, 8);
    add([] {
        return p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(kSession, kDevice, 6,
                                                                              4);
    });
    modify(p4_pd_velmor_switch_lagPortActionProfile_del_group, 6);
    modify(p4_pd_velmor_switch_lagPortActionProfile_del_member, 5);
    add([] {
        return p4_pd_velmor_switch_lagGroup_set_property(
            kSession, kDevice, P4_PD_PROPERTY_ENTRY_SCOPE, P4_PD_SCOPE_SINGLE_PIPELINE);
    });
    return calls;
}

/// Which step it is, and of which call of the script.
struct Step {
    std::uint32_t kind;
    std::size_t call;
};

/// Ends the process at the n-th step from now.
struct Killer {
    int stepsToGo;

    static void hook(std::uint32_t, const char*, void* context) {
        if (--static_cast<Killer*>(context)->stepsToGo == 0)
            ::raise(SIGKILL);
    }
};

class KillAtEveryStepTest : public AttachedTest {
  protected:
    void SetUp() override { AsicTest::SetUp(); }

    /// Makes the file that every round begins with. So many calls are in its log.
    void begin(std::uint64_t calls) {
        path_ = directory_.file("template");
        attach();
        for (std::uint64_t i = 0; i < calls; ++i)
            ASSERT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(kUnknown));
        velmor_asic_reset();
        firstCall_ = calls + 1;
        freshFile();
    }
    void freshFile() {
        velmor_asic_reset();
        path_ = directory_.file("round");
        std::filesystem::copy_file(directory_.file("template"), path_,
                                   std::filesystem::copy_options::overwrite_existing);
    }

    /// Runs the script to its end, and keeps its steps; then what the chip is before each call and
    /// at the end. Reading the chip adds to the log, so it is not done in the same run.
    void rehearse() {
        struct Context {
            std::vector<Step>& steps;
            std::size_t call;
        } context{steps_, 0};
        attach();
        velmor_asic_step_hook(
            [](std::uint32_t step, const char*, void* at) {
                auto& to = *static_cast<Context*>(at);
                to.steps.push_back({step, to.call});
            },
            &context);
        for (; context.call < script_.size(); ++context.call)
            ASSERT_EQ(0u, script_[context.call]()) << "call " << context.call;
        freshFile();
        attach();
        states_.push_back(snapshot());
        for (const Call& call : script_) {
            ASSERT_EQ(0u, call());
            states_.push_back(snapshot());
        }
    }

    /// In a process of its own: the script up to the step at which the process dies.
    int dieAt(int step) {
        if (tryAttach() != 0)
            return 100;
        Killer killer{step};
        velmor_asic_step_hook(Killer::hook, &killer);
        for (const Call& call : script_)
            if (call() != 0)
                return 101;
        return 0;
    }

    void expectTheChipAfterDeathAt(const Step& step) {
        const std::uint64_t made = velmor_asic_log_end() - firstCall_;
        ASSERT_EQ(step.call + (step.kind == VELMOR_ASIC_STEP_CALL_END ? 1 : 0), made);
        ASSERT_EQ(states_[made], snapshot());
        for (std::size_t call = made; call < script_.size(); ++call)
            ASSERT_EQ(0u, script_[call]()) << "call " << call;
        ASSERT_EQ(states_.back(), snapshot());
    }

    void killAtEveryStep(std::size_t stride = 1) {
        rehearse();
        for (std::size_t n = 0; n < steps_.size(); n += stride) {
            freshFile();
            ASSERT_EQ(-SIGKILL, runProcess([&] { return dieAt(static_cast<int>(n) + 1); }));
            attach();
            ASSERT_NO_FATAL_FAILURE(expectTheChipAfterDeathAt(steps_[n])) << "step " << n;
        }
    }

    const std::vector<Call> script_ = script();
    std::vector<std::string> states_; // before each call, and at the end
    std::vector<Step> steps_;
    std::uint64_t firstCall_ = 1;
};

TEST_F(KillAtEveryStepTest, EveryOperationIsMadeOrNot) {
    begin(0);
    killAtEveryStep();
    // Every word of a call's record is a step.
    EXPECT_LT(14 * script_.size(), steps_.size());
}

TEST_F(KillAtEveryStepTest, ACheckpointInTheMiddleOfTheScriptChangesNothing) {
    begin(asic::kRingSize - 1 - 20);
    killAtEveryStep(3);
}

TEST_F(KillAtEveryStepTest, ACheckpointIsMadeOrNotAtEachOfItsSteps) {
    begin(asic::kRingSize - 1 - 20);
    rehearse();
    std::size_t killed = 0;
    for (std::size_t n = 0; n < steps_.size(); ++n) {
        if (steps_[n].call != 20)
            continue;
        freshFile();
        ASSERT_EQ(-SIGKILL, runProcess([&] { return dieAt(static_cast<int>(n) + 1); }));
        attach();
        ASSERT_NO_FATAL_FAILURE(expectTheChipAfterDeathAt(steps_[n])) << "step " << n;
        ++killed;
    }
    // The call's own steps, a chunk, the description of the checkpoint and its number.
    EXPECT_LE(15u + 1u + asic::checkpoint_at::kWords + 1u, killed);
}

TEST_F(KillAtEveryStepTest, APowerCycleHappensOrNot) {
    begin(0);
    attach();
    const std::string empty = snapshot();
    velmor_asic_reset();
    int step = 0;
    for (int end = -SIGKILL; end == -SIGKILL;) {
        freshFile();
        attach();
        member(3);
        const std::string before = snapshot();
        const std::uint64_t generation = boot();
        velmor_asic_reset();
        ++step;
        end = runProcess([&] {
            if (tryAttach() != 0)
                return 100;
            Killer killer{step};
            velmor_asic_step_hook(Killer::hook, &killer);
            return velmor_asic_chip_power_cycle(kDevice) == 0 ? 0 : 101;
        });
        attach();
        EXPECT_EQ(end == 0 ? empty : before, snapshot());
        EXPECT_EQ(end == 0, generation != boot());
        EXPECT_EQ(end == 0 ? 1u : 2u, member(4));
    }
    EXPECT_EQ(static_cast<int>(asic::checkpoint_at::kWords) + 2, step);
}

TEST_F(KillAtEveryStepTest, AFileIsMadeOrNot) {
    int step = 0;
    for (int end = -SIGKILL; end == -SIGKILL;) {
        ++step;
        std::filesystem::remove(path_);
        end = runProcess([&] {
            Killer killer{step};
            velmor_asic_step_hook(Killer::hook, &killer);
            return tryAttach() == 0 ? 0 : 100;
        });
        EXPECT_EQ(end == 0, std::filesystem::exists(path_));
        attach();
        EXPECT_EQ(1u, member(1));
        velmor_asic_reset();
    }
    EXPECT_LT(20, step);
}

/// Flows that one process sends all the time, while others die over the file.
struct Traffic {
    std::uint64_t sent;
    std::uint64_t lost;
    bool stop;
};

TEST_F(KillAtEveryStepTest, FlowsOfAnotherProcessGoOnWhateverDies) {
    begin(0);
    auto* const traffic = static_cast<Traffic*>(::mmap(
        nullptr, sizeof(Traffic), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(MAP_FAILED, static_cast<void*>(traffic));
    attach();
    const std::uint32_t kept = member(9);
    const std::uint32_t other = member(10);
    const std::uint32_t both = group(2);
    ASSERT_EQ(0u, join(both, kept));
    ASSERT_EQ(0u, join(both, other));
    entryWithGroup({0x99}, both);
    velmor_asic_reset();
    const pid_t reader = startProcess([&] {
        if (tryAttach() != 0)
            return 100;
        while (!__atomic_load_n(&traffic->stop, __ATOMIC_ACQUIRE)) {
            velmor_asic_result_t result{};
            const auto flow = static_cast<std::uint32_t>(traffic->sent);
            if (velmor_asic_forward(kDevice, 0, 0x99, flow, &result) != 0 ||
                result.outcome != VELMOR_ASIC_FORWARDED || (result.port != 9 && result.port != 10))
                ++traffic->lost;
            __atomic_fetch_add(&traffic->sent, 1, __ATOMIC_RELEASE);
        }
        return 0;
    });
    struct AtEnd {
        bool& stop;
        ~AtEnd() { __atomic_store_n(&stop, true, __ATOMIC_RELEASE); }
    } const atEnd{traffic->stop}; // also when an assertion fails
    while (__atomic_load_n(&traffic->sent, __ATOMIC_ACQUIRE) == 0)
        ::usleep(100);
    std::uint64_t seen = 0;
    for (int step = 1; step <= 60; ++step) {
        ASSERT_EQ(-SIGKILL, runProcess([&] {
            if (tryAttach() != 0)
                return 100;
            Killer killer{step};
            velmor_asic_step_hook(Killer::hook, &killer);
            for (std::uint32_t state = P4_PD_MEMBER_INACTIVE;; state ^= 1)
                if (setState(both, kept, state) != 0)
                    return 101;
        }));
        // The reader goes on, whether the dead one held the lock or not.
        const std::uint64_t before = __atomic_load_n(&traffic->sent, __ATOMIC_ACQUIRE);
        while (__atomic_load_n(&traffic->sent, __ATOMIC_ACQUIRE) < before + 10)
            ::usleep(100);
        ASSERT_LT(seen, before);
        seen = before;
    }
    __atomic_store_n(&traffic->stop, true, __ATOMIC_RELEASE);
    EXPECT_EQ(0, endOf(reader));
    EXPECT_EQ(0u, traffic->lost);
}

/// Holds the lock in the middle of a call, says so, and dies a while after it may.
int holdAndDie(const std::string& path, int said, int mayDie) {
    if (velmor_asic_chip_attach(kDevice, path.c_str(), nullptr) != 0)
        return 100;
    struct Context {
        int said;
        int mayDie;
    } context{said, mayDie};
    velmor_asic_step_hook(
        [](std::uint32_t step, const char*, void* at) {
            if (step != VELMOR_ASIC_STEP_STORE)
                return;
            const auto* const pipes = static_cast<const Context*>(at);
            OtherProcess::say(pipes->said, "held");
            char word = 0;
            if (::read(pipes->mayDie, &word, 1) == 1)
                ::usleep(300'000); // long enough for the other one to wait for the lock
            ::raise(SIGKILL);
        },
        &context);
    std::uint32_t handle = 0;
    p4_pd_velmor_switch_lagPortActionProfile_create_group(kSession, kAllPipes, 2, &handle);
    return 101;
}

TEST_F(KillAtEveryStepTest, WhoWaitsForTheLockGetsItWhenItsHolderDiesAndReadersNeverWait) {
    begin(0);
    attach();
    const std::uint32_t first = member(7);
    entry({1}, first);
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    int mayDie[2];
    ASSERT_EQ(0, ::pipe(mayDie));
    const pid_t holder = startProcess([&] { return holdAndDie(path_, ends[1], mayDie[0]); });
    std::size_t size = 0;
    char text[4];
    ASSERT_EQ(static_cast<ssize_t>(sizeof size), ::read(ends[0], &size, sizeof size));
    ASSERT_EQ(4, ::read(ends[0], text, sizeof text));
    // The holder has the lock.
    EXPECT_EQ(7, forward(1).port);
    EXPECT_EQ(1u, usage().members);
    EXPECT_EQ(0, ::waitpid(holder, nullptr, WNOHANG));
    ASSERT_EQ(1, ::write(mayDie[1], "", 1));
    EXPECT_EQ(3u, group(2));
    EXPECT_EQ(-SIGKILL, endOf(holder));
    EXPECT_EQ(1u, usage().groups);
    for (const int end : {ends[0], ends[1], mayDie[0], mayDie[1]})
        ::close(end);
}

TEST_F(KillAtEveryStepTest, TheWriterGoesOnWhenAReaderDies) {
    begin(0);
    attach();
    for (int i = 0; i < 5; ++i) {
        const pid_t reader = startProcess([&] {
            if (tryAttach() != 0)
                return 100;
            for (;;)
                static_cast<void>(snapshot());
        });
        for (int calls = 0; calls < 200; ++calls)
            ASSERT_EQ(0u, delMember(member(1)));
        ::kill(reader, SIGKILL);
        EXPECT_EQ(-SIGKILL, endOf(reader));
        ASSERT_EQ(0u, delMember(member(1)));
    }
    EXPECT_EQ(0u, usage().members);
}

} // namespace
} // namespace asic_test
