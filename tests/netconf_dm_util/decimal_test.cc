// Decimal numbers: the test, and the number that leads a longer text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "netconf_dm_util.h"
#include "support/debug_mask.h"
#include "support/log_lines.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(IsStrNumTest, AcceptsDigitsAMinusAndBlanksAround) {
  for (const char* text :
       {"0", "7", "42", " 42\r\n", "\t\n\r 42 \t", "-7", "-", "-0", "-01", "- ", " -", " 0 ",
        "18446744073709551616", "99999999999999999999999999999999999999999999999999"}) {
    EXPECT_TRUE(nc_dm_is_str_num(text)) << '"' << text << '"';
  }
}

TEST(IsStrNumTest, RefusesEverythingElse) {
  EXPECT_FALSE(nc_dm_is_str_num(nullptr));
  for (const char* text : {"",    " ",   ".",   "\r\n\t ", "007", "00",  "01",      " 01", "0 1",
                           "4 2", "\v5", "5\v", "\f5",     "+1",  "1.5", "--1",     "1-",  "-1-",
                           "- 1", "0x1", "{i}", "a",       "1a",  "-a",  "\xC2\xB2"}) {
    EXPECT_FALSE(nc_dm_is_str_num(text)) << '"' << text << '"';
  }
}

class ParseStrNumTest : public testing::Test {
 protected:
  int Parse(std::string text, std::string tag) {
    return nc_dm_parse_str_num(text.data(), tag.data(), &number_, &length_);
  }

  const DebugMask mask_;
  nc_int32 number_ = 77;
  nc_int32 length_ = 88;
};

TEST_F(ParseStrNumTest, ReadsUpToTheTagAndStepsOverIt) {
  EXPECT_EQ(Parse("2024-5-6", "-"), 0);
  EXPECT_EQ(number_, 2024);
  EXPECT_EQ(length_, 5);
  EXPECT_THAT(InfoLines(), ElementsAre("parse string first number, str:2024-5-6; tag:-.\n"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ParseStrNumTest, TakesASignAndBlanks) {
  EXPECT_EQ(Parse(" -12 :rest", ":"), 0);
  EXPECT_EQ(number_, -12);
  EXPECT_EQ(length_, 6);
  EXPECT_EQ(Parse("-:", ":"), 0);
  EXPECT_EQ(number_, 0);
  EXPECT_EQ(Parse("-01:", ":"), 0);
  EXPECT_EQ(number_, -1);
}

TEST_F(ParseStrNumTest, StopsAtATagThatIsADigit) {
  EXPECT_EQ(Parse("1253", "5"), 0);
  EXPECT_EQ(number_, 12);
  EXPECT_EQ(length_, 3);
}

TEST_F(ParseStrNumTest, StepsOverOneCharacterOfALongTag) {
  EXPECT_EQ(Parse("12abc", "abc"), 0);
  EXPECT_EQ(length_, 3);
}

TEST_F(ParseStrNumTest, ClampsToThe32BitLimitsAndLeavesErrnoAlone) {
  errno = 0;
  EXPECT_EQ(Parse("2147483647:", ":"), 0);
  EXPECT_EQ(number_, INT32_MAX);
  EXPECT_EQ(Parse("2147483648:", ":"), 0);
  EXPECT_EQ(number_, INT32_MAX);
  EXPECT_EQ(Parse("-2147483648:", ":"), 0);
  EXPECT_EQ(number_, INT32_MIN);
  EXPECT_EQ(Parse("-2147483649:", ":"), 0);
  EXPECT_EQ(number_, INT32_MIN);
  EXPECT_EQ(Parse("99999999999999999999999:", ":"), 0);
  EXPECT_EQ(number_, INT32_MAX);
  EXPECT_EQ(errno, 0);
}

TEST_F(ParseStrNumTest, RefusesWhatIsNoNumber) {
  for (const char* text : {":", "a:", "05:", "1 2:", "+1:", " :"}) {
    LogCapture::Get().Clear();
    EXPECT_EQ(Parse(text, ":"), -1) << text;
    EXPECT_THAT(ErrorLines(), ElementsAre("parsed is not number!\n")) << text;
  }
  EXPECT_EQ(number_, 77);
  EXPECT_EQ(length_, 1);
}

TEST_F(ParseStrNumTest, AnEmptyTagStandsBeforeEverything) {
  EXPECT_EQ(Parse("12", ""), -1);
  EXPECT_EQ(length_, 0);
  EXPECT_THAT(ErrorLines(), ElementsAre("parsed is not number!\n"));
}

TEST_F(ParseStrNumTest, RefusesAMissingTag) {
  EXPECT_EQ(Parse("12", ":"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("parse number fail!\n"));
  EXPECT_EQ(number_, 77);
  EXPECT_EQ(length_, 88);
}

TEST_F(ParseStrNumTest, ReadsAtMost256Characters) {
  EXPECT_EQ(Parse(std::string(255, ' ') + "7:", ":"), 0);
  EXPECT_EQ(number_, 7);
  EXPECT_EQ(length_, 257);
  number_ = 77;
  EXPECT_EQ(Parse(std::string(256, ' ') + "8:", ":"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("parsed length of parse_tag is too long!\n"));
  EXPECT_EQ(number_, 77);
  EXPECT_EQ(length_, 257);
}

TEST_F(ParseStrNumTest, RefusesNull) {
  char text[] = "1:";
  char tag[] = ":";
  EXPECT_EQ(nc_dm_parse_str_num(nullptr, tag, &number_, &length_), -1);
  EXPECT_EQ(nc_dm_parse_str_num(text, nullptr, &number_, &length_), -1);
  EXPECT_EQ(nc_dm_parse_str_num(text, tag, nullptr, &length_), -1);
  EXPECT_EQ(nc_dm_parse_str_num(text, tag, &number_, nullptr), -1);
  const std::string refused = "parse string first number parmeter invalid!\n";
  EXPECT_THAT(ErrorLines(), ElementsAre(refused, refused, refused, refused));
  EXPECT_THAT(InfoLines(), IsEmpty());
}

}  // namespace
}  // namespace ncdm_test
