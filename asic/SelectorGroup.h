// The memberships of one selector group, and the selection among its active members.
//
// Rendezvous hashing: each active member scores the flow by a hash of (flow, member handle), and
// the highest score wins. A member's score depends on nothing but the flow and itself, so taking a
// member away moves only the flows that it had won, and bringing it back returns just these. The
// cost is one multiply-and-shift hash for each active member over a dense array.
#pragma once

#include <cstdint>
#include <vector>

#include "asic/Types.h"

namespace asic {

class SelectorGroup {
  public:
    explicit SelectorGroup(std::uint16_t maxSize) noexcept : maxSize_(maxSize) {}

    struct Membership {
        Handle member;
        bool active;
    };

    [[nodiscard]] std::uint16_t maxSize() const noexcept { return maxSize_; }
    [[nodiscard]] bool full() const noexcept { return memberships_.size() >= maxSize_; }

    /// In rising order of the member handles.
    [[nodiscard]] const std::vector<Membership>& memberships() const noexcept {
        return memberships_;
    }

    /// The membership, or null.
    [[nodiscard]] const Membership* find(Handle member) const noexcept;

    /// The lowest member handle above `member`, or kNoHandle.
    [[nodiscard]] Handle next(Handle member) const noexcept;

    /// A new membership is active. REQUIRES: !full() and no such membership. On bad_alloc nothing
    /// has changed.
    void add(Handle member);

    /// REQUIRES: find(member).
    void remove(Handle member) noexcept;

    /// REQUIRES: find(member).
    void activeIs(Handle member, bool active) noexcept;

    /// The active member that the flow selects, or kNoHandle if no member is active.
    [[nodiscard]] Handle select(std::uint32_t flowHash) const noexcept;

  private:
    struct Candidate {
        std::uint64_t seed; // hash of the member's handle
        Handle member;
    };

    std::vector<Membership>::iterator place(Handle member) noexcept;
    void candidateIs(Handle member) noexcept;
    void candidateDel(Handle member) noexcept;

    std::vector<Membership> memberships_;
    // The active ones of memberships_, in any order; has room for all of them, so that a change of
    // state never allocates.
    std::vector<Candidate> candidates_;
    std::uint16_t maxSize_;
};

} // namespace asic
