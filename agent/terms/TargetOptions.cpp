#include "agent/terms/TargetOptions.h"

namespace LagAgent {

using Programs::OptionParser;

namespace {

std::string isPipe(std::string& text) {
    if (text == "all") {
        text = std::to_string(BfLagGroup::LagGroupTableHelper::kAllPipes);
        return {};
    }
    return OptionParser::range(0, BfLagGroup::LagGroupTableHelper::kAllPipes - 1)(text);
}

} // namespace

void addTarget(OptionParser& parser, Target& target, std::vector<std::string>& traces) {
    parser.add("--pd", target.pdPath,
               "PD library to drive (default: the software ASIC beside this program)");
    parser
        .add(
            "--device", 0, 255,
            [&](int device) { target.device = static_cast<std::uint8_t>(device); },
            "Device to drive")
        .defaultText("0");
    parser.add("--pipe", target.pipe, "Pipe to drive (default: all)").check(isPipe, "N|all");
    parser.add("--trace", traces, "Trace a facility up to a level")
        .typeName("FACILITY=LEVEL")
        .oneValue();
}

} // namespace LagAgent
