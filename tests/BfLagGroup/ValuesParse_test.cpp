#include <gtest/gtest.h>

#include <optional>
#include <regex>

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "BfLagGroup/LagGroupTableValues.h"

using namespace BfLagGroup;
using Kel::CannotConvertException;
using Kel::ParseException;
using Kel::RangeException;
using Kel::strepToValue;

namespace {

using MemberOrGroup = LagGroupMemberOrGroupOrNone;

Kel::String memberOrGroupText(const char* id, const char* member) {
    return Kel::format("Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id': %s, 'member': "
                       "%s})",
                       id, member);
}

Kel::String entryText(const Kel::String& match, const Kel::String& memberOrGroup) {
    return Kel::format(
        "Value('BfLagGroup::LagGroupTableEntry', ** {'match': %s, 'memberOrGroup': %s})",
        match.charPtr(), memberOrGroup.charPtr());
}

/// A pointer value string to `object`, or one that claims that it is of another type.
Kel::String pointerText(const Kel::PtrInterface* object) {
    return Kel::valueToStrepOfRawPtr(object);
}
Kel::String pointerText(const char* type, const Kel::PtrInterface* object) {
    const std::string honest = pointerText(object).charPtr();
    return Kel::format("Ptr('%s'%s", type, honest.substr(honest.find(", ")).c_str());
}

/// The message with which reading the whole text fails; empty when it does not fail so.
template <class Exception, class Value>
std::string failure(const Kel::String& text) {
    try {
        strepToValue<Value>(text);
    } catch (const Exception& e) {
        return e.what();
    }
    return "";
}

/// How far reading gets before a literal does not match.
template <class Value>
std::size_t offsetOfMismatch(const Kel::String& text) {
    Kel::String::IteratorConst it = text.begin();
    EXPECT_THROW(Value(it, text.end()), ParseException) << text;
    return static_cast<std::size_t>(it - text.begin());
}

/// The value of the text, or nothing when the text is refused in one of the three ways.
template <class Value>
std::optional<Value> parsed(const Kel::String& text) {
    try {
        return strepToValue<Value>(text);
    } catch (const ParseException&) {
    } catch (const RangeException&) {
    } catch (const CannotConvertException&) {
    }
    return std::nullopt;
}

std::string withoutLeadingZeros(const std::string& text) {
    return std::regex_replace(text, std::regex("\\b0+([0-9])"), "$1");
}

/// Calls `visit` with the text changed at each place: every other byte there, the byte left out,
/// the byte doubled, and the text cut off before it.
template <class Visit>
void forEachMutation(const std::string& text, Visit&& visit) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = text;
            changed[at] = static_cast<char>(byte);
            if (changed != text) {
                visit(changed);
            }
        }
        visit(text.substr(0, at) + text.substr(at + 1));
        visit(text.substr(0, at + 1) + text.substr(at));
        visit(text.substr(0, at));
    }
}

/// Every mutation of the value's own string is refused, or reads as a value that prints just that
/// string. Returns how many were read.
template <class Value>
int readableMutations(const Value& value) {
    int readable = 0;
    forEachMutation(valueToStrep(value).charPtr(), [&](const std::string& text) {
        if (const auto read = parsed<Value>(Kel::String(text))) {
            ++readable;
            EXPECT_EQ(std::string(valueToStrep(*read).charPtr()), withoutLeadingZeros(text));
        }
    });
    return readable;
}

struct ValuesParse : testing::Test {
    LagGroupMatchSpec::PtrConst match = LagGroupMatchSpec::LagGroupMatchSpecIs();
};

// Member or group or none

TEST(MemberOrGroupParse, ReadsBackWhatIsPrinted) {
    for (const U32 id : {0u, 1u, 5u, 65536u, 2147483648u, 4294967295u}) {
        for (const bool member : {false, true}) {
            const MemberOrGroup value(id, member);
            EXPECT_EQ(strepToValue<MemberOrGroup>(valueToStrep(value)), value);
        }
    }
}

TEST(MemberOrGroupParse, LeavesTheIteratorBehindTheValue) {
    const Kel::String text = memberOrGroupText("12", "True") + ", more";
    Kel::String::IteratorConst it = text.begin();
    EXPECT_EQ(MemberOrGroup(it, text.end()), MemberOrGroup(12, true));
    EXPECT_EQ(std::string(it, text.end()), ", more");
}

