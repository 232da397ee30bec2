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
          R"({"run":"a","complete":"a"})", "{\"run\":\"\xff\"}", R"({"run":"\u0100"})",
          R"({"run":"\ud83d\ude00"})", R"({"run":"show"} x)"}) {
        EXPECT_NE("", complaint([&] { Wire::requestOf(text); })) << text;
    }
    const std::string deep = "{\"run\":" + std::string(60'000, '[');
    EXPECT_NE("", complaint([&] { Wire::requestOf(deep); }));
    EXPECT_NE("", complaint([&] { Wire::requestOf(deep + std::string(60'000, ']') + "}"); }));
}

TEST(Wire, MembersThatAreNotKnownAreIgnored) {
    EXPECT_EQ("show", Wire::requestOf(R"({"run":"show","color":true})").line);
}

TEST(Wire, AnswerComesBackWhole) {
    Wire::Answer answer;
    answer.outcome.reply = Reply({{"z", 1}, {"a", {{{"big", 4294967295}}}}}, "two\nlines\n");
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
    answer.outcome.reply = Reply(Json::object(), "\xff");
    EXPECT_EQ("\xef\xbf\xbd", Wire::answerOf(Wire::encode(answer).whole()).outcome.reply.text());
}

TEST(Wire, WhatIsNoAnswerIsRefused) {
    for (
        const char* text :
        {"", "[]", R"({"result":1})", R"({"text":1})", R"({"error":1})",
         R"({"error":{"kind":"usage"}})", R"({"error":{"kind":"strange","message":"m"}})",
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
    EXPECT_EQ("there is a daemon of another protocol",
              complaint([] { Wire::readHello(R"({"hello":"lag-agent","protocol":2})"); }));
    EXPECT_EQ("there is a daemon of another protocol",
              complaint([] { Wire::readHello(R"({"hello":"other","protocol":1})"); }));
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
