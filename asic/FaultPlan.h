// Failures of PD calls that were asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "asic/SoftwareAsic.h"
#include "asic/Types.h"

namespace asic {

class FaultPlan {
  public:
    struct Fault {
        std::size_t operation;   // index of the operation
        std::uint32_t callsToGo; // until the first failure; 1 is the next call
        Status status;
        std::uint32_t mode; // VELMOR_ASIC_FAULT_*
    };

    [[nodiscard]] bool armed() const noexcept { return !faults_.empty(); }
    [[nodiscard]] std::size_t count() const noexcept { return faults_.size(); }

    void add(const Fault& fault) { faults_.push_back(fault); }
    void clear() noexcept { faults_.clear(); }

    /// Counts a call of the operation; the status that it must return, or success if it may run.
    [[nodiscard]] Status strike(std::size_t operation) noexcept {
        Status status = P4_PD_STATUS_SUCCESS;
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
    std::vector<Fault> faults_; // in the order of planning
};

} // namespace asic
