#include "agent/terms/ActionNames.h"

#include "pd/ReadBack.h"

namespace LagAgent {

const std::vector<std::string>& actionNames() {
    static const std::vector<std::string> kNames(pd::kActionNames.begin(), pd::kActionNames.end());
    return kNames;
}

} // namespace LagAgent
