// What an edit asks of the agents, and what becomes of it when one of them refuses.
#include <algorithm>

#include "tests/server/netconf/device/device_fixture.h"

namespace ncdm::netconf {
namespace {

constexpr std::int32_t kSlot = 16;

std::string Item(const std::string& content, const std::string& operation = "") {
  const std::string attribute = operation.empty() ? "" : " nc:operation=\"" + operation + "\"";
  return "<shelf xmlns=\"urn:shop\"><item" + attribute + ">" + content + "</item></shelf>";
}

std::string Named(const std::string& name, const std::string& operation = "merge") {
  return "<item nc:operation=\"" + operation + "\"><name>" + name + "</name></item>";
}

std::string Shelf(const std::string& items) {
  return "<shelf xmlns=\"urn:shop\">" + items + "</shelf>";
}

std::string Till(const std::string& content) {
  return "<till xmlns=\"urn:shop\">" + content + "</till>";
}

// ---- One agent ----

class WriteTest : public DeviceTest {
 protected:
  WriteTest()
      : shop_(NewStore("shop", {{"shelf.item.{i}.name", NC_DM_FLAG_KEY | kSlot},
                                {"shelf.item.{i}.price", kSlot},
                                {"shelf.item.{i}.colour", 0},
                                {"shelf.item.{i}.tag", NC_DM_FLAG_LEAF_LIST},
                                {"pairs.pair.{i}.right", NC_DM_FLAG_KEY},
                                {"pairs.pair.{i}.left", NC_DM_FLAG_KEY},
                                {"pairs.pair.{i}.value", 0},
                                {"till.owner", 0},
                                {"till.open", 0}})) {}

  std::unique_ptr<StoreAgent> shop_;
};

TEST_F(WriteTest, NewEntryComesWithItsSlotsAndThenTheRest) {
  Done(EditConfig(Item("<name>cup</name><colour>blue</colour><price>5</price><tag>new</tag>")));
  EXPECT_THAT(shop_->Changes(),
              ElementsAre("3 key1 shelf.item.name=cup; 3 shelf.item.price=5",
                          "1 shelf.item.colour=blue [1]; 1 shelf.item.tag=new [1]", "commit"));
}

TEST_F(WriteTest, NewEntriesDoNotWaitForEachOther) {
  shop_->on_request = [&](const FakeAgent::Request& request) {
    shop_->is_silent = request.type == NC_DM_MSG_TYPE_EDIT;
  };
  bool is_done = false;
  device_->Start({1, "user"},
                 "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\">" +
                     EditConfig(Shelf(Named("cup", "create") + Named("jar", "create"))) + "</rpc>",
                 [&](const Reply&) { is_done = true; });
  Settle();
  EXPECT_THAT(shop_->Changes(),
              ElementsAre("3 key1 shelf.item.name=cup", "3 key1 shelf.item.name=jar"));
  EXPECT_FALSE(is_done);
}

TEST_F(WriteTest, EntriesThatWereCreatedBehindARefusedOneAreTakenBack) {
  shop_->refuse = [](const std::string& element) {
    return element == "3 key1 shelf.item.name=jar" ? NC_DM_FAULT_CODE_MEM : 0;
  };
  const std::string items = Named("cup") + Named("jar") + Named("pot");
  EXPECT_THAT(Refused(EditConfig(Shelf(items))), ElementsAre("resource-denied"));
  EXPECT_THAT(shop_->values(), IsEmpty());
  EXPECT_THAT(shop_->Changes(), Not(Contains("commit")));
}

TEST_F(WriteTest, NothingIsDeletedBehindARefusedDeletion) {
  Done(EditConfig(Shelf(Named("cup") + Named("jar"))));
  shop_->agent().ForgetRequests();
  shop_->refuse = [](const std::string& element) {
    return element == "4 key1 shelf.item.name=cup" ? NC_DM_FAULT_CODE_MEM : 0;
  };
  EXPECT_THAT(Refused(EditConfig(Shelf(Named("cup", "delete") + Named("jar", "delete")))),
              ElementsAre("resource-denied"));
  EXPECT_THAT(shop_->Changes(), ElementsAre("4 key1 shelf.item.name=cup"));
}

TEST_F(WriteTest, EditOfAnEntryAsksOnlyForWhatDiffers) {
  Done(EditConfig(Item("<name>cup</name><colour>blue</colour><price>5</price>")));
  shop_->agent().ForgetRequests();
  Done(EditConfig(Item("<name>cup</name><colour>blue</colour><price>6</price>")));
  EXPECT_THAT(shop_->Changes(), ElementsAre("1 shelf.item.price=6 [1]", "commit"));
}

TEST_F(WriteTest, EditThatChangesNothingIsNoChange) {
  Done(EditConfig(Till("<owner>ann</owner>")));
  shop_->agent().ForgetRequests();
  Done(EditConfig(Till("<owner>ann</owner>")));
  EXPECT_THAT(shop_->Changes(), IsEmpty());
}

TEST_F(WriteTest, DeletionsComeFirst) {
  Done(EditConfig(Item("<name>cup</name>")));
  shop_->agent().ForgetRequests();
  Done(EditConfig(Till("<owner>ann</owner>") + Item("<name>cup</name>", "delete")));
  EXPECT_THAT(shop_->Changes(),
              ElementsAre("4 key1 shelf.item.name=cup", "1 till.owner=ann", "commit"));
}

class LeafListDefaultsTest : public DeviceTest {
 protected:
  LeafListDefaultsTest()
      : shop_(NewStore("shop", {{"till.owner", 0}, {"till.hour", NC_DM_FLAG_LEAF_LIST}})) {}

