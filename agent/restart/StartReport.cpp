#include "agent/restart/StartReport.h"

#include <cstdio>

#include "agent/Text.h"

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

Json countJson(const std::map<std::string, std::uint32_t>& counts) {
    Json json = Json::object();
    for (const auto& [name, count] : counts) {
        json[name] = count;
    }
    return json;
}

/// "2 orphan, 1 wrong state"; "nothing".
std::string countText(const std::map<std::string, std::uint32_t>& counts) {
    std::string text;
    for (const auto& [name, count] : counts) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + name;
    }
    return text.empty() ? "nothing" : text;
}

void addLine(Reply& reply, const std::string& name, Json json, const std::string& text) {
    reply.add(name, std::move(json), name + ": " + text + "\n");
}

} // namespace

std::uint32_t sumOf(const std::map<std::string, std::uint32_t>& counts) {
    std::uint32_t all = 0;
    for (const auto& [name, count] : counts) {
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
    addLine(reply, "audit", countJson(findings), countText(findings));
    addLine(reply, "replay", countJson(writes), countText(writes));
    addLine(reply, "orphans removed", orphansRemoved, std::to_string(orphansRemoved));
    showTimes(reply);
    reply.add("missing groups", missingGroups, "");
    reply.add("touched groups", touchedGroups, "");
    std::string lines;
    for (const auto& line : notes) {
        lines += "note: " + line + "\n";
    }
    reply.add("notes", notes, lines);
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
