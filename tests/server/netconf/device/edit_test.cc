// What a <config> says, checked against a model that uses what the demos do not.
#include "tests/server/netconf/device/device_fixture.h"

namespace ncdm::netconf {
namespace {

constexpr char kKinds[] = R"(module kinds {
  yang-version 1.1; namespace "urn:kinds"; prefix k;
  identity drink; identity tea { base drink; } identity coffee { base drink; }
})";
constexpr char kBar[] = R"(module bar {
  yang-version 1.1; namespace "urn:bar"; prefix b;
  import kinds { prefix kn; }
  identity water { base kn:drink; }
  container bar {
    leaf favourite { type identityref { base kn:drink; } }
    leaf either { type union { type identityref { base kn:drink; } type uint8;
      type string { pattern "[a-z]+[0-9]*:.*"; } } }
    leaf-list served { type identityref { base kn:drink; } }
    list cup { key "drink"; leaf drink { type identityref { base kn:drink; } }
      leaf size { type uint8; } leaf lent { type boolean; } }
    leaf best { type instance-identifier; }
    leaf seen { type instance-identifier { require-instance false; } }
    container jar { choice content { mandatory true;
      leaf beans { type uint8; }
      case mixed { leaf sort { type string; } choice more { mandatory true;
        leaf sugar { type uint8; } leaf salt { type uint8; } } } }
      leaf note { type string; } }
    list shelf { key "name"; leaf name { type string; }
      leaf must-have { mandatory true; type string; }
      leaf if-tall { when "../name = 'tall'"; mandatory true; type uint8; }
      leaf-list label { type string; min-elements 2; max-elements 3; } }
  }
})";

constexpr char kKindsPrefix[] = "xmlns:x=\"urn:kinds\"";

std::string Bar(const std::string& content) {
  return "<bar xmlns=\"urn:bar\" xmlns:me=\"urn:bar\" " + std::string(kKindsPrefix) + ">" +
         content + "</bar>";
}

class EditTest : public DeviceTest {
 protected:
  EditTest()
      : DeviceTest({{"kinds", kKinds}, {"bar", kBar}}),
        bar_(NewStore("bar",
                      {{"bar.favourite", 0},
                       {"bar.either", 0},
                       {"bar.served", NC_DM_FLAG_LEAF_LIST},
                       {"bar.cup.{i}.drink", NC_DM_FLAG_KEY},
                       {"bar.cup.{i}.size", 0},
                       {"bar.best", 0},
                       {"bar.seen", 0},
                       {"bar.jar.beans", 0},
                       {"bar.jar.sort", 0},
                       {"bar.jar.sugar", 0},
                       {"bar.jar.salt", 0},
                       {"bar.jar.note", 0},
                       {"bar.shelf.{i}.name", NC_DM_FLAG_KEY},
                       {"bar.shelf.{i}.must-have", 0},
                       {"bar.shelf.{i}.if-tall", 0},
                       {"bar.shelf.{i}.label", NC_DM_FLAG_LEAF_LIST}},
                      "bar")) {}

  // The values, with no regard to leaf-lists' ids.
  std::vector<std::string> Values() {
    std::vector<std::string> values;
    for (const auto& [path, value] : bar_->values()) {
      values.push_back(path + "=" + value);
    }
    return values;
  }

  std::unique_ptr<StoreAgent> bar_;
};

// ---- Values with prefixes ----

TEST_F(EditTest, IdentitiesAreWrittenWithAnyDeclaredPrefix) {
  for (const char* declared : {"xmlns:x=\"urn:kinds\"", "xmlns:bar=\"urn:kinds\""}) {
    const std::string prefix = declared[6] == 'x' ? "x" : "bar";
    Done(EditConfig("<bar xmlns=\"urn:bar\"><favourite " + std::string(declared) + ">" + prefix +
                    ":tea</favourite><either " + declared + ">" + prefix +
                    ":coffee</either></bar>"));
    EXPECT_THAT(Values(), ElementsAre("bar.either=kinds:coffee", "bar.favourite=kinds:tea"));
    Done(EditConfig("<bar xmlns=\"urn:bar\" nc:operation=\"remove\"/>"));
  }
}

