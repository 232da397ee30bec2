#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::Gadget;
using framework_test::messageOf;
using framework_test::Widget;
using Kel::String;

/// A text to parse, and how far the parser came.
struct Input {
    explicit Input(String s) : text(std::move(s)), it(text.begin()) {}

    Kel::U32 number() { return Kel::deserializeAttr<Kel::U32>(it, text.end(), "count"); }
    bool boolean() { return Kel::deserializeAttr<bool>(it, text.end(), "active"); }
    Kel::Ptr<Kel::PtrInterface const> pointer(const Kel::Type* type = nullptr) {
        return Kel::sequenceToValueOfPtr(it, text.end(), type);
    }
    String rest() const {
        return String(std::string_view(it, static_cast<std::size_t>(text.end() - it)));
    }

    String text;
    String::IteratorConst it;
};

std::string numberError(const char* text) {
    return messageOf<Kel::RangeException>([&] { Input(text).number(); });
}
std::string boolError(const char* text) {
    return messageOf<Kel::RangeException>([&] { Input(text).boolean(); });
}
std::string pointerError(const String& text) {
    return messageOf<Kel::RangeException>([&] { Input(text).pointer(); });
}

TEST(PointerString, OfAnObjectThatNobodyCountsIsNotReadBack) {
    const Widget onTheStack;
    const String text = Kel::valueToStrepOfRawPtr(&onTheStack);
    EXPECT_THROW(Input(text).pointer(), Kel::RangeException);
    EXPECT_EQ(onTheStack.kelReferenceCount(), 0u);
}

TEST(ValueString, BooleansReadTrueAndFalse) {
    EXPECT_EQ(Kel::valueToStrep(true), "True");
    EXPECT_EQ(Kel::valueToStrep(false), "False");
}

TEST(ValueString, NumbersReadAsPlainDigits) {
    EXPECT_EQ(Kel::valueToStrep(0ull), "0");
    EXPECT_EQ(Kel::valueToStrep(std::numeric_limits<unsigned long long>::max()),
              "18446744073709551615");
    EXPECT_EQ(Kel::valueToStrep(std::numeric_limits<Kel::U64>::max()), "18446744073709551615");
    EXPECT_EQ(Kel::valueToStrep(std::numeric_limits<Kel::U32>::max()), "4294967295");
}

TEST(ValueString, NeedStringConsumesExactlyTheLiteral) {
    Input input("Value('x'");
    Kel::needString(input.it, input.text.end(), "Value(");
    EXPECT_EQ(input.rest(), "'x'");
    Kel::needString(input.it, input.text.end(), "");
    EXPECT_EQ(input.rest(), "'x'");
    EXPECT_EQ(
        messageOf<Kel::ParseException>([&] { Kel::needString(input.it, input.text.end(), "'y'"); }),
        "expected \"'y'\" at ''x''");
    EXPECT_EQ(messageOf<Kel::ParseException>(
                  [&] { Kel::needString(input.it, input.text.end(), "'x','"); }),
              "expected \"'x','\" at ''x''");
}

TEST(ValueString, NeedStringThrowsAClassOfItsOwn) {
    Input input("a");
    EXPECT_THROW(
        {
            try {
                Kel::needString(input.it, input.text.end(), "b");
            } catch (const Kel::RangeException&) {
                ADD_FAILURE() << "a missing literal is no RangeException";
            }
        },
        Kel::ParseException);
}

TEST(ValueString, AMessageQuotesNoMoreOfTheTextThanFitsOne) {
    Input input(String(std::string(1000, 'x')));
    EXPECT_EQ(
        messageOf<Kel::ParseException>([&] { Kel::needString(input.it, input.text.end(), "y"); }),
        "expected \"y\" at '" + std::string(40, 'x') + "'");
}

TEST(ValueString, ANumberIsReadUpToTheFirstOtherByte) {
    Input input("4294967295, 'x'");
    EXPECT_EQ(input.number(), 4294967295u);
    EXPECT_EQ(input.rest(), ", 'x'");
    EXPECT_EQ(Input("0").number(), 0u);
    EXPECT_EQ(Input("00000000000000000007").number(), 7u);
}

TEST(ValueString, ANumberThatDoesNotFitNamesTheAttribute) {
    EXPECT_EQ(numberError("4294967296"), "attribute 'count': number out of range at '4294967296'");
    EXPECT_EQ(numberError("99999999999999999999999"),
              "attribute 'count': number out of range at '99999999999999999999999'");
}

TEST(ValueString, ATextWithoutANumberNamesTheAttribute) {
    EXPECT_EQ(numberError(""), "attribute 'count': no number at ''");
    EXPECT_EQ(numberError("-1"), "attribute 'count': no number at '-1'");
    EXPECT_EQ(numberError("+1"), "attribute 'count': no number at '+1'");
    EXPECT_EQ(numberError(" 1"), "attribute 'count': no number at ' 1'");
    EXPECT_EQ(numberError("x1"), "attribute 'count': no number at 'x1'");
}

