#include "agent/wire/LineBuffer.h"

#include <gtest/gtest.h>

namespace LagAgent {
namespace {

TEST(LineBuffer, CutsAtLineEndsHoweverTheBytesCome) {
    LineBuffer buffer(10);
    buffer.add("on");
    EXPECT_FALSE(buffer.hasLine());
    EXPECT_FALSE(buffer.next());
    buffer.add("e\ntwo\n\nthr");
    EXPECT_EQ("one", buffer.next()->text);
    EXPECT_EQ("two", buffer.next()->text);
    EXPECT_EQ("", buffer.next()->text);
    EXPECT_FALSE(buffer.hasLine());
    buffer.add("ee\n");
    EXPECT_EQ("three", buffer.next()->text);
}

TEST(LineBuffer, LineOfTheLongestLengthIsWhole) {
    LineBuffer buffer(4);
    buffer.add("1234\n");
    const auto line = buffer.next();
    EXPECT_EQ("1234", line->text);
    EXPECT_FALSE(line->isTooLong);
}

TEST(LineBuffer, OfALongerLineNothingIsKeptAndTheNextIsWhole) {
    for (const char* text : {"12345\nnext\n", "1234567890123\nnext\n"}) {
        for (const std::size_t step : {1, 3, 100}) {
            LineBuffer buffer(4);
            const std::string_view bytes = text;
            for (std::size_t at = 0; at < bytes.size(); at += step) {
                buffer.add(bytes.substr(at, step));
            }
            const auto line = buffer.next();
            EXPECT_TRUE(line->isTooLong) << text << step;
            EXPECT_EQ("", line->text);
            const auto after = buffer.next();
            EXPECT_FALSE(after->isTooLong);
            EXPECT_EQ("next", after->text);
        }
    }
}

} // namespace
} // namespace LagAgent
