// Where the switch is, and when a call is done.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace ovs {

/// A setting that is missing or cannot be used. The text names it.
class BadSetting : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// Each is read from the environment or from a file of lines "name = value", in which '#' begins a
/// comment; the environment wins.
///
///   management   VELMOR_OVS_MANAGEMENT   socket for OpenFlow: BRIDGE.mgmt in Open vSwitch's run
///                                        directory
///   control      VELMOR_OVS_CONTROL      control socket of ovs-vswitchd; needed for done =
///                                        forwarding, and to ask the switch which way a flow takes
///   table        VELMOR_OVS_TABLE        number of the LAG table, 1 to 251 (default: 1)
///   done         VELMOR_OVS_DONE         a call is done when the switch's tables have the change
///                                        ("tables", the default), or when packets have met it
///                                        ("forwarding")
struct Settings {
    std::string management{};
    std::string control{};
    std::uint8_t table = 1;
    bool waitsForForwarding = false;

    /// The bridge whose management socket it is.
    [[nodiscard]] std::string bridge() const;

    /// From the environment, and from the file if one is named and there. Throws BadSetting.
    [[nodiscard]] static Settings read(const std::optional<std::string>& file);
};

} // namespace ovs
