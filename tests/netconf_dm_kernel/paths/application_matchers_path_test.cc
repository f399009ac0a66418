// Where in a path a match begins.

#include "netconf_dm_kernel/query_fixture.h"

namespace ncdm_test {
namespace {

using testing::IsEmpty;

class ChildMatchPathTest : public QueryTest {};

TEST_F(ChildMatchPathTest, NothingIsMatchedOutsideThePath) {
  RegisterReadable({"a.b", "a.c"});
  nc_dm_path_nodes_t path = PathOf("a.b.c");
  path.total_node = 2;
  Values values;
  nc_dm_stub_filter_node_t match_node = {};
  log().Clear();
  for (const int index : {-1, 2, NC_DM_MAX_DEPTH}) {
    EXPECT_EQ(nc_dm_agent_child_nodes_match(NodeAt("a"), &path, values.get(), &match_node, index),
              -1);
    EXPECT_EQ(ErrorLines().back(), "E The isn't any filter node matching in the dm tree.\n");
  }
  path.total_node = NC_DM_MAX_DEPTH + 1;
  EXPECT_EQ(
      nc_dm_agent_child_nodes_match(NodeAt("a"), &path, values.get(), &match_node, NC_DM_MAX_DEPTH),
      -1);
  EXPECT_THAT(values.Texts(), IsEmpty());
}

}  // namespace
}  // namespace ncdm_test
