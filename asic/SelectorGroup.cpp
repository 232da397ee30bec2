#include "asic/SelectorGroup.h"

#include <algorithm>

#include "asic/Mix.h"

namespace asic {

std::vector<SelectorGroup::Membership>::iterator SelectorGroup::place(Handle member) noexcept {
    return std::lower_bound(
        memberships_.begin(), memberships_.end(), member,
        [](const Membership& membership, Handle handle) { return membership.member < handle; });
}

const SelectorGroup::Membership* SelectorGroup::find(Handle member) const noexcept {
    const auto it = const_cast<SelectorGroup*>(this)->place(member);
    return it != memberships_.end() && it->member == member ? &*it : nullptr;
}

Handle SelectorGroup::next(Handle member) const noexcept {
    const auto it = std::upper_bound(
        memberships_.begin(), memberships_.end(), member,
        [](Handle handle, const Membership& membership) { return handle < membership.member; });
    return it == memberships_.end() ? kNoHandle : it->member;
}

void SelectorGroup::add(Handle member) {
    memberships_.insert(place(member), Membership{member, true});
    try {
        candidates_.reserve(memberships_.capacity());
    } catch (...) {
        memberships_.erase(place(member));
        throw;
    }
    candidateIs(member);
}

void SelectorGroup::remove(Handle member) noexcept {
    const auto it = place(member);
    if (it->active) {
        candidateDel(member);
    }
    memberships_.erase(it);
}

void SelectorGroup::activeIs(Handle member, bool active) noexcept {
    const auto it = place(member);
    if (it->active == active) {
        return;
    }
    it->active = active;
    if (active) {
        candidateIs(member);
    } else {
        candidateDel(member);
    }
}

Handle SelectorGroup::select(std::uint32_t flowHash) const noexcept {
    Handle best = kNoHandle;
    std::uint64_t bestScore = 0;
    for (const Candidate& candidate : candidates_) {
        // No tie can arise: mix is a bijection, and so is the way from handle to seed. Which
        // candidate wins is as good as random, so it is chosen without a branch to mispredict.
        const std::uint64_t score = mix(candidate.seed ^ flowHash);
        const bool isBetter = score >= bestScore;
        best = isBetter ? candidate.member : best;
        bestScore = isBetter ? score : bestScore;
    }
    return best;
}

void SelectorGroup::candidateIs(Handle member) noexcept {
    candidates_.push_back(Candidate{mix(member), member});
}

void SelectorGroup::candidateDel(Handle member) noexcept {
    const auto it =
        std::find_if(candidates_.begin(), candidates_.end(),
                     [member](const Candidate& candidate) { return candidate.member == member; });
    *it = candidates_.back();
    candidates_.pop_back();
}

} // namespace asic
