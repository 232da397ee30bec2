#include "agent/wire/Wire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace LagAgent {
namespace {

using testing::HasSubstr;

std::string complaint(const std::function<void()>& work) {
    try {
        work();
    } catch (const CommandError& e) {
        EXPECT_EQ(ErrorKind::connection, e.kind());
        return e.what();
    }
    return "";
}

TEST(Wire, CommandLineComesBackByteForByte) {
    std::string line = "show ";
    for (int byte = 0; byte < 256; ++byte) {
        line += static_cast<char>(byte);
    }
    const std::string sent = Wire::encode(Wire::Request{line});
    EXPECT_EQ(sent.size() - 1, sent.find('\n'));
    EXPECT_EQ(line, Wire::requestOf(sent).line);
}

TEST(Wire, EndOfAScriptIsARequestWithoutALine) {
    EXPECT_EQ("{\"end\":true}\n", Wire::encode(Wire::Request{}));
    EXPECT_FALSE(Wire::requestOf("{\"end\":true}").line);
}

TEST(Wire, BeginningOfALineComesBackByteForByteToo) {
    const std::string sent = Wire::encode(Wire::Request{.begun = "show \xe9"});
    EXPECT_EQ("{\"complete\":\"show \xc3\xa9\"}\n", sent);
    EXPECT_EQ("show \xe9", Wire::requestOf(sent).begun);
    EXPECT_FALSE(Wire::requestOf(sent).line);
}

TEST(Wire, ContinuationsAreWordsInTheirOrder) {
    Wire::Answer answer;
    answer.continuations = {"set", "add", "del"};
    const std::string sent = Wire::encode(answer).whole();
    EXPECT_EQ("{\"continuations\":[\"set\",\"add\",\"del\"]}\n", sent);
    EXPECT_EQ(answer.continuations, Wire::answerOf(sent).continuations);
    for (const char* text : {R"({"continuations":"set"})", R"({"continuations":["set",1]})"}) {
        EXPECT_NE("", complaint([&] { Wire::answerOf(text); })) << text;
    }
}

TEST(Wire, WhatIsNoRequestIsRefused) {
    EXPECT_EQ("what was received is no JSON object", complaint([] { Wire::requestOf("show"); }));
    for (const char* text :
         {"", "{", "[]", "1", "null", "{}", R"({"run":1})", R"({"run":null})", R"({"end":false})",
          R"({"end":1})", R"({"run":"show","end":true})", R"({"line":"show"})", R"({"complete":1})",
          R"({"run":"show","calls":1})", R"({"run":"a","complete":"a"})", "{\"run\":\"\xff\"}",
          R"({"run":"\u0100"})", R"({"run":"\ud83d\ude00"})", R"({"run":"show"} x)"}) {
        EXPECT_NE("", complaint([&] { Wire::requestOf(text); })) << text;
    }
    const std::string deep = "{\"run\":" + std::string(60'000, '[');
    EXPECT_NE("", complaint([&] { Wire::requestOf(deep); }));
    EXPECT_NE("", complaint([&] { Wire::requestOf(deep + std::string(60'000, ']') + "}"); }));
}

TEST(Wire, WhatIsNestedDeeplyIsRefused) {
    const auto nested = [](std::size_t depth) {
        return R"({"parts":[{"name":"x","text":"","value":)" + std::string(depth, '[') +
               std::string(depth, ']') + "}]}";
    };
    EXPECT_EQ("", complaint([&] { Wire::answerOf(nested(20)); }));
    for (const std::size_t depth : {40, 200'000}) {
        EXPECT_EQ("what was received is nested too deeply",
                  complaint([&] { Wire::answerOf(nested(depth)); }));
    }
}

TEST(Wire, MembersThatAreNotKnownAreIgnored) {
    EXPECT_EQ("show", Wire::requestOf(R"({"run":"show","color":true})").line);
}

TEST(Wire, AnswerComesBackWhole) {
    Wire::Answer answer;
    answer.outcome.reply.add("z", 1, "");
    answer.outcome.reply.add("a", Json::array({{{"big", 4294967295}}}), "two\nlines\n");
    answer.outcome.error = Error{ErrorKind::table, "no", "Class", "function", 9};
    answer.outcome.expectedError = Error{ErrorKind::refused, "yes"};
    answer.outcome.calls = {{0, "operation", 3, "operation() -> 3"}};
    answer.isOver = true;
    const std::string sent = Wire::encode(answer).whole();
    EXPECT_EQ(sent.size() - 1, sent.find('\n'));
    const auto received = Wire::answerOf(sent);
    EXPECT_EQ(R"({"z":1,"a":[{"big":4294967295}]})", received.outcome.reply.json().dump());
    EXPECT_EQ("two\nlines\n", received.outcome.reply.text());
    EXPECT_EQ("Class: no (status 9)", received.outcome.error->text());
    EXPECT_EQ("function", received.outcome.error->function);
    EXPECT_EQ(ErrorKind::table, received.outcome.error->kind);
    EXPECT_EQ("yes", received.outcome.expectedError->text());
    ASSERT_EQ(1u, received.outcome.calls.size());
    EXPECT_EQ("operation", received.outcome.calls[0].operation);
    EXPECT_EQ(3u, received.outcome.calls[0].status);
    EXPECT_EQ("operation() -> 3", received.outcome.calls[0].text);
    EXPECT_TRUE(received.isOver);
}

TEST(Wire, RequestSaysWhetherItWantsThePdCalls) {
    const std::string sent = Wire::encode({.line = "show", .calls = WantedCalls::all});
    EXPECT_EQ("{\"run\":\"show\",\"calls\":true}\n", sent);
    EXPECT_EQ(WantedCalls::all, Wire::requestOf(sent).calls);
    EXPECT_EQ("{\"run\":\"show\"}\n", Wire::encode({.line = "show"}));
    EXPECT_EQ(WantedCalls::none, Wire::requestOf(R"({"run":"show"})").calls);
    EXPECT_EQ(WantedCalls::none, Wire::requestOf(R"({"run":"show","calls":false})").calls);
}

TEST(Wire, TableComesBackWithItsRowsAndReadsTheSame) {
    Listing listing({"number", "hex", "flag", "text", "ids", "none"});
    listing.add({std::uint64_t{1} << 40, Hex{255}, true, "a \"b\"", Ids{1, 22}, {}});
    Wire::Answer answer;
    answer.outcome.reply.add("things", std::move(listing), "all things:\n");
    Listing log({"number", "text"});
    log.linesAre({1});
    log.add({7u, "said"});
    answer.outcome.reply.add("log", std::move(log));
    const std::string sent = Wire::encode(answer).whole();
    EXPECT_EQ(R"({"parts":[{"name":"things","title":"all things:\n","columns":["number","hex",)"
              R"("flag","text","ids","none"],"rows":[[1099511627776,{"hex":255},true,"a \"b\"",)"
              R"([1,22],null]]},{"name":"log","title":"log:\n","columns":["number","text"],)"
              R"("lines":[1],"rows":[[7,"said"]]}]})"
              "\n",
              sent);
    const Reply received = Wire::answerOf(sent).outcome.reply;
    EXPECT_EQ(answer.outcome.reply.text(), received.text());
    EXPECT_EQ(answer.outcome.reply.jsonPieces().whole(), received.jsonPieces().whole());
    EXPECT_EQ(sent, Wire::encode({.outcome = {.reply = received}}).whole());
}

TEST(Wire, PartThatMakesNoSenseIsRefused) {
    for (const char* part :
         {"1",
          "{}",
          R"({"name":"n"})",
          R"({"name":"n","text":"t"})",
          R"({"name":1,"text":""})",
          R"({"name":"n","text":1})",
          R"({"name":"n","columns":["c"],"rows":[]})",
          R"({"name":"n","title":"t","columns":["c"]})",
          R"({"name":"n","title":"t","columns":[1],"rows":[]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[1]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[[]]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[[1,2]]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[[-1]]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[[0.5]]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[[{}]]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[[{"hex":4294967296}]]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[[["1"]]]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[],"lines":[1]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[],"lines":["c"]})",
          R"({"name":"n","title":"t","columns":["c"],"rows":[],"lines":0})"}) {
        const std::string answer = std::string("{\"parts\":[") + part + "]}";
        EXPECT_NE("", complaint([&] { Wire::answerOf(answer); })) << part;
    }
}

TEST(Wire, AnswerWithNothingToSayIsEmpty) {
    EXPECT_EQ("{}\n", Wire::encode(Wire::Answer{}).whole());
    const auto answer = Wire::answerOf("{}");
    EXPECT_FALSE(answer.outcome.error);
    EXPECT_FALSE(answer.outcome.expectedError);
    EXPECT_FALSE(answer.isOver);
    EXPECT_EQ("", answer.outcome.reply.text());
    EXPECT_EQ("{}", answer.outcome.reply.json().dump());
}

TEST(Wire, BytesOfAnAnswerThatAreNoUtf8AreReplaced) {
    Wire::Answer answer;
    answer.outcome.reply.add("said", true, "\xff");
    EXPECT_EQ("\xef\xbf\xbd", Wire::answerOf(Wire::encode(answer).whole()).outcome.reply.text());
}

TEST(Wire, WhatIsNoAnswerIsRefused) {
    for (
        const char* text :
        {"", "[]", R"({"parts":1})", R"({"error":1})", R"({"error":{"kind":"usage"}})",
         R"({"error":{"kind":"strange","message":"m"}})",
         R"({"error":{"kind":"table","message":"m","status":9}})",
         R"({"error":{"kind":"table","message":"m","class":"c","function":"f","status":-1}})",
         R"({"error":{"kind":"table","message":"m","class":"c","function":"f","status":4294967296}})",
         R"({"expectedError":[]})", R"({"calls":{}})", R"({"calls":[1]})",
         R"({"calls":[{"operation":"o","status":"0","call":"c"}]})"}) {
        EXPECT_NE("", complaint([&] { Wire::answerOf(text); })) << text;
    }
}

TEST(Wire, HelloIsOfThisProtocolOrSaysWhyNot) {
    EXPECT_EQ("", complaint([] { Wire::readHello(Wire::hello()); }));
    EXPECT_EQ("the daemon speaks protocol 1, and this program protocol 2: use lagctl and lag-agent "
              "of one version",
              complaint([] { Wire::readHello(R"({"hello":"lag-agent","protocol":1})"); }));
    EXPECT_EQ("there is another service",
              complaint([] { Wire::readHello(R"({"hello":"other","protocol":2})"); }));
    EXPECT_NE("", complaint([] { Wire::readHello("220 mail"); }));
    EXPECT_EQ("go away", complaint([] {
                  Wire::readHello(R"({"error":{"kind":"connection","message":"go away"}})");
              }));
}

TEST(Wire, EveryKindOfErrorComesBack) {
    for (int i = 0; i <= static_cast<int>(ErrorKind::internal); ++i) {
        Wire::Answer answer;
        answer.outcome.error = Error{static_cast<ErrorKind>(i), "m"};
        const auto back = Wire::answerOf(Wire::encode(answer).whole());
        EXPECT_EQ(static_cast<ErrorKind>(i), back.outcome.error->kind);
    }
}

} // namespace
} // namespace LagAgent
