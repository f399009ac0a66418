// Where a path ends: what stands behind its components is none of them, and the deepest path is
// one.

#include <string>

#include "netconf_dm_kernel/tree_fixture.h"

namespace ncdm_test {
namespace {

constexpr auto kObject = NC_DM_CLIENT_MATCH_STATUS_OBJECT;
constexpr auto kInvalid = NC_DM_CLIENT_MATCH_STATUS_MAX;

class MatchPathEndTest : public LoggedTreeTest {
 protected:
  static list_head* Root() { return &g_nc_agent_dm.dm_root; }

  // The path of the components, with those behind `length` left behind.
  void Cut(const std::string& path, int length) {
    path_ = Parsed(path);
    path_.total_node = length;
    ids_ = {};
    last_ = nullptr;
  }
  void ExpectReached(const char* path, int components) const {
    EXPECT_EQ(last_, At(path));
    EXPECT_EQ(path_.match_cnt, components);
  }

  nc_dm_path_nodes_t path_{};
  nc_dm_id_array_t ids_{};
  Node* last_ = nullptr;
};

TEST_F(MatchPathEndTest, WhatStandsBehindTheLastComponentIsNotMatched) {
  Register("a.b.c");
  Cut("a.b.c", 2);
  EXPECT_EQ(nc_dm_agent_match(Root(), &path_, &last_, 0), kObject);
  ExpectReached("a.b", 2);
  Cut("a.b.c", 2);
  EXPECT_EQ(nc_dm_agent_match_id_arr(Root(), &path_, &last_, &ids_, 0), kObject);
  ExpectReached("a.b", 2);
  Cut("a.b.c", 2);
  EXPECT_EQ(nc_dm_agent_reg_match(Root(), &path_, &last_), kObject);
  ExpectReached("a.b", 2);
  Cut("a.b.c", 2);
  EXPECT_EQ(nc_dm_agent_match_index(Root(), &path_, &last_, 0, 5), kObject);
  EXPECT_EQ(last_, At("a.b"));
}

TEST_F(MatchPathEndTest, ANumberBehindTheLastComponentIsNoId) {
  Register("a.b.{i}.c");
  Cut("a.b.7", 2);
  EXPECT_EQ(nc_dm_agent_reg_match(Root(), &path_, &last_), kObject);
  ExpectReached("a.b", 2);
}

TEST_F(MatchPathEndTest, TheDeepestPathIsMatchedAndADeeperOneRefused) {
  std::string path = "a";
  for (int i = 1; i < NC_DM_MAX_DEPTH; ++i) path += ".a";
  Register(path);
  Cut(path, NC_DM_MAX_DEPTH);
  EXPECT_EQ(nc_dm_agent_match(Root(), &path_, &last_, 0), NC_DM_CLIENT_MATCH_STATUS_LEAF);
  ExpectReached(path.c_str(), NC_DM_MAX_DEPTH);
  path_.total_node = NC_DM_MAX_DEPTH + 1;
  EXPECT_EQ(nc_dm_agent_match(Root(), &path_, &last_, 0), kInvalid);
  EXPECT_EQ(nc_dm_agent_match_id_arr(Root(), &path_, &last_, &ids_, 0), kInvalid);
  EXPECT_EQ(nc_dm_agent_match_index(Root(), &path_, &last_, 0, 0), kInvalid);
  EXPECT_EQ(nc_dm_agent_reg_match(Root(), &path_, &last_), kInvalid);
}

}  // namespace
}  // namespace ncdm_test
