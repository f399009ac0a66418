#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"

// Both functions as a C application sees them, for which any number is a type.
extern "C" int UnserializeNumber(char* text, char** typed,
                                 int type) __asm__("nc_dm_unserialize_val");
extern "C" int SerializeNumber(char** text, char* typed, int type) __asm__("nc_dm_serialize_val");

namespace {

using ncdm_test::DebugMask;
using ncdm_test::ErrorLines;
using ncdm_test::FailingAlloc;
using ncdm_test::InfoLines;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kOutOfRange[] = "The source value input is invalid!\n";
constexpr char kNegative[] = "uint32_t val must large than 0!\n";
constexpr char kNoMemory[] = "Failed to deserialize node, malloc!\n";

struct FreeValue {
  void operator()(char* value) const { free(value); }
};
using Value = std::unique_ptr<char, FreeValue>;

template <typename T>
T As(const char* typed) {
  T value;
  memcpy(&value, typed, sizeof(value));
  return value;
}

std::string Serialized(const void* typed, nc_dm_val_type_t type) {
  char* text = nullptr;
  EXPECT_EQ(nc_dm_serialize_val(&text, static_cast<char*>(const_cast<void*>(typed)), type), 0);
  const Value owner(text);
  return text == nullptr ? "(nothing)" : text;
}

class ValueTest : public testing::Test {
 protected:
  void SetUp() override { errno = 0; }

  // Reads a text; the object, if any, is `typed_` afterwards.
  int Read(const std::string& text, nc_dm_val_type_t type) {
    ncdm_test::LogCapture::Get().Clear();
    // A copy of exactly the text's size, so that the address sanitizer sees a byte too far.
    const Value source(strdup(text.c_str()));
    char* typed = nullptr;
    const int result = nc_dm_unserialize_val(source.get(), &typed, type);
    typed_.reset(typed);
    return result;
  }

  DebugMask mask_;
  Value typed_;
};

// ---- Each type's accepted and refused texts ----

struct Accepted {
  nc_dm_val_type_t type;
  const char* text;
  const char* canonical;
};

void PrintTo(const Accepted& row, std::ostream* out) {
  *out << row.type << " '" << row.text << "'";
}

struct Canonical {
  const char* text;
  const char* form;
};

// The rows of one type.
auto AcceptedTexts(nc_dm_val_type_t type, std::initializer_list<Canonical> texts) {
  std::vector<Accepted> rows;
  for (const auto& [text, form] : texts) rows.push_back({type, text, form});
  return testing::ValuesIn(rows);
}

class AcceptedTest : public ValueTest, public testing::WithParamInterface<Accepted> {};

TEST_P(AcceptedTest, ComesBackInItsCanonicalForm) {
  const auto& [type, text, canonical] = GetParam();
  ASSERT_EQ(Read(text, type), 0);
  ASSERT_NE(typed_, nullptr);
  EXPECT_EQ(Serialized(typed_.get(), type), canonical);
  EXPECT_THAT(ErrorLines(), IsEmpty());
  EXPECT_EQ(errno, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Bool, AcceptedTest,
    AcceptedTexts(NC_DM_VAL_TYPE_BOOL,
                  {{"true", "true"}, {"1", "true"}, {"false", "false"}, {"0", "false"}}));

INSTANTIATE_TEST_SUITE_P(Short, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_SHORT, {{"32767", "32767"},
                                                              {"-32768", "-32768"},
                                                              {"0", "0"},
                                                              {"-0", "0"},
                                                              {"-07", "-7"},
                                                              {"-", "0"},
                                                              {" \t42\r\n", "42"}}));

INSTANTIATE_TEST_SUITE_P(UnsignedShort, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_USHORT,
                                       {{"65535", "65535"},
                                        {"0", "0"},
                                        {"-0", "0"},
                                        {"-", "0"},
                                        {" 42 ", "42"},
                                        // 2^32 - 65535, as an unsigned 32-bit conversion has it
                                        {"-4294901761", "65535"},
                                        {"-4294967295", "1"}}));

INSTANTIATE_TEST_SUITE_P(Int, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_INT, {{"2147483647", "2147483647"},
                                                            {"-2147483648", "-2147483648"},
                                                            {"-0", "0"},
                                                            {"\n-5 ", "-5"}}));

