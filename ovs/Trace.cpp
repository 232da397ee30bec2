#include "ovs/Trace.h"

#include <array>
#include <charconv>
#include <string_view>

#include "ovs/ControlSocket.h"
#include "ovs/Settings.h"
#include "ovs/UnixSocket.h"

namespace ovs {

namespace {

/// The number right after `label`, from which reading goes on; none if the text has no such label.
std::optional<std::uint64_t> numberAfter(std::string_view text, std::string_view label,
                                         int base = 10) {
    const auto at = text.find(label);
    if (at == text.npos) {
        return std::nullopt;
    }
    const std::string_view digits = text.substr(at + label.size());
    std::uint64_t number = 0;
    const auto [stop, failure] =
        std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    return failure == std::errc() ? std::optional(number) : std::nullopt;
}

Handle handleAfter(std::string_view text, std::string_view label, int base = 10) {
    return static_cast<Handle>(numberAfter(text, label, base).value_or(kNoHandle));
}

std::string packet(std::uint32_t metadata, std::uint32_t flowHash) {
    // Spread over all that is hashed, so that hashes which differ little make flows that do.
    const auto byte = [flowHash](unsigned shift) {
        return std::to_string(flowHash >> shift & 0xFF);
    };
    return "metadata=" + std::to_string(metadata) + ",udp,nw_ttl=64,nw_src=10." + byte(24) + "." +
           byte(16) + ".1,nw_dst=10.255.255.1,udp_src=" + std::to_string(flowHash & 0xFFFF) +
           ",udp_dst=7";
}

} // namespace

std::optional<Path> readPath(const std::string& text, std::uint8_t table) {
    // A table begins with a line " N. MATCH, priority P, cookie 0xC", or " N. No match."
    const auto start =
        text.find("\n" + std::string(table < 10 ? " " : "") + std::to_string(table) + ". ");
    if (start == text.npos) {
        return std::nullopt;
    }
    const std::string_view inTable = std::string_view(text).substr(start + 1);
    const std::string_view heading = inTable.substr(0, inTable.find('\n'));
    Path path;
    if (heading.find(". No match.") != heading.npos) {
        return path;
    }
    // The upper half of a cookie is not of the handle.
    path.entry = static_cast<Handle>(numberAfter(heading, "cookie 0x", 16).value_or(kNoHandle));
    path.target = handleAfter(inTable, "group:");
    path.bucket = handleAfter(inTable, "-> using bucket ");
    if (const auto port = numberAfter(inTable, "output:")) {
        path.port = static_cast<std::uint16_t>(*port);
    }
    return path;
}

Path trace(const Settings& settings, std::uint32_t metadata, std::uint32_t flowHash) {
    if (settings.control.empty()) {
        throw BadSetting("the way of a flow: set VELMOR_OVS_CONTROL to the control socket of "
                         "ovs-vswitchd");
    }
    const std::array<std::string, 2> arguments{settings.bridge(), packet(metadata, flowHash)};
    const std::string text = control(settings.control, "ofproto/trace", arguments);
    if (const auto path = readPath(text, settings.table)) {
        return *path;
    }
    throw NoSwitch("ofproto/trace: the packet does not come to table " +
                   std::to_string(settings.table) + " of " + settings.bridge());
}

} // namespace ovs
