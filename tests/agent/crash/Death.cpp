#include "tests/agent/crash/Death.h"

#include <array>
#include <csignal>
#include <sys/ptrace.h>
#include <unistd.h>

#include "tests/agent/crash/AsicLibrary.h"

namespace LagAgent::Crash {

namespace {

constexpr int kSurvived = 3;

} // namespace

std::string Death::name() const {
    constexpr std::array kWays{"no death", "ASIC step", "table store", "system call stop", "time"};
    const std::string where =
        from == From::start ? " of the start" : " after " + std::to_string(after) + " commands";
    if (way == Way::none) {
        return kWays[0];
    }
    return kWays.at(static_cast<std::size_t>(way)) +
           (way == Way::atTime ? " " + std::to_string(time.count()) + " us"
                               : " " + std::to_string(at)) +
           where;
}

void Reaper::hasDone(std::size_t commands) {
    if (isCounting_ && death_.from == Death::From::command) {
        ::_exit(kSurvived);
    }
    begin(Death::From::command, commands);
}

void Reaper::begin(Death::From from, std::size_t done) {
    if (death_.way == Death::Way::none || death_.way == Death::Way::atTime || from != death_.from ||
        done != death_.after) {
        return;
    }
    isCounting_ = true;
    if (death_.way == Death::Way::asicStep) {
        const auto hook = [](std::uint32_t, const char*, void* context) {
            static_cast<Reaper*>(context)->step(Death::Way::asicStep);
        };
        asicFunction<decltype(::velmor_asic_step_hook)>("velmor_asic_step_hook")(hook, this);
    } else if (death_.way == Death::Way::systemCall) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
    }
}

void Reaper::step(Death::Way way) noexcept {
    if (isCounting_ && way == death_.way && ++count_ == death_.at) {
        ::raise(SIGKILL);
    }
}

} // namespace LagAgent::Crash