TEST_F(EditTest, IdentityWithoutAPrefixIsOfTheDefaultNamespace) {
  Done(EditConfig(Bar("<favourite>water</favourite>")));
  EXPECT_THAT(Values(), ElementsAre("bar.favourite=bar:water"));
  Done(
      EditConfig("<b:bar xmlns:b=\"urn:bar\"><b:favourite xmlns=\"urn:kinds\">tea</b:favourite>"
                 "</b:bar>"));
  EXPECT_THAT(Values(), ElementsAre("bar.favourite=kinds:tea"));
  EXPECT_THAT(Refused(EditConfig(Bar("<favourite>tea</favourite>"))), ElementsAre("invalid-value"));
  EXPECT_THAT(Refused(EditConfig(Bar("<favourite>y:tea</favourite>"))),
              ElementsAre("invalid-value"));
  EXPECT_THAT(Refused(EditConfig(Bar("<favourite>kinds:tea</favourite>"))),  // no declared prefix
              ElementsAre("invalid-value"));
}

TEST_F(EditTest, UnionWithAnIdentityHasItsOtherMembersToo) {
  Done(EditConfig(Bar("<either> x:tea </either>")));
  EXPECT_THAT(Values(), ElementsAre("bar.either=kinds:tea"));
  Done(EditConfig(Bar("<either>7</either>")));
  EXPECT_THAT(Values(), ElementsAre("bar.either=7"));
  Done(EditConfig(Bar("<either>x:elsewhere</either>")));
  EXPECT_THAT(Values(), ElementsAre("bar.either=x:elsewhere"));
  Done(EditConfig(Bar("<either>fe80:0:a::1</either>")));
  EXPECT_THAT(Values(), ElementsAre("bar.either=fe80:0:a::1"));
}

TEST_F(EditTest, IdentitiesNameEntriesAndLeafListValues) {
  Done(
      EditConfig(Bar("<cup><drink>x:tea</drink><size>2</size></cup><served>x:tea</served>"
                     "<served>me:water</served>")));
  EXPECT_THAT(Values(), Contains("bar.cup.3.drink=kinds:tea"));
  Done(
      EditConfig(Bar("<cup nc:operation=\"delete\"><drink>x:tea</drink></cup>"
                     "<served nc:operation=\"delete\">x:tea</served>")));
  EXPECT_THAT(bar_->values(), ElementsAre(Pair(HasSubstr("bar.served"), "bar:water")));
}

TEST_F(EditTest, FiltersMatchIdentities) {
  Done(
      EditConfig(Bar("<cup><drink>x:tea</drink><size>2</size></cup>"
                     "<cup><drink>x:coffee</drink><size>1</size></cup>")));
  const std::string data = Get(Bar("<cup><drink>x:coffee</drink></cup>"));
  EXPECT_THAT(data, HasSubstr("<size>1</size>"));
  EXPECT_THAT(data, Not(HasSubstr("<size>2</size>")));
}

// ---- instance-identifier ----

TEST_F(EditTest, InstanceIdentifierHasATarget) {
  const std::string best = "<best>/me:bar/me:cup[me:drink='x:tea']/me:size</best>";
  EXPECT_THAT(Refused(EditConfig(Bar(best))), ElementsAre("data-missing"));
  Done(EditConfig(Bar("<cup><drink>x:tea</drink><size>2</size></cup>" + best)));
  Done(EditConfig(Bar("<seen>/me:bar/me:favourite</seen>")));  // need not have one
  const Reply reply =
      Call(EditConfig(Bar("<cup nc:operation=\"delete\"><drink>x:tea</drink></cup>")));
  ASSERT_EQ(reply.errors.size(), 1U);
  EXPECT_EQ(reply.errors.front().tag, "data-missing");
  EXPECT_EQ(reply.errors.front().app_tag, "instance-required");
  EXPECT_EQ(reply.errors.front().path, "/b:bar/b:best");
}

// ---- mandatory, choices, numbers of elements ----

TEST_F(EditTest, MandatoryChoiceNeedsACase) {
  const Reply reply = Call(EditConfig(Bar("<jar><note>n</note></jar>")));
  ASSERT_EQ(reply.errors.size(), 1U);
  EXPECT_EQ(reply.errors.front().tag, "data-missing");
  EXPECT_EQ(reply.errors.front().app_tag, "missing-choice");
  Done(EditConfig(Bar("<jar><note>n</note><beans>1</beans></jar>")));
}

TEST_F(EditTest, ChoiceInACaseIsMandatoryWithThatCase) {
  EXPECT_THAT(Refused(EditConfig(Bar("<jar><sort>s</sort></jar>"))), ElementsAre("data-missing"));
  Done(EditConfig(Bar("<jar><sort>s</sort><salt>1</salt></jar>")));
}

