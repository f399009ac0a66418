#include "server/console/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server/console/error.h"

namespace ncdm::console {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

TEST(SplitWordsTest, BlanksSeparate) {
  EXPECT_THAT(SplitWords("get  a.b\t1 \r"), ElementsAre("get", "a.b", "1"));
  EXPECT_THAT(SplitWords("   "), IsEmpty());
  EXPECT_THAT(SplitWords(""), IsEmpty());
}

TEST(SplitWordsTest, CommentsAreEmptyAndOnlyAtTheFront) {
  EXPECT_THAT(SplitWords("  # get a"), IsEmpty());
  EXPECT_THAT(SplitWords("#get a"), IsEmpty());
  EXPECT_THAT(SplitWords("set a.b #1"), ElementsAre("set", "a.b", "#1"));
}

TEST(SplitWordsTest, QuotesHoldBlanksTogether) {
  EXPECT_THAT(SplitWords(R"(set a "the lab" 'x "y"' p"q r"s)"),
              ElementsAre("set", "a", "the lab", "x \"y\"", "pq rs"));
  EXPECT_THAT(SplitWords(R"(set a "")"), ElementsAre("set", "a", ""));
  EXPECT_THAT(SplitWords(R"("a\"b\\c\nd\te" 'a\nb' c\d)"),
              ElementsAre("a\"b\\c\nd\te", "a\\nb", "c\\d"));
}

TEST(SplitWordsTest, BracketsKeepWhatIsTyped) {
  EXPECT_THAT(SplitWords(R"(create a.b[n="x ] y",m='p q',o=r s] c=d)"),
              ElementsAre("create", R"(a.b[n="x ] y",m='p q',o=r s])", "c=d"));
  EXPECT_THAT(SplitWords(R"(a["x\"]"].b)"), ElementsAre(R"(a["x\"]"].b)"));
}

TEST(SplitWordsTest, WhatIsNotClosedIsAnError) {
  EXPECT_THAT([] { SplitWords("set \"a"); },
              ThrowsMessage<CommandError>("a quote is not closed: \""));
  EXPECT_THAT([] { SplitWords("set 'a"); },
              ThrowsMessage<CommandError>("a quote is not closed: '"));
  EXPECT_THAT([] { SplitWords("get a[b=\"c]"); },
              ThrowsMessage<CommandError>("a bracket is not closed: ["));
  EXPECT_THAT([] { SplitWords("get a[b=c"); },
              ThrowsMessage<CommandError>("a bracket is not closed: ["));
}

constexpr OptionSpec kOptions[] = {{"--agent"}, {"--table", false}};

Arguments Sort(const std::vector<std::string>& words) { return SortWords("get", words, kOptions); }

TEST(SortWordsTest, OptionsMayStandAnywhere) {
  const Arguments arguments = Sort({"--agent", "x", "a.b", "--table", "1"});
  EXPECT_THAT(arguments.positional, ElementsAre("a.b", "1"));
  ASSERT_NE(arguments.Option("--agent"), nullptr);
  EXPECT_EQ(*arguments.Option("--agent"), "x");
  EXPECT_TRUE(arguments.Has("--table"));
  EXPECT_EQ(Sort({"a"}).Option("--agent"), nullptr);
}

TEST(SortWordsTest, ValuesMayFollowAnEqualsSign) {
  EXPECT_EQ(*Sort({"--agent=a=b"}).Option("--agent"), "a=b");
  EXPECT_EQ(*Sort({"--agent="}).Option("--agent"), "");
}

TEST(SortWordsTest, NegativeNumbersAreNoOptions) {
  EXPECT_THAT(Sort({"a", "-5"}).positional, ElementsAre("a", "-5"));
}

TEST(SortWordsTest, TwoDashesEndTheOptions) {
  EXPECT_THAT(Sort({"a", "--", "--table", "--"}).positional, ElementsAre("a", "--table", "--"));
}

TEST(SortWordsTest, Refusals) {
  EXPECT_THAT([] { Sort({"--command"}); },
              ThrowsMessage<CommandError>("get does not take the option --command"));
  EXPECT_THAT(
      [] {
        Sort({"--agent", "a", "--agent=b"});
      },
      ThrowsMessage<CommandError>("the option --agent is given twice"));
  EXPECT_THAT(
      [] {
        Sort({"a", "--agent"});
      },
      ThrowsMessage<CommandError>("the option --agent needs a value"));
  EXPECT_THAT([] { Sort({"--table=yes"}); },
              ThrowsMessage<CommandError>("the option --table takes no value"));
}

}  // namespace
}  // namespace ncdm::console