INSTANTIATE_TEST_SUITE_P(UnsignedInt, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_UINT,
                                       {{"4294967295", "4294967295"},
                                        {"0", "0"},
                                        {" 7\t", "7"},
                                        // The sign is looked for in the first character alone.
                                        {" -1", "4294967295"}}));

INSTANTIATE_TEST_SUITE_P(Long, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_LONG, {{"2147483647", "2147483647"},
                                                             {"-2147483648", "-2147483648"},
                                                             {"-0", "0"}}));

INSTANTIATE_TEST_SUITE_P(UnsignedLong, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_ULONG,
                                       {{"4294967295", "4294967295"}, {"0", "0"}}));

INSTANTIATE_TEST_SUITE_P(LongLong, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_LONGLONG,
                                       {{"9223372036854775807", "9223372036854775807"},
                                        {"-9223372036854775808", "-9223372036854775808"},
                                        {"-0", "0"},
                                        {"4294967296", "4294967296"}}));

INSTANTIATE_TEST_SUITE_P(UnsignedLongLong, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_ULONGLONG,
                                       {{"18446744073709551615", "18446744073709551615"},
                                        {"0", "0"},
                                        {" -1", "18446744073709551615"}}));

INSTANTIATE_TEST_SUITE_P(Text, AcceptedTest,
                         testing::Values(Accepted{NC_DM_VAL_TYPE_STRING, "eth0", "eth0"},
                                         Accepted{NC_DM_VAL_TYPE_STRING, "", ""},
                                         Accepted{NC_DM_VAL_TYPE_STRING, " 007 %s\n", " 007 %s\n"},
                                         Accepted{NC_DM_VAL_TYPE_BASE64, "ZXRoMA==", "ZXRoMA=="},
                                         Accepted{NC_DM_VAL_TYPE_BASE64, "no base64", "no base64"},
                                         Accepted{NC_DM_VAL_TYPE_ANYSIMPLETYPE, "any", "any"}));

INSTANTIATE_TEST_SUITE_P(Time, AcceptedTest,
                         AcceptedTexts(NC_DM_VAL_TYPE_DATATIME,
                                       {{"2024-5-6T7:8:9", "2024-05-06T07:08:09"},
                                        {"2024-10-16T10:11:12", "2024-10-16T10:11:12"},
                                        {"2024-13-45T99:99:99", "2024-13-45T99:99:99"},
                                        {"7-1-1T0:0:0", "0007-01-01T00:00:00"},
                                        {"2024-1-2T3:4:-5", "2024-01-02T03:04:-5"},
                                        {" 2024-1 -2 T3:4:5\n", "2024-01-02T03:04:05"}}));

struct Refused {
  nc_dm_val_type_t type;
  const char* text;
  const char* message;
  bool leaves_object;  // which is the caller's to free
  int error;           // errno afterwards
};

void PrintTo(const Refused& row, std::ostream* out) { *out << row.type << " '" << row.text << "'"; }

struct Reason {
  const char* text;
  const char* message;
  bool leaves_object;
  int error;
};

auto RefusedTexts(nc_dm_val_type_t type, std::initializer_list<Reason> texts) {
  std::vector<Refused> rows;
  for (const auto& [text, message, leaves_object, error] : texts) {
    rows.push_back({type, text, message, leaves_object, error});
  }
  return testing::ValuesIn(rows);
}

class RefusedTest : public ValueTest, public testing::WithParamInterface<Refused> {};

TEST_P(RefusedTest, SaysWhy) {
  const auto& [type, text, message, leaves_object, error] = GetParam();
  EXPECT_EQ(Read(text, type), -1);
  EXPECT_EQ(errno, error);
  EXPECT_EQ(typed_ != nullptr, leaves_object);
  EXPECT_THAT(ErrorLines(), ElementsAre(message));
}

constexpr char kNoBool[] = "Failed to deserialize node, value invalid!\n";
INSTANTIATE_TEST_SUITE_P(Bool, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_BOOL, {{"TRUE", kNoBool, true, 0},
                                                            {"2", kNoBool, true, 0},
                                                            {"true ", kNoBool, true, 0},
                                                            {"", kNoBool, true, 0}}));

