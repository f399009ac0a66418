// The JSON file that a start reads and a commit writes.
#include <fstream>
#include <iterator>

#include "tests/support/temp_dir.h"
#include "tests/yang/model_fixture.h"

namespace ncdm::model {
namespace {

class DataFileTest : public ModelTest {
 protected:
  bool Read(const std::string& text) {
    std::ofstream(file_) << text;
    return ReadFile(file_);
  }

  bool ReadFile(const std::string& file) {
    char error[1024] = "";
    const int result = ncdm_data_read(&every_type_model, file.c_str(), error, sizeof error);
    error_ = error;
    return result == 0;
  }

  bool WriteFile(const std::string& file) {
    char error[1024] = "";
    const int result = ncdm_data_write(&every_type_model, file.c_str(), error, sizeof error);
    error_ = error;
    return result == 0;
  }

  std::string Written() {
    EXPECT_TRUE(WriteFile(file_)) << error_;
    std::ifstream stream(file_);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  ncdm_test::TempDir folder_;
  std::string file_ = folder_.path() + "/data.json";
  std::string error_;
};

TEST_F(DataFileTest, AFileThatIsNotThereIsEmpty) {
  EXPECT_TRUE(ReadFile(folder_.path() + "/none"));
}

TEST_F(DataFileTest, EveryTypeComesBack) {
  ASSERT_TRUE(Read(R"({"every-type:values": {"int8": -5, "int64": "-1", "uint64": "7",
      "boolean": true, "decimal64": "1.5", "string": "ab", "text": "\"quoted\"",
      "enumeration": "zero", "bits": "first last", "binary": "AAE=", "empty": [null],
      "identityref": "every-type:red", "union": "9", "number": [3, 1, 2]}})"))
      << error_;
  EXPECT_EQ(Get("values.text", {}), "\"quoted\"");
  EXPECT_EQ(Get("values.empty", {}), "");
  EXPECT_EQ(Get("values.number", {2}), "1");
  const std::string text = Written();
  EXPECT_NE(text.find("\"int64\": \"-1\""), std::string::npos) << text;
  EXPECT_NE(text.find("\"int8\": -5"), std::string::npos);
  EXPECT_NE(text.find("\"identityref\": \"every-type:red\""), std::string::npos);
  ASSERT_EQ(ncdm_drop(&every_type_values_node, nullptr), 0);
  ASSERT_TRUE(ReadFile(file_)) << error_;
  EXPECT_EQ(Written(), text);
}

TEST_F(DataFileTest, NestedListsAndStateComeBack) {
  ASSERT_TRUE(Read(R"({"lists": {"by-number": [{"id": 7, "inner": [{"key": "a", "value": "-2",
      "tag": ["x", "y"]}], "counter": [{"name": "in", "count": "5"}], "more": {"speed": "3"}}],
      "by-two": [{"left": "1", "right": "red", "speed": "4", "state": "s"}]},
      "state": {"uptime": 12, "event": [{"text": "one"}, {"text": "two"}], "server": ["s"]}})"))
      << error_;
  EXPECT_EQ(Get("lists.by-number.{i}.inner.{i}.value", {7, 1}), "-2");
  EXPECT_EQ(Get("lists.by-number.{i}.inner.{i}.tag", {7, 1, 2}), "y");
  EXPECT_EQ(Get("lists.by-number.{i}.counter.{i}.count", {7, 1}), "5");
  EXPECT_EQ(Get("lists.by-number.{i}.more.speed", {7}), "3");
  EXPECT_EQ(Get("lists.by-two.{i}.state", {1}), "s");
  EXPECT_EQ(Get("state.uptime", {}), "12");
  EXPECT_EQ(Get("state.event.{i}.text", {2}), "two");
  EXPECT_EQ(Get("state.server", {1}), "s");
}

TEST_F(DataFileTest, WhatTheModelRefusesIsNamedWithItsPlace) {
  const struct {
    const char* text;
    const char* error;
  } kCases[] = {
      {R"({"values": {"int8": 0}})", "/values/int8: the value 0 is not of its type"},
      {R"({"values": {"no-such": 0}})", "/values/no-such: is not in the module"},
      {R"({"values": [1]})", "/values: is no object"},
      {R"({"lists": {"by-number": {"id": 1}}})", "/lists/by-number: is no array"},
      {R"({"lists": {"by-number": [{"id": 1}, {"id": 1}]}})", "/lists/by-number[2]: stands twice"},
      {R"({"lists": {"by-number": [{"name": "n"}]}})", "/lists/by-number[1]: lacks 'id'"},
      {R"({"lists": {"by-number": [7]}})", "/lists/by-number[1]: is no object"},
      {R"({"lists": {"by-two": [{"left": "1", "right": "red"}]}})",
       "/lists/by-two[1]: lacks 'speed'"},
      {R"({"values": )", "parse error"},
  };
  for (const auto& [text, error] : kCases) {
    EXPECT_FALSE(Read(text)) << text;
    EXPECT_NE(error_.find(error), std::string::npos) << error_;
  }
}

TEST_F(DataFileTest, StateIsWrittenBackOnlyWhereTheFileBroughtIt) {
  ASSERT_TRUE(Read(R"({"state": {"server": ["from-file"]}})")) << error_;
  every_type_state_server_t server;
  every_type_state_server_init(&server);
  every_type_state_server_set(&server, "server", "pushed");
  const nc_int64 at[] = {0};
  ASSERT_EQ(every_type_state_server_put(at, &server), 2);
  const std::string text = Written();
  EXPECT_NE(text.find("from-file"), std::string::npos) << text;
  EXPECT_EQ(text.find("pushed"), std::string::npos) << text;
}

TEST_F(DataFileTest, AnEntryThatWasThereBecomesWhatTheFileSays) {
  ASSERT_EQ(Create("lists.by-number.{i}.id", {}, "7"), 7);
  ASSERT_TRUE(Read(R"({"lists": {"by-number": [{"id": 7, "name": "n"}]}})")) << error_;
  EXPECT_EQ(Get("lists.by-number.{i}.name", {7}), "n");
}

TEST_F(DataFileTest, AFolderThatIsGoneIsReported) {
  EXPECT_FALSE(WriteFile(folder_.path() + "/none/data.json"));
  EXPECT_NE(error_.find("No such file"), std::string::npos) << error_;
}

}  // namespace
}  // namespace ncdm::model
