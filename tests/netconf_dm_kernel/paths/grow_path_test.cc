#include "netconf_dm_kernel/tree_fixture.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// a: leaf x, list b (leaf k, container o with leaf p, list c with leaf d, leaf-list e).
class CreateCheckTest : public LoggedTreeTest {
 protected:
  CreateCheckTest() {
    Register("a.x");
    Register("a.b.{i}.k");
    Register("a.b.{i}.o.p");
    Register("a.b.{i}.c.{i}.d");
    Register("a.b.{i}.e", NC_DM_FLAG_LEAF_LIST);
    LogCapture::Get().Clear();
  }

  Node* Check(std::string path, const std::vector<nc_int64>& ids) {
    ids_ = IdArray(ids);
    LogCapture::Get().Clear();
    return nc_dm_agent_create_nodes_check(path.data(), &ids_);
  }

  nc_dm_id_array_t ids_{};
};

TEST_F(CreateCheckTest, RefusesNull) {
  char path[] = "a.x";
  EXPECT_EQ(nc_dm_agent_create_nodes_check(nullptr, &ids_), nullptr);
  EXPECT_EQ(nc_dm_agent_create_nodes_check(path, nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_create_nodes_check(nullptr, nullptr), nullptr);
  EXPECT_THAT(LogLines(), ElementsAre(Error("The path input is null!\n"),
                                      Error("The id_array input is null!\n"),
                                      Error("The path input is null!\n")));
}

TEST_F(CreateCheckTest, MalformedPath) {
  EXPECT_EQ(Check("a..b", {}), nullptr);
  EXPECT_THAT(LogLines(), ElementsAre(Info("Check the existence of dm path: a..b\n"),
                                      Error("The form of dm's path is error!\n")));
  EXPECT_EQ(Check("{i}", {}), nullptr);
}

TEST_F(CreateCheckTest, UnknownPath) {
  EXPECT_EQ(Check("z.x", {}), nullptr);
  EXPECT_THAT(LogLines(), ElementsAre(Info("Check the existence of dm path: z.x\n"),
                                      Error("The dm'tree don't have this instance path!\n")));
}

TEST_F(CreateCheckTest, WhatExistsIsReturned) {
  EXPECT_EQ(Check("a.x", {}), At("a.x"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
  Create(At("a"), "b", 3);
  const Counters before = CountersNow();
  EXPECT_EQ(Check("a.b.k", {3}), At("a.b.3.k"));
  EXPECT_EQ(Check("a.b", {3}), At("a.b.3"));
  EXPECT_EQ(CountersNow(), before);
}

TEST_F(CreateCheckTest, MissingInstancesAreCreated) {
  Node* leaf = Check("a.b.c.d", {3, 7});
  ASSERT_NE(leaf, nullptr);
  EXPECT_EQ(Describe(leaf), "a.b.3.c.7.d:leaf");
  EXPECT_EQ(ids_.match_cnt, 2);
  EXPECT_EQ(CountersNow(), CountedNodes());
  EXPECT_THAT(ErrorLines(), IsEmpty());
  EXPECT_TRUE(LogCapture::Get().ContainsInfo("Found a single leaf node 'd'.\n"));

  EXPECT_EQ(Describe(Check("a.b.c.d", {3, 8})), "a.b.3.c.8.d:leaf");
  EXPECT_EQ(Children(At("a")).size(), 3U);
  EXPECT_EQ(Describe(Check("a.b.o.p", {4})), "a.b.4.o.p:leaf");
  EXPECT_TRUE(LogCapture::Get().ContainsInfo("Found a single object node 'o'.\n"));
  EXPECT_EQ(Describe(Check("a.b.e", {4, 9})), "a.b.4.e.9:element");
  nc_dm_path_nodes_t path = Parsed("a.b.4.e.9", true);
  Node* last = nullptr;
  EXPECT_EQ(nc_dm_agent_match(&g_nc_agent_dm.dm_root, &path, &last, 0),
            NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF);
}

TEST_F(CreateCheckTest, PathAsItWasRegistered) {
  EXPECT_EQ(Describe(Check("a.b.{i}.c.{i}.d", {3, 7})), "a.b.3.c.7.d:leaf");
  EXPECT_EQ(Describe(Check("a.b.{i}", {3})), "a.b.3:entry");
}

TEST_F(CreateCheckTest, InHashedLists) {
  Hash(At("a.b"));
  Hash(At("a.b.c"));
  EXPECT_EQ(Describe(Check("a.b.c.d", {3, 7})), "a.b.3.c.7.d:leaf");
  EXPECT_EQ(Check("a.b.c.d", {3, 7}), At("a.b.3.c.7.d"));
  EXPECT_EQ(Children(At("a")).size(), 3U);
}

TEST_F(CreateCheckTest, TooFewIdsStopAboveTheList) {
  EXPECT_EQ(Check("a.b.c.d", {}), At("a"));
  EXPECT_THAT(LogLines(), Contains(Info("The id_array->match_cnt is 0, same to cnt, end nodes "
                                        "creation.\n")));
  EXPECT_EQ(Describe(Check("a.b.c.d", {3})), "a.b.3:entry");
  EXPECT_THAT(LogLines(), Contains(Info("The id_array->match_cnt is 1, same to cnt, end nodes "
                                        "creation.\n")));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(CreateCheckTest, UnknownRest) {
  EXPECT_EQ(Check("a.q", {}), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to find the mode node!\n"));
  EXPECT_EQ(Check("a.b.q", {3}), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to find the mode node!\n"));
  // The entry above it was made and stays.
  EXPECT_NE(At("a.b.3"), nullptr);
}

TEST_F(CreateCheckTest, NothingIsBelowALeaf) {
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(Check("a.x.y", {}), nullptr);
  EXPECT_THAT(LogLines(), ElementsAre(Info("Check the existence of dm path: a.x.y\n"),
                                      Error("Failed to find the mode node!\n")));
  EXPECT_EQ(At("a.x")->src, NC_DM_NODE_SRC_SDN) << "what is there was stamped before";
}

TEST_F(CreateCheckTest, IdsThatNoInstanceCanHave) {
  EXPECT_EQ(Check("a.b.k", {0}), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The mult-object or mult-leaf instance id input is 0!\n",
                                        "Failed to create node 'b', instid 0!\n"));
  EXPECT_EQ(ids_.match_cnt, 1);
  EXPECT_EQ(Check("a.b.k", {-4}), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The instance id input is invalid!\n",
                                        "Failed to create node 'b', instid -4!\n"));
}

TEST_F(CreateCheckTest, CountBeyondTheArray) {
  ids_ = IdArray({3});
  ids_.cnt = 99;
  char path[] = "a.b.k";
  EXPECT_EQ(Describe(nc_dm_agent_create_nodes_check(path, &ids_)), "a.b.3.k:leaf");
  ids_.cnt = -1;
  EXPECT_EQ(nc_dm_agent_create_nodes_check(path, &ids_), At("a"));
  EXPECT_EQ(ids_.match_cnt, 0);
}

// ---- Sources ----

TEST_F(CreateCheckTest, NewInstancesHaveTheRequestsSource) {
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  Check("a.b.c.d", {3, 7});
  for (const char* path : {"a", "a.b.3", "a.b.3.k", "a.b.3.c.7", "a.b.3.c.7.d"}) {
    EXPECT_EQ(At(path)->src, NC_DM_NODE_SRC_SDN) << path;
  }
  EXPECT_EQ(At("a.b")->src, NC_DM_NODE_SRC_NONE);
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING;
  Check("a.b.c.d", {4, 7});
  EXPECT_EQ(At("a.b.4.c.7.d")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(At("a")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(CreateCheckTest, TheMatchedNodeAndThoseBelowAreStamped) {
  Create(At("a"), "b", 3);
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  // Everything matches: the leaf alone.
  At("a.b.3.o.p")->src = NC_DM_NODE_SRC_CLI;
  Check("a.b.o.p", {3});
  EXPECT_EQ(At("a.b.3.o.p")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(At("a.b.3.o")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(At("a.b.3")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(CreateCheckTest, CliAlwaysStaysButOnLeaves) {
  Create(At("a"), "b", 3);
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  At("a.b.3")->src = NC_DM_NODE_SRC_CLI_ALW;
  Check("a.b.c.d", {3, 7});
  EXPECT_EQ(At("a.b.3")->src, NC_DM_NODE_SRC_CLI_ALW);
  At("a.b.3.k")->src = NC_DM_NODE_SRC_CLI_ALW;
  Check("a.b.k", {3});
  EXPECT_EQ(At("a.b.3.k")->src, NC_DM_NODE_SRC_SDN);
  // Only CLI_ALW is spared.
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_CONFIG;
  At("a.b.3")->src = NC_DM_NODE_SRC_SDN;
  Check("a.b", {3});
  EXPECT_EQ(At("a.b.3")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(CreateCheckTest, ContainersOnTheWayDown) {
  Register("a.b.{i}.n.m.v");
  At("a.b.n")->src = NC_DM_NODE_SRC_CLI_ALW;
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  ASSERT_NE(Check("a.b.n.m.v", {3}), nullptr);
  for (const char* path : {"a.b.3.n", "a.b.3.n.m", "a.b.3.n.m.v"}) {
    EXPECT_EQ(At(path)->src, NC_DM_NODE_SRC_SDN) << path;
  }
  // Copies have the instance's source, whatever that of the schema.
  EXPECT_EQ(At("a.b.n")->src, NC_DM_NODE_SRC_CLI_ALW);
}

// The match ends at an entry of the name that has no id; the walk goes on through what is no
// instance, and stamps it.
TEST_F(CreateCheckTest, SchemaNodesBehindAnEntryOfTheirName) {
  AddHandMade(At("a"), "o", NC_DM_NODE_TYPE_MULT_OBJECT, 5);
  Node* o = AddHandMade(At("a"), "o", NC_DM_NODE_TYPE_SINGLE_OBJECT);
  Node* p = AddHandMade(o, "p", NC_DM_NODE_TYPE_LEAF);
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(Check("a.o.p", {}), p);
  EXPECT_THAT(LogLines(), ElementsAre(Info("Check the existence of dm path: a.o.p\n"),
                                      Info("Found a single object node 'o'.\n"),
                                      Info("Found a single leaf node 'p'.\n")));
  EXPECT_EQ(o->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(p->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(At("a.o.5")->src, NC_DM_NODE_SRC_NONE);
  o->src = NC_DM_NODE_SRC_CLI_ALW;
  p->src = NC_DM_NODE_SRC_CLI_ALW;
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING;
  EXPECT_EQ(Check("a.o.p", {}), p);
  EXPECT_EQ(o->src, NC_DM_NODE_SRC_CLI_ALW);
  EXPECT_EQ(p->src, NC_DM_NODE_SRC_NONE);
}

}  // namespace
}  // namespace ncdm_test
