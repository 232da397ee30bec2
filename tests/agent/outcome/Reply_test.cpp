#include "agent/outcome/Reply.h"

#include <gtest/gtest.h>

#include "tests/agent/AgentTest.h"

namespace LagAgent {
namespace {

/// A table of so many rows that counts those that were made.
Listing counted(std::size_t rows, std::size_t& made) {
    return {{"row"}, rows, [&made](std::size_t row) {
                ++made;
                return Cells{row};
            }};
}

TEST(Pieces, AreWrittenOneByOneOrAllAtOnce) {
    Pieces pieces;
    EXPECT_TRUE(pieces.isAtEnd());
    pieces.add("a");
    pieces.add("");
    pieces.add(0, [](std::size_t, std::string&) { ADD_FAILURE(); });
    pieces.add(2, [](std::size_t piece, std::string& out) { out += std::to_string(piece); });
    EXPECT_EQ("a01", pieces.whole());
    std::vector<std::string> written;
    while (!pieces.isAtEnd()) {
        pieces.writeNext(written.emplace_back());
    }
    EXPECT_EQ((std::vector<std::string>{"a", "0", "1"}), written);
    EXPECT_EQ("a01", pieces.whole());
}

TEST(JsonPieces, TextIsEscapedAsTheLibraryDoesIt) {
    for (int byte = 0; byte < 256; ++byte) {
        for (const std::string& text : {std::string(1, static_cast<char>(byte)),
                                        "ab" + std::string(1, static_cast<char>(byte)),
                                        std::string(1, static_cast<char>(byte)) + "\xa9 z\n"}) {
            std::string escaped;
            appendEscaped(text, escaped);
            EXPECT_EQ(toText(text), "\"" + escaped + "\"") << byte;
        }
    }
}

TEST(JsonPieces, ObjectHasItsMembersInOrder) {
    ObjectPieces object;
    EXPECT_EQ("{}", object.pieces().whole());
    object.add("z", Json{{"b", 1}, {"a", nullptr}});
    object.addArray("none", 0, {});
    object.addArray("some", 2, [](std::size_t i, std::string& out) { out += std::to_string(i); });
    ObjectPieces inner;
    inner.add("x", true);
    object.add("inner", inner.pieces());
    object.add("te\"xt", "two\n\"lines\"\n");
    EXPECT_EQ(R"({"z":{"b":1,"a":null},"none":[],"some":[0,1],"inner":{"x":true},)"
              R"("te\"xt":"two\n\"lines\"\n"})",
              object.pieces().whole());
}

TEST(Reply, TableIsTheSameForPeopleAndForTools) {
    Listing listing({"number", "hex", "flag", "text", "ids", "none"});
    listing.add({7u, Hex{255}, true, "a \"b\"", Ids{1, 22}, {}});
    listing.add({std::uint64_t{1} << 40, Hex{0}, false, "", Ids{}, {}});
    Reply reply;
    reply.add("things", std::move(listing));
    EXPECT_EQ("things:\n"
              "  number         hex   flag  text   ids    none\n"
              "  7              0xff  yes   a \"b\"  1, 22  -\n"
              "  1099511627776  0x0   no           -      -\n",
              reply.text());
    EXPECT_EQ(R"({"things":[{"number":7,"hex":255,"flag":true,"text":"a \"b\"","ids":[1,22],)"
              R"("none":null},{"number":1099511627776,"hex":0,"flag":false,"text":"","ids":[],)"
              R"("none":null}]})",
              reply.jsonPieces().whole());
}

TEST(Reply, EmptyTableIsOneLineAndAnEmptyArray) {
    Reply reply;
    reply.add("things", Listing({"a", "b"}));
    EXPECT_EQ("things:\n  none\n", reply.text());
    EXPECT_EQ(R"({"things":[]})", reply.jsonPieces().whole());
}

TEST(Reply, RowsAreMadeWhenTheyAreReadAndNotBefore) {
    std::size_t made = 0;
    Reply reply;
    reply.add("rows", counted(1000, made));
    Pieces json = reply.jsonPieces();
    EXPECT_EQ(0u, made);
    std::string out;
    for (std::size_t before = 0; !json.isAtEnd(); before = made) {
        json.writeNext(out);
        EXPECT_LE(made, before + 1);
    }
    EXPECT_EQ(1000u, made);
    EXPECT_EQ(1000u, Json::parse(out)["rows"].size());
}

