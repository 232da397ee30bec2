#pragma once

#include <functional>
#include <optional>

#include "agent/chip/ChipTables.h"
#include "agent/model/Configuration.h"

namespace LagAgent {

/**
 * Reads the chip as it is at one moment between two commands, in many turns. Where a command
 * changes something meanwhile, it begins anew; when that has happened often enough, it reads
 * everything in one turn.
 */
class ChipMoment {
  public:
    /// `onBegin` is called at each beginning, to read what else is to be of that moment.
    /// REQUIRES: chip and configuration outlive this object.
    ChipMoment(const ChipTables& chip, const Configuration& configuration,
               std::function<void()> onBegin = {})
        : chip_(chip), configuration_(configuration), onBegin_(std::move(onBegin)) {}

    /// Reads some more; true when that was all. Throws as `ChipTables::read`.
    bool goOn() {
        if (!reading_ || changes_ != configuration_.changes()) {
            begin();
        }
        return reading_->goOn(beginnings_ < kMostBeginnings ? kObjectsOfTurn : SIZE_MAX);
    }
    /// REQUIRES: everything has been read.
    ChipState take() { return reading_->take(); }

    static constexpr std::size_t kObjectsOfTurn = 2000;
    static constexpr int kMostBeginnings = 4;

  private:
    void begin() {
        ++beginnings_;
        changes_ = configuration_.changes();
        reading_.emplace(chip_);
        if (onBegin_) {
            onBegin_();
        }
    }

    const ChipTables& chip_;
    const Configuration& configuration_;
    std::function<void()> onBegin_;
    std::optional<ChipReading> reading_;
    std::uint64_t changes_ = 0;
    int beginnings_ = 0;
};

} // namespace LagAgent
