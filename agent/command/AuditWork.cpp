#include "agent/command/AuditWork.h"

namespace LagAgent {

void AuditWork::readMemories() {
    situation_ = {.records = readRecords(state_.keys()),
                  .isNew = state_.isNew(),
                  .isMendingNoted = state_.isMendingNoted()};
    desired_ = state_.database().copyInMemory();
}

bool AuditWork::goOn(Reply& reply) {
    if (comparison_) {
        show_(std::make_shared<const Audit>(comparison_->result()), reply);
        return true;
    }
    if (moment_.goOn()) {
        situation_.chip = moment_.take();
        comparison_.emplace(std::move(situation_), std::move(*desired_));
    }
    return false;
}

} // namespace LagAgent
