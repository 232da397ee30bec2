// The sessions that are open on the PD API.
#pragma once

#include "pd/p4_pd_velmor_switch.h"

#include <array>
#include <cstdint>

namespace pd {

/// Session 0 is always open; beside it 63 sessions can be. Numbers rise, so that the number of a
/// closed session stays unknown, and does not soon become another client's.
class Sessions {
  public:
    static constexpr std::uint32_t kCapacity = 64;

    Sessions() noexcept {
        slots_.fill(kClosed);
        slots_[0] = 0;
    }

    [[nodiscard]] bool isOpen(p4_pd_sess_hdl_t session) const noexcept {
        return session != kClosed && slots_[session % kCapacity] == session;
    }

    [[nodiscard]] pipe_status open(p4_pd_sess_hdl_t* session) noexcept {
        // Twice round: the numbers leave out a slot where they wrap.
        for (std::uint32_t tries = 0; tries < 2 * kCapacity; ++tries) {
            const p4_pd_sess_hdl_t candidate = next_;
            next_ = candidate + 1 == kClosed ? 1 : candidate + 1;
            auto& slot = slots_[candidate % kCapacity];
            if (slot != kClosed) {
                continue;
            }
            slot = candidate;
            *session = candidate;
            return P4_PD_STATUS_SUCCESS;
        }
        return P4_PD_STATUS_MAX_SESSIONS;
    }

    /// REQUIRES: isOpen(session).
    [[nodiscard]] pipe_status close(p4_pd_sess_hdl_t session) noexcept {
        if (session == 0) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        slots_[session % kCapacity] = kClosed;
        return P4_PD_STATUS_SUCCESS;
    }

  private:
    static constexpr p4_pd_sess_hdl_t kClosed = UINT32_MAX;

    std::array<p4_pd_sess_hdl_t, kCapacity> slots_; // session n lives in slot n mod kCapacity
    p4_pd_sess_hdl_t next_ = 1;
};

} // namespace pd