  std::unique_ptr<StoreAgent> shop_;
};

TEST_F(LeafListDefaultsTest, AreNoConfigurationBesideTheFirstValueOfItsOwn) {
  shop_->values()["till.hour.1"] = "17";
  shop_->values()["till.hour.2"] = "9";
  Done(EditConfig(Till("<hour>5</hour>")));
  EXPECT_THAT(shop_->Changes(), ElementsAre("1 till.hour=5", "commit"));
}

TEST_F(LeafListDefaultsTest, AreReportedAsTheApplicationShowsThem) {
  shop_->values()["till.hour.1"] = "17";
  shop_->values()["till.hour.2"] = "9";
  const std::string hours = "<hour>17</hour><hour>9</hour>";
  EXPECT_THAT(Get(Till("")), HasSubstr(hours));
  for (const char* source : {"running", "candidate"}) {
    EXPECT_THAT(
        Call("<get-config><source><" + std::string(source) + "/></source></get-config>").content,
        HasSubstr(hours));
  }
}

TEST_F(LeafListDefaultsTest, AreConfigurationWhenOneOfThemIsGone) {
  shop_->values()["till.hour.1"] = "17";
  Done(EditConfig(Till("<hour nc:operation=\"delete\">17</hour>")));
  EXPECT_THAT(shop_->Changes(), ElementsAre("4 till.hour=17", "commit"));
}

TEST_F(WriteTest, EntryIsNamedByAllItsKeys) {
  const std::string pair = "<pair><left>a</left><right>007</right><value>v</value></pair>";
  Done(EditConfig("<pairs xmlns=\"urn:shop\">" + pair + "</pairs>"));
  EXPECT_THAT(shop_->Changes().front(), "3 key1 pairs.pair.right=7; 3 key1 pairs.pair.left=a");
}

TEST_F(WriteTest, ReplacedEntryLosesWhatIsNotGiven) {
  Done(EditConfig(Item("<name>cup</name><price>5</price><tag>a</tag><tag>b</tag>")));
  shop_->agent().ForgetRequests();
  Done(EditConfig(Item("<name>cup</name><tag>b</tag><tag>c</tag>", "replace")));
  EXPECT_THAT(shop_->Changes(), ElementsAre("4 shelf.item.price [1]; 4 shelf.item.tag=a [1]",
                                            "1 shelf.item.tag=c [1]", "commit"));
}

TEST_F(WriteTest, LeafThatKeepsItsValueIsNotSupported) {
  Done(EditConfig(Till("<owner>ann</owner>")));
  shop_->is_deaf = true;
  const Reply reply = Call(EditConfig(Till("<owner>bob</owner>")));
  ASSERT_FALSE(reply.errors.empty());
  EXPECT_EQ(reply.errors.front().tag, "operation-not-supported");
  EXPECT_EQ(reply.errors.front().path, "/s:till/s:owner");
  EXPECT_THAT(shop_->Changes().back(), Not("commit"));
}

TEST_F(WriteTest, WithoutAValueAnAcceptedLeafHasNotChanged) {
  Done(EditConfig(Till("<owner>ann</owner>")));
  shop_->is_deaf = true;
  shop_->on_request = [this](const ncdm_test::FakeAgent::Request& request) {
    if (request.type == NC_DM_MSG_TYPE_EDIT) {
      shop_->values().erase("till.owner");  // it answers no more for what it had
    }
  };
  EXPECT_THAT(Refused(EditConfig(Till("<owner>bob</owner>"))), Contains("operation-not-supported"));
}

TEST_F(WriteTest, RefusalNamesTheEntryAndTheLeafOfTheFault) {
  shop_->refuse = [](const std::string& element) {
    return element.find("price=0") == std::string::npos ? 0 : NC_DM_FAULT_CODE_DATA_INVALID_VALUE;
  };
  const Reply reply = Call(EditConfig(Item("<name>cup</name><price>0</price>")));
  ASSERT_EQ(reply.errors.size(), 1U);
  EXPECT_EQ(reply.errors.front().tag, "invalid-value");
  EXPECT_EQ(reply.errors.front().path, "/s:shelf/s:item[s:name='cup']");
  EXPECT_THAT(shop_->values(), IsEmpty());
}

TEST_F(WriteTest, DefaultOperationReplaceMakesTheConfigurationWhatIsGiven) {
  Done(EditConfig(Item("<name>cup</name>") + Till("<owner>ann</owner>")));
  Done(EditConfig(Item("<name>jug</name>"), "<default-operation>replace</default-operation>"));
  EXPECT_THAT(shop_->values(), UnorderedElementsAre(Pair("shelf.item.2.name", "jug")));
}

// ---- Two agents ----

class TwoAgentsTest : public DeviceTest {
 protected:
  TwoAgentsTest()
      : first_(NewStore("first", {{"shelf.item.{i}.name", NC_DM_FLAG_KEY},
                                  {"shelf.item.{i}.price", 0},
                                  {"till.owner", 0}})),
        second_(NewStore("second", {{"shelf.item.{i}.name", NC_DM_FLAG_KEY},
                                    {"shelf.item.{i}.colour", 0},
                                    {"till.open", 0}})) {}

