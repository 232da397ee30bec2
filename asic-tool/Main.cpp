#include <unistd.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "asic-tool/Calls.h"
#include "asic-tool/Options.h"
#include "asic-tool/ShowChip.h"
#include "asic-tool/Status.h"
#include "asic-tool/WatchLoop.h"
#include "asic/SoftwareAsic.h"
#include "programs/StandardStreams.h"

using namespace asic_tool;

namespace {

constexpr int kDevice = 0;

/// Looking must not make a file where there is none.
void attach(const std::string& file) {
    if (!std::filesystem::exists(std::filesystem::symlink_status(file))) {
        throw std::runtime_error(file + ": there is no such file");
    }
    if (velmor_asic_chip_attach(kDevice, file.c_str(), nullptr) != P4_PD_STATUS_SUCCESS) {
        throw std::runtime_error(velmor_asic_attach_error());
    }
}

void show(const Options& options) {
    const Json chip = describeChip(kDevice);
    std::cout << (options.isJson ? chip.dump() + '\n' : chipText(chip));
}

void showCalls(const Options& options) {
    const auto calls = latestCalls(options.last);
    std::cout << (options.isJson ? callsJson(calls) : callsText(calls));
}

void create(const Options& options) {
    if (velmor_asic_chip_file_make(options.file.c_str(), &options.config) != P4_PD_STATUS_SUCCESS) {
        throw std::runtime_error(velmor_asic_attach_error());
    }
}

void powerCycle() {
    require(velmor_asic_chip_power_cycle(kDevice), "the chip cannot be power-cycled");
}

/// Answers requests with nothing until the file is there; false if they are over before.
bool waitForFile(const Options& options, Requests& requests) {
    constexpr int kMilliseconds = 10;
    while (!std::filesystem::exists(std::filesystem::symlink_status(options.file))) {
        for (std::size_t lines = requests.lines(kMilliseconds); lines != 0; --lines) {
            std::cout << reportLine({}, options.isJson) << std::endl;
        }
        if (requests.isOver()) {
            return false;
        }
    }
    return true;
}

int watch(const Options& options) {
    std::signal(SIGTERM, [](int) { Requests::stop(); });
    Requests requests(STDIN_FILENO);
    if (options.isPatient && !waitForFile(options, requests)) {
        return kExitGood;
    }
    attach(options.file);
    FlowWatch flows(kDevice, options.pipe, options.expectations);
    return watchFlows(flows, requests, options.isJson, std::cout, std::cerr) ? kExitGood
                                                                             : kExitLost;
}

int run(const Options& options) {
    if (options.command == Command::watch) {
        return watch(options);
    }
    if (options.command == Command::create) {
        create(options);
        return kExitGood;
    }
    attach(options.file);
    if (options.command == Command::show) {
        show(options);
    } else if (options.command == Command::calls) {
        showCalls(options);
    } else {
        powerCycle();
    }
    return kExitGood;
}

int run(int argc, char** argv) {
    int exitCode = kExitGood;
    const auto options = readOptions(argc, argv, &exitCode);
    if (!options) {
        return exitCode;
    }
    try {
        return run(*options);
    } catch (const std::exception& e) {
        std::cerr << "velmor-asic: " << e.what() << std::endl;
        return kExitNotDone;
    }
}

} // namespace

int main(int argc, char** argv) {
    Programs::occupyClosedStreams();
    return Programs::finalStatus("velmor-asic", run(argc, argv), kExitNotDone);
}
