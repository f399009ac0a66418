// A leaf written by its path, and the comparison of paths.

#include <string.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "netconf_dm_kernel/edit/failing_calls.h"
#include "netconf_dm_kernel/query_fixture.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class UpdateTest : public EditTest {
 protected:
  UpdateTest() {
    app.Register({.path = "if.port.{i}.name", .flag = 1, .callbacks = 0u | Callback::kSet});
    app.Register({.path = "if.port.{i}.alias", .flag = 2, .callbacks = 0u | Callback::kSet});
    app.Register(
        {.path = "if.port.{i}.mtu", .type = NC_DM_VAL_TYPE_INT, .callbacks = 0u | Callback::kSet});
    app.Register({.path = "if.port.{i}.state"});
    app.Register({.path = "if.port.{i}.sub.{i}.id", .callbacks = 0u | Callback::kSet});
    AddInstance("if.port.3");
    AddInstance("if.port.4");
    LogCapture::Get().Clear();
  }

  int Update(const char* key, std::string path, std::string value,
             const char* parent = "if.port.3") {
    nc_dm_path_nodes_t key_path = ParsedPath(key);
    return nc_dm_agent_edit_update(NodeAt(parent), &key_path, path.data(), value.data());
  }
  static int UpdateLeaf(const char* node, const char* text, int offset, std::string value) {
    nc_dm_path_nodes_t path = ParsedPath(text);
    return nc_dm_agent_edit_update_leaf_val(NodeAt(node), &path, offset, value.data());
  }
};

