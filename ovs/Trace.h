// Which way a packet takes: the switch's own account of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ovs/Types.h"

namespace ovs {

struct Settings;

/// What the switch says of one packet.
struct Path {
    Handle entry = kNoHandle;  // none matched: kNoHandle
    Handle target = kNoHandle; // of the entry: a member or a group
    Handle bucket = kNoHandle; // of the group: the chosen member; kNoHandle if none is active
    std::optional<std::uint16_t> port{}; // where the packet goes out
};

/// Asks the switch about a UDP packet with that metadata whose addresses and ports are made of the
/// flow hash. The packet starts in table 0, where the flow that it meets must hand it on to the LAG
/// table with the metadata as they are. Throws NoSwitch, also when the answer cannot be understood,
/// and BadSetting without a control socket.
[[nodiscard]] Path trace(const Settings& settings, std::uint32_t metadata, std::uint32_t flowHash);

/// The path that the text of an answer tells of, for the given LAG table. None if it does not.
[[nodiscard]] std::optional<Path> readPath(const std::string& text, std::uint8_t table);

} // namespace ovs