TEST(MemberOrGroupParse, FailsAtTheLiteralThatDoesNotMatch) {
    const std::string head = "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {";
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(""), 0u);
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>("Value('BfLagGroup::LagGroupTableEntry', ** {"), 0u);
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(head), head.size());
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(head + "'id':5, 'member': True})"), head.size());
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(head + "'ids': 5, 'member': True})"), head.size());
    const std::string untilId = head + "'id': 5";
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(untilId + ",'member': True})"), untilId.size());
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(untilId + ", 'membre': True})"), untilId.size());
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(untilId + ", 'member':True})"), untilId.size());
    const std::string untilMember = untilId + ", 'member': True";
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(untilMember + "}"), untilMember.size());
    EXPECT_EQ(offsetOfMismatch<MemberOrGroup>(untilMember + " })"), untilMember.size());
}

TEST(MemberOrGroupParse, SaysWhichLiteralIsMissingAndWhatStandsThere) {
    EXPECT_EQ((failure<ParseException, MemberOrGroup>(
                  "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id':5, 'member': True})")),
              "expected \"'id': \" at ''id':5, 'member': True})'");
}

TEST(MemberOrGroupParse, NamesTheIdThatCannotBeRead) {
    const auto why = [](const char* id) {
        return failure<RangeException, MemberOrGroup>(memberOrGroupText(id, "True"));
    };
    EXPECT_EQ(why("x"), "attribute 'id': no number at 'x, 'member': True})'");
    EXPECT_EQ(why("-1"), "attribute 'id': no number at '-1, 'member': True})'");
    EXPECT_EQ(why("+1"), "attribute 'id': no number at '+1, 'member': True})'");
    EXPECT_EQ(why(" 1"), "attribute 'id': no number at ' 1, 'member': True})'");
    EXPECT_EQ(why("4294967296"),
              "attribute 'id': number out of range at '4294967296, 'member': True})'");
    EXPECT_EQ(why("99999999999999999999"),
              "attribute 'id': number out of range at '99999999999999999999, 'member': True})'");
}

TEST(MemberOrGroupParse, ReadsDecimalDigitsOnly) {
    const auto refused = [](const char* id) {
        return failure<ParseException, MemberOrGroup>(memberOrGroupText(id, "True")) != "";
    };
    EXPECT_TRUE(refused("0x10"));
    EXPECT_TRUE(refused("1e2"));
    EXPECT_TRUE(refused("1.0"));
    EXPECT_TRUE(refused("1u"));
}

TEST(MemberOrGroupParse, NamesTheMemberThatCannotBeRead) {
    const auto why = [](const char* member) {
        return failure<RangeException, MemberOrGroup>(memberOrGroupText("5", member));
    };
    EXPECT_EQ(why("true"), "attribute 'member': neither True nor False at 'true})'");
    EXPECT_EQ(why("1"), "attribute 'member': neither True nor False at '1})'");
    EXPECT_EQ(why(""), "attribute 'member': neither True nor False at '})'");
}

TEST(MemberOrGroupParse, RefusesTextAfterTheEnd) {
    EXPECT_EQ((failure<ParseException, MemberOrGroup>(memberOrGroupText("5", "True") + " ")),
              "text after the end of the value: ' '");
    EXPECT_EQ((failure<ParseException, MemberOrGroup>(memberOrGroupText("5", "True") + "})")),
              "text after the end of the value: '})'");
}

TEST(MemberOrGroupParse, RefusesEveryMutationButAnotherNumber) {
    // Two digits: each can be one of nine others, be left out, or be doubled.
    EXPECT_EQ(readableMutations(MemberOrGroup(57, true)), 2 * 9 + 2 + 2);
    EXPECT_EQ(readableMutations(MemberOrGroup(8, false)), 9 + 1);
}

TEST(MemberOrGroupParse, IsSafeOnZeroBytesWithinTheText) {
    std::string text = memberOrGroupText("5", "True").charPtr();
    text.insert(text.find("5"), 1, '\0');
    EXPECT_THROW(strepToValue<MemberOrGroup>(Kel::String(text)), RangeException);
    EXPECT_THROW(strepToValue<MemberOrGroup>(Kel::String(std::string(1000, '\0'))), ParseException);
}

// Table entry

TEST_F(ValuesParse, ReadsBackADefaultEntry) {
    EXPECT_TRUE(!strepToValue<LagGroupTableEntry>(valueToStrep(LagGroupTableEntry())));
}

TEST_F(ValuesParse, ReadsBackAnEntryWithTheVeryMatchSpecObject) {
    const LagGroupTableEntry entry(match, {4294967295u, true});
    const auto read = strepToValue<LagGroupTableEntry>(valueToStrep(entry));
    EXPECT_EQ(read.match(), match);
    EXPECT_EQ(read, entry);
}

TEST_F(ValuesParse, LeavesTheIteratorBehindTheEntry) {
    const Kel::String text = entryText("None", memberOrGroupText("3", "False")) + "rest";
    Kel::String::IteratorConst it = text.begin();
    EXPECT_EQ(LagGroupTableEntry(it, text.end()), LagGroupTableEntry(nullptr, {3, false}));
    EXPECT_EQ(std::string(it, text.end()), "rest");
}

