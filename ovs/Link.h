// The switch as far as this process knows it: the connection, and a copy of its tables.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ovs/Connection.h"
#include "ovs/Settings.h"
#include "ovs/Tables.h"

namespace ovs {

/// The switch is the truth. The copy is read from it at the first use, after every reconnection,
/// and after every change of which it is not known whether it was made; in between it follows the
/// changes that go through here.
///
/// A switch without the boot mark has been started anew (or never used): it is emptied, marked, and
/// from then on another boot generation. All operations throw NoSwitch, Refused,
/// openflow::Malformed and std::bad_alloc; the next call begins with a new connection, or a new
/// copy, where needed.
class Link {
  public:
    explicit Link(Settings settings) : settings_(std::move(settings)) {}

    [[nodiscard]] const Settings& settings() const noexcept { return settings_; }

    /// What the switch holds, over a connection that was alive a moment ago.
    [[nodiscard]] Tables& tables();
    /// Reads the tables from the switch before their next use.
    void forgetTables() noexcept { isStale_ = true; }

    /// Has the switch carry out the messages, and then apply(tables()) follow in the copy.
    /// REQUIRES: the copy is that of tables().
    template <class Apply>
    void change(std::vector<openflow::Bytes> messages, const Apply& apply) {
        isStale_ = true;
        commit(std::move(messages));
        apply(tables_);
        isStale_ = false;
    }

    /// A handle that no object has had, or kNoHandle when there is none left. What makes the switch
    /// remember that is added to the messages, which are to be part of the next change.
    [[nodiscard]] Handle takeHandle(std::vector<openflow::Bytes>& messages);

    /// The boot generation, as the switch says now. Never 0.
    [[nodiscard]] std::uint64_t boot();
    /// Empties the switch, as a start of its daemon does.
    void powerCycle();

    // With their counters; the flows are those of the LAG table. REQUIRES: as change().
    [[nodiscard]] std::vector<openflow::Flow> flows();
    [[nodiscard]] std::vector<openflow::GroupCounters> groupCounters();
    [[nodiscard]] std::vector<openflow::PortCounters> portCounters();

  private:
    /// Runs function(connection) over the connection that there is, and ends that when it fails for
    /// good. What is decided by the tables goes over the connection that they came from.
    template <class Function>
    auto use(const Function& function);
    template <class Value>
    std::vector<Value> ask(openflow::Bytes request, std::vector<Value> (*read)(openflow::ByteView));
    void commit(std::vector<openflow::Bytes> messages);
    void connect();
    void load();
    void initialise();

    Settings settings_;
    std::optional<Connection> connection_{};
    Tables tables_{};
    bool isStale_ = true;
    std::uint64_t boot_ = 0;
    // Handles below the mark on the switch may have been given out; it is moved on by a block.
    Handle nextHandle_ = 1;
    Handle markedHandle_ = 1;
};

} // namespace ovs