  // The first one takes its part, the second one does not.
  void RefuseAtTheSecond() {
    Done(EditConfig(Till("<owner>ann</owner>")));
    first_->agent().ForgetRequests();
    second_->refuse = [](const std::string&) { return NC_DM_FAULT_CODE_DATA_INVALID_VALUE; };
  }
  const std::string both_ = Till("<owner>bob</owner><open>true</open>");

  std::unique_ptr<StoreAgent> first_;
  std::unique_ptr<StoreAgent> second_;
};

TEST_F(TwoAgentsTest, ContainerOfBothIsReadAndWrittenAsOne) {
  Done(EditConfig(both_));
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "bob")));
  EXPECT_THAT(second_->values(), ElementsAre(Pair("till.open", "true")));
  EXPECT_THAT(Get("<till xmlns=\"urn:shop\"/>"), HasSubstr("<owner>bob</owner><open>true</open>"));
}

TEST_F(TwoAgentsTest, RefusalOfOneIsUndoneAtTheOther) {
  RefuseAtTheSecond();
  EXPECT_THAT(Refused(EditConfig(both_)), ElementsAre("invalid-value"));
  EXPECT_THAT(first_->Changes(), ElementsAre("1 till.owner=bob", "1 till.owner=ann"));
  EXPECT_THAT(first_->values(), ElementsAre(Pair("till.owner", "ann")));
  EXPECT_THAT(second_->values(), IsEmpty());
}

TEST_F(TwoAgentsTest, ChangeOfAnAgentThatGoesDuringTheUndoIsReported) {
  RefuseAtTheSecond();
  second_->on_request = [this](const ncdm_test::FakeAgent::Request& request) {
    if (request.type == NC_DM_MSG_TYPE_EDIT) {
      first_->agent().Close();
      std::erase(playing_, &first_->agent());
    }
  };
  const Reply reply = Call(EditConfig(both_));
  ASSERT_EQ(reply.errors.size(), 2U);
  EXPECT_EQ(reply.errors[0].tag, "invalid-value");
  EXPECT_EQ(reply.errors[1].tag, "rollback-failed");
  EXPECT_THAT(reply.errors[1].message, HasSubstr("'first'"));
}

TEST_F(TwoAgentsTest, UndoThatAnAgentRefusesIsReported) {
  RefuseAtTheSecond();
  first_->refuse = [](const std::string& element) {
    return element == "1 till.owner=ann" ? NC_DM_FAULT_CODE_OP_FAILED : 0;
  };
  EXPECT_THAT(Refused(EditConfig(both_)), ElementsAre("invalid-value", "rollback-failed"));
}

TEST_F(TwoAgentsTest, UndoWithoutEffectIsReported) {
  RefuseAtTheSecond();
  second_->on_request = [this](const ncdm_test::FakeAgent::Request&) {
    first_->is_deaf = first_->values().at("till.owner") == "bob";
  };
  const Reply reply = Call(EditConfig(both_));
  ASSERT_EQ(reply.errors.size(), 2U);
  EXPECT_EQ(reply.errors[1].tag, "rollback-failed");
  EXPECT_EQ(reply.errors[1].path, "/s:till/s:owner");
}