TEST_F(ValuesParse, FailsAtTheEntryLiteralThatDoesNotMatch) {
    const std::string head = "Value('BfLagGroup::LagGroupTableEntry', ** {";
    const std::string nested = memberOrGroupText("1", "True").charPtr();
    EXPECT_EQ(offsetOfMismatch<LagGroupTableEntry>(nested), 0u);
    EXPECT_EQ(offsetOfMismatch<LagGroupTableEntry>(head + "'match':None"), head.size());
    const std::string untilMatch = head + "'match': None";
    EXPECT_EQ(offsetOfMismatch<LagGroupTableEntry>(untilMatch + ",'memberOrGroup': " + nested),
              untilMatch.size());
    EXPECT_EQ(offsetOfMismatch<LagGroupTableEntry>(untilMatch + ", 'memberorGroup': " + nested),
              untilMatch.size());
    const std::string untilNested = untilMatch + ", 'memberOrGroup': ";
    EXPECT_EQ(offsetOfMismatch<LagGroupTableEntry>(untilNested + "None})"), untilNested.size());
    EXPECT_EQ(offsetOfMismatch<LagGroupTableEntry>(untilNested + nested + "}"),
              untilNested.size() + nested.size());
}

TEST_F(ValuesParse, NamesTheMatchThatCannotBeRead) {
    const auto why = [](const Kel::String& pointer) {
        return failure<RangeException, LagGroupTableEntry>(
            entryText(pointer, memberOrGroupText("1", "True")));
    };
    EXPECT_EQ(why("none").substr(0, 41), "attribute 'match': no pointer at 'none, '");
    EXPECT_EQ(why("Ptr('BfLagGroup::LagGroupMatchSpec', 4294967295)"),
              "attribute 'match': no live object has number 4294967295");
    EXPECT_EQ(why("Ptr('BfLagGroup::LagGroupMatchSpec', 0)"),
              "attribute 'match': no live object has number 0");
    EXPECT_EQ(why("Ptr('BfLagGroup::LagGroupMatchSpec', 4294967296)").substr(0, 42),
              "attribute 'match': number out of range at ");
    EXPECT_EQ(why("Ptr('BfLagGroup::LagGroupMatchSpec', x)").substr(0, 32),
              "attribute 'match': no number at ");
    EXPECT_EQ(why("Ptr('BfLagGroup::LagGroupMatchSpec',1)").substr(0, 39),
              "attribute 'match': no object number at ");
    EXPECT_NE(why("Ptr('"), "");
}

TEST_F(ValuesParse, NamesBothAttributesOfANestedValueThatCannotBeRead) {
    const auto why = [](const char* id, const char* member) {
        return failure<RangeException, LagGroupTableEntry>(
            entryText("None", memberOrGroupText(id, member)));
    };
    EXPECT_EQ(why("x", "True"),
              "attribute 'memberOrGroup': attribute 'id': no number at 'x, 'member': True})})'");
    EXPECT_EQ(why("1", "yes"), "attribute 'memberOrGroup': attribute 'member': neither True nor "
                               "False at 'yes})})'");
}

TEST_F(ValuesParse, PassesAMismatchInTheNestedValueUnchanged) {
    const std::string why = failure<ParseException, LagGroupTableEntry>(entryText("None", "None"));
    EXPECT_EQ(why,
              "expected \"Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {\" at 'None})'");
}

TEST_F(ValuesParse, RefusesAPointerThatNamesAnotherTypeThanItsObjectHas) {
    const auto why = [this](const char* type) {
        return failure<RangeException, LagGroupTableEntry>(
            entryText(pointerText(type, match.ptr()), memberOrGroupText("1", "True")));
    };
    const std::string number = [this] {
        const std::string text = pointerText(match.ptr()).charPtr();
        const auto from = text.find(", ") + 2;
        return text.substr(from, text.size() - from - 1);
    }();
    EXPECT_EQ(why("RuxTable::MatchSpecBase"),
              "attribute 'match': object " + number +
                  " is a BfLagGroup::LagGroupMatchSpec, not a RuxTable::MatchSpecBase");
    EXPECT_EQ(why(""), "attribute 'match': object " + number +
                           " is a BfLagGroup::LagGroupMatchSpec, not a ");
}

