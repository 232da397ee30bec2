#include "agent/command/Agent.h"

#include "agent/outcome/Errors.h"
#include "agent/restart/Restart.h"
#include "platform/MbbGlimtKey/InProcessKeyManager.h"

namespace LagAgent {

namespace {

const auto kProgramStart = Phases::Clock::now();

} // namespace

// ---- The start -----------------------------------------------------------------------------

Agent::Agent(const Target& target, StateDatabase* desired) {
    openChip(target);
    driver_ = std::make_unique<Driver>(*library_, target, new MbbGlimtKey::InProcessKeyManager);
    configuration_ = std::make_unique<Configuration>(*driver_, desired);
}

Agent::Agent(const Target& target, const StateOptions& options, Progress* progress) {
    start_.onNote = options.onNote;
    Retry retry([this](std::string note) { start_.note(std::move(note)); }, options.pause);
    openChip(target);
    begin("desired state", progress);
    state_ =
        std::make_unique<PersistentState>(options, statefulChip(options, target, retry, progress));
    for (const auto& note : state_->notes()) {
        start_.note(note);
    }
    begin("factories", progress);
    startDriver(target, retry);
    start_.phases.end();
    configuration_ = std::make_unique<Configuration>(*driver_, &state_->database());
    configuration_->onEntrySet([this](const auto& match) { state_->entryWasSet(match); });
    restart({*driver_, *configuration_, *chip_, *state_, progress, lateJoins_, options.acceptsLoss},
            retry, start_);
    start_.total = Phases::Clock::now() - kProgramStart;
}

void Agent::openChip(const Target& target) {
    library_ = std::make_unique<PdLibrary>(target.pdPath);
    asic_ = std::make_unique<AsicControl>(*library_);
    chip_ = std::make_unique<ChipTables>(*library_, target);
    flows_ = std::make_unique<Flows>(*asic_, target);
}

void Agent::begin(const char* phase, Progress* progress) {
    start_.phases.begin(phase);
    if (progress) {
        progress->show(phase, 0, 0);
    }
}

StatefulChip Agent::statefulChip(const StateOptions& options, const Target& target, Retry& retry,
                                 Progress* progress) {
    StatefulChip stateful{.scope = {target.device, target.pipe}};
    const bool hasFile = asic_->isPresent() || !options.chipFile.empty();
    if (hasFile) {
        stateful.file =
            options.chipFile.empty() ? options.directory->pathOf("chip") : options.chipFile;
        stateful.boot = [this, device = target.device] { return asic_->bootGeneration(device); };
    }
    stateful.attach = [this, &retry, progress, hasFile, device = target.device,
                       file = stateful.file, boot = options.chipBoot]() -> StatefulChip::Facts {
        begin("chip", progress);
        if (hasFile) {
            asic_->attach(device, file);
        }
        const std::uint64_t generation = hasFile ? asic_->bootGeneration(device) : boot;
        const auto usage = retry.run([this] { return chip_->usage(); });
        begin("tables", progress);
        return {generation, usage};
    };
    return stateful;
}

void Agent::startDriver(const Target& target, Retry& retry) {
    const std::uint64_t before = asic_->nextCall();
    driver_ =
        retry.run([&] { return std::make_unique<Driver>(*library_, target, state_->keysPtr()); });
    if (asic_->isPresent()) {
        start_.factoryWrites = asic_->writes(before, asic_->nextCall());
    }
}

// ---- While it runs -------------------------------------------------------------------------

PersistentState& Agent::requiredState() const {
    if (!state_) {
        throw CommandError(ErrorKind::unsupported, kKeepsNothing);
    }
    return *state_;
}

View Agent::view(const ScriptState& script) const {
    return {*driver_, *configuration_, *chip_, *asic_, *flows_, state_ ? &start_ : nullptr, script};
}

void Agent::requireUnharmed() {
    if (state_ && harm_.empty()) {
        harm_ = state_->harm();
    }
    if (!harm_.empty()) {
        throw CommandError(
            ErrorKind::storage,
            harm_ + ": the agent ends; its next start puts this right, or says what to do");
    }
}

} // namespace LagAgent
