// Matchers that the library offers to applications.

#include <string.h>

#include "netconf_dm_kernel/edit/failing_calls.h"
#include "netconf_dm_kernel/query_fixture.h"

namespace ncdm_test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class ApplicationMatchersTest : public QueryTest {
 protected:
  static nc_dm_agent_node_t* ByValue(nc_dm_agent_node_t* node, std::string name, std::string value,
                                     nc_dm_id_array_t* ids = nullptr) {
    return nc_dm_agent_child_cont_match(ids, node, name.data(), value.data());
  }

  int ReadBelow(const char* node, const char* node_path, const std::string& names) {
    nc_dm_path_nodes_t path = PathOf(std::string(node_path) + "." + names);
    const int index = PathOf(node_path).total_node;
    nc_dm_stub_filter_node_t match_node = {};
    const int result =
        nc_dm_agent_child_nodes_match(NodeAt(node), &path, values.get(), &match_node, index);
    EXPECT_THAT(path.instances, Each(0)) << "the path is not as it was";
    return result;
  }

  Values values;
};

// ---- A child by its value ----

TEST_F(ApplicationMatchersTest, FindsTheChildWithAValue) {
  RegisterReadable({"a.b.{i}.c", "a.b.{i}.d"});
  AddInstance("a.b.3");
  log().Clear();
  EXPECT_EQ(ByValue(NodeAt("a.b.3"), "d", "3"), NodeAt("a.b.3.d"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("get d ids=[3]"));
  EXPECT_THAT(LogLines(), ElementsAre("I Current node to match name: c, input name: d\n",
                                      "I Current node to match name: d, input name: d\n",
                                      "I Current node name: d, input name: d\n"));
}

TEST_F(ApplicationMatchersTest, TakesTheIdsThatAreGiven) {
  RegisterReadable({"a.b.{i}.c"});
  AddInstance("a.b.3");
  nc_dm_id_array_t ids = IdArrayOf({8, 9});
  EXPECT_EQ(ByValue(NodeAt("a.b.3"), "c", "8,9", &ids), NodeAt("a.b.3.c"));
}

TEST_F(ApplicationMatchersTest, LogsADifferentValueAsAnError) {
  RegisterReadable({"a.c"});
  log().Clear();
  EXPECT_EQ(ByValue(NodeAt("a"), "c", "7"), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Current node value: -, input value: 7\n"));
  EXPECT_EQ(ByValue(NodeAt("a"), "x", "7"), nullptr);
  EXPECT_EQ(ErrorLines().size(), 1u);
}

TEST_F(ApplicationMatchersTest, FindsAnElementOfALeafList) {
  RegisterReadableLeafList("a.b.{i}.l");
  for (const char* path : {"a.b.3", "a.b.3.l.4", "a.b.3.l.9"}) AddInstance(path);
  EXPECT_EQ(ByValue(NodeAt("a.b.3"), "l", "3,9"), NodeAt("a.b.3.l.9"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("get l ids=[3,4]", "get l ids=[3,9]"));
  nc_dm_id_array_t ids = IdArrayOf({3});
  EXPECT_EQ(ByValue(NodeAt("a.b.3"), "l", "x", &ids), nullptr);
  EXPECT_EQ(ids.cnt, 1) << "an element's id is there for its call alone";
}

TEST_F(ApplicationMatchersTest, HandsFullIdsOnWithoutAnElementsId) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  nc_dm_id_array_t ids = IdArrayOf(Ids(NC_DM_MAX_DEPTH, 1));
  EXPECT_EQ(ByValue(NodeAt("a"), "l", "x", &ids), nullptr);
  ASSERT_EQ(app.calls().size(), 1u);
  EXPECT_EQ(app.calls()[0].ids, Ids(NC_DM_MAX_DEPTH, 1));
  EXPECT_EQ(ids.cnt, NC_DM_MAX_DEPTH);
}

TEST_F(ApplicationMatchersTest, GoesOnAfterAChildThatCannotBeRead) {
  app.Register({.path = "a.b.{i}.l", .flag = NC_DM_FLAG_LEAF_LIST, .callbacks = kGet});
  for (const char* path : {"a.b.3", "a.b.3.l.4", "a.b.3.l.9"}) AddInstance(path);
  app.On(Callback::kGet, "l",
         [](const ModelCall& call) { return call.ids.back() == 4 ? -1 : Text("v")(call); });
  log().Clear();
  EXPECT_EQ(ByValue(NodeAt("a.b.3"), "l", "v"), NodeAt("a.b.3.l.9"));
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to get val from app, node:l\n"));
}

TEST_F(ApplicationMatchersTest, NeedsTheIdsAndTheText) {
  RegisterReadable({"a.c", "a.c2"});
  log().Clear();
  {
    const FailingCall failing(Step::kGetIds);
    EXPECT_EQ(ByValue(NodeAt("a"), "c", "-"), nullptr);
  }
  EXPECT_THAT(LogLines(), ElementsAre("E Failed to get id array.\n"));
  EXPECT_THAT(app.calls(), IsEmpty());
  {
    const FailingCall failing(Step::kSerialize);
    EXPECT_EQ(ByValue(NodeAt("a"), "c", "-"), nullptr);
  }
  EXPECT_EQ(ErrorLines().back(), "Current node value got serialization fail.\n");
  EXPECT_EQ(LogLines().back(), "I Current node to match name: c2, input name: c\n")
      << "the next child is looked at";
  EXPECT_EQ(ByValue(NodeAt("a"), "c", "-"), NodeAt("a.c"));
}

TEST_F(ApplicationMatchersTest, NeedsAValueToCompare) {
  app.Register({.path = "a.b", .type = NC_DM_VAL_TYPE_UNKNOWN, .callbacks = kGet});
  app.Register({.path = "a.c"});
  log().Clear();
  EXPECT_EQ(ByValue(NodeAt("a"), "b", ""), nullptr);
  EXPECT_EQ(ByValue(NodeAt("a"), "c", ""), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Current node serialization value pointer is null.\n"));
}

TEST_F(ApplicationMatchersTest, RefusesNullArgumentsAndANodeWithoutChildren) {
  RegisterReadable({"a.c"});
  char text[] = "c";
  EXPECT_EQ(nc_dm_agent_child_cont_match(nullptr, nullptr, text, text), nullptr);
  EXPECT_EQ(nc_dm_agent_child_cont_match(nullptr, NodeAt("a"), nullptr, text), nullptr);
  EXPECT_EQ(nc_dm_agent_child_cont_match(nullptr, NodeAt("a"), text, nullptr), nullptr);
  EXPECT_EQ(ByValue(NodeAt("a.c"), "c", "c"), nullptr);
  const char* line = "Invalid arguments inputs.\n";
  EXPECT_THAT(ErrorLines(), ElementsAre(line, line, line, "The node has no children.\n"));
}

// ---- Subtrees by a relative path ----

TEST_F(ApplicationMatchersTest, ReadsTheChildrenOfAName) {
  RegisterReadable({"a.b.{i}.c", "a.x"});
  AddInstance("a.b.3");
  EXPECT_EQ(ReadBelow("a", "a", "b"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.c=-", "a.b.3.c=3"));
}

TEST_F(ApplicationMatchersTest, ReportsALongerPathAsUnmatchedAboveItsEnd) {
  RegisterReadable({"a.b.{i}.c"});
  AddInstance("a.b.3");
  log().Clear();
  EXPECT_EQ(ReadBelow("a", "a", "b.c"), -1);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b.c=-", "a.b.3.c=3"));
  EXPECT_EQ(log().Count(kErrorPrefix, "The isn't any filter node matching in the dm tree.\n"), 1);
}

TEST_F(ApplicationMatchersTest, ReadsNothingOfAnUnknownName) {
  RegisterReadable({"a.b.{i}.c"});
  EXPECT_EQ(ReadBelow("a", "a", "x"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The isn't any filter node matching in the dm tree.\n"));
  nc_dm_path_nodes_t path = PathOf("a");
  nc_dm_stub_filter_node_t match_node = {};
  EXPECT_EQ(nc_dm_agent_child_nodes_match(NodeAt("a"), &path, values.get(), &match_node, 1), -1);
  EXPECT_THAT(values.Texts(), IsEmpty());
}

TEST_F(ApplicationMatchersTest, StopsAtAFailureOfTheWalk) {
  RegisterReadable({"a.b", "a.c"});
  app.On(Callback::kGet, "b", -7);
  EXPECT_EQ(ReadBelow("a", "a", "b"), -7);
  EXPECT_EQ(ReadBelow("a", "a", "c"), 0);
}

TEST_F(ApplicationMatchersTest, StopsAtTheFirstOfANameThatFails) {
  RegisterReadableLeafList("a.l");
  AddInstance("a.l.4");
  AddInstance("a.l.9");
  app.On(Callback::kGet, "l",
         [](const ModelCall& call) { return call.ids == Ids{4} ? -7 : IdsAsText(call); });
  EXPECT_EQ(ReadBelow("a", "a", "l"), -7);
  // The elements through their schema node, which passes over a failure, and then one by one.
  EXPECT_THAT(app.CallTexts(), ElementsAre("get l ids=[4]", "get l ids=[9]", "get l ids=[4]"));
  EXPECT_THAT(values.Texts(), ElementsAre("a.l.9=9"));
}

TEST_F(ApplicationMatchersTest, ReadsFromTheFirstComponentOn) {
  RegisterReadable({"a.b"});
  nc_dm_path_nodes_t path = PathOf("b");
  nc_dm_stub_filter_node_t match_node = {};
  EXPECT_EQ(nc_dm_agent_child_nodes_match(NodeAt("a"), &path, values.get(), &match_node, 0), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("b=-"));
  EXPECT_EQ(nc_dm_agent_child_nodes_match(NodeAt("a"), &path, values.get(), &match_node, -1), -1);
}

TEST_F(ApplicationMatchersTest, RefusesNullArgumentsOfARelativePath) {
  RegisterReadable({"a.b"});
  nc_dm_path_nodes_t path = PathOf("a.b");
  nc_dm_stub_filter_node_t match_node = {};
  nc_dm_agent_node_t* node = NodeAt("a");
  EXPECT_EQ(nc_dm_agent_child_nodes_match(nullptr, &path, values.get(), &match_node, 1), -1);
  EXPECT_EQ(nc_dm_agent_child_nodes_match(node, nullptr, values.get(), &match_node, 1), -1);
  EXPECT_EQ(nc_dm_agent_child_nodes_match(node, &path, nullptr, &match_node, 1), -1);
  EXPECT_EQ(nc_dm_agent_child_nodes_match(node, &path, values.get(), nullptr, 1), -1);
  EXPECT_EQ(log().Count(kErrorPrefix, "The arguments input are invalid.\n"), 4);
}

// ---- A descendant by its name ----

TEST_F(ApplicationMatchersTest, FindsADescendantByName) {
  RegisterReadable({"a.b.c", "a.d.e", "f.e", "f.g"});
  EXPECT_TRUE(nc_dm_agent_is_descendant(NodeAt("a"), NodeAt("a.b")));
  EXPECT_TRUE(nc_dm_agent_is_descendant(NodeAt("a"), NodeAt("a.d.e")));
  EXPECT_TRUE(nc_dm_agent_is_descendant(NodeAt("a"), NodeAt("f.e")))
      << "the name counts, not the node";
  EXPECT_FALSE(nc_dm_agent_is_descendant(NodeAt("a"), NodeAt("f.g")));
  EXPECT_FALSE(nc_dm_agent_is_descendant(NodeAt("a"), NodeAt("a")));
  EXPECT_FALSE(nc_dm_agent_is_descendant(NodeAt("a.b.c"), NodeAt("a.b.c")));
  EXPECT_FALSE(nc_dm_agent_is_descendant(nullptr, NodeAt("a")));
  EXPECT_FALSE(nc_dm_agent_is_descendant(NodeAt("a"), nullptr));
}

TEST_F(ApplicationMatchersTest, NothingIsMatchedOutsideThePath) {
  RegisterReadable({"a.b", "a.c"});
  nc_dm_path_nodes_t path = PathOf("a.b.c");
  path.total_node = 2;
  Values values;
  nc_dm_stub_filter_node_t match_node = {};
  log().Clear();
  for (const int index : {-1, 2, NC_DM_MAX_DEPTH}) {
    EXPECT_EQ(nc_dm_agent_child_nodes_match(NodeAt("a"), &path, values.get(), &match_node, index),
              -1);
    EXPECT_EQ(ErrorLines().back(), "The isn't any filter node matching in the dm tree.\n");
  }
  path.total_node = NC_DM_MAX_DEPTH + 1;
  EXPECT_EQ(
      nc_dm_agent_child_nodes_match(NodeAt("a"), &path, values.get(), &match_node, NC_DM_MAX_DEPTH),
      -1);
  EXPECT_THAT(values.Texts(), IsEmpty());
}

}  // namespace
}  // namespace ncdm_test
