#include "agent/daemon/Restore.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "agent/console/CommandLine.h"
#include "agent/desired/ChipMark.h"
#include "agent/desired/StateSchema.h"
#include "agent/outcome/ExitStatus.h"
#include "agent/terms/CurrentError.h"
#include "agent/wire/SocketOptions.h"
#include "mapped-tables/SharedKeyManager.h"

namespace LagAgent {

std::optional<RestoreOptions> readRestoreOptions(int argc, const char* const* argv, int* exitCode) {
    RestoreOptions options;
    Programs::OptionParser parser("Puts a copy of the desired state, made by 'lagctl backup', back",
                                  "lag-agent restore");
    parser.add("copy", options.copy, "The copy").typeName("FILE").required();
    addStateDirectory(parser, options.stateDirectory);
    addChipFile(parser, options.chipFile);
    parser.footer(
        "The daemon must not run. Its next start brings the chip to the restored state; what was\n"
        "acknowledged after the copy is given up.\n"
        "Exit status: 0 if it is restored, 2 if nothing was changed.");
    if (!parse(parser, std::span(argv + 2, argv + argc), exitCode)) {
        return std::nullopt;
    }
    return options;
}

namespace {

/// The latest commit of a desired state that the chip was brought to, as far as it tells. Throws
/// where another agent has the chip.
std::uint64_t latestCommitOfChip(const std::string& chip, std::uint64_t state) {
    const std::string path = chip + ".agent";
    if (!std::filesystem::exists(path)) {
        return 0;
    }
    const Posix::LockFile lock(path, chip);
    const auto mark = markIn(lock);
    return mark && mark->state == state ? mark->commit : 0;
}

} // namespace

int restoreState(const RestoreOptions& options) {
    try {
        if (!std::filesystem::is_directory(options.stateDirectory)) {
            throw CommandError(ErrorKind::start, "there is no state directory " +
                                                     options.stateDirectory +
                                                     ": name the daemon's with --state-dir");
        }
        const Posix::StateDirectory directory(options.stateDirectory);
        const std::string chip =
            options.chipFile.empty() ? directory.pathOf("chip") : options.chipFile;
        const auto restored =
            restoreStateDatabase(directory, options.copy, [&](std::uint64_t state) {
                return std::max(MbbGlimtKey::SharedKeyManager::latestCommit(directory, state),
                                latestCommitOfChip(chip, state));
            });
        std::cout << "restored " << restored.state.members.size() << " members, "
                  << restored.state.groups.size() << " groups, " << restored.state.entries.size()
                  << " entries, of commit " << restored.commit
                  << "; given up: " << restored.latest - restored.commit << " commits\n";
        return kExitGood;
    } catch (...) {
        std::cerr << "lag-agent restore: " << currentError().text() << "\n";
        return kExitNotStarted;
    }
}

} // namespace LagAgent