constexpr char kNoShort[] = "Failed to deserialize node, is not short value!\n";
INSTANTIATE_TEST_SUITE_P(Short, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_SHORT,
                                      {{"32768", kOutOfRange, true, 0},
                                       {"-32769", kOutOfRange, true, 0},
                                       {"2147483647", kOutOfRange, true, 0},
                                       // The conversion is a 32-bit one.
                                       {"2147483648", kOutOfRange, true, ERANGE},
                                       {"-2147483649", kOutOfRange, true, ERANGE},
                                       {"007", kNoShort, false, 0},
                                       {"+1", kNoShort, false, 0},
                                       {"abc", kNoShort, false, 0},
                                       {"", kNoShort, false, 0}}));

constexpr char kNoUnsignedShort[] = "Failed to deserialize node, is not unsigned short value!\n";
INSTANTIATE_TEST_SUITE_P(UnsignedShort, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_USHORT,
                                      {{"65536", kOutOfRange, true, 0},
                                       {"-1", kOutOfRange, true, 0},
                                       {"4294967295", kOutOfRange, true, 0},
                                       {"4294967296", kOutOfRange, true, ERANGE},
                                       {"-4294967296", kOutOfRange, true, ERANGE},
                                       {"1.5", kNoUnsignedShort, false, 0}}));

constexpr char kNoInt[] = "Failed to deserialize node, is not int32_t val!\n";
INSTANTIATE_TEST_SUITE_P(Int, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_INT,
                                      {{"2147483648", kOutOfRange, true, ERANGE},
                                       {"-2147483649", kOutOfRange, true, ERANGE},
                                       {"99999999999999999999", kOutOfRange, true, ERANGE},
                                       {"007", kNoInt, false, 0},
                                       {"abc", kNoInt, false, 0}}));

constexpr char kNoUnsignedInt[] = "Failed to deserialize node, is not uint32_t val!\n";
INSTANTIATE_TEST_SUITE_P(UnsignedInt, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_UINT,
                                      {{"4294967296", kOutOfRange, true, ERANGE},
                                       {"99999999999999999999", kOutOfRange, true, ERANGE},
                                       {"-0", kNegative, false, 0},
                                       {"-1", kNegative, false, 0},
                                       {"-", kNegative, false, 0},
                                       {"-x", kNoUnsignedInt, false, 0},
                                       {"1 2", kNoUnsignedInt, false, 0}}));

constexpr char kNoLong[] = "Failed to deserialize node, is not long val!\n";
INSTANTIATE_TEST_SUITE_P(Long, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_LONG,
                                      {{"2147483648", kOutOfRange, true, ERANGE},
                                       {"-2147483649", kOutOfRange, true, ERANGE},
                                       {"x", kNoLong, false, 0}}));

constexpr char kNoUnsignedLong[] = "Failed to deserialize node, is not unsigend long val!\n";
INSTANTIATE_TEST_SUITE_P(UnsignedLong, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_ULONG,
                                      {{"4294967296", kOutOfRange, true, ERANGE},
                                       {"-1", kNegative, false, 0},
                                       {"00", kNoUnsignedLong, false, 0}}));

INSTANTIATE_TEST_SUITE_P(LongLong, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_LONGLONG,
                                      {{"9223372036854775808", kOutOfRange, true, ERANGE},
                                       {"-9223372036854775809", kOutOfRange, true, ERANGE},
                                       {"1x", kNoInt, false, 0}}));

constexpr char kNoUnsignedLongLong[] =
    "Failed to deserialize node, is not unsigned long long val!\n";
INSTANTIATE_TEST_SUITE_P(UnsignedLongLong, RefusedTest,
                         RefusedTexts(NC_DM_VAL_TYPE_ULONGLONG,
                                      {{"18446744073709551616",
                                        "the source value input is invalid!\n", true, ERANGE},
                                       {"-1", kNegative, false, 0},
                                       {"01", kNoUnsignedLongLong, false, 0}}));

// ---- Times ----

struct RefusedTime {
  const char* text;
  const char* message;
};

class RefusedTimeTest : public ValueTest, public testing::WithParamInterface<RefusedTime> {};

