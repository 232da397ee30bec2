#include "tests/agent/crash/Checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/agent/crash/Scenario.h"

namespace LagAgent::Crash {

namespace {

void expectOneFactoryWrite(AgentProcess& agent) {
    EXPECT_EQ(Json({"p4_pd_velmor_switch_lagGroup_set_property"}),
              agent.tell("show start").at("factory writes"));
}

void expectDistinctHandles(AgentProcess& agent) {
    std::set<std::uint32_t> seen;
    const Json handles = agent.tell("show handles").at("handles");
    for (const Json& row : handles) {
        const auto handle = row.at("handle").get<std::uint32_t>();
        EXPECT_TRUE(handle != 0 && seen.insert(handle).second) << row;
    }
}

void expectUsage(AgentProcess& agent) {
    const Json model = agent.tell("show");
    Json expected = Json::object(), found = Json::object();
    for (const char* kind : {"entries", "members", "groups"}) {
        // The default entry takes no room.
        expected[kind] = std::ranges::count_if(
            model.at(kind), [](const Json& row) { return !row.value("default", false); });
    }
    const Json asic = agent.tell("show asic");
    for (const Json& row : asic.at("asic usage")) {
        found[row.at("table").get<std::string>()] = row.at("used");
    }
    EXPECT_EQ(expected, found);
}

// ---- Working on --------------------------------------------------------------------------------

std::string text(const Json& row, const char* field) {
    return std::to_string(row.at(field).get<std::uint32_t>());
}

std::string nameOfEntry(const Json& row) {
    return row.at("default").get<bool>()
               ? "default"
               : "value " + text(row, "value") + " mask " + text(row, "mask") + " priority " +
                     text(row, "priority");
}

void expectGood(AgentProcess& agent, const std::string& line) {
    EXPECT_EQ("", agent.ask(line).error) << line;
}

void changeAndDelete(AgentProcess& agent, const Json& model) {
    for (const Json& row : model.at("members")) {
        expectGood(agent, "member set " + text(row, "id") + " action " +
                              row.at("action").get<std::string>() + " port 77");
    }
    for (const Json& row : model.at("groups")) {
        for (const auto& [is, willBe] : {std::pair("active", "inactive"), {"inactive", "active"}}) {
            for (const Json& member : row.at(is)) {
                expectGood(agent, "group member set " + text(row, "id") + " " + member.dump() +
                                      " " + willBe);
            }
        }
    }
    const std::string member = text(model.at("members").front(), "id");
    for (const Json& row : model.at("entries")) {
        expectGood(agent, "entry set " + nameOfEntry(row) + " member " + member);
        expectGood(agent, "entry del " + nameOfEntry(row));
    }
    for (const Json& row : model.at("groups")) {
        expectGood(agent, "group del " + text(row, "id"));
    }
    for (const Json& row : model.at("members")) {
        expectGood(agent, "member del " + text(row, "id"));
    }
}

} // namespace

void expectWhole(AgentProcess& agent) {
    expectOneFactoryWrite(agent);
    EXPECT_EQ(Json::array(), agent.tell("audit").at("findings"));
    expectDistinctHandles(agent);
    expectUsage(agent);
}

void expectModel(AgentProcess& agent, const std::vector<Json>& models) {
    const Json found = modelOf(agent.tell("show"));
    EXPECT_NE(models.end(), std::ranges::find(models, found))
        << "found " << found << "\nafter what was acknowledged " << models.front()
        << "\nwith what was not " << models.back();
}

void expectWorksOn(AgentProcess& agent) {
    changeAndDelete(agent, agent.tell("show"));
    expectGood(agent, "expect asic empty");
    EXPECT_EQ(Json::array(), agent.tell("audit").at("findings"));
}

} // namespace LagAgent::Crash