TEST(ValueString, HexadecimalIsNoNumberForm) {
    Input input("0x10");
    EXPECT_EQ(input.number(), 0u);
    EXPECT_EQ(input.rest(), "x10");
}

TEST(ValueString, ABooleanIsReadUpToItsLastLetter) {
    Input yes("True)");
    EXPECT_TRUE(yes.boolean());
    EXPECT_EQ(yes.rest(), ")");
    Input no("False");
    EXPECT_FALSE(no.boolean());
    EXPECT_EQ(no.rest(), "");
}

TEST(ValueString, ATextThatIsNoBooleanNamesTheAttribute) {
    EXPECT_EQ(boolError("true"), "attribute 'active': neither True nor False at 'true'");
    EXPECT_EQ(boolError("1"), "attribute 'active': neither True nor False at '1'");
    EXPECT_EQ(boolError("Tru"), "attribute 'active': neither True nor False at 'Tru'");
    EXPECT_EQ(boolError(""), "attribute 'active': neither True nor False at ''");
}

TEST(ValueString, ARangeExceptionIsGivenTheAttributeByRethrowing) {
    EXPECT_EQ(messageOf<Kel::RangeException>([] {
                  Kel::rethrowFromDeserializeAttr(Kel::RangeException("too large"), "port");
              }),
              "attribute 'port': too large");
}

TEST(ValueString, TextBehindTheValueIsRefused) {
    const String text = "12 ";
    EXPECT_EQ(messageOf<Kel::ParseException>([&] { Kel::strepToValueEnd(text, text.begin() + 2); }),
              "text after the end of the value: ' '");
    EXPECT_NO_THROW(Kel::strepToValueEnd(text, text.end()));
}

TEST(ValueString, ANullPointerReadsNone) {
    EXPECT_EQ(Kel::valueToStrepOfRawPtr(nullptr), "None");
    Input input("None,");
    EXPECT_EQ(input.pointer(&Widget::fwkType_), nullptr);
    EXPECT_EQ(input.rest(), ",");
}

TEST(ValueString, APointerReadsAsTypeAndNumberAndIsFoundAgain) {
    const Widget::Ptr widget = new Widget;
    const String text = Kel::valueToStrepOfRawPtr(widget.ptr());
    EXPECT_TRUE(std::string(text.charPtr()).starts_with("Ptr('Test::Widget', "));
    EXPECT_EQ(Kel::valueToStrepOfRawPtr(widget.ptr()), text);
    Input input(text + "]");
    EXPECT_EQ(input.pointer(), widget);
    EXPECT_EQ(input.rest(), "]");
}

TEST(ValueString, PrintingAPointerTakesNoReference) {
    const Widget::Ptr widget = new Widget;
    static_cast<void>(Kel::valueToStrepOfRawPtr(widget.ptr()));
    EXPECT_EQ(widget->kelReferenceCount(), 1u);
}

/// The number under which the object is printed.
Kel::U32 numberOf(const Kel::PtrInterface* object) {
    const std::string text = Kel::valueToStrepOfRawPtr(object).charPtr();
    return static_cast<Kel::U32>(std::stoul(text.substr(text.rfind(' ') + 1)));
}

String pointerText(const char* type, unsigned long number) {
    return Kel::format("Ptr('%s', %lu)", type, number);
}

TEST(ValueString, EveryPrintedObjectHasANumberOfItsOwnThatIsNotUsedAgain) {
    Widget::Ptr a = new Widget;
    const Widget::Ptr b = new Widget;
    const Kel::U32 numberOfA = numberOf(a.ptr());
    EXPECT_EQ(numberOf(b.ptr()), numberOfA + 1);
    a = nullptr;
    const Widget::Ptr c = new Widget;
    EXPECT_EQ(numberOf(c.ptr()), numberOfA + 2);
}

TEST(ValueString, TheNumberOfADeadObjectIsUnknown) {
    Widget::Ptr widget = new Widget;
    const Kel::U32 number = numberOf(widget.ptr());
    widget = nullptr;
    EXPECT_EQ(pointerError(pointerText("Test::Widget", number)),
              "no live object has number " + std::to_string(number));
}

TEST(ValueString, AnObjectIsUnknownAsSoonAsItBeginsToDie) {
    Widget::Ptr widget = new Widget;
    const String text = Kel::valueToStrepOfRawPtr(widget.ptr());
    std::string error;
    widget->whileDying = [&](Widget&) { error = pointerError(text); };
    widget = nullptr;
    EXPECT_TRUE(error.starts_with("no live object has number ")) << error;
}

TEST(ValueString, ANumberThatWasNeverGivenIsUnknown) {
    EXPECT_EQ(pointerError("Ptr('Test::Widget', 0)"), "no live object has number 0");
    EXPECT_EQ(pointerError("Ptr('Test::Widget', 4294967295)"),
              "no live object has number 4294967295");
    EXPECT_EQ(pointerError("Ptr('Test::Widget', 4294967296)"),
              "number out of range at '4294967296)'");
}

