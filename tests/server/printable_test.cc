#include "server/printable.h"

#include <gtest/gtest.h>

namespace ncdm::server {
namespace {

TEST(PrintableTest, OrdinaryTextStandsAsItIs) {
  for (const char* text : {"", "plain ~", "a\\b \"c\"", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"}) {
    EXPECT_EQ(Printable(text), text);
  }
}

TEST(PrintableTest, AValueForgesNoLine) {
  EXPECT_EQ(Printable("1\nsystem.admin = x"), "1\\nsystem.admin = x");
  EXPECT_EQ(Printable("1\r\n\t"), "1\\r\\n\\t");
  EXPECT_EQ(Printable("1\xe2\x80\xa8\xe2\x80\xa9"), "1\\u2028\\u2029");
}

TEST(PrintableTest, ATerminalObeysNothing) {
  EXPECT_EQ(Printable("\x1b[2J\x07\x7f"), "\\x1b[2J\\x07\\x7f");
  EXPECT_EQ(Printable(std::string_view("\0", 1)), "\\x00");
  EXPECT_EQ(Printable("\xc2\x9b"), "\\u009b");  // the same as ESC [ for some
  EXPECT_EQ(Printable("\x9b"), "\\x9b");
  EXPECT_EQ(Printable("a\xe2\x80\xae b"), "a\\u202e b");  // what follows would run backwards
}

TEST(PrintableTest, WhatIsNoUtf8IsShownByteByByte) {
  EXPECT_EQ(Printable("\xff\xc3"), "\\xff\\xc3");
  EXPECT_EQ(Printable("\xe2\x82"), "\\xe2\\x82");                    // cut off
  EXPECT_EQ(Printable("\xc0\xaf"), "\\xc0\\xaf");                    // longer than need be
  EXPECT_EQ(Printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");           // a surrogate
  EXPECT_EQ(Printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // beyond the last
  EXPECT_EQ(Printable("\xc3(\xc3\xa4"), "\\xc3(\xc3\xa4");
}

TEST(QuotedTest, QuotingKeepsALineALine) {
  EXPECT_EQ(Quoted("plain \xc3\xa4"), "\"plain \xc3\xa4\"");
  EXPECT_EQ(Quoted("a\"b\\c\nd\x01"), R"("a\"b\\c\nd\x01")");
  EXPECT_EQ(Quoted(""), "\"\"");
}

}  // namespace
}  // namespace ncdm::server
