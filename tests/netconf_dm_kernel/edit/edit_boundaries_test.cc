// Edits where one more or one less would be another case.

#include <stdlib.h>

#include <string>
#include <utility>

#include "netconf_dm_kernel/edit/edit_fixture.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;

class EditBoundaryTest : public EditTest {};

TEST_F(EditBoundaryTest, IdZeroIsNoFailureOfTheCreation) {
  app.Register({.path = "if.port.{i}.vlan.{i}",
                .type = NC_DM_VAL_TYPE_INT,
                .flag = NC_DM_FLAG_LEAF_LIST,
                .callbacks = 0u | Callback::kCreate});
  AddInstance("if.port.3");
  app.On(Callback::kCreate, "vlan", nc_int64{0});
  ModelEdits edits{{.name = "if.port.vlan", .val = "7", .op = NC_DM_OP_MERGE}};
  EXPECT_EQ(nc_dm_agent_edit_execmd(NodeAt("if.port.3"), edits.WithNames().get(), NC_DM_CMD_OP_EDIT,
                                    &fault, NC_DM_NODE_SRC_NONE),
            -1);
  EXPECT_FALSE(LoggedError("Failed to create the tmp node 'vlan' value!\n"));
  EXPECT_EQ(Fault(), "-7 vlan*");
}

TEST_F(EditBoundaryTest, KeysAreNotCopiedWithoutAPlaceForThem) {
  ModelEdits edits{{.name = "net.vrf.name", .val = "red", .flag = 1}};
  nc_dm_agent_cpy_edit_list_keys(edits.WithNames().get(), nullptr);
  EXPECT_THAT(Errors(), ElementsAre("The input key list is null!\n"));
}

TEST_F(EditBoundaryTest, AnElementWithoutAnEditIsNoSiblingOfTheFirst) {
  app.Register({.path = "sys.name", .callbacks = 0u | Callback::kSet});
  ModelEdits edits{{.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE}, {.name = "sys.site"}};
  nc_dm_agent_free_edit(edits.at(1)->edit);
  free(std::exchange(edits.at(1)->edit, nullptr));
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, edits.get(), &fault), 0);
  EXPECT_TRUE(edits.empty());
  EXPECT_THAT(Errors(), ElementsAre("Current entry edit is null!\n"));
}

TEST_F(EditBoundaryTest, PathsOfTheGreatestDepthAreComparedToTheirEnd) {
  std::string name = "a";
  for (int i = 1; i < NC_DM_MAX_DEPTH; ++i) name += ".a";
  nc_dm_path_nodes_t paths[3] = {};
  for (nc_dm_path_nodes_t& path : paths) {
    std::string text = name;
    ASSERT_EQ(nc_dm_parse(text.data(), &path, false), 0);
    ASSERT_EQ(path.total_node, NC_DM_MAX_DEPTH);
  }
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(paths, 2), 0);
  paths[1].nodes[NC_DM_MAX_DEPTH - 1][0] = 'b';
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(paths, 2), NC_DM_MAX_DEPTH - 2);
}

TEST_F(EditBoundaryTest, WhatStandsBehindAPathIsNotCompared) {
  nc_dm_path_nodes_t paths[3] = {};
  std::string texts[] = {"a.b.c.d", "a.b.c.e", "a.b.c"};
  for (int i = 0; i < 3; ++i) ASSERT_EQ(nc_dm_parse(texts[i].data(), &paths[i], false), 0);
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(paths, 3), 2);
  paths[2].total_node = 2;
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(paths, 3), 1);
}

}  // namespace
}  // namespace ncdm_test