TEST_F(UpdateTest, LeafBesideTheKeyIsWritten) {
  EXPECT_EQ(Update("if.port.name", "if.port.mtu", "9"), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set mtu ids=[3] src=0 value=9"));
  EXPECT_EQ(Update("if.port.{i}.name", "if.port.{i}.alias", "a"), 0);  // a key that may be set
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(UpdateTest, ANumberInThePathIsAName) {
  EXPECT_EQ(Update("if.port.name", "if.port.3.mtu", "9"), -1);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(UpdateTest, ResultOfTheApplicationIsNotAskedFor) {
  app.On(Callback::kSet, "mtu", -1);
  EXPECT_EQ(Update("if.port.name", "if.port.mtu", "9"), 0);
  EXPECT_EQ(Update("if.port.name", "if.port.mtu", "x"), 0);
  EXPECT_THAT(app.calls(), testing::SizeIs(1));
}

TEST_F(UpdateTest, KeyAndReadOnlyLeavesAreNotWritten) {
  for (const char* path : {"if.port.name", "if.port.state"}) {
    LogCapture::Get().Clear();
    EXPECT_EQ(Update("if.port.name", path, "x"), -1);
    EXPECT_THAT(Errors(),
                ElementsAre("The current node is key node or set value function is null!\n",
                            "Failed to update leaf value of node.\n"));
  }
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(UpdateTest, PathMustShareTheKeysAncestors) {
  EXPECT_EQ(Update("if.port.name", "if.line.mtu", "9"), -1);
  EXPECT_EQ(Update("name", "mtu", "9"), -1);
  EXPECT_THAT(Errors(),
              ElementsAre("Not all ancestors of key node are current node's ancestors.\n",
                          "Not all ancestors of key node are current node's ancestors.\n"));
  LogCapture::Get().Clear();
  EXPECT_EQ(Update("if.port.name", "if.port", "9"), -1);
  EXPECT_THAT(
      Errors(),
      ElementsAre("The offset input is great than or equal to total number of path nodes.\n",
                  "Failed to update leaf value of node.\n"));
}

TEST_F(UpdateTest, PathMustBeOne) {
  EXPECT_EQ(Update("if.port.name", "if..mtu", "9"), -1);
  EXPECT_FALSE(LoggedError("Not all ancestors of key node are current node's ancestors.\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(UpdateTest, UnknownLeaf) {
  EXPECT_EQ(Update("if.port.name", "if.port.none", "9"), -1);
  EXPECT_THAT(Errors(), ElementsAre("Failed to update leaf value of node.\n"));
}

TEST_F(UpdateTest, LeafWithoutIds) {
  const FailingCall failing(Step::kGetIds);
  EXPECT_EQ(UpdateLeaf("if.port.3", "if.port.mtu", 2, "9"), -1);
  EXPECT_THAT(Errors(), ElementsAre("Failed to get id array!\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

// From higher up every instance is written, the schema node first, and the result is that of a walk
// that found no leaf of its own.
TEST_F(UpdateTest, EveryInstanceBelowIsWritten) {
  EXPECT_EQ(UpdateLeaf("if", "if.port.mtu", 1, "9"), -1);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set mtu ids=[] src=0 value=9", "set mtu ids=[3] src=0 value=9",
                          "set mtu ids=[4] src=0 value=9"));
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(UpdateTest, OffsetMayBeTheFirst) {
  EXPECT_EQ(UpdateLeaf("if.port.3", "mtu", 0, "9"), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set mtu ids=[3] src=0 value=9"));
}

TEST_F(UpdateTest, FailureBelowEndsTheWalk) {
  EXPECT_EQ(UpdateLeaf("if", "if.port.state", 1, "9"), -1);
  EXPECT_THAT(Errors(), ElementsAre("The current node is key node or set value function is null!\n",
                                    "Failed to update leaf value of current node!\n"));
  LogCapture::Get().Clear();
  // Two levels up, the walk below has written all and reports failure, which ends this one.
  EXPECT_EQ(UpdateLeaf("if", "if.port.sub.id", 1, "9"), -1);
  EXPECT_THAT(Errors(), ElementsAre("Failed to update leaf value of current node!\n"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("set id ids=[] src=0 value=9"));
}

TEST_F(UpdateTest, OffsetMustBeInThePath) {
  EXPECT_EQ(UpdateLeaf("if.port.3", "if.port.mtu", 3, "9"), -1);
  EXPECT_EQ(UpdateLeaf("if.port.3", "if.port.mtu", 99, "9"), -1);
  EXPECT_THAT(
      Errors(),
      ElementsAre("The offset input is great than or equal to total number of path nodes.\n",
                  "The offset input is great than or equal to total number of path nodes.\n"));
  LogCapture::Get().Clear();
  nc_dm_path_nodes_t path = ParsedPath("if.port.mtu");
  char value[] = "9";
  EXPECT_EQ(UpdateLeaf("if.port.3", "if.port.mtu", -1, "9"), -1);
  EXPECT_EQ(nc_dm_agent_edit_update_leaf_val(nullptr, &path, 2, value), -1);
  EXPECT_EQ(nc_dm_agent_edit_update_leaf_val(NodeAt("if"), nullptr, 2, value), -1);
  EXPECT_EQ(Errors(), std::vector<std::string>(3, "Invalid arguments inputs.\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(UpdateTest, NothingIsLoggedThroughAClosedMask) {
  const DebugMask closed(0);
  EXPECT_EQ(Update("if.port.name", "if.line.mtu", "9"), -1);
  EXPECT_EQ(Update("if.port.name", "if.port.state", "9"), -1);
  EXPECT_EQ(Update("if.port.name", "if.port", "9"), -1);
  EXPECT_EQ(UpdateLeaf("if", "if.port.state", 1, "9"), -1);
  EXPECT_EQ(UpdateLeaf("if", "if.port.state", -1, "9"), -1);
  const FailingCall failing(Step::kGetIds);
  EXPECT_EQ(UpdateLeaf("if.port.3", "if.port.mtu", 2, "9"), -1);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

// ---- Common names ----

int LastCommon(std::initializer_list<const char*> texts) {
  std::vector<nc_dm_path_nodes_t> paths;
  for (const char* text : texts) paths.push_back(ParsedPath(text));
  return nc_dm_agent_filter_find_max_cmm_node_index(paths.data(), static_cast<int>(paths.size()));
}

TEST(LastCommonNodeTest, OfOnePathOrNone) {
  nc_dm_path_nodes_t path = ParsedPath("a.b");
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(&path, 0), 0);
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(&path, -1), 0);
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(nullptr, 2), 0);
  EXPECT_EQ(LastCommon({"a"}), 0);
  EXPECT_EQ(LastCommon({"a.b"}), 1);
  EXPECT_EQ(LastCommon({"a.b.c.d"}), 1);
  path = {};
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(&path, 1), 1);
}

TEST(LastCommonNodeTest, OfTwoPaths) {
  EXPECT_EQ(LastCommon({"a.b.c", "a.b.d"}), 1);
  EXPECT_EQ(LastCommon({"a.b.c", "a.x.c"}), 0);
  EXPECT_EQ(LastCommon({"a.b.c", "x.b.c"}), -1);
  EXPECT_EQ(LastCommon({"a", "b"}), -1);
  // No difference as far as both go.
  EXPECT_EQ(LastCommon({"a.b.c", "a.b.c"}), 0);
  EXPECT_EQ(LastCommon({"a.b.c", "a.b"}), 0);
  EXPECT_EQ(LastCommon({"a.b", "a.b.c.d"}), 0);
}

TEST(LastCommonNodeTest, OfMorePathsThanTwo) {
  EXPECT_EQ(LastCommon({"a.b.c.d", "a.b.c.e", "a.b.c.f"}), 2);
  EXPECT_EQ(LastCommon({"a.b.c.d", "a.b.c.e", "a.b.x"}), 1);
  EXPECT_EQ(LastCommon({"a.b.c.d", "a.b.c.e", "a.b.x", "a.b.c.f"}), 1);
  EXPECT_EQ(LastCommon({"a.b.c.d", "a.b.c.e", "x"}), -1);
  EXPECT_EQ(LastCommon({"a.b", "a.b", "a.b"}), 0);
  EXPECT_EQ(LastCommon({"a.b", "a.b", "x.b"}), -1);
}

// ---- The value of a node ----

class SetNodeValTest : public QueryTest {};

TEST_F(SetNodeValTest, WritesATypedValue) {
  app.Register({.path = "a.b",
                .type = NC_DM_VAL_TYPE_INT,
                .callbacks = static_cast<unsigned>(Callback::kSet)});
  nc_dm_id_array_t ids = IdArrayOf({3});
  char value[] = " -12 ";
  log().Clear();
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set b ids=[3] src=0 value=-12"));
  EXPECT_THAT(LogLines(), Contains("I Set node 'b' values.\n"));
}

TEST_F(SetNodeValTest, PassesOnWhatSetAnswers) {
  app.Register({.path = "a.b", .callbacks = static_cast<unsigned>(Callback::kSet)});
  nc_dm_id_array_t ids = {};
  char value[] = "x";
  app.On(Callback::kSet, "b", -7);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), -7);
  app.On(Callback::kSet, "b", 5);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), 5);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to set node value, error = -7!\n",
                                        "Failed to set node value, error = 5!\n"));
}

TEST_F(SetNodeValTest, WritesNothingThatCannotBe) {
  app.Register({.path = "a.b",
                .type = NC_DM_VAL_TYPE_INT,
                .callbacks = static_cast<unsigned>(Callback::kSet)});
  app.Register({.path = "a.c"});
  nc_dm_id_array_t ids = {};
  char value[] = "abc";
  EXPECT_EQ(nc_dm_agent_set_node_val(nullptr, &ids, value), -3);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, nullptr), -3);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.c"), &ids, value), -1);
  EXPECT_EQ(nc_dm_agent_set_node_val(NodeAt("a.b"), &ids, value), -1);
  EXPECT_THAT(app.calls(), IsEmpty());
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Input parameter is invalid!\n", "Input parameter is invalid!\n",
                          "Node 'c' has no set-value method!\n",
                          "Failed to deserialize node, is not int32_t val!\n"));
}

}  // namespace
}  // namespace ncdm_test