TEST_P(RefusedTimeTest, NamesTheField) {
  EXPECT_EQ(Read(GetParam().text, NC_DM_VAL_TYPE_DATATIME), -1);
  EXPECT_EQ(typed_, nullptr);
  ASSERT_THAT(ErrorLines(), testing::Not(IsEmpty()));
  EXPECT_EQ(ErrorLines().back(), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, RefusedTimeTest,
    testing::Values(RefusedTime{"2024/5/6T7:8:9", "Failed to parse time year!\n"},
                    RefusedTime{"", "Failed to parse time year!\n"},
                    RefusedTime{"-5-5-6T7:8:9", "Failed to parse time year!\n"},
                    RefusedTime{"0024-5-6T7:8:9", "Failed to parse time year!\n"},
                    RefusedTime{"2024-05-06T07:08:09", "Failed to parse time month!\n"},
                    RefusedTime{"2024-5", "Failed to parse time month!\n"},
                    RefusedTime{"2024-5-06T7:8:9", "Failed to parse time day!\n"},
                    RefusedTime{"2024-5-6 7:8:9", "Failed to parse time day!\n"},
                    RefusedTime{"2024-5-6T00:8:9", "Failed to parse time hour!\n"},
                    RefusedTime{"2024-5-6T7", "Failed to parse time hour!\n"},
                    RefusedTime{"2024-5-6T7:08:9", "Failed to parse time minutes!\n"},
                    RefusedTime{"2024-5-6T7:8", "Failed to parse time minutes!\n"},
                    RefusedTime{"2024-5-6T7:8:09", "Failed to parse time second!\n"},
                    RefusedTime{"2024-5-6T7:8:", "Failed to parse time second!\n"},
                    RefusedTime{"2024-5-6T7:8:9Z", "Failed to parse time second!\n"}));

TEST_F(ValueTest, TimeHoldsTheNumbersAsWritten) {
  ASSERT_EQ(Read("2024-5-6T7:8:9", NC_DM_VAL_TYPE_DATATIME), 0);
  const tm time = As<tm>(typed_.get());
  tm expected = {};
  expected.tm_year = 2024;
  expected.tm_mon = 5;
  expected.tm_mday = 6;
  expected.tm_hour = 7;
  expected.tm_min = 8;
  expected.tm_sec = 9;
  const auto fields = [](const tm& at) {
    return std::tie(at.tm_year, at.tm_mon, at.tm_mday, at.tm_hour, at.tm_min, at.tm_sec, at.tm_wday,
                    at.tm_yday, at.tm_isdst);
  };
  EXPECT_EQ(fields(time), fields(expected));
}

// A time is accepted whatever its fields are, so it must not refuse the number behind it.
TEST_F(ValueTest, TimeFieldsOutOfRangeAreTheLimitsAndLeaveErrnoAlone) {
  const std::string wild = "99999999999999999999";
  ASSERT_EQ(Read(wild + "-2147483648-" + wild + "T" + wild + ":" + wild + ":" + wild,
                 NC_DM_VAL_TYPE_DATATIME),
            0);
  const tm time = As<tm>(typed_.get());
  for (const int field :
       {time.tm_year, time.tm_mon, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec}) {
    EXPECT_EQ(field, INT_MAX);
  }
  ASSERT_EQ(Read("2024-1-2T3:4:-2147483649", NC_DM_VAL_TYPE_DATATIME), 0);
  EXPECT_EQ(As<tm>(typed_.get()).tm_sec, INT_MIN);
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(Read("5", NC_DM_VAL_TYPE_INT), 0);
}

TEST_F(ValueTest, WhatATimePrintsIsNotAcceptedBackBelowTen) {
  ASSERT_EQ(Read("2024-5-6T7:8:9", NC_DM_VAL_TYPE_DATATIME), 0);
  const std::string printed = Serialized(typed_.get(), NC_DM_VAL_TYPE_DATATIME);
  EXPECT_EQ(printed, "2024-05-06T07:08:09");
  EXPECT_EQ(Read(printed, NC_DM_VAL_TYPE_DATATIME), -1);
  EXPECT_EQ(ErrorLines().back(), "Failed to parse time month!\n");

  ASSERT_EQ(Read("2024-10-16T10:11:12", NC_DM_VAL_TYPE_DATATIME), 0);
  EXPECT_EQ(Serialized(typed_.get(), NC_DM_VAL_TYPE_DATATIME), "2024-10-16T10:11:12");
}

TEST_F(ValueTest, WildTimesPrintAsFormatted) {
  const int wild[] = {INT_MIN, INT_MAX, -1, -9, -10, -999, -1000, 0, 1, 9, 10, 99, 100, 999, 10000};
  for (const int number : wild) {
    tm time = {};
    time.tm_year = time.tm_mon = time.tm_mday = time.tm_hour = time.tm_min = time.tm_sec = number;
    char expected[257];
    snprintf(expected, sizeof(expected), "%04d-%02d-%02dT%02d:%02d:%02d", number, number, number,
             number, number, number);
    EXPECT_EQ(Serialized(&time, NC_DM_VAL_TYPE_DATATIME), expected);
  }
}

// ---- errno ----

TEST_F(ValueTest, AStaleRangeErrorRefusesAnyNumber) {
  const nc_dm_val_type_t numbers[] = {
      NC_DM_VAL_TYPE_SHORT, NC_DM_VAL_TYPE_USHORT, NC_DM_VAL_TYPE_INT,     NC_DM_VAL_TYPE_UINT,
      NC_DM_VAL_TYPE_LONG,  NC_DM_VAL_TYPE_ULONG,  NC_DM_VAL_TYPE_LONGLONG};
  for (const auto type : numbers) {
    errno = ERANGE;
    EXPECT_EQ(Read("1", type), -1) << type;
    EXPECT_THAT(ErrorLines(), ElementsAre(kOutOfRange));
    EXPECT_EQ(errno, ERANGE);
  }
  EXPECT_EQ(Read("1", NC_DM_VAL_TYPE_ULONGLONG), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("the source value input is invalid!\n"));
}

TEST_F(ValueTest, OneRefusedNumberRefusesTheNextUntilErrnoIsCleared) {
  EXPECT_EQ(Read("2147483648", NC_DM_VAL_TYPE_INT), -1);
  EXPECT_EQ(Read("5", NC_DM_VAL_TYPE_SHORT), -1);
  errno = 0;
  EXPECT_EQ(Read("5", NC_DM_VAL_TYPE_SHORT), 0);
}

TEST_F(ValueTest, OtherErrorsAndOtherTypesAreIndifferentToErrno) {
  errno = EINTR;
  EXPECT_EQ(Read("5", NC_DM_VAL_TYPE_INT), 0);
  EXPECT_EQ(errno, EINTR);
  errno = ERANGE;
  EXPECT_EQ(Read("1", NC_DM_VAL_TYPE_BOOL), 0);
  EXPECT_EQ(Read("1", NC_DM_VAL_TYPE_STRING), 0);
  EXPECT_EQ(Read("1-1-1T1:1:1", NC_DM_VAL_TYPE_DATATIME), 0);
}

// ---- Both functions ----

TEST_F(ValueTest, ReadingTracesTheType) {
  EXPECT_EQ(Read("1", NC_DM_VAL_TYPE_BOOL), 0);
  EXPECT_THAT(InfoLines(), ElementsAre("Deserialize node value, value type:1.\n"));
}

TEST_F(ValueTest, ReadingNeedsATextAndAPlace) {
  char text[] = "1";
  char* typed = nullptr;
  EXPECT_EQ(nc_dm_unserialize_val(nullptr, &typed, NC_DM_VAL_TYPE_INT), -1);
  EXPECT_EQ(nc_dm_unserialize_val(text, nullptr, NC_DM_VAL_TYPE_INT), -1);
  EXPECT_EQ(typed, nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Deserialize node value parmeter invalid!\n",
                                        "Deserialize node value parmeter invalid!\n"));
  EXPECT_THAT(InfoLines(), IsEmpty());
}

