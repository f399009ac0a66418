// What happens when the search of the tree fails as a whole. It does not by itself, once there are
// filters, so this program brings its own, which stands before the library's.

#include "agent_fixture.h"

extern "C" NC_DM_API int nc_dm_agent_filter_subtree_id_arr(
    nc_dm_stub_filter_node_list_t* /*filter_list*/, nc_dm_list_t* list) {
  auto* node = static_cast<nc_dm_val_node_t*>(calloc(1, sizeof(nc_dm_val_node_t)));
  node->val_entry.dm_name = nc_dm_copy_str("a");
  node->val_entry.dm_val = nc_dm_copy_str("1");
  nc::PushBack(&list->head, &node->lst);
  list->cnt++;
  return -3;
}

namespace ncdm_test {
namespace {

class FilterFailureTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    ASSERT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_SEGMENT).Filter("a"), 5, 1),
              0);
    log().Clear();
  }
  static void ExpectNothingLeft() {
    EXPECT_TRUE(nc::IsEmpty(&g_nc_dm_filter_node_list.filter_head));
    EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
    EXPECT_EQ(info().param_list.cnt, 0);
    EXPECT_EQ(platform().Pending().size(), 0u);
  }
};

TEST_F(FilterFailureTest, DoFilterReturnsTheFailure) {
  nc_dm_list_t list = {};
  nc_dm_fault_t fault = {};
  EXPECT_EQ(nc_dm_agent_do_filter(&g_nc_dm_filter_node_list, &list, &fault), -3);
  EXPECT_TRUE(log().ContainsError("Failed to filter subtree by id_array!\n"));
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_OP_FAILED);
  EXPECT_TRUE(nc::IsEmpty(&list.head));
}

TEST_F(FilterFailureTest, CollectedFiltersEndInAFault) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_END), 6), 0);
  EXPECT_TRUE(log().ContainsError("Failed to do filter operation!\n"));
  ExpectFault(NC_DM_FAULT_CODE_OP_FAILED, 6);
  ExpectNothingLeft();
}

TEST_F(FilterFailureTest, ASingleFilterEndsInAFault) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("a"), 6, 0,
                   NC_DM_MSG_FLAG_NAME),
            0);
  EXPECT_TRUE(log().ContainsError("Failed to filter subtree by id_array!\n"));
  ExpectFault(NC_DM_FAULT_CODE_OP_FAILED, 6);
  ExpectNothingLeft();
}

}  // namespace
}  // namespace ncdm_test
