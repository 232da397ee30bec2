#pragma once

#include <functional>
#include <string>

#include "agent/terms/ChipState.h"
#include "driver-status/PdCall.h"
#include "platform/BfPdLagGroup/PdOperations.h"

namespace LagAgent {

class Driver;

/**
 * Writes to the chip by handle, in the driver's sessions but past its model, and keeps a read-back
 * of the chip up to date with what it wrote.
 *
 * Without a driver it forecasts: it changes the read-back alone, and gives out handles that no chip
 * does. So a forecast and what is then done cannot differ but by what the chip refuses. A refused
 * PD call throws as the driver's do; the read-back is then as before the call.
 */
class ChipWriter {
  public:
    /// Names what is written to: "group 10: member 3", "chip group 42".
    using Object = const std::string&;
    /// Told of each write that was made: the PD function, what it was done to, and for what.
    using Follower = std::function<void(const char* operation, Object object, std::size_t finding)>;

    /// REQUIRES: `chip` is what the driver's chip holds; both outlive this object.
    ChipWriter(const Driver* driver, ChipState& chip, Follower follower)
        : driver_(driver), chip_(chip), follower_(std::move(follower)) {}

    const ChipState& chip() const noexcept { return chip_; }
    /// What the writes from here on are for, as the follower is told.
    void findingIs(std::size_t finding) noexcept { finding_ = finding; }

    ChipHandle memberAdd(const ChipMember& member, Object object);
    void memberSet(ChipHandle handle, const ChipMember& member, Object object);
    void memberDel(ChipHandle handle, Object object);

    ChipHandle groupAdd(std::uint16_t size, Object object);
    void groupDel(ChipHandle group, Object object);
    /// The member is active then.
    void memberJoin(ChipHandle group, ChipHandle member, Object object);
    void memberLeave(ChipHandle group, ChipHandle member, Object object);
    void activeIs(ChipHandle group, ChipHandle member, bool active, Object object);

    /// A new entry, or the default entry, which may be there; its handle.
    ChipHandle entryAdd(const EntryName& name, const ChipTarget& target, Object object);
    /// An entry that is there and has a key points elsewhere.
    void entrySet(ChipHandle handle, const ChipTarget& target, Object object);
    void entryDel(ChipHandle handle, Object object);

  private:
    using Pd = BfPdLagGroup::PdOperations;

    template <class Operation, class... Arguments>
    void write(Operation Pd::*operation, Object object, Arguments... arguments);
    template <class Use>
    static void withActionSpec(const ChipMember& member, Use&& use);
    ChipHandle given(ChipHandle handle) noexcept;

    std::uint32_t tableSession() const;
    std::uint32_t profileSession() const;
    int device() const;
    p4_pd_dev_target_t target() const;

    const Driver* driver_;
    ChipState& chip_;
    Follower follower_;
    std::size_t finding_ = 0;
    ChipHandle foretold_ = UINT32_MAX; // the next handle of a forecast
};

} // namespace LagAgent