TEST_F(TwoAgentsTest, CommitGoesToThoseThatChangedAlone) {
  RefuseAtTheSecond();
  EXPECT_THAT(Refused(EditConfig(both_, "<error-option>continue-on-error</error-option>")),
              ElementsAre("invalid-value"));
  EXPECT_THAT(first_->Changes(), ElementsAre("1 till.owner=bob", "commit"));
  EXPECT_THAT(second_->Changes(), Not(Contains("commit")));
}

TEST_F(TwoAgentsTest, EntryOfASharedListIsCreatedAndDeletedAtBoth) {
  Done(EditConfig(Item("<name>cup</name><price>5</price><colour>blue</colour>")));
  EXPECT_THAT(first_->values(), UnorderedElementsAre(Pair("shelf.item.1.name", "cup"),
                                                     Pair("shelf.item.1.price", "5")));
  EXPECT_THAT(second_->values(), UnorderedElementsAre(Pair("shelf.item.1.name", "cup"),
                                                      Pair("shelf.item.1.colour", "blue")));
  EXPECT_THAT(Get("<shelf xmlns=\"urn:shop\"/>"),
              HasSubstr("<item><name>cup</name><price>5</price><colour>blue</colour></item>"));
  Done(EditConfig(Item("<name>cup</name>", "delete")));
  EXPECT_THAT(first_->values(), IsEmpty());
  EXPECT_THAT(second_->values(), IsEmpty());
}

TEST_F(TwoAgentsTest, EntryThatOneRefusesIsTakenBackAtTheOther) {
  second_->refuse = [](const std::string&) { return NC_DM_FAULT_CODE_MEM; };
  EXPECT_THAT(Refused(EditConfig(Item("<name>cup</name><price>5</price><colour>blue</colour>"))),
              ElementsAre("resource-denied"));
  EXPECT_THAT(first_->values(), IsEmpty());
  EXPECT_EQ(first_->Changes().back(), "4 key1 shelf.item.name=cup");
}

TEST_F(TwoAgentsTest, LeafOfASecondAgentJoinsItsOwnEntry) {
  first_->values() = {{"shelf.item.4.name", "cup"}};
  Done(EditConfig(Item("<name>cup</name><price>5</price>", "")));
  EXPECT_THAT(first_->values(), Contains(Pair("shelf.item.4.price", "5")));
  EXPECT_THAT(second_->values(), IsEmpty());
}

// ---- Constraints over two agents ----

constexpr char kReferences[] = R"(module shop {
  yang-version 1.1; namespace "urn:shop"; prefix s;
  container shelf { list item { key "name"; leaf name { type string; } } }
  container till { leaf best { type leafref { path "/s:shelf/s:item/s:name"; } } }
})";

class ReferencesTest : public DeviceTest {
 protected:
  ReferencesTest()
      : DeviceTest({{"shop", kReferences}}),
        shelf_(NewStore("shelf", {{"shelf.item.{i}.name", NC_DM_FLAG_KEY}})),
        till_(NewStore("till", {{"till.best", 0}})) {
    shelf_->values() = {{"shelf.item.1.name", "cup"}};
  }

  std::unique_ptr<StoreAgent> shelf_;
  std::unique_ptr<StoreAgent> till_;
};

TEST_F(ReferencesTest, EditsBesideEachOtherDoNotBreakAConstraintTogether) {
  std::vector<Reply> replies;
  for (const std::string& edit :
       {EditConfig(Item("<name>cup</name>", "delete")), EditConfig(Till("<best>cup</best>"))}) {
    device_->Start({static_cast<std::uint32_t>(replies.size() + 1), "user"},
                   "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\">" +
                       edit + "</rpc>",
                   [&](Reply reply) { replies.push_back(std::move(reply)); });
  }
  while (replies.size() < 2) {
    Turn();
  }
  // Whichever came first, the other one is refused.
  EXPECT_EQ(replies[0].errors.size() + replies[1].errors.size(), 1U);
  EXPECT_EQ(shelf_->values().size(), till_->values().size());
}

TEST_F(ReferencesTest, CommitReadsWhatItsConstraintsLookAt) {
  Done(EditConfig(Till("<best>cup</best>"), "", "candidate"));
  Done("<commit/>");
  EXPECT_THAT(till_->values(), ElementsAre(Pair("till.best", "cup")));
  Done(EditConfig(Item("<name>cup</name>", "delete"), "", "candidate"));
  EXPECT_THAT(Refused("<commit/>"), ElementsAre("data-missing"));
  EXPECT_THAT(shelf_->values(), ElementsAre(Pair("shelf.item.1.name", "cup")));
}

}  // namespace
}  // namespace ncdm::netconf
