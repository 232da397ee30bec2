#include "agent/terms/TargetOptions.h"

#include <CLI/CLI.hpp>

namespace LagAgent {

namespace {

CLI::Validator isPipe() {
    return {[](std::string& text) -> std::string {
                if (text == "all") {
                    text = std::to_string(BfLagGroup::LagGroupTableHelper::kAllPipes);
                    return {};
                }
                return CLI::Range(0, BfLagGroup::LagGroupTableHelper::kAllPipes - 1)(text);
            },
            "N|all"};
}

} // namespace

void addTarget(CLI::App& app, Target& target, std::vector<std::string>& traces) {
    app.add_option("--pd", target.pdPath,
                   "PD library to drive (default: the software ASIC beside this program)");
    app.add_option_function<int>(
           "--device", [&](int device) { target.device = static_cast<std::uint8_t>(device); },
           "Device to drive")
        ->check(CLI::Range(0, 255))
        ->default_str("0");
    app.add_option("--pipe", target.pipe, "Pipe to drive (default: all)")->transform(isPipe());
    app.add_option("--trace", traces, "Trace a facility up to a level")
        ->type_name("FACILITY=LEVEL")
        ->expected(1);
}

} // namespace LagAgent
