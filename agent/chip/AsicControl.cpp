#include "agent/chip/AsicControl.h"

#include "agent/chip/PdLibrary.h"
#include "agent/outcome/Errors.h"
#include "asic/SoftwareAsic.h"
#include "driver-status/PipeStatus.h"
#include "pd/ReadBack.h"

namespace LagAgent {

namespace {

constexpr std::uint32_t kLogCapacity = 65536;
constexpr std::string_view kSessionPrefix = "p4_pd_velmor_switch_client_";

void check(const char* what, std::uint32_t status) {
    if (status != BfTable::kStatusSuccess) {
        throw CommandError(ErrorKind::unsupported, std::string("the ASIC refuses ") + what + ": " +
                                                       BfTable::pipeStatusText(status) +
                                                       " (status " + std::to_string(status) + ")");
    }
}

} // namespace

#define LAG_AGENT_ASIC_FUNCTIONS(X)                                                                \
    X(chip_attach)                                                                                 \
    X(attach_error)                                                                                \
    X(chip_boot)                                                                                   \
    X(forward)                                                                                     \
    X(log_start)                                                                                   \
    X(log_begin)                                                                                   \
    X(log_end)                                                                                     \
    X(log_read)                                                                                    \
    X(log_format)                                                                                  \
    X(fault_plan)                                                                                  \
    X(fault_clear)

/// The functions of the control API that the agent uses; null where the library lacks one.
struct AsicControl::Functions {
#define LAG_AGENT_DECLARE(name) decltype(&::velmor_asic_##name) name;
    LAG_AGENT_ASIC_FUNCTIONS(LAG_AGENT_DECLARE)
#undef LAG_AGENT_DECLARE

    static Functions of(const PdLibrary& library) {
#define LAG_AGENT_FIND(name) library.function<decltype(::velmor_asic_##name)>("velmor_asic_" #name),
        return {LAG_AGENT_ASIC_FUNCTIONS(LAG_AGENT_FIND)};
#undef LAG_AGENT_FIND
    }

    bool isComplete() const {
#define LAG_AGENT_IS_FOUND(name) name&&
        return LAG_AGENT_ASIC_FUNCTIONS(LAG_AGENT_IS_FOUND) true;
#undef LAG_AGENT_IS_FOUND
    }
};

AsicControl::AsicControl(const PdLibrary& library) {
    const Functions functions = Functions::of(library);
    if (functions.isComplete()) {
        check("to record PD calls", functions.log_start(kLogCapacity));
        functions_ = std::make_unique<Functions>(functions);
    }
}

AsicControl::~AsicControl() = default;

const AsicControl::Functions& AsicControl::required() const {
    if (!functions_) {
        throw CommandError(ErrorKind::unsupported,
                           "the PD library is not the software ASIC: it has no such controls");
    }
    return *functions_;
}

FlowFate AsicControl::forward(int device, std::uint16_t pipe, std::uint32_t metadata,
                              std::uint32_t hash) const {
    velmor_asic_result_t result{};
    check("the flow", required().forward(device, pipe, metadata, hash, &result));
    switch (result.outcome) {
    case VELMOR_ASIC_FORWARDED:
        return {FlowFate::Kind::forwarded, static_cast<std::uint8_t>(result.action), result.port};
    case VELMOR_ASIC_MISS:
        return {.kind = FlowFate::Kind::missed};
    default:
        return {.kind = FlowFate::Kind::dropped};
    }
}

void AsicControl::attach(int device, const std::string& path) const {
    if (required().chip_attach(device, path.c_str(), nullptr) != BfTable::kStatusSuccess) {
        throw CommandError(ErrorKind::start, std::string("no chip: ") + required().attach_error());
    }
}

std::uint64_t AsicControl::bootGeneration(int device) const {
    std::uint64_t generation = 0;
    check("its boot generation", required().chip_boot(device, &generation));
    return generation;
}

std::uint64_t AsicControl::nextCall() const {
    return functions_ ? functions_->log_end() : 0;
}

std::optional<std::vector<std::string>> AsicControl::writes(std::uint64_t begin,
                                                            std::uint64_t end) const {
    if (!functions_) {
        return std::nullopt;
    }
    std::vector<std::string> operations;
    pd::forEachCall(*functions_, begin, end, [&operations](const velmor_asic_call_t& call) {
        const std::string operation = call.operation;
        // Of what the log keeps, these change nothing on the chip.
        if (!operation.ends_with("_get_entry") && !operation.starts_with(kSessionPrefix)) {
            operations.push_back(operation);
        }
    });
    if (functions_->log_begin() > begin) {
        return std::nullopt;
    }
    return operations;
}

std::vector<PdCallRecord> AsicControl::calls(std::uint64_t begin, std::uint64_t end) const {
    std::vector<PdCallRecord> records;
    if (!functions_) {
        return records;
    }
    pd::forEachCall(*functions_, begin, end, [&](const velmor_asic_call_t& call) {
        // Other processes' calls may have pushed it out meanwhile.
        if (auto text = pd::callText(*functions_, call.sequence)) {
            records.push_back({call.sequence, call.operation, call.status, std::move(*text)});
        }
    });
    return records;
}

std::uint64_t AsicControl::calls(std::string_view function, std::uint64_t begin,
                                 std::uint64_t end) const {
    std::uint64_t count = 0;
    if (functions_) {
        pd::forEachCall(*functions_, begin, end, [&](const velmor_asic_call_t& call) {
            count += call.operation == function ? 1 : 0;
        });
    }
    return count;
}

void AsicControl::planFault(const std::string& function, std::uint32_t nth, std::uint32_t status,
                            bool isAlways) const {
    check("the fault",
          required().fault_plan(function.c_str(), nth, status,
                                isAlways ? VELMOR_ASIC_FAULT_ALWAYS : VELMOR_ASIC_FAULT_ONCE));
}

void AsicControl::clearFaults() const {
    required().fault_clear();
}

} // namespace LagAgent
