// Entries and their keys: how many there may be, what they may hold, and whose they are.
#include "tests/server/netconf/device/device_fixture.h"

namespace ncdm::netconf {
namespace {

// A list whose keys are k1, k2 and so on.
std::string List(const std::string& name, std::size_t keys) {
  std::string names;
  std::string leaves;
  for (std::size_t i = 1; i <= keys; ++i) {
    names += (i == 1 ? "k" : " k") + std::to_string(i);
    leaves += "leaf k" + std::to_string(i) + " { type string; } ";
  }
  return "list " + name + " { key \"" + names + "\"; " + leaves + "leaf value { type string; } }";
}

std::string Keys(std::size_t count, const std::string& attributes = "") {
  std::string keys;
  for (std::size_t i = 1; i <= count; ++i) {
    const std::string name = "k" + std::to_string(i);
    keys += "<" + name + attributes + ">it's \"" + std::to_string(i) + "\"</" + name + ">";
  }
  return keys;
}

constexpr std::size_t kMany = 20;
constexpr std::size_t kTooMany = kMaxKeys + 1;

std::string Module() {
  return "module keys { yang-version 1.1; namespace \"urn:keys\"; prefix k; container lists { " +
         List("many", kMany) + List("excess", kTooMany) + List("pair", 2) + "} }";
}

std::string Lists(const std::string& content) {
  return "<lists xmlns=\"urn:keys\">" + content + "</lists>";
}

std::string Entry(const std::string& list, const std::string& content,
                  const std::string& operation = "merge") {
  return Lists("<" + list + " nc:operation=\"" + operation + "\">" + content + "</" + list + ">");
}

ncdm_test::StoreAgent::Paths Paths(const std::string& list, std::size_t keys) {
  ncdm_test::StoreAgent::Paths paths = {{"lists." + list + ".{i}.value", 0}};
  for (std::size_t i = 1; i <= keys; ++i) {
    paths.emplace_back("lists." + list + ".{i}.k" + std::to_string(i), NC_DM_FLAG_KEY);
  }
  return paths;
}

class KeysTest : public DeviceTest {
 protected:
  KeysTest() : DeviceTest({{"keys", Module()}}) {}
};

// ---- Many of them ----

TEST_F(KeysTest, AListMayHaveManyWithQuotesOfBothKinds) {
  const auto agent = NewStore("agent", Paths("many", kMany), "keys");
  Done(EditConfig(Entry("many", Keys(kMany) + "<value>a</value>")));
  Done(EditConfig(Entry("many", Keys(kMany) + "<value>b</value>")));
  EXPECT_EQ(agent->values().size(), kMany + 1);
  EXPECT_THAT(agent->values(), Contains(Pair("lists.many.1.k20", "it's \"20\"")));
  EXPECT_THAT(Get(Lists("")), HasSubstr("<k20>it's \"20\"</k20><value>b</value>"));
  Done(EditConfig(Entry("many", Keys(kMany), "delete")));
  EXPECT_THAT(agent->values(), IsEmpty());
}

TEST_F(KeysTest, AListOfTooManyIsRefused) {
  const auto agent = NewStore("agent", Paths("excess", kTooMany), "keys");
  EXPECT_THAT(Refused(EditConfig(Entry("excess", Keys(kTooMany)))),
              ElementsAre("operation-not-supported"));
  EXPECT_THAT(Refused("<validate xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><source>"
                      "<config>" +
                      Entry("excess", Keys(kTooMany)) + "</config></source></validate>"),
              ElementsAre("operation-not-supported"));
  EXPECT_THAT(agent->agent().requests(), IsEmpty());
}

// ---- Operations on them ----

class KeyOperationTest : public KeysTest {
 protected:
  static std::string EditPair(const std::string& operation, const std::string& of_keys) {
    return EditConfig(Entry("pair", Keys(2, " nc:operation=\"" + of_keys + "\""), operation));
  }

  std::unique_ptr<StoreAgent> agent_ = NewStore("agent", Paths("pair", 2), "keys");
};

TEST_F(KeyOperationTest, CreateIsRefusedWhereTheEntryIsThere) {
  Done(EditPair("merge", "create"));
  EXPECT_EQ(agent_->values().size(), 2U);
  for (const char* operation : {"merge", "replace", "create"}) {
    EXPECT_THAT(Refused(EditPair(operation, "create")), ElementsAre("data-exists"));
  }
}

TEST_F(KeyOperationTest, MergeAndReplaceSayNothingNew) {
  Done(EditPair("merge", "replace"));
  Done(EditPair("replace", "merge"));
  EXPECT_EQ(agent_->values().size(), 2U);
}

TEST_F(KeyOperationTest, AKeyIsDeletedWithItsEntryAlone) {
  Done(EditPair("merge", "merge"));
  for (const char* operation : {"delete", "remove"}) {
    const Reply reply = Call(EditPair("merge", operation));
    ASSERT_EQ(reply.errors.size(), 1U);
    EXPECT_EQ(reply.errors.front().tag, "bad-attribute");
    EXPECT_EQ(reply.errors.front().info.back().text, "k1");
  }
  Done(EditPair("delete", "delete"));
  EXPECT_THAT(agent_->values(), IsEmpty());
}

TEST_F(KeyOperationTest, OtherAttributesAreRefusedAsElsewhere) {
  EXPECT_THAT(Refused(EditPair("merge", "turn")), ElementsAre("bad-attribute"));
  EXPECT_THAT(Refused(EditConfig(Entry("pair", Keys(2, " colour=\"red\"")))),
              ElementsAre("unknown-attribute"));
}

// ---- Others than the model's ----

TEST_F(KeysTest, EntriesOfOtherKeysAreReadAndChangedButNotMade) {
  const auto agent = NewStore("agent",
                              {{"lists.pair.{i}.k1", NC_DM_FLAG_KEY},
                               {"lists.pair.{i}.k2", 0},
                               {"lists.pair.{i}.value", 0}},
                              "keys");
  agent->values() = {{"lists.pair.1.k1", "a"}, {"lists.pair.1.k2", "b"}};
  const std::string keys = "<k1>a</k1><k2>b</k2>";
  EXPECT_THAT(Get(Lists("")), HasSubstr(keys));
  Done(EditConfig(Entry("pair", keys + "<value>v</value>")));
  EXPECT_EQ(agent->values()["lists.pair.1.value"], "v");
  EXPECT_THAT(Refused(EditConfig(Entry("pair", keys, "delete"))),
              ElementsAre("operation-not-supported"));
  EXPECT_THAT(Refused(EditConfig(Entry("pair", "<k1>a</k1><k2>c</k2>"))),
              ElementsAre("operation-not-supported"));
  EXPECT_THAT(Get(Lists("")), Not(HasSubstr("<k2>c</k2>")));
}

TEST_F(KeysTest, EntriesWithoutAKeyOfTheModelAreNotServed) {
  const auto agent = NewStore(
      "agent", {{"lists.pair.{i}.k1", NC_DM_FLAG_KEY}, {"lists.pair.{i}.value", 0}}, "keys");
  agent->values() = {{"lists.pair.1.k1", "a"}, {"lists.pair.1.value", "v"}};
  EXPECT_THAT(Get(Lists("")), Not(HasSubstr("pair")));
  EXPECT_THAT(Refused(EditConfig(Entry("pair", "<k1>a</k1><k2>b</k2><value>w</value>"))),
              ElementsAre("operation-not-supported"));
  EXPECT_THAT(agent->Changes(), IsEmpty());
}

}  // namespace
}  // namespace ncdm::netconf