TEST_F(ValuesParse, CannotConvertAPointerToAnotherClass) {
    const LagGroupBaseActionProfileSpec::PtrConst action = new SetLagPortActionProfileSpec;
    const Kel::String text = entryText(pointerText(action.ptr()), memberOrGroupText("1", "True"));
    EXPECT_EQ((failure<CannotConvertException, LagGroupTableEntry>(text)),
              "the value does not denote a BfLagGroup::LagGroupMatchSpec (before ', "
              "'memberOrGroup': Value('BfLagGroup::La')");
    EXPECT_EQ(action->kelReferenceCount(), 1u);
}

TEST_F(ValuesParse, ForgetsAnObjectThatHasDied) {
    auto doomed = LagGroupMatchSpec::LagGroupMatchSpecIs();
    const Kel::String text =
        valueToStrep(LagGroupTableEntry(doomed, LagGroupMemberOrGroupOrNone(1, true)));
    EXPECT_EQ(strepToValue<LagGroupTableEntry>(text).match(), doomed);
    doomed = nullptr;
    EXPECT_THROW(strepToValue<LagGroupTableEntry>(text), RangeException);
}

TEST_F(ValuesParse, KeepsNoReferenceInAnEntryThatIsPartlyRead) {
    const Kel::String pointer = pointerText(match.ptr());
    const auto live = LagGroupMatchSpec::kelAllocTrackTypeInfo_.live();
    for (const Kel::String& rest :
         {Kel::String(""), Kel::String(", 'membreOrGroup': "), Kel::String(", 'memberOrGroup': x"),
          ", 'memberOrGroup': " + memberOrGroupText("x", "True") + "})",
          ", 'memberOrGroup': " + memberOrGroupText("1", "True"),
          ", 'memberOrGroup': " + memberOrGroupText("1", "True") + "})})"}) {
        const Kel::String text =
            "Value('BfLagGroup::LagGroupTableEntry', ** {'match': " + pointer + rest;
        EXPECT_THROW(strepToValue<LagGroupTableEntry>(text), Kel::Exception) << text;
        EXPECT_EQ(match->kelReferenceCount(), 1u) << text;
    }
    EXPECT_EQ(LagGroupMatchSpec::kelAllocTrackTypeInfo_.live(), live);
}

TEST_F(ValuesParse, RefusesTextAfterTheEndOfAnEntry) {
    EXPECT_EQ(
        (failure<ParseException, LagGroupTableEntry>(valueToStrep(LagGroupTableEntry()) + "x")),
        "text after the end of the value: 'x'");
}

TEST_F(ValuesParse, RefusesEveryMutationOfAnEntryButAnotherNumber) {
    EXPECT_EQ(readableMutations(LagGroupTableEntry(nullptr, {57, true})), 2 * 9 + 2 + 2);
    // No other object has been printed and lives, so the pointer's number admits no change.
    EXPECT_EQ(readableMutations(LagGroupTableEntry(match, {8, false})), 9 + 1);
    EXPECT_EQ(match->kelReferenceCount(), 1u);
}

// Pointers to match specs

LagGroupMatchSpec::PtrConst readMatch(const Kel::String& text) {
    Kel::String::IteratorConst it = text.begin();
    auto read = sequenceToValue<LagGroupMatchSpec const>(it, text.end());
    EXPECT_EQ(it, text.end());
    return read;
}

TEST_F(ValuesParse, ReadsAPointerToAMatchSpecAndSharesTheObject) {
    const auto read = readMatch(pointerText(match.ptr()));
    EXPECT_EQ(read, match);
    EXPECT_EQ(match->kelReferenceCount(), 2u);
}

TEST_F(ValuesParse, ReadsNoneAsNull) {
    EXPECT_EQ(readMatch("None"), nullptr);
}

TEST_F(ValuesParse, RefusesAPointerWithoutAttributeNameWhenReadAlone) {
    const Kel::String text = "Ptr('BfLagGroup::LagGroupMatchSpec', 4294967295)";
    Kel::String::IteratorConst it = text.begin();
    try {
        sequenceToValue<LagGroupMatchSpec const>(it, text.end());
        FAIL() << "an unknown number was read";
    } catch (const RangeException& e) {
        EXPECT_STREQ(e.what(), "no live object has number 4294967295");
    }
}

TEST_F(ValuesParse, CannotConvertAWholePointerToAnotherClass) {
    const LagGroupBaseActionProfileSpec::PtrConst action = new SetTunnelInfoActionProfileSpec;
    const Kel::String text = pointerText(action.ptr());
    Kel::String::IteratorConst it = text.begin();
    try {
        sequenceToValue<LagGroupMatchSpec const>(it, text.end());
        FAIL() << "an action spec was read as a match spec";
    } catch (const CannotConvertException& e) {
        EXPECT_STREQ(e.what(), "the value does not denote a BfLagGroup::LagGroupMatchSpec");
    }
    EXPECT_EQ(action->kelReferenceCount(), 1u);
}

} // namespace