TEST(Reply, PartsFollowEachOtherInBothForms) {
    Reply reply;
    EXPECT_TRUE(reply.isEmpty());
    EXPECT_TRUE(reply.textPieces().isEmpty());
    reply.add("z", 1, "");
    EXPECT_FALSE(reply.isEmpty());
    EXPECT_TRUE(reply.textPieces().isEmpty());
    reply.add("none", Listing({"a"}));
    reply.add("a", Json{1, 2}, "said\n");
    EXPECT_EQ(R"({"z":1,"none":[],"a":[1,2]})", reply.jsonPieces().whole());
    EXPECT_EQ("none:\n  none\nsaid\n", reply.text());
}

TEST(Reply, TableOfLinesHasNeitherNamesNorAlignment) {
    const auto lines = [](std::initializer_list<Cells> rows) {
        Listing listing({"number", "hidden", "text"});
        listing.linesAre({0, 2});
        for (const Cells& row : rows) {
            listing.add(row);
        }
        Reply reply;
        reply.add("log", std::move(listing));
        return reply;
    };
    EXPECT_EQ("log:\n", lines({}).text());
    const Reply log = lines({{9u, true, "a"}, {10u, false, "b c"}});
    EXPECT_EQ("log:\n  9  a\n  10  b c\n", log.text());
    EXPECT_EQ(R"({"log":[{"number":9,"hidden":true,"text":"a"},)"
              R"({"number":10,"hidden":false,"text":"b c"}]})",
              log.jsonPieces().whole());
}

using ShowTest = LagTest;

TEST_F(ShowTest, WhatIsShownIsWhatThereWasWhenTheCommandRan) {
    for (const char* command : {"show", "show handles", "show asic", "show calls"}) {
        const Outcome shown = run(command);
        const std::string text = run(command).reply.text();
        good({"member set 1 action setLagPort port 9", "group member set 10 2 inactive",
              "entry set value 5 mask 0xff priority 9 member 3", "group del 10", "member del 2"});
        if (std::string(command) != "show calls") { // the second one has the calls of the first
            EXPECT_EQ(text, shown.reply.text());
        }
        EXPECT_EQ(Json::parse(shown.reply.jsonPieces().whole()), shown.reply.json());
        EXPECT_NE(text, run(command).reply.text());
        good({"member add 2 action setLagPort port 2", "member set 1 action setLagPort port 1",
              "group add 10 size 4 initial 1 action setLagPort", "group member add 10 2",
              "entry set value 5 mask 0xff priority 9 group 10"});
    }
}

TEST_F(ShowTest, ReadBackIsWhatTheChipSaysInTheDriversNames) {
    const auto& driver = agent->driver();
    const auto& pd = driver.pd();
    const auto match = agent->configuration().entries().begin()->second.match;
    const auto handle = driver.handles().entry(match).value();
    const auto readBack = [&] {
        EXPECT_EQ(nameOf(driver.table().entry(match).memberOrGroup()),
                  run("show entries").reply.json()["entries"][0]["read back"]);
        return run("show entries").reply.json()["entries"][0]["read back"];
    };
    EXPECT_EQ("group 10", readBack());
    const auto member = driver.handles().member(RuxTable::RuxMemberId(3)).value();
    ASSERT_EQ(0u, pd.p4_pd_velmor_switch_lagGroup_modify_entry(
                      pd.sessionId(), driver.helper().deviceId(), handle, member));
    EXPECT_EQ("member 3", readBack());
    driver.handles().memberDel(RuxTable::RuxMemberId(3));
    EXPECT_EQ("group 0", readBack()); // of neither
    driver.handles().memberIs(RuxTable::RuxMemberId(3), RuxTable::RuxSdkMemberHandle(member));
    good("fault lagGroup_get_entry nth 1 status 3 always");
    EXPECT_TRUE(run("show entries").reply.json()["entries"][0]["read back"].is_null());
}

} // namespace
} // namespace LagAgent
