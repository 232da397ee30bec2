#include "agent/terms/ActionNames.h"

namespace LagAgent {

const std::vector<std::string>& actionNames() {
    static const std::vector<std::string> kNames{"fixL2SubintfAlignment",
                                                 "invalidateUcastEgressPort", "setLagPort",
                                                 "setPhysicalPort", "setTunnelInfo"};
    return kNames;
}

} // namespace LagAgent
