// Failures of PD calls that were asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "pd/Operations.h"
#include "pd/PdTools.h"

namespace pd {

class FaultPlan {
  public:
    [[nodiscard]] bool armed() const noexcept { return !faults_.empty(); }
    [[nodiscard]] std::size_t count() const noexcept { return faults_.size(); }

    /// velmor_asic_fault_plan. On bad_alloc nothing has changed.
    [[nodiscard]] pipe_status plan(const char* operation, std::uint32_t nth, pipe_status status,
                                   std::uint32_t mode) {
        const bool isMode = mode == VELMOR_ASIC_FAULT_ONCE || mode == VELMOR_ASIC_FAULT_ALWAYS;
        if (!operation || nth == 0 || status == P4_PD_STATUS_SUCCESS || !isMode) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        const std::size_t index = findOperation(operation);
        if (index == kOperations.size()) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        faults_.push_back({index, nth, status, mode});
        return P4_PD_STATUS_SUCCESS;
    }
    void clear() noexcept { faults_.clear(); }

    /// Counts a call of the operation; the status that it must return, or success if it may run.
    [[nodiscard]] pipe_status strike(std::size_t operation) noexcept {
        pipe_status status = P4_PD_STATUS_SUCCESS;
        for (auto fault = faults_.begin(); fault != faults_.end();) {
            const bool due = fault->operation == operation && --fault->callsToGo == 0;
            if (due && status == P4_PD_STATUS_SUCCESS) {
                status = fault->status;
            }
            if (due && fault->mode == VELMOR_ASIC_FAULT_ONCE) {
                fault = faults_.erase(fault);
                continue;
            }
            if (due) {
                fault->callsToGo = 1;
            }
            ++fault;
        }
        return status;
    }

  private:
    struct Fault {
        std::size_t operation;   // index of the operation
        std::uint32_t callsToGo; // until the first failure; 1 is the next call
        pipe_status status;
        std::uint32_t mode; // VELMOR_ASIC_FAULT_*
    };

    std::vector<Fault> faults_; // in the order of planning
};

} // namespace pd
