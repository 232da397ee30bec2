#include "agent/command/Grammar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

#include "agent/command/Commands.h"
#include "agent/outcome/Errors.h"
#include "agent/outcome/Text.h"

namespace LagAgent {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string complaint(const std::string& line) {
    try {
        commandGrammar().parse(wordsOf(line));
    } catch (const CommandError& e) {
        EXPECT_EQ(ErrorKind::usage, e.kind());
        return e.what();
    }
    ADD_FAILURE() << line << " is a command";
    return {};
}

Arguments arguments(const std::string& line) {
    return commandGrammar().parse(wordsOf(line)).arguments;
}

std::vector<std::string> continuations(const std::string& line) {
    return commandGrammar().continuations(wordsOf(line));
}

TEST(Words, AreWhatStandsBetweenBlanksBeforeAComment) {
    EXPECT_THAT(wordsOf("  show\tmembers \r"), ElementsAre("show", "members"));
    EXPECT_THAT(wordsOf("show # members"), ElementsAre("show"));
    EXPECT_THAT(wordsOf("a#b"), ElementsAre("a#b"));
    EXPECT_TRUE(wordsOf("# nothing").empty());
    EXPECT_TRUE(wordsOf("").empty());
}

TEST(Grammar, ReadsDecimalAndHexadecimalNumbers) {
    EXPECT_EQ(17u, arguments("member del 17").number("id"));
    EXPECT_EQ(0xabcdefu, arguments("member del 0xABCdef").number("id"));
    EXPECT_EQ(0xffffffffu, arguments("member del 0xffffffff").number("id"));
    EXPECT_EQ(4294967295u, arguments("member del 4294967295").number("id"));
}

TEST(Grammar, RefusesWhatIsNoNumberOfItsRange) {
    EXPECT_THAT(complaint("member del 4294967296"), HasSubstr("out of range (0 to 4294967295)"));
    EXPECT_THAT(complaint("member del 0x100000000"), HasSubstr("out of range"));
    EXPECT_THAT(complaint("member add 1 action setLagPort port 65536"),
                HasSubstr("port '65536' is out of range (0 to 65535)"));
    EXPECT_THAT(complaint("group add 1 size 0 initial 1 action setLagPort"),
                HasSubstr("size '0' is out of range (1 to 65535)"));
    EXPECT_THAT(complaint("flows value 1 count 1000001"), HasSubstr("out of range (1 to 1000000)"));
    for (const char* word : {"-1", "+1", "1x", "0x", "x", "1.5", "0x-1", "''"}) {
        EXPECT_THAT(complaint(std::string("member del ") + word), HasSubstr("is not a number"))
            << word;
    }
}

TEST(Grammar, OptionalPartsMayBeLeftOut) {
    EXPECT_FALSE(arguments("member add 1 action setTunnelInfo").has("port"));
    EXPECT_EQ(7u, arguments("member add 1 action setLagPort port 7").number("port"));
    EXPECT_EQ(3u, arguments("entry set value 1 mask 2 priority 3 group 4").number("priority"));
    const auto without = arguments("entry set value 1 mask 2 group 4");
    EXPECT_FALSE(without.has("priority"));
    EXPECT_EQ("group", without.word("target"));
    EXPECT_EQ(4u, without.number("id"));
}

TEST(Grammar, NamesTheLikelyWord) {
    EXPECT_THAT(complaint("member add 1 action setLagPort prot 2"),
                HasSubstr("unknown keyword 'prot' (did you mean 'port'?)"));
    EXPECT_THAT(complaint("mebmer add 1"), HasSubstr("unknown command 'mebmer' (did you mean "
                                                     "'member'?)"));
    EXPECT_THAT(complaint("member add 1 action setlagport"), HasSubstr("unknown action"));
    EXPECT_THAT(complaint("xyzzy"), Not(HasSubstr("did you mean")));
}

TEST(Grammar, TakesNoAbbreviations) {
    EXPECT_THAT(complaint("mem del 1"), HasSubstr("did you mean 'member'?"));
    EXPECT_THAT(complaint("show mem"), HasSubstr("did you mean 'members'?"));
}

TEST(Grammar, SaysWhatIsMissingAndWhatIsTooMuch) {
    EXPECT_THAT(complaint("member add 1"),
                HasSubstr("incomplete command: give action after 'member add 1'"));
    EXPECT_THAT(complaint("entry set"), HasSubstr("give value or default after 'entry set'"));
    EXPECT_THAT(complaint("quit now"), HasSubstr("nothing may follow after 'quit', but there is "
                                                 "'now'"));
}

TEST(Grammar, ShowsStrangeBytesHarmlessly) {
    const std::string text = complaint("\x1b[31m\xff");
    EXPECT_THAT(text, HasSubstr("\\x1b[31m\\xff"));
    EXPECT_THAT(complaint(std::string(10000, 'a')).size(), testing::Lt(300u));
}

TEST(Grammar, CompletesWordsAndChoices) {
    EXPECT_THAT(continuations("member"), ElementsAre("add", "set", "del"));
    EXPECT_THAT(continuations("member add 1 action"), Contains("setTunnelInfo"));
    EXPECT_THAT(continuations("member add 1 action setLagPort"), ElementsAre("port"));
    EXPECT_THAT(continuations("entry set value 1 mask 1"),
                ElementsAre("priority", "member", "group"));
    EXPECT_THAT(continuations("group member set 1 2"), ElementsAre("active", "inactive"));
    EXPECT_THAT(continuations("show"), Contains("calls"));
    EXPECT_TRUE(continuations("nonsense").empty());
    EXPECT_TRUE(continuations("quit").empty());
}

TEST(Grammar, OperationsMayBeGivenByTheirFullNames) {
    EXPECT_EQ(arguments("fault lagGroup_add_entry nth 1 status 1 once").number("operation"),
              arguments("fault p4_pd_velmor_switch_lagGroup_add_entry nth 1 status 1 once")
                  .number("operation"));
    EXPECT_THAT(complaint("fault lagGroup_ad_entry nth 1 status 1 once"),
                HasSubstr("did you mean 'lagGroup_add_entry'?"));
}

TEST(Commands, EachHasItsHelp) {
    std::set<std::string> patterns;
    for (const Command& command : commandTable()) {
        EXPECT_TRUE(patterns.insert(command.pattern).second) << command.pattern;
        EXPECT_TRUE(std::visit([](auto run) { return run != nullptr; }, command.run))
            << command.pattern;
        EXPECT_FALSE(std::string(command.help).empty()) << command.pattern;
    }
    EXPECT_EQ(commandTable().size(), commandGrammar().commandsOf({}).size());
    EXPECT_EQ(3u, commandGrammar().commandsOf({"group", "member"}).size());
    EXPECT_TRUE(commandGrammar().commandsOf({"nothing"}).empty());
}

} // namespace
} // namespace LagAgent
