#include "agent/restart/StartReport.h"

#include <algorithm>
#include <cstdio>

#include "agent/outcome/Text.h"
#include "agent/restart/Audit.h"

namespace LagAgent {

namespace {

double milliseconds(Phases::Clock::duration time) {
    using std::chrono::microseconds;
    return static_cast<double>(std::chrono::duration_cast<microseconds>(time).count()) / 1000;
}

std::string timeText(Phases::Clock::duration time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", milliseconds(time));
    return text;
}

using Counts = std::map<std::string, std::uint32_t>;

Json countJson(const Counts& counts) {
    Json json = Json::object();
    for (const auto& [name, count] : counts) {
        json[name] = count;
    }
    return json;
}

/// "2 orphan, 1 wrong state"; "nothing".
std::string countText(const Counts& counts) {
    std::string text;
    for (const auto& [name, count] : counts) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + name;
    }
    return text.empty() ? "nothing" : text;
}

void addLine(Reply& reply, const std::string& name, Json json, const std::string& text) {
    reply.add(name, std::move(json), name + ": " + text + "\n");
}

void addCounts(Reply& reply, const std::string& name, const Counts& counts) {
    addLine(reply, name, countJson(counts), countText(counts));
}

} // namespace

std::uint32_t StartReport::writesInAll() const {
    std::uint32_t all = 0;
    for (const auto& [operation, count] : writes) {
        all += count;
    }
    return all;
}

void StartReport::show(Reply& reply) const {
    addLine(reply, "restored", {{"entries", entries}, {"members", members}, {"groups", groups}},
            std::to_string(entries) + " entries, " + std::to_string(members) + " members, " +
                std::to_string(groups) + " groups");
    addLine(reply, "factory writes", factoryWrites ? Json(*factoryWrites) : Json(),
            factoryWrites ? joined(*factoryWrites) : "not known");
    // A start makes one write in any case.
    const auto all = writesInAll() + (factoryWrites ? factoryWrites->size() : 1);
    addLine(reply, "writes", all, std::to_string(all));
    Counts kinds;
    for (const Finding& finding : findings) {
        ++kinds[nameOf(finding.kind)];
    }
    addCounts(reply, "audit", kinds);
    addCounts(reply, "mended by", writes);
    if (!findings.empty()) {
        showFindings(reply);
    }
    showTimes(reply);
    std::string lines;
    for (const auto& line : notes) {
        lines += "note: " + line + "\n";
    }
    reply.add("notes", notes, lines);
}

void StartReport::showFindings(Reply& reply) const {
    constexpr std::size_t kMostShown = 20;
    const std::size_t shown = std::min(kMostShown, findings.size());
    reply.add("findings", listingOf(std::make_shared<const std::vector<Finding>>(
                                        findings.begin(),
                                        findings.begin() + static_cast<std::ptrdiff_t>(shown)),
                                    shown));
    if (shown < findings.size()) {
        const auto more = findings.size() - shown;
        reply.add("findings not shown", more, "  and " + std::to_string(more) + " more\n");
    }
}

void StartReport::showTimes(Reply& reply) const {
    Json json{{"process start to reconciled", milliseconds(total)}};
    std::string text;
    for (const auto& [name, time] : phases.all()) {
        json[std::string(name)] = milliseconds(time);
        text += (text.empty() ? "" : ", ") + std::string(name) + " " + timeText(time);
    }
    addLine(reply, "time", std::move(json),
            timeText(total) + " from the start of the process (" + text + ")");
}

void StartReport::note(std::string text) {
    notes.push_back(std::move(text));
    if (onNote) {
        onNote(notes.back());
    }
}

} // namespace LagAgent