TEST_F(ValueTest, PrintingNeedsAnObjectAndAPlace) {
  char typed[8] = {};
  char* text = nullptr;
  EXPECT_EQ(nc_dm_serialize_val(&text, nullptr, NC_DM_VAL_TYPE_INT), -1);
  EXPECT_EQ(nc_dm_serialize_val(nullptr, typed, NC_DM_VAL_TYPE_INT), -1);
  EXPECT_EQ(text, nullptr);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Input parameter is invalid!\n", "Input parameter is invalid!\n"));
}

TEST_F(ValueTest, OtherTypesProduceNothing) {
  for (const int type : {0, 14, 15, 20, -1, INT_MAX, INT_MIN}) {
    char source[] = "1";
    char untouched = 0;
    char* result = &untouched;
    EXPECT_EQ(UnserializeNumber(source, &result, type), 0);
    EXPECT_EQ(result, &untouched);
    EXPECT_EQ(SerializeNumber(&result, source, type), 0);
    EXPECT_EQ(result, &untouched);
  }
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ValueTest, ObjectsAreOfTheirType) {
  ASSERT_EQ(Read("true", NC_DM_VAL_TYPE_BOOL), 0);
  EXPECT_EQ(*typed_, 1);
  ASSERT_EQ(Read("-2", NC_DM_VAL_TYPE_SHORT), 0);
  EXPECT_EQ(As<int16_t>(typed_.get()), -2);
  ASSERT_EQ(Read("65534", NC_DM_VAL_TYPE_USHORT), 0);
  EXPECT_EQ(As<uint16_t>(typed_.get()), 65534);
  ASSERT_EQ(Read("-3", NC_DM_VAL_TYPE_INT), 0);
  EXPECT_EQ(As<int32_t>(typed_.get()), -3);
  ASSERT_EQ(Read("4294967294", NC_DM_VAL_TYPE_UINT), 0);
  EXPECT_EQ(As<uint32_t>(typed_.get()), 4294967294U);
  ASSERT_EQ(Read("-4", NC_DM_VAL_TYPE_LONG), 0);
  EXPECT_EQ(As<int32_t>(typed_.get()), -4);
  ASSERT_EQ(Read("4294967293", NC_DM_VAL_TYPE_ULONG), 0);
  EXPECT_EQ(As<uint32_t>(typed_.get()), 4294967293U);
  ASSERT_EQ(Read("-4294967297", NC_DM_VAL_TYPE_LONGLONG), 0);
  EXPECT_EQ(As<int64_t>(typed_.get()), -4294967297);
  ASSERT_EQ(Read("18446744073709551614", NC_DM_VAL_TYPE_ULONGLONG), 0);
  EXPECT_EQ(As<uint64_t>(typed_.get()), 18446744073709551614U);
}

