#include <gtest/gtest.h>

#include <sstream>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::messageOf;
using Kel::String;

enum class Colour : Kel::U32 { red, green, blue };

constexpr const char* kNames[] = {"red", "green", "blue"};
constexpr Kel::EnumType<Kel::U32> kColours("Test::Colour", kNames);
constexpr Kel::Type kColourType = Kel::GenericIfEnumMethods<Kel::U32>::type<Colour, &kColours>();

Kel::U32 parse(const String& text) {
    String::IteratorConst it = text.begin();
    return kColours.sequenceToValue(it, text.end());
}

TEST(EnumType, AnInstanceIsMadeByNumberOrByString) {
    EXPECT_EQ(kColours.size(), 3u);
    EXPECT_EQ(kColours.instance(2), 2u);
    EXPECT_EQ(kColours.instance(String("green")), 1u);
    EXPECT_EQ(kColours.stringValue(0), "red");
}

TEST(EnumType, WhatIsNoEnumeratorCannotBeMade) {
    EXPECT_EQ(messageOf<Kel::RangeException>([] { kColours.instance(3); }),
              "Test::Colour has no enumerator 3");
    EXPECT_EQ(messageOf<Kel::RangeException>([] { kColours.instance(4294967295u); }),
              "Test::Colour has no enumerator 4294967295");
    EXPECT_EQ(messageOf<Kel::RangeException>([] { kColours.instance(String("Green")); }),
              "Test::Colour has no enumerator 'Green'");
    EXPECT_EQ(messageOf<Kel::RangeException>([] { kColours.stringValue(3); }),
              "Test::Colour has no enumerator 3");
}

TEST(EnumType, TheValueStringNamesTypeAndEnumerator) {
    EXPECT_EQ(kColours.valueToStrep(1), "Value('Test::Colour', 'green')");
    EXPECT_EQ(kColours.valueToStrep(3), "Value('Test::Colour', 3)");
}

TEST(EnumType, AValueStringIsReadBack) {
    for (Kel::U32 value = 0; value < kColours.size(); ++value) {
        EXPECT_EQ(parse(kColours.valueToStrep(value)), value);
    }
    const String text = "Value('Test::Colour', 'blue'), rest";
    String::IteratorConst it = text.begin();
    EXPECT_EQ(kColours.sequenceToValue(it, text.end()), 2u);
    EXPECT_EQ(String(std::string_view(it)), ", rest");
}

TEST(EnumType, TextThatIsNoValueStringIsRefused) {
    EXPECT_EQ(messageOf<Kel::ParseException>([] { parse("blue"); }),
              "expected \"Value('\" at 'blue'");
    EXPECT_EQ(messageOf<Kel::ParseException>([] { parse("Value('Other', 'blue')"); }),
              "expected \"Test::Colour\" at 'Other', 'blue')'");
    EXPECT_EQ(messageOf<Kel::ParseException>([] { parse("Value('Test::Colour', 'blue'"); }),
              "expected \"')\" at '''");
    EXPECT_EQ(messageOf<Kel::ParseException>([] { parse("Value('Test::Colour', 'blu"); }),
              "expected \"')\" at ''");
    EXPECT_EQ(messageOf<Kel::ParseException>([] { parse("Value('Test::Colour', 3)"); }),
              "expected \"', '\" at '', 3)'");
    EXPECT_EQ(messageOf<Kel::RangeException>([] { parse("Value('Test::Colour', 'pink')"); }),
              "Test::Colour has no enumerator 'pink'");
}

TEST(EnumType, AStreamGetsTheEnumeratorOrTheNumber) {
    std::ostringstream out;
    kColours.operatorLessLess(out, 2) << ' ';
    kColours.operatorLessLess(out, 7);
    EXPECT_EQ(out.str(), "blue 7");
}

TEST(EnumType, TheTypeRecordServesComparisonsAndTheValueString) {
    EXPECT_STREQ(kColourType.name, "Test::Colour");
    EXPECT_EQ(kColourType.kind, Kel::Type::Kind::enumeration);
    EXPECT_TRUE(kColourType.hashable);
    EXPECT_EQ(kColourType.enumeration, &kColours);
    Colour blue = Colour::blue;
    Colour red = Colour::red;
    EXPECT_EQ(kColourType.valueString(&blue), "Value('Test::Colour', 'blue')");

    bool result = true;
    const void* arguments[] = {&blue};
    const auto perform = [&](Colour& value, Kel::Operation operation) {
        return kColourType.genericIf(&value, &result, nullptr, operation, arguments);
    };
    EXPECT_EQ(perform(blue, Kel::Operation::isDefault), 0);
    EXPECT_FALSE(result);
    EXPECT_EQ(perform(red, Kel::Operation::isDefault), 0);
    EXPECT_TRUE(result);
    EXPECT_EQ(perform(red, Kel::Operation::isEqual), 0);
    EXPECT_FALSE(result);
    EXPECT_EQ(perform(blue, Kel::Operation::isEqual), 0);
    EXPECT_TRUE(result);
    EXPECT_EQ(perform(blue, Kel::Operation::read), 1);
    const Kel::Attribute attribute{.name = "x", .id = 2};
    EXPECT_EQ(kColourType.genericIf(&blue, &result, &attribute, Kel::Operation::read, nullptr), 2);
}

} // namespace
