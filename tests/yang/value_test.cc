// Every type: what an edit takes, what it refuses, and what a read gives back.
#include "tests/yang/model_fixture.h"

namespace ncdm::model {
namespace {

struct Value {
  const char* leaf;
  const char* text;
  const char* read;  // what comes back; null when the edit is refused
};

class ValueTest : public ModelTest, public testing::WithParamInterface<Value> {};

TEST_P(ValueTest, IsTakenOrRefused) {
  const auto& [leaf, text, read] = GetParam();
  const std::string path = std::string("values.") + leaf;
  const std::string before = Get(path, {});
  if (read != nullptr) {
    EXPECT_EQ(Set(path, {}, text), 0);
    EXPECT_EQ(Get(path, {}), read);
  } else {
    EXPECT_LT(Set(path, {}, text), 0);
    EXPECT_EQ(Get(path, {}), before);
  }
}

constexpr const char* kRefused = nullptr;
const std::string kLong(255, 'x');
const std::string kTooLong(256, 'x');

INSTANTIATE_TEST_SUITE_P(
    EveryType, ValueTest,
    testing::Values(
        Value{"int8", "-5", "-5"}, Value{"int8", "5", "5"}, Value{"int8", "0", kRefused},
        Value{"int8", "-6", kRefused}, Value{"int8", "6", kRefused}, Value{"int8", "300", kRefused},
        Value{"int8", "-1", "-1"}, Value{"int16", "-32768", "-32768"},
        Value{"int16", "32767", "32767"}, Value{"int32", "-2147483648", "-2147483648"},
        Value{"int32", "2147483647", "2147483647"},
        Value{"int64", "-9223372036854775808", "-9223372036854775808"},
        Value{"int64", "9223372036854775807", "9223372036854775807"}, Value{"uint8", "0", "0"},
        Value{"uint8", "100", "100"}, Value{"uint8", "101", kRefused},
        Value{"uint8", "256", kRefused}, Value{"uint16", "65535", "65535"},
        Value{"uint32", "4294967295", "4294967295"},
        Value{"uint64", "18446744073709551615", "18446744073709551615"}, Value{"uint64", "1", "1"},
        Value{"uint64", "0", kRefused}, Value{"boolean", "true", "true"},
        Value{"boolean", "false", "false"}, Value{"decimal64", "10.5", "10.5"},
        Value{"decimal64", "-10.500", "-10.5"}, Value{"decimal64", "3", "3.0"},
        Value{"decimal64", "0.001", "0.001"}, Value{"decimal64", "-0.05", "-0.05"},
        Value{"decimal64", "10.501", kRefused}, Value{"decimal64", "0.0001", kRefused},
        Value{"decimal64", "1.", kRefused}, Value{"decimal64", ".5", kRefused},
        Value{"decimal64", "-", kRefused}, Value{"decimal64", "1e1", kRefused},
        Value{"string", "ab", "ab"}, Value{"string", "äöüä", "äöüä"},
        Value{"string", "a", kRefused}, Value{"string", "abcde", kRefused},
        Value{"string", "ABC", kRefused}, Value{"string", "xxa", kRefused},
        Value{"string", "a\xc3", kRefused}, Value{"text", "", ""},
        Value{"text", kLong.c_str(), kLong.c_str()}, Value{"text", kTooLong.c_str(), kRefused},
        Value{"text", "\x01", kRefused}, Value{"enumeration", "zero", "zero"},
        Value{"enumeration", "minus-one", "minus-one"}, Value{"enumeration", "one", kRefused},
        Value{"enumeration", "", kRefused}, Value{"bits", "", ""},
        Value{"bits", "last first", "first last"}, Value{"bits", "last second", "second last"},
        Value{"bits", "first first", kRefused}, Value{"bits", "third", kRefused},
        Value{"binary", "AA==", "AA=="}, Value{"binary", "AAECAw==", "AAECAw=="},
        Value{"binary", "", kRefused}, Value{"binary", "AAECAwQ=", kRefused},
        Value{"binary", "AB==", kRefused}, Value{"binary", "AA=", kRefused},
        Value{"binary", "A*==", kRefused}, Value{"empty", "", ""}, Value{"empty", "x", kRefused},
        Value{"identityref", "every-type:red", "every-type:red"},
        Value{"identityref", "dark-red", "every-type:dark-red"},
        Value{"identityref", "every-type:color", kRefused},
        Value{"identityref", "other:red", kRefused}, Value{"union", "255", "255"},
        Value{"union", "none", "none"}, Value{"union", "256", kRefused},
        Value{"union", "some", kRefused}, Value{"leafref", "7", "7"},
        Value{"instance-identifier", "/et:values", "/et:values"}, Value{"class", "c", "c"},
        Value{"has", "h", "h"}));

TEST_F(ModelTest, LeavesBeginWithTheirDefaults) {
  EXPECT_EQ(Get("values.uint8", {}), "50");
  EXPECT_EQ(Get("values.enumeration", {}), "with blank + sign");
  EXPECT_EQ(Get("values.uint16", {}), "absent");
}

TEST_F(ModelTest, ADeletedLeafHasItsDefaultAgain) {
  ASSERT_EQ(Set("values.uint8", {}, "7"), 0);
  EXPECT_EQ(Remove("values.uint8", {}), 0);
  EXPECT_EQ(Get("values.uint8", {}), "50");
  ASSERT_EQ(Set("values.uint16", {}, "7"), 0);
  EXPECT_EQ(Remove("values.uint16", {}), 0);
  EXPECT_EQ(Get("values.uint16", {}), "absent");
}

TEST_F(ModelTest, AMandatoryLeafIsNotDeleted) {
  ASSERT_EQ(Set("values.text", {}, "stays"), 0);
  EXPECT_LT(Remove("values.text", {}), 0);
  EXPECT_EQ(Get("values.text", {}), "stays");
}

TEST_F(ModelTest, ACaseEndsTheOtherOne) {
  ASSERT_EQ(Set("values.tcp-port", {}, "80"), 0);
  ASSERT_EQ(Set("values.keep-alive", {}, "true"), 0);
  ASSERT_EQ(Get("values.tcp-port", {}), "80");
  ASSERT_EQ(Set("values.pipe", {}, "p"), 0);
  EXPECT_EQ(Get("values.tcp-port", {}), "absent");
  EXPECT_EQ(Get("values.keep-alive", {}), "absent");
}

TEST_F(ModelTest, AUnionsTextIsThatOfTheMemberThatAcceptsIt) {
  ASSERT_EQ(Set("values.union", {}, "007"), 0);
  EXPECT_EQ(Get("values.union", {}), "7");
  ASSERT_EQ(Set("values.union", {}, "none"), 0);
  EXPECT_EQ(Get("values.union", {}), "none");
  EXPECT_LT(Set("values.union", {}, "some"), 0);
}

TEST_F(ModelTest, ATimeIsTheAgentsOwnType) {
  EXPECT_EQ(PathOf("values.time").val_type, NC_DM_VAL_TYPE_DATATIME);
  ASSERT_EQ(Set("values.time", {}, "2024-5-6T7:8:9"), 0);
  EXPECT_EQ(Get("values.time", {}), "2024-05-06T07:08:09");
  every_type_values_t record;
  every_type_values_init(&record);
  EXPECT_EQ(every_type_values_set(&record, "time", "2024-05-06T07:08:09"), 0);
  EXPECT_EQ(record.time.tm_year, 2024);
  EXPECT_EQ(record.time.tm_mon, 5);
  EXPECT_EQ(record.time.tm_sec, 9);
  for (const char* text :
       {"", "2024", "2024-13-01T00:00:00", "2024-00-01T00:00:00", "2024-01-32T00:00:00",
        "2024-01-01T24:00:00", "2024-01-01T00:60:00", "2024-01-01T00:00:61", "2024-01-01T00:00:00Z",
        "2024-01-01T00:00:", "2024-01-01 00:00:00", "-1-01-01T00:00:00"}) {
    EXPECT_EQ(every_type_values_set(&record, "time", text), -1) << text;
  }
}

TEST_F(ModelTest, StateHasNoWayToBeWritten) {
  const ncdm_path_t& uptime = PathOf("state.uptime");
  EXPECT_EQ(uptime.set, nullptr);
  EXPECT_EQ(uptime.remove, nullptr);
  const ncdm_path_t& server = PathOf("state.server");
  EXPECT_EQ(server.create, nullptr);
  EXPECT_EQ(server.remove, nullptr);
}

TEST_F(ModelTest, RecordsAreReadAndWrittenAsTexts) {
  every_type_values_t record;
  every_type_values_init(&record);
  EXPECT_EQ(record.uint8, 50);
  EXPECT_EQ(every_type_values_set(&record, "decimal64", "1.25"), 0);
  EXPECT_EQ(record.decimal64, 1250);
  EXPECT_TRUE(record.has.decimal64);
  EXPECT_EQ(every_type_values_set(&record, "decimal64", "11"), -1);
  EXPECT_EQ(every_type_values_set(&record, "no-such-leaf", "1"), -1);
  record.bits = EVERY_TYPE_VALUES_BITS_LAST;
  record.has.bits = true;
  record.identityref = EVERY_TYPE_IDENTITY_COLOR_DARK_RED;
  char text[NCDM_TEXT_SIZE];
  EXPECT_EQ(every_type_values_text(&record, "bits", text), 0);
  EXPECT_STREQ(text, "last");
  EXPECT_EQ(every_type_values_text(&record, "identityref", text), NCDM_NO_SUCH_ENTRY);
  record.has.identityref = true;
  EXPECT_EQ(every_type_values_text(&record, "identityref", text), 0);
  EXPECT_STREQ(text, "every-type:dark-red");
}

}  // namespace
}  // namespace ncdm::model