TEST(ValueString, ANumberUnderAnotherTypeNameIsARangeError) {
    const Widget::Ptr widget = new Widget;
    const Widget::Ptr gadget = new Gadget;
    const Kel::U32 number = numberOf(widget.ptr());
    EXPECT_EQ(pointerError(pointerText("Test::Gadget", number)),
              "object " + std::to_string(number) + " is a Test::Widget, not a Test::Gadget");
    // The name is that of the object's own class, not of a base.
    const Kel::U32 ofGadget = numberOf(gadget.ptr());
    EXPECT_EQ(pointerError(pointerText("Test::Widget", ofGadget)),
              "object " + std::to_string(ofGadget) + " is a Test::Gadget, not a Test::Widget");
}

TEST(ValueString, AnObjectOfADerivedClassSatisfiesTheRequiredType) {
    const Widget::Ptr gadget = new Gadget;
    EXPECT_EQ(Input(Kel::valueToStrepOfRawPtr(gadget.ptr())).pointer(&Widget::fwkType_), gadget);
}

TEST(ValueString, AnObjectOfAnotherClassThanRequiredCannotBeConverted) {
    const Widget::Ptr widget = new Widget;
    const String text = Kel::valueToStrepOfRawPtr(widget.ptr());
    EXPECT_EQ(
        messageOf<Kel::CannotConvertException>([&] { Input(text).pointer(&Gadget::fwkType_); }),
        "the value does not denote a Test::Gadget");
    EXPECT_EQ(messageOf<Kel::CannotConvertException>(
                  [&] { Input(text + ", 1").pointer(&Gadget::fwkType_); }),
              "the value does not denote a Test::Gadget (before ', 1')");
}

TEST(ValueString, TextThatIsNoPointerIsARangeError) {
    EXPECT_EQ(pointerError(""), "no pointer at ''");
    EXPECT_EQ(pointerError("Non"), "no pointer at 'Non'");
    EXPECT_EQ(pointerError("0x7fff"), "no pointer at '0x7fff'");
    EXPECT_EQ(pointerError("Ptr('T"), "no object number at ''");
    EXPECT_EQ(pointerError("Ptr('T',1)"), "no object number at '',1)'");
    EXPECT_EQ(pointerError("Ptr('T', x)"), "no number at 'x)'");
    EXPECT_EQ(pointerError("Ptr('T', 1"), "pointer without end at ''");
}

/// Calls every parser on the text; anything but the framework's own exceptions is a failure.
void parseAll(const String& text) {
    const auto attempt = [](auto&& parse) {
        try {
            parse();
        } catch (const Kel::Exception&) {
        }
    };
    Input input(text);
    const auto end = input.text.end();
    attempt([&] { Input(text).number(); });
    attempt([&] { Input(text).boolean(); });
    attempt([&] { Input(text).pointer(&Widget::fwkType_); });
    attempt([&] { Kel::needString(input.it, end, "Ptr('"); });
    attempt([&] { Kel::strepToValueEnd(input.text, input.it); });
    ASSERT_LE(input.it, end);
}

TEST(ValueString, NoBytesHurtAParser) {
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    const Widget::Ptr widget = new Widget;
    const std::string whole = Kel::valueToStrepOfRawPtr(widget.ptr()).charPtr();
    const std::string seeds[] = {whole, "None", "True", "False", "4294967295", ""};
    for (int i = 0; i < 100'000; ++i) {
        std::string text = seeds[random() % std::size(seeds)];
        text.resize(random() % 4 == 0 ? random() % (text.size() + 4) : text.size());
        for (unsigned edits = random() % 4; edits > 0 && !text.empty(); --edits) {
            text[random() % text.size()] = static_cast<char>(random());
        }
        parseAll(String(text));
        ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", text " << i;
    }
    EXPECT_EQ(widget->kelReferenceCount(), 1u) << "seed " << seed;
}

TEST(ValueString, FormatWorksLikePrintf) {
    EXPECT_EQ(Kel::format("%s() failed: %s", "f", "Success"), "f() failed: Success");
    EXPECT_EQ(Kel::format("%03u|%-4d|%c", 7u, -2, 'x'), "007|-2  |x");
    EXPECT_EQ(Kel::format("%s", ""), "");
    const std::string longText(10'000, 'y');
    EXPECT_EQ(Kel::format("%s", longText.c_str()).size(), 10'000u);
}

TEST(StringTest, AStringHoldsAnyBytesAndIsZeroTerminated) {
    const String bytes(std::string_view("a\0b", 3));
    EXPECT_EQ(bytes.size(), 3u);
    EXPECT_EQ(bytes.end() - bytes.begin(), 3);
    EXPECT_EQ(bytes.charPtr()[3], '\0');
    EXPECT_NE(bytes, String("a"));
    EXPECT_LT(String("a"), bytes);
    EXPECT_EQ(String("a") + "b", "ab");
    EXPECT_TRUE(String().empty());
    EXPECT_EQ(Kel::Name(String("n")), Kel::Name("n"));
    EXPECT_EQ(std::hash<Kel::Name>{}(Kel::Name("n")), std::hash<String>{}(String("n")));
}

} // namespace
