// The match table lagGroup of a chip: entries and default entries of every scope.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "asic/ActionProfile.h"
#include "asic/HandleCounter.h"
#include "asic/HandleTable.h"
#include "asic/SoftwareAsic.h"
#include "asic/TernaryTable.h"
#include "asic/Types.h"

namespace asic {

/// A default entry has the all-zero key.
struct Entry {
    ScopeIndex scope;
    MatchKey key;
    Target target;
};

/// The entry scope decides which scopes packets see: those of the single pipes, or the one of all
/// pipes. Entries are accepted only where packets can see them, and the entry scope changes only
/// while the table has no entry, so there is never an entry that no packet can meet.
///
/// An entry points at a member or group of its own scope only. Operations return a PD status; one
/// that does not return success has changed nothing, nor has one that throws std::bad_alloc.
class MatchTable {
  public:
    /// There are config.pipes + 1 scopes, the last is that of all pipes. profile and handles must
    /// outlive the table.
    MatchTable(const velmor_asic_chip_config_t& config, ActionProfile& profile,
               HandleCounter& handles)
        : profile_(profile), allPipes_(config.pipes),
          entries_(config.pipes + 1u, config.entry_capacity, handles),
          defaults_(config.pipes + 1u, 1, handles), ternary_(config.pipes + 1u) {}

    [[nodiscard]] Status setProperty(std::uint32_t property, std::uint32_t value) noexcept;

    [[nodiscard]] Status add(ScopeIndex scope, const MatchKey& key, Target target, Handle* entry);
    [[nodiscard]] Status remove(Handle entry) noexcept;

    [[nodiscard]] Status setDefault(ScopeIndex scope, Target target, Handle* entry);
    [[nodiscard]] Status resetDefault(ScopeIndex scope) noexcept;

    /// Serves default entries as well.
    [[nodiscard]] Status repoint(Handle entry, Target target) noexcept;

    /// The entry or default entry, or null.
    [[nodiscard]] const Entry* find(Handle entry) const noexcept;

    /// The scope whose objects a packet in the pipe sees. No packet is in all pipes at once, but
    /// while these decide alike, it need not be told in which one it is.
    [[nodiscard]] std::optional<ScopeIndex> visibleScope(ScopeIndex pipe) const noexcept {
        if (!singlePipeline_) {
            return allPipes_;
        }
        return pipe == allPipes_ ? std::nullopt : std::optional(pipe);
    }

    /// The entry that decides on a packet: the best match, or else the default entry, or kNoHandle.
    struct Decision {
        Handle entry;
        bool isDefault;
    };
    [[nodiscard]] Decision decide(ScopeIndex scope, std::uint32_t metadata) const noexcept;

    /// Default entries are in a table of their own, with at most one in each scope.
    [[nodiscard]] const HandleTable<Entry>& entries() const noexcept { return entries_; }
    [[nodiscard]] const HandleTable<Entry>& defaults() const noexcept { return defaults_; }

  private:
    bool isVisible(ScopeIndex scope) const noexcept {
        return (scope != allPipes_) == singlePipeline_;
    }
    Status checkPlace(ScopeIndex scope, Target target) const noexcept;

    ActionProfile& profile_;
    ScopeIndex allPipes_;
    bool singlePipeline_ = false;
    HandleTable<Entry> entries_;
    HandleTable<Entry> defaults_;
    std::vector<TernaryTable> ternary_; // by scope: the keys of entries_
};

} // namespace asic
