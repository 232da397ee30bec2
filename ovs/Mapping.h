// How members, groups and entries stand on the switch: as OpenFlow groups and flows.
//
//   member         indirect group, its id the handle; one bucket, its id the action and its port.
//                  setLagPort sends the packet out of its port, invalidateUcastEgressPort drops it;
//                  the other three leave it to the table after the LAG table
//   selector group select group, its id the handle, the basis of its hash the greatest size; a
//                  bucket for each member, its id the member's handle, with the member's group
//   inactive       the bucket watches the dead group, a select group without buckets
//   entry          flow of the LAG table; cookie: the handle, and above it the bits of the value
//                  that the mask leaves out, which a flow cannot have; priority: one higher, since
//                  0 is the default entry's
//   marks          flows of the mark table, which no packet meets; their cookies are numbers
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "ovs/OpenFlow.h"
#include "ovs/Tables.h"

namespace ovs {

inline constexpr std::uint32_t kDeadGroup = openflow::kLargestGroup;
inline constexpr Handle kLastHandle = kDeadGroup - 1;
inline constexpr std::uint32_t kLastPriority = UINT16_MAX - 1;
inline constexpr std::uint8_t kMarkTable = 253; // the last one that can be written to

/// Whether the switch can have a port of that number.
[[nodiscard]] bool isPort(std::uint16_t port) noexcept;

/// The table is the LAG table, as below.
[[nodiscard]] openflow::Group toGroup(std::uint8_t table, Handle member, const Action& action);
[[nodiscard]] openflow::Group toGroup(Handle group, const Group& record);
[[nodiscard]] openflow::Group deadGroup();
[[nodiscard]] openflow::Flow toFlow(std::uint8_t table, Handle entry, const Entry& record,
                                    bool isDefault);

/// Numbers that are kept on the switch.
enum class Mark : std::uint16_t { boot = 1, handles = 2 };
[[nodiscard]] openflow::Flow toFlow(Mark mark, std::uint64_t number);
[[nodiscard]] std::optional<std::uint64_t> numberOf(Mark mark,
                                                    const std::vector<openflow::Flow>& marks);

/// What these groups and flows of the LAG table stand for. What cannot have been made by this
/// mapping is left out.
[[nodiscard]] Tables toTables(std::uint8_t table, const std::vector<openflow::Group>& groups,
                              const std::vector<openflow::Flow>& flows);

} // namespace ovs
