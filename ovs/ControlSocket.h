// The control socket of ovs-vswitchd: commands that OpenFlow does not have.
#pragma once

#include <span>
#include <string>

namespace ovs {

/// Carries out one command and returns its text, over a connection of its own. Throws NoSwitch,
/// also when the switch answers with an error.
[[nodiscard]] std::string control(const std::string& socket, const std::string& command,
                                  std::span<const std::string> arguments);

} // namespace ovs
