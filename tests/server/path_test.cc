#include "server/console/path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server/console/error.h"
#include "tests/server/model_schema.h"

namespace ncdm::console {
namespace {

using ncdm_test::MakeSchema;
using testing::ElementsAre;
using testing::ThrowsMessage;

// ---- Parsing ----

TEST(ParsePathTest, ComponentsAndKeys) {
  EXPECT_THAT(ParsePath("a"), ElementsAre(PathStep{"a", {}}));
  EXPECT_THAT(ParsePath("a.{i}.3"),
              ElementsAre(PathStep{"a", {}}, PathStep{"{i}", {}}, PathStep{"3", {}}));
  EXPECT_THAT(
      ParsePath(R"(a[k=10.0.0.1,m="x,]\"y",n='p q',o=].b)"),
      ElementsAre(PathStep{"a", {{"k", "10.0.0.1"}, {"m", "x,]\"y"}, {"n", "p q"}, {"o", ""}}},
                  PathStep{"b", {}}));
}

TEST(ParsePathTest, KeysAsInXPath) {
  const std::vector<KeyValue> keys{{"vrf", "red"}, {"dest", "10.0.0.0/8"}};
  for (const char* path :
       {"r[vrf=red,dest=10.0.0.0/8]", "r[vrf=red][dest=10.0.0.0/8]",
        "r[vrf='red'][dest=10.0.0.0/8]", "r[vrf='red' and dest=\"10.0.0.0/8\"]",
        "r[ vrf = 'red'  and  dest = '10.0.0.0/8' ]", "r[vrf = 'red' , dest = '10.0.0.0/8']"}) {
    EXPECT_THAT(ParsePath(path), ElementsAre(PathStep{"r", keys})) << path;
  }
  EXPECT_THAT(ParsePath("a[k='1'][l='2'].b[m=3]"),
              ElementsAre(PathStep{"a", {{"k", "1"}, {"l", "2"}}}, PathStep{"b", {{"m", "3"}}}));
}

TEST(ParsePathTest, AndIsAWordAndBlanksBelongToAValueWithoutQuotes) {
  EXPECT_THAT(ParsePath("a[k=x and l=y]"), ElementsAre(PathStep{"a", {{"k", "x and l=y"}}}));
  EXPECT_THAT(ParsePath("a[k= x]"), ElementsAre(PathStep{"a", {{"k", " x"}}}));
  EXPECT_THAT(ParsePath("a[and='1' and and='2']"),
              ElementsAre(PathStep{"a", {{"and", "1"}, {"and", "2"}}}));
  EXPECT_THROW(ParsePath("a[k='x'and l='y']"), CommandError);
  EXPECT_THROW(ParsePath("a[k='x' andl='y']"), CommandError);
  EXPECT_THROW(ParsePath("a[k='x' and ]"), CommandError);
}

TEST(ParsePathTest, Refusals) {
  const auto parse = [](const char* path) { return [=] { ParsePath(path); }; };
  for (const char* path : {"", ".a", "a..b", "a.", "[k=v]"}) {
    EXPECT_THAT(parse(path), ThrowsMessage<CommandError>("a component of the path '" +
                                                         std::string(path) + "' is empty"));
  }
  EXPECT_THAT(parse("a[k]"), ThrowsMessage<CommandError>("brackets hold key=value,... , not ']'"));
  EXPECT_THAT(parse("a[]"), ThrowsMessage<CommandError>("brackets hold key=value,... , not ']'"));
  EXPECT_THAT(parse("a[k=v"), ThrowsMessage<CommandError>("a bracket is not closed in 'a[k=v'"));
  EXPECT_THAT(parse("a[k=\"v]"),
              ThrowsMessage<CommandError>("a quote is not closed in 'a[k=\"v]'"));
  EXPECT_THAT(parse("a[k='v'w]"),
              ThrowsMessage<CommandError>("a bracket is not closed in 'a[k='v'w]'"));
  EXPECT_THAT(parse("a[k=v]b"),
              ThrowsMessage<CommandError>("a '.' is missing behind the bracket in 'a[k=v]b'"));
}

// ---- Resolving ----

class ResolvePathTest : public testing::Test {
 protected:
  ResolvedPath Resolve(std::string_view path) { return ResolvePath(schema_, path); }

  std::string Error(std::string_view path) {
    try {
      Resolve(path);
    } catch (const CommandError& error) {
      return error.what();
    }
    return "no error";
  }

  Schema schema_ = MakeSchema(ncdm_test::ModelPaths());
};

TEST_F(ResolvePathTest, TheThreeFormsMeanTheSameLeaf) {
  for (const char* path : {"interfaces.interface.{i}.mtu", "interfaces.interface.mtu",
                           "interfaces.interface.3.mtu", "interfaces.interface[name=eth0].mtu"}) {
    const ResolvedPath resolved = Resolve(path);
    EXPECT_EQ(resolved.name(), "interfaces.interface.mtu");
    EXPECT_TRUE(resolved.node->is_leaf);
    ASSERT_EQ(resolved.lists.size(), 1U);
    EXPECT_EQ(resolved.lists[0].list->name, "interface");
  }
  EXPECT_FALSE(Resolve("interfaces.interface.{i}.mtu").lists[0].selects());
  EXPECT_EQ(Resolve("interfaces.interface.3.mtu").lists[0].id, 3);
  EXPECT_THAT(Resolve("interfaces.interface[name=eth0].mtu").lists[0].keys,
              ElementsAre(KeyValue{"name", "eth0"}));
}

