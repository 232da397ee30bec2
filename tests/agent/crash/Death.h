#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace LagAgent::Crash {

/// When an agent's process dies by SIGKILL.
struct Death {
    enum class Way : std::uint8_t {
        none,
        asicStep,   ///< at a step of the ASIC: a PD call begins, stores, ends
        tableStore, ///< before a store to a table of records
        systemCall, ///< where a system call begins or has just ended
        atTime      ///< whenever a time has passed
    };
    enum class From : std::uint8_t {
        start,  ///< counted from the beginning of the agent's start
        command ///< counted from where it has carried out `after` commands, to the end of the next
    };

    Way way = Way::none;
    From from = From::command;
    std::size_t after = 0;
    /// Counts from 1.
    std::uint64_t at = 0;
    std::chrono::microseconds time{};

    /// "ASIC step 12 of the start", "table store 3 after 7 commands".
    std::string name() const;
};

/**
 * In the process that is to die: counts its steps and ends it at the one. One for the process, made
 * before the agent.
 */
class Reaper {
  public:
    explicit Reaper(const Death& death) : death_(death) {}

    /// The agent is about to start. Where counting begins, a process that dies at a system call
    /// stops, for its parent to trace it.
    void starts() { begin(Death::From::start, 0); }
    /// The agent has carried out so many commands; the process ends when the one is among them in
    /// which it was to die, and did not.
    void hasDone(std::size_t commands);
    /// Told of every store to a table.
    void tableStore() noexcept { step(Death::Way::tableStore); }

  private:
    void begin(Death::From from, std::size_t done);
    void step(Death::Way way) noexcept;

    Death death_;
    bool isCounting_ = false;
    std::uint64_t count_ = 0;
};

} // namespace LagAgent::Crash