TEST_F(EditTest, NodeOfAnotherCaseMakesAllOfACaseGo) {
  Done(EditConfig(Bar("<jar><sort>s</sort><salt>1</salt></jar>")));
  Done(EditConfig(Bar("<jar><sugar>2</sugar></jar>")));  // of the inner choice
  EXPECT_THAT(Values(), ElementsAre("bar.jar.sort=s", "bar.jar.sugar=2"));
  Done(EditConfig(Bar("<jar><beans>3</beans></jar>")));
  EXPECT_THAT(Values(), ElementsAre("bar.jar.beans=3"));
}

TEST_F(EditTest, TwoCasesCannotBothBeGiven) {
  EXPECT_THAT(Refused(EditConfig(Bar("<jar><beans>1</beans><sort>s</sort></jar>"))),
              ElementsAre("bad-element"));
  EXPECT_THAT(Refused(EditConfig(Bar("<jar><sugar>1</sugar><salt>1</salt></jar>"))),
              ElementsAre("bad-element"));
}

std::string Shelf(const std::string& name, const std::string& content) {
  return Bar("<shelf><name>" + name + "</name>" + content + "</shelf>");
}

TEST_F(EditTest, EntryHasItsMandatoryLeavesAndEnoughElements) {
  const std::string labels = "<label>a</label><label>b</label>";
  const std::string must = "<must-have>m</must-have>";
  EXPECT_THAT(Refused(EditConfig(Shelf("low", labels))), ElementsAre("data-missing"));
  EXPECT_THAT(Refused(EditConfig(Shelf("low", must + "<label>a</label>"))),
              ElementsAre("operation-failed"));
  Done(EditConfig(Shelf("low", must + labels)));
  EXPECT_THAT(Refused(EditConfig(Shelf("low", "<label nc:operation=\"delete\">a</label>"))),
              ElementsAre("operation-failed"));
  EXPECT_THAT(Refused(EditConfig(Shelf("low", "<label>c</label><label>d</label>"))),
              ElementsAre("operation-failed"));
}

TEST_F(EditTest, MandatoryLeafWithAConditionIsNeededWhereTheConditionHolds) {
  const std::string rest = "<must-have>m</must-have><label>a</label><label>b</label>";
  Done(EditConfig(Shelf("low", rest)));
  EXPECT_THAT(Refused(EditConfig(Shelf("tall", rest))), ElementsAre("data-missing"));
  Done(EditConfig(Shelf("tall", rest + "<if-tall>9</if-tall>")));
}

// ---- What an edit may look like ----

TEST_F(EditTest, ErrorsOfAConfigNameWhatIsWrong) {
  struct Case {
    std::string config;
    std::string tag;
    std::string info;
  };
  const std::vector<Case> cases = {
      {Bar("<nothing/>"), "unknown-element", "nothing"},
      {"<bar xmlns=\"urn:none\"/>", "unknown-namespace", "urn:none"},
      {Bar("<cup><size>1</size></cup>"), "missing-element", "drink"},
      {Bar("<cup nc:operation=\"turn\"><drink>x:tea</drink></cup>"), "bad-attribute", "operation"},
      {Bar("<cup colour=\"red\"><drink>x:tea</drink></cup>"), "unknown-attribute", "colour"},
      {Bar("<cup><drink>x:tea</drink><drink>x:tea</drink></cup>"), "bad-element", "drink"},
      {Bar("<favourite>x:tea</favourite><favourite>x:tea</favourite>"), "bad-element", "favourite"},
      {Bar("<favourite><x/></favourite>"), "unknown-element", "x"},
      {Bar("<jar>text</jar>"), "bad-element", "jar"},
      {Bar("<jar><beans>300</beans></jar>"), "invalid-value", "beans"},
      {Bar("<cup><drink>x:tea</drink><lent>true</lent></cup>"), "operation-not-supported", ""},
      {Bar("<jar><note>" + std::string(256, 'n') + "</note></jar>"), "too-big", ""},
  };
  for (const Case& one : cases) {
    const Reply reply = Call(EditConfig(one.config));
    ASSERT_EQ(reply.errors.size(), 1U) << one.config;
    EXPECT_EQ(reply.errors.front().tag, one.tag) << one.config;
    std::string info;
    for (const ErrorInfo& element : reply.errors.front().info) {
      info += element.text + " ";
    }
    EXPECT_THAT(info, HasSubstr(one.info)) << one.config;
  }
  EXPECT_THAT(bar_->Changes(), IsEmpty());
}

}  // namespace
}  // namespace ncdm::netconf
