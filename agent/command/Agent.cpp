#include "agent/command/Agent.h"

#include "agent/outcome/Errors.h"
#include "agent/restart/Restart.h"
#include "platform/MbbGlimtKey/InProcessKeyManager.h"

namespace LagAgent {

namespace {

const auto kProgramStart = Phases::Clock::now();

} // namespace

Agent::Agent(const Target& target, const StateOptions* options, StateDatabase* desired,
             Progress* progress)
    : progress_(progress), retry_([this](std::string note) { start.note(std::move(note)); },
                                  options ? options->pause : Retry::Pause()),
      library(target.pdPath), asic(library), chip(library, target),
      state(options ? openState(*options, target) : nullptr), driver(startDriver(target)),
      configuration(driver, state ? &state->database() : desired), flows(asic) {
    if (state) {
        restart({driver, configuration, chip, *state, progress, lateJoins_, options->acceptsLoss},
                retry_, start);
        start.total = Phases::Clock::now() - kProgramStart;
    }
}

PersistentState& Agent::requiredState() const {
    if (!state) {
        throw CommandError(ErrorKind::unsupported,
                           "this agent keeps no state over restarts: run it with 'serve'");
    }
    return *state;
}

void Agent::requireUnharmed() {
    if (state && harm_.empty()) {
        harm_ = state->harm();
    }
    if (!harm_.empty()) {
        throw CommandError(
            ErrorKind::storage,
            harm_ + ": the agent ends; its next start puts this right, or says what to do");
    }
}

void Agent::begin(const char* phase) {
    start.phases.begin(phase);
    if (progress_) {
        progress_->show(phase, 0, 0);
    }
}

std::unique_ptr<PersistentState> Agent::openState(const StateOptions& options,
                                                  const Target& target) {
    start.onNote = options.onNote;
    const bool hasFile = asic.isPresent() || !options.chipFile.empty();
    StatefulChip stateful{.scope = {target.device, target.pipe}};
    if (hasFile) {
        stateful.file =
            options.chipFile.empty() ? options.directory->pathOf("chip") : options.chipFile;
    }
    stateful.attach = [&]() -> StatefulChip::Facts {
        begin("chip");
        if (hasFile) {
            asic.attach(target.device, stateful.file);
        }
        const std::uint64_t boot = hasFile ? asic.bootGeneration(target.device) : options.chipBoot;
        const auto usage = retry_.run([this] { return chip.usage(); });
        begin("tables");
        return {boot, usage};
    };
    if (hasFile) {
        stateful.boot = [this, device = target.device] { return asic.bootGeneration(device); };
    }
    begin("desired state");
    auto opened = std::make_unique<PersistentState>(options, stateful);
    for (const auto& note : opened->notes()) {
        start.note(note);
    }
    return opened;
}

MbbGlimtKey::GlimtKeyManager::Ptr Agent::keyManager() const {
    if (state) {
        return state->keysPtr();
    }
    return new MbbGlimtKey::InProcessKeyManager;
}

Driver Agent::startDriver(const Target& target) {
    if (!state) {
        return {library, target, keyManager()};
    }
    begin("factories");
    const std::uint64_t before = asic.nextCall();
    Driver started = retry_.run([&] { return Driver(library, target, keyManager()); });
    start.phases.end();
    if (asic.isPresent()) {
        start.factoryWrites = asic.writes(before, asic.nextCall());
    }
    return started;
}

} // namespace LagAgent