TEST_F(ValueTest, AnyNonZeroByteIsTrue) {
  for (const int byte : {1, 2, 127, 128, 255}) {
    const char typed = static_cast<char>(byte);
    EXPECT_EQ(Serialized(&typed, NC_DM_VAL_TYPE_BOOL), "true");
  }
}

TEST_F(ValueTest, NumbersAreReadAtAnyAlignment) {
  char typed[16] = {};
  const int64_t value = INT64_MIN;
  memcpy(typed + 1, &value, sizeof(value));
  EXPECT_EQ(Serialized(typed + 1, NC_DM_VAL_TYPE_LONGLONG), "-9223372036854775808");
}

TEST_F(ValueTest, TextsPrintUpToTheValueBuffer) {
  for (const auto type :
       {NC_DM_VAL_TYPE_STRING, NC_DM_VAL_TYPE_BASE64, NC_DM_VAL_TYPE_ANYSIMPLETYPE}) {
    const std::string longest(256, 'v');
    EXPECT_EQ(Serialized(longest.c_str(), type), longest);
    EXPECT_EQ(Serialized((longest + "w").c_str(), type), longest);
    // A full value buffer without its end.
    const std::vector<char> unterminated(257, 'v');
    EXPECT_EQ(Serialized(unterminated.data(), type), longest);
  }
}

TEST_F(ValueTest, LongTextsAreReadWhole) {
  const std::string text(1000, 'v');
  ASSERT_EQ(Read(text, NC_DM_VAL_TYPE_STRING), 0);
  EXPECT_EQ(typed_.get(), text);
}

TEST_F(ValueTest, ReadingWithoutMemoryIsRefused) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  const DebugMask errors_alone(NC_DM_DBG_ERROR);  // the capture of a trace allocates, too
  for (int number = NC_DM_VAL_TYPE_BOOL; number < NC_DM_VAL_TYPE_MAX; ++number) {
    ncdm_test::LogCapture::Get().Clear();
    char source[] = "1";
    char* typed = nullptr;
    int result = 0;
    {
      const FailingAlloc failing(0);
      result = nc_dm_unserialize_val(source, &typed, static_cast<nc_dm_val_type_t>(number));
    }
    EXPECT_EQ(result, -1) << number;
    EXPECT_EQ(typed, nullptr);
    EXPECT_THAT(ErrorLines(), ElementsAre(kNoMemory));
  }
}

TEST_F(ValueTest, PrintingWithoutMemoryIsRefusedSilently) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char typed[] = "eth0";
  char* text = nullptr;
  int result = 0;
  {
    const FailingAlloc failing(0);
    result = nc_dm_serialize_val(&text, typed, NC_DM_VAL_TYPE_STRING);
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(text, nullptr);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

}  // namespace
