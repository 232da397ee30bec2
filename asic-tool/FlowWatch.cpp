#include "asic-tool/FlowWatch.h"

#include <algorithm>
#include <utility>

#include "asic-tool/Status.h"

namespace asic_tool {

namespace {

bool isAmong(const std::vector<std::uint16_t>& ports, std::uint16_t port) {
    return std::ranges::find(ports, port) != ports.end();
}

} // namespace

void FlowWatch::send() {
    using Clock = std::chrono::steady_clock;
    const Expectation& expected = expectations_[at_];
    velmor_asic_result_t result{};
    const auto begin = Clock::now();
    const pipe_status status = velmor_asic_forward(device_, pipe_, expected.value, hash_, &result);
    const auto waited = Clock::now() - begin;
    require(status, "the chip takes no flow");

    const bool hasPort =
        result.outcome == VELMOR_ASIC_FORWARDED && result.action == P4_PD_ACTION_setLagPort;
    const bool isRight = hasPort && isAmong(expected.ports, result.port);
    const bool isInactive = hasPort && !isRight && isAmong(expected.inactive, result.port);
    ++counts_.lookups;
    counts_.noPort += hasPort ? 0 : 1;
    counts_.wrongPort += hasPort && !isRight && !isInactive ? 1 : 0;
    counts_.inactive += isInactive ? 1 : 0;
    counts_.longest = std::max<std::chrono::nanoseconds>(counts_.longest, waited);
    if (!isRight && !firstFailure_) {
        firstFailure_ = Failure{expected.value, hash_, result};
    }
    next();
}

void FlowWatch::next() noexcept {
    if (++at_ == expectations_.size()) {
        at_ = 0;
        ++hash_;
    }
}

FlowWatch::Counts FlowWatch::take() noexcept {
    return std::exchange(counts_, Counts{});
}

std::string toText(const FlowWatch::Failure& failure) {
    const velmor_asic_result_t& result = failure.result;
    return "value " + std::to_string(failure.value) + " hash " + std::to_string(failure.hash) +
           " outcome " + velmor_asic_outcome_name(result.outcome) + " port " +
           std::to_string(result.port) + " entry " + std::to_string(result.entry_hdl) + " group " +
           std::to_string(result.grp_hdl) + " member " + std::to_string(result.mbr_hdl);
}

} // namespace asic_tool