TEST_F(ResolvePathTest, ListsAlongTheWayAreListedOutermostFirst) {
  const ResolvedPath resolved = Resolve("interfaces.interface.3.address[ip=10.0.0.1]");
  ASSERT_EQ(resolved.lists.size(), 2U);
  EXPECT_EQ(resolved.lists[0].id, 3);
  EXPECT_THAT(resolved.lists[1].keys, ElementsAre(KeyValue{"ip", "10.0.0.1"}));
  EXPECT_TRUE(resolved.node->is_list);
}

TEST_F(ResolvePathTest, KeysAreSortedAsRegistered) {
  EXPECT_THAT(Resolve("routes.route[dest=d,vrf=v]").lists[0].keys,
              ElementsAre(KeyValue{"vrf", "v"}, KeyValue{"dest", "d"}));
}

TEST_F(ResolvePathTest, LargestIdIsTaken) {
  EXPECT_EQ(Resolve("interfaces.interface.9223372036854775807").lists[0].id, 9223372036854775807LL);
}

TEST_F(ResolvePathTest, Refusals) {
  EXPECT_EQ(Error("nothing.here"), "no registered path begins with 'nothing'");
  EXPECT_EQ(Error("3.a"), "no registered path begins with '3'");
  EXPECT_EQ(Error("interfaces.port"), "'interfaces' has no 'port'");
  EXPECT_EQ(Error("interfaces.interface.3.speed"), "'interfaces.interface' has no 'speed'");
  EXPECT_EQ(Error("interfaces.3"), "'interfaces' is no list, so it has no instance 3");
  EXPECT_EQ(Error("interfaces.{i}.interface"), "'interfaces' is no list, so it has no {i}");
  EXPECT_EQ(Error("system[name=x]"), "'system' is no list, so it has no keys");
  EXPECT_EQ(Error("system.dns.4"),
            "'system.dns' is a leaf-list: its elements are named by their value");
  EXPECT_EQ(Error("system.hostname.4"), "'system.hostname' is no list, so it has no instance 4");
  EXPECT_EQ(Error("interfaces.interface.0"),
            "'0' is no instance id: they go from 1 to 9223372036854775807");
  EXPECT_EQ(Error("interfaces.interface.9223372036854775808"),
            "'9223372036854775808' is no instance id: they go from 1 to 9223372036854775807");
  EXPECT_EQ(Error("interfaces.interface.3.4"), "an entry of 'interfaces.interface' is named twice");
  EXPECT_EQ(Error("interfaces.interface.3[name=x]"),
            "an entry of 'interfaces.interface' is named twice");
  EXPECT_EQ(Error("interfaces.interface[mtu=5]"),
            "'mtu' is no key of the list 'interfaces.interface'");
  EXPECT_EQ(Error("interfaces.interface[name=a,name=b]"), "the key 'name' is given twice");
  EXPECT_EQ(Error("routes.route[vrf=a]"), "the list 'routes.route' needs its key 'dest'");
  EXPECT_EQ(Error("routes.plain[value=a]"), "'value' is no key of the list 'routes.plain'");
}

TEST_F(ResolvePathTest, ReadingNeedsIdsFromTheOutside) {
  EXPECT_NO_THROW(CheckForReading(Resolve("interfaces.interface.address.ip")));
  EXPECT_NO_THROW(CheckForReading(Resolve("interfaces.interface.3.address.ip")));
  EXPECT_NO_THROW(CheckForReading(Resolve("interfaces.interface.3.address.4.ip")));
  EXPECT_NO_THROW(CheckForReading(Resolve("system")));
  EXPECT_THAT([&] { CheckForReading(Resolve("interfaces.interface.address.4.ip")); },
              ThrowsMessage<CommandError>(
                  "an entry of 'interfaces.interface.address' is named, but none of the list "
                  "'interfaces.interface' around it"));
}

TEST_F(ResolvePathTest, EditingNeedsEveryId) {
  EXPECT_NO_THROW(CheckForEditing(Resolve("interfaces.interface.3.mtu"), true));
  EXPECT_NO_THROW(CheckForEditing(Resolve("interfaces.interface"), false));
  const std::string error =
      "'interfaces.interface' is a list: name an entry by its id or by [key=value]";
  EXPECT_THAT([&] { CheckForEditing(Resolve("interfaces.interface"), true); },
              ThrowsMessage<CommandError>(error));
  EXPECT_THAT([&] { CheckForEditing(Resolve("interfaces.interface.address"), false); },
              ThrowsMessage<CommandError>(error));
}

}  // namespace
}  // namespace ncdm::console
