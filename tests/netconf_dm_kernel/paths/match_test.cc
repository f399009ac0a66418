#include "netconf_dm_kernel/tree_fixture.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kLeaf = NC_DM_CLIENT_MATCH_STATUS_LEAF;
constexpr auto kMultLeaf = NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF;
constexpr auto kMultLeafMode = NC_DM_CLIENT_MATCH_STATUS_MULT_LEAF_MODE;
constexpr auto kObject = NC_DM_CLIENT_MATCH_STATUS_OBJECT;
constexpr auto kNoExist = NC_DM_CLIENT_MATCH_STATUS_NO_EXIST;
constexpr auto kMax = NC_DM_CLIENT_MATCH_STATUS_MAX;

class MatchTest : public LoggedTreeTest {
 protected:
  static list_head* Root() { return &g_nc_agent_dm.dm_root; }

  nc_dm_agent_match_status_t Match(const std::string& path, int flag = 0) {
    path_ = Parsed(path, true);
    path_.match_cnt = 77;
    last_ = &stale_;
    LogCapture::Get().Clear();
    return nc_dm_agent_match(Root(), &path_, &last_, flag);
  }

  nc_dm_agent_match_status_t MatchIds(const std::string& path, const std::vector<nc_int64>& ids,
                                      int flag = 0) {
    path_ = Parsed(path);
    path_.match_cnt = 77;
    ids_ = IdArray(ids);
    ids_.match_cnt = 77;
    last_ = &stale_;
    LogCapture::Get().Clear();
    return nc_dm_agent_match_id_arr(Root(), &path_, &last_, &ids_, flag);
  }

  nc_dm_agent_match_status_t MatchIndex(const std::string& path, int bg, int mt,
                                        list_head* list = Root()) {
    path_ = Parsed(path);
    path_.match_cnt = 77;
    last_ = &stale_;
    return nc_dm_agent_match_index(list, &path_, &last_, bg, mt);
  }

  nc_dm_agent_match_status_t RegMatch(const std::string& path, int from = 0) {
    path_ = Parsed(path);
    path_.match_cnt = from;
    last_ = &stale_;
    return nc_dm_agent_reg_match(Root(), &path_, &last_);
  }

  // The node reached and the components matched: "a.b.3:entry 2".
  std::string Reached() const { return Describe(last_) + " " + std::to_string(path_.match_cnt); }

  nc_dm_path_nodes_t path_{};
  nc_dm_id_array_t ids_{};
  Node stale_{};
  Node* last_ = nullptr;
};

// a: container with leaf x, list b (leaf k, list c with leaf d, leaf-list e), leaf-list l.
class ModelMatchTest : public MatchTest {
 protected:
  ModelMatchTest() {
    Register("a.x");
    Register("a.b.{i}.k");
    Register("a.b.{i}.c.{i}.d");
    Register("a.b.{i}.e", NC_DM_FLAG_LEAF_LIST);
    Register("a.l", NC_DM_FLAG_LEAF_LIST);
  }

  // b.3 and b.4; c.7 in both; e.6 in the first; l.9.
  void Fill() {
    for (const nc_int64 id : {3, 4}) Create(Create(At("a"), "b", id), "c", 7);
    Create(At("a.b.3"), "e", 6);
    Create(At("a"), "l", 9);
  }
};

// ---- Arguments ----

TEST_F(ModelMatchTest, RefusesBadArguments) {
  nc_dm_path_nodes_t path = Parsed("a");
  nc_dm_path_nodes_t empty{};
  nc_dm_id_array_t ids{};
  Node* last = nullptr;
  list_head* root = Root();
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_match(nullptr, &path, &last, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match(root, nullptr, &last, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match(root, &path, nullptr, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match(root, &empty, &last, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_index(nullptr, &path, &last, 0, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_index(root, nullptr, &last, 0, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_index(root, &path, nullptr, 0, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_index(root, &empty, &last, 0, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_index(root, &path, &last, -1, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_id_arr(nullptr, &path, &last, &ids, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_id_arr(root, nullptr, &last, &ids, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_id_arr(root, &path, nullptr, &ids, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_id_arr(root, &path, &last, nullptr, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_id_arr(root, &empty, &last, &ids, 0), kMax);
  EXPECT_EQ(nc_dm_agent_reg_match(nullptr, &path, &last), kMax);
  EXPECT_EQ(nc_dm_agent_reg_match(root, nullptr, &last), kMax);
  EXPECT_EQ(nc_dm_agent_reg_match(root, &path, nullptr), kMax);
  EXPECT_EQ(nc_dm_agent_reg_match(root, &empty, &last), kMax);
  EXPECT_EQ(LogCapture::Get().Count(kErrorPrefix, "Input parameter is invalid!\n"), 18);
  EXPECT_EQ(LogLines().size(), 18U);
}

// ---- By instance path ----

TEST_F(ModelMatchTest, UnknownFirstComponent) {
  EXPECT_EQ(Match("z.x"), kNoExist);
  EXPECT_EQ(Reached(), "none 0");
  EXPECT_EQ(Match("A"), kNoExist);
  EXPECT_EQ(Match("ax"), kNoExist);
}

TEST_F(MatchTest, EmptyTree) {
  EXPECT_EQ(Match("a"), kNoExist);
  EXPECT_EQ(Reached(), "none 0");
  EXPECT_EQ(MatchIds("a", {1}), kNoExist);
  EXPECT_EQ(Reached(), "none 0");
  EXPECT_EQ(MatchIndex("a", 0, 0), kNoExist);
  EXPECT_EQ(last_, nullptr);
  EXPECT_EQ(RegMatch("a"), kNoExist);
  EXPECT_EQ(Reached(), "none 0");
  EXPECT_EQ(RegMatch("{i}.a"), kNoExist);
  EXPECT_EQ(Reached(), "none 0");
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(ModelMatchTest, PartialMatchHasTheStatusOfTheDeepestNode) {
  Register("a.o.x");
  EXPECT_EQ(Match("a.o.q.r"), kObject);
  EXPECT_EQ(Reached(), "a.o:container 2");
  EXPECT_EQ(Match("a.x.q"), kLeaf);
  EXPECT_EQ(Reached(), "a.x:leaf 2");
}

TEST_F(MatchTest, AsDeepAsAPathMayBe) {
  const std::string path = "c1.c2.c3.c4.c5.c6.c7.c8.c9.c10.c11.c12.c13.c14.c15.c16";
  Register(path);
  EXPECT_EQ(Match(path), kLeaf);
  EXPECT_EQ(Reached(), path + ":leaf 16");
  EXPECT_EQ(MatchIds(path, {}), kLeaf);
  EXPECT_EQ(Reached(), path + ":leaf 16");
  EXPECT_EQ(RegMatch(path), kLeaf);
  EXPECT_EQ(Reached(), path + ":leaf 16");
  EXPECT_EQ(MatchIndex(path, 0, 15), kLeaf);
}

TEST_F(ModelMatchTest, EntryByItsId) {
  Fill();
  EXPECT_EQ(Match("a.b.3"), kObject);
  EXPECT_EQ(Reached(), "a.b.3:entry 2");
  EXPECT_EQ(Match("a.b.3.k"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.3.k:leaf 3");
  EXPECT_EQ(Match("a.b.4.c.7.d"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.4.c.7.d:leaf 4");
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(Match("a.b.3.e.6"), kMultLeaf);
  EXPECT_EQ(Match("a.l.9"), kMultLeaf);
  EXPECT_EQ(Reached(), "a.l.9:element 2");
}

TEST_F(ModelMatchTest, MissingIdStopsAtTheListsParent) {
  Fill();
  EXPECT_EQ(Match("a.b.5.k"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(Match("a.b.3.c.8.d"), kObject);
  EXPECT_EQ(Reached(), "a.b.3:entry 2");
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(Match("a.l.8"), kObject);
}

TEST_F(ModelMatchTest, NoIdNeverSelectsAnEntry) {
  EXPECT_EQ(Match("a.b.k"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  Fill();
  EXPECT_EQ(Match("a.b.k"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
}

TEST_F(ModelMatchTest, ListWithoutEntries) {
  EXPECT_EQ(Match("a.b.3"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(ModelMatchTest, ModeNodesWhereTheyAreAskedFor) {
  Fill();
  EXPECT_EQ(Match("a.b", 8), kObject);
  EXPECT_EQ(Reached(), "a.b:list 2");
  EXPECT_EQ(Match("a.b.3.c.d", 8), kLeaf);
  EXPECT_EQ(Reached(), "a.b.c.d:leaf 4");
  EXPECT_EQ(Match("a.l", 4), kMultLeafMode);
  EXPECT_EQ(Reached(), "a.l:leaf-list 2");
  EXPECT_EQ(Match("a.l", 8), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(Match("a.b", 4), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  for (const int flag : {1, 2, 16}) {
    EXPECT_EQ(Match("a.b.3", flag), kObject);
    EXPECT_EQ(Reached(), "a.b.3:entry 2") << flag;
    EXPECT_EQ(path_.instances[1], 3);
  }
}

TEST_F(ModelMatchTest, HashedListIsFoundInItsTable) {
  Hash(At("a.b"));
  Hash(At("a.l"));
  EXPECT_EQ(Match("a.b.3"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_THAT(LogLines(), ElementsAre(Error("The hash_tab->table input is null!\n")));
  Fill();
  EXPECT_EQ(Match("a.b.3.c.7.d"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.3.c.7.d:leaf 4");
  EXPECT_THAT(LogLines(), ElementsAre(Info("Found dm_node instid: 3 from hash table.\n")));
  EXPECT_EQ(Match("a.b.5"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(Match("a.l.9"), kMultLeaf);
  EXPECT_EQ(Match("a.l", 4), kMultLeafMode);
  // Without an id the walk goes on to the instances, whose tree is empty.
  EXPECT_EQ(Match("a.b"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_THAT(LogLines(), ElementsAre(Error("The input binary tree root is null.\n")));
}

TEST_F(ModelMatchTest, HashedListInAHashedList) {
  Hash(At("a.b"));
  Hash(At("a.b.c"), 14);
  Fill();
  EXPECT_EQ(Match("a.b.4.c.7.d"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.4.c.7.d:leaf 4");
  EXPECT_EQ(MatchIds("a.b.c.d", {4, 7}), kLeaf);
  EXPECT_EQ(Reached(), "a.b.4.c.7.d:leaf 4");
}

TEST_F(ModelMatchTest, ListHashedAfterItsFirstEntry) {
  Create(At("a"), "b", 3);
  Hash(At("a.b"));
  Create(At("a"), "b", 4);
  EXPECT_EQ(Match("a.b.4"), kObject);
  EXPECT_EQ(Reached(), "a.b.4:entry 2");
  // The table answers for the whole list.
  EXPECT_EQ(Match("a.b.3"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
}

TEST_F(MatchTest, NumberedEntriesHaveNoTree) {
  Register("a.b.5.c");
  Register("a.b.6.d");
  EXPECT_EQ(Match("a.b.6.d"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.6.d:leaf 3");
  EXPECT_THAT(LogLines(), ElementsAre(Error("Failed to get node 'b' binary tree!\n"),
                                      Error("Failed to get node 'b' binary tree!\n")));
  EXPECT_EQ(Match("a.b.7"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(LogLines().size(), 2U);
  EXPECT_EQ(MatchIds("a.b.d", {6}), kLeaf);
  EXPECT_EQ(Reached(), "a.b.6.d:leaf 3");
  EXPECT_THAT(LogLines(), ElementsAre(Error("Failed to get node 'b' binary tree!\n"),
                                      Error("Failed to get node 'b' binary tree!\n")));
  EXPECT_EQ(MatchIds("a.b.d", {7}), kObject);
  EXPECT_EQ(MatchIds("a.b.d", {}), kObject);
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(MatchTest, NumberedEntryAtTheTopLevel) {
  Register("b.5.c");
  EXPECT_EQ(Match("b.5.c"), kLeaf);
  EXPECT_THAT(LogLines(), ElementsAre(Error("The node input is null!\n"),
                                      Error("Failed to get node 'b' binary tree!\n")));
}

TEST_F(MatchTest, NumberedEntryBesideAListIsOneOfItsEntries) {
  Register("a.b.{i}.c");
  Register("a.b.5.c");
  EXPECT_THAT(Describe(Children(At("a"))), ElementsAre("a.b:list", "a.b.5:entry"));
  EXPECT_EQ(Match("a.b.5"), kObject);
  EXPECT_EQ(Reached(), "a.b.5:entry 2");
  EXPECT_THAT(LogLines(), IsEmpty());
  Create(At("a"), "b", 7);
  EXPECT_EQ(Match("a.b.7"), kObject);
  EXPECT_EQ(Reached(), "a.b.7:entry 2");
  EXPECT_EQ(RegMatch("a.b.5.c"), kLeaf);
  EXPECT_EQ(RegMatch("a.b.7.c"), kLeaf);
  EXPECT_EQ(Describe(last_), "a.b.7.c:leaf");
}

TEST_F(ModelMatchTest, TreeEntryWithoutData) {
  Fill();
  At("a.b.3")->instid_btree_node->data = nullptr;
  EXPECT_EQ(Match("a.b.3"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(MatchIds("a.b", {3}), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
}

TEST_F(ModelMatchTest, NodesOfUnknownKindArePassed) {
  At("a.x")->node_type = NC_DM_NODE_TYPE_MAX;
  EXPECT_EQ(Match("a.x"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  At("a.x")->node_type = NC_DM_NODE_TYPE_LEAF;
}

// ---- By id array ----

TEST_F(ModelMatchTest, IdsAreUsedInOrder) {
  Fill();
  EXPECT_EQ(MatchIds("a.b.c.d", {3, 7}), kLeaf);
  EXPECT_EQ(Reached(), "a.b.3.c.7.d:leaf 4");
  EXPECT_EQ(ids_.match_cnt, 2);
  EXPECT_EQ(MatchIds("a.b.c.d", {7, 3}), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(ids_.match_cnt, 0);
  EXPECT_EQ(MatchIds("a.b.e", {3, 6}), kMultLeaf);
  EXPECT_EQ(Reached(), "a.b.3.e.6:element 3");
  EXPECT_EQ(ids_.match_cnt, 2);
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(ModelMatchTest, IdsThatAreLeftOver) {
  Fill();
  EXPECT_EQ(MatchIds("a.x", {3}), kLeaf);
  EXPECT_EQ(ids_.match_cnt, 0);
  EXPECT_EQ(MatchIds("a.b", {3, 7, 8}), kObject);
  EXPECT_EQ(Reached(), "a.b.3:entry 2");
  EXPECT_EQ(ids_.match_cnt, 1);
}

TEST_F(ModelMatchTest, TooFewIdsEndTheMatch) {
  Fill();
  EXPECT_EQ(MatchIds("a.b.c.d", {3}), kObject);
  EXPECT_EQ(Reached(), "a.b.3:entry 2");
  EXPECT_EQ(ids_.match_cnt, 1);
  EXPECT_EQ(MatchIds("a.b", {}), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(MatchIds("a.b", {0}), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(MatchIds("a.b", {5}), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
}

TEST_F(ModelMatchTest, ModeNodesByIdArray) {
  Fill();
  EXPECT_EQ(MatchIds("a.l", {9}, 4), kMultLeafMode);
  EXPECT_EQ(Reached(), "a.l:leaf-list 2");
  EXPECT_EQ(ids_.match_cnt, 0);
  EXPECT_EQ(MatchIds("a.l", {9}), kMultLeaf);
  // A list's own node is never asked for here.
  EXPECT_EQ(MatchIds("a.b", {}, 8), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(MatchIds("a.b", {3}, 8), kObject);
  EXPECT_EQ(Reached(), "a.b.3:entry 2");
}

TEST_F(ModelMatchTest, MatchedIdsAreFilledIn) {
  Fill();
  EXPECT_EQ(MatchIds("a.b.c.d", {4, 7}, 1), kLeaf);
  EXPECT_THAT(std::vector<nc_int64>(path_.instances, path_.instances + 4), ElementsAre(0, 4, 7, 0));
  EXPECT_EQ(MatchIds("a.b.e", {3, 6}, 5), kMultLeafMode);
  EXPECT_THAT(std::vector<nc_int64>(path_.instances, path_.instances + 3), ElementsAre(0, 3, 0));
  EXPECT_EQ(MatchIds("a.b.c", {4, 7}, 0), kObject);
  EXPECT_THAT(std::vector<nc_int64>(path_.instances, path_.instances + 3), ElementsAre(0, 0, 0));
  Hash(At("a.l"));
  Create(At("a"), "l", 12);
  EXPECT_EQ(MatchIds("a.l", {12}, 1), kMultLeaf);
  EXPECT_EQ(path_.instances[1], 12);
}

TEST_F(ModelMatchTest, HashedListByIdArray) {
  Hash(At("a.b"));
  Fill();
  EXPECT_EQ(MatchIds("a.b.k", {4}), kLeaf);
  EXPECT_EQ(Reached(), "a.b.4.k:leaf 3");
  EXPECT_EQ(ids_.match_cnt, 1);
  EXPECT_THAT(LogLines(), ElementsAre(Info("Found dm_node instid: 4 from hash table.\n")));
  EXPECT_EQ(MatchIds("a.b", {5}), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(MatchIds("a.b", {}), kObject);
  EXPECT_THAT(LogLines(), IsEmpty());
  EXPECT_EQ(MatchIds("a.b", {0}), kObject);
  EXPECT_THAT(LogLines(), ElementsAre(Error("The input binary tree root is null.\n")));
}

TEST_F(ModelMatchTest, CountBeyondTheArray) {
  Fill();
  nc_dm_path_nodes_t path = Parsed("a.b.c.d");
  nc_dm_id_array_t ids = IdArray({3, 7});
  ids.cnt = 99;
  EXPECT_EQ(nc_dm_agent_match_id_arr(Root(), &path, &last_, &ids, 0), kLeaf);
  EXPECT_EQ(ids.match_cnt, 2);
}

// ---- By index ----

TEST_F(ModelMatchTest, IndexRange) {
  Fill();
  EXPECT_EQ(MatchIndex("a.b.c.d", 0, 3), kLeaf);
  EXPECT_EQ(Describe(last_), "a.b.c.d:leaf");
  EXPECT_EQ(path_.match_cnt, 77);
  EXPECT_EQ(MatchIndex("a.b.c.d", 0, 99), kLeaf);
  EXPECT_EQ(MatchIndex("a.b.c.d", 0, 1), kObject);
  EXPECT_EQ(Describe(last_), "a.b:list");
  EXPECT_EQ(MatchIndex("a.b.c.d", 2, 3, &At("a.b.4")->sub_lst), kLeaf);
  EXPECT_EQ(Describe(last_), "a.b.4.c.d:leaf");
  EXPECT_EQ(MatchIndex("a.l", 0, 1), kMultLeafMode);
  EXPECT_EQ(MatchIndex("a.b.q.d", 0, 3), kNoExist);
  EXPECT_EQ(Describe(last_), "a.b:list");
  EXPECT_EQ(MatchIndex("a.b", 2, 3), kNoExist);
  EXPECT_EQ(last_, nullptr);
  EXPECT_EQ(MatchIndex("a.b", 1, 0), kNoExist);
  EXPECT_EQ(last_, nullptr);
}

// ---- By registration path ----

TEST_F(ModelMatchTest, RegistrationPaths) {
  EXPECT_EQ(RegMatch("a.b.{i}.c.{i}.d"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.c.d:leaf 6");
  EXPECT_EQ(RegMatch("a.b.{i}.c.{i}.q"), kObject);
  EXPECT_EQ(Reached(), "a.b.c:list 5");
  EXPECT_EQ(RegMatch("a.b.{i}"), kObject);
  EXPECT_EQ(Reached(), "a.b:list 3");
  EXPECT_EQ(RegMatch("a.b.q"), kObject);
  EXPECT_EQ(Reached(), "a.b:list 2");
  EXPECT_EQ(RegMatch("a.l.{i}"), kMultLeafMode);
  EXPECT_EQ(Reached(), "a.l:leaf-list 3");
  EXPECT_EQ(RegMatch("{i}.a.x"), kLeaf);
  EXPECT_EQ(Reached(), "a.x:leaf 3");
  EXPECT_EQ(RegMatch("z.x"), kNoExist);
  EXPECT_EQ(Reached(), "none 0");
  EXPECT_EQ(RegMatch("{i}"), kNoExist);
  EXPECT_EQ(Reached(), "none 1");
}

TEST_F(ModelMatchTest, RegistrationStartsAtTheCursor) {
  EXPECT_EQ(RegMatch("q.a.x", 1), kLeaf);
  EXPECT_EQ(Reached(), "a.x:leaf 3");
  EXPECT_EQ(RegMatch("q.a.x", 0), kNoExist);
  EXPECT_EQ(Reached(), "none 0");
  EXPECT_EQ(RegMatch("a.x", 2), kNoExist);
  EXPECT_EQ(Reached(), "none 2");
  EXPECT_EQ(RegMatch("a.x", -1), kMax);
}

TEST_F(ModelMatchTest, RegistrationByNumber) {
  Fill();
  EXPECT_EQ(RegMatch("a.b.4.c.7.d"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.4.c.7.d:leaf 6");
  EXPECT_EQ(RegMatch("a.b.4"), kObject);
  EXPECT_EQ(Reached(), "a.b.4:entry 3");
  EXPECT_EQ(RegMatch("a.b.5.c"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
  EXPECT_EQ(RegMatch("a.l.9"), kMultLeaf);
  EXPECT_EQ(Reached(), "a.l.9:element 3");
  // Schema nodes have id 0.
  EXPECT_EQ(RegMatch("a.b.0.k"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.k:leaf 4");
  EXPECT_EQ(RegMatch("a.x.1"), kObject);
  EXPECT_EQ(Reached(), "a:container 1");
}

TEST_F(ModelMatchTest, RegistrationByNumberInAHashedList) {
  Hash(At("a.b"));
  Fill();
  LogCapture::Get().Clear();
  EXPECT_EQ(RegMatch("a.b.4.k"), kLeaf);
  EXPECT_EQ(Reached(), "a.b.4.k:leaf 4");
  EXPECT_THAT(LogLines(), IsEmpty());
}

// ---- Width ----

TEST_F(MatchTest, Width) {
  Register("a.x0");
  for (int i = 1; i < 4095; ++i) {
    AddHandMade(At("a"), ("x" + std::to_string(i)).c_str(), NC_DM_NODE_TYPE_LEAF);
  }
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), 0);
  EXPECT_THAT(LogLines(), IsEmpty());
  Register("a.last");
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), -3);
  EXPECT_THAT(LogLines(), ElementsAre(Error("The width of node which want to regiset is too big, "
                                            "node width: 4097!\n")));
  nc_dm_agent_unreg_node(At("a.x5"));
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), 0);
  EXPECT_EQ(nc_dm_agent_check_width(At("a.x7")), 0);
  EXPECT_EQ(nc_dm_agent_check_width(nullptr), 0);
}

TEST_F(TreeTest, WidthOfARegisteredParentFollowsEveryChange) {
  Register("a.b.{i}.c");
  for (int i = 0; i < 100; ++i) Register("a.x" + std::to_string(i));
  const DebugMask mask(NC_DM_DBG_ERROR);
  for (nc_int64 id = 1; id <= 3994; ++id) Create(At("a"), "b", id);
  ASSERT_EQ(Children(At("a")).size(), 4095U);
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), 0);
  Create(At("a"), "b", 5000);
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), -3);
  AddHandMade(At("a"), "h", NC_DM_NODE_TYPE_LEAF);
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), -3);
  EXPECT_THAT(ErrorLines(), ElementsAre("The width of node which want to regiset is too big, node "
                                        "width: 4098!\n"));
  nc_dm_agent_unreg_nodes(At("a.h"));
  nc_dm_agent_unreg_nodes(At("a.b.17"));
  EXPECT_EQ(nc_dm_agent_check_width(At("a")), 0);
}

// ---- Children ----

TEST_F(ModelMatchTest, SearchModeNode) {
  Fill();
  char b[] = "b";
  char x[] = "x";
  char l[] = "l";
  char q[] = "q";
  char c[] = "c";
  Node* a = At("a");
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, b), At("a.b"));
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, x), At("a.x"));
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, l), At("a.l"));
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, q), nullptr);
  EXPECT_EQ(nc_dm_agent_search_mode_node(At("a.b.3"), c), At("a.b.3.c"));
  EXPECT_EQ(nc_dm_agent_search_mode_node(nullptr, b), nullptr);
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, nullptr), nullptr);
  Register("a.n.5.x");
  char n[] = "n";
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, n), nullptr);
  Register("a.o.x");
  char o[] = "o";
  EXPECT_EQ(nc_dm_agent_search_mode_node(a, o), At("a.o"));
}

TEST_F(ModelMatchTest, HasInstNode) {
  Fill();
  Hash(At("a.b"));
  Create(At("a"), "b", 12);
  Register("a.n.5.x");
  char b[] = "b";
  char n[] = "n";
  char x[] = "x";
  Node* a = At("a");
  LogCapture::Get().Clear();
  for (const nc_int64 id : {0, 3, 4, 12}) EXPECT_TRUE(nc_dm_agent_has_inst_node(a, b, id)) << id;
  EXPECT_FALSE(nc_dm_agent_has_inst_node(a, b, 5));
  EXPECT_TRUE(nc_dm_agent_has_inst_node(a, n, 5));
  EXPECT_FALSE(nc_dm_agent_has_inst_node(a, n, 0));
  EXPECT_TRUE(nc_dm_agent_has_inst_node(a, x, 0));
  EXPECT_FALSE(nc_dm_agent_has_inst_node(a, x, 3));
  EXPECT_FALSE(nc_dm_agent_has_inst_node(nullptr, b, 3));
  EXPECT_FALSE(nc_dm_agent_has_inst_node(a, nullptr, 3));
  EXPECT_THAT(LogLines(), IsEmpty());
}

// ---- Where a path ends ----

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
  EXPECT_EQ(nc_dm_agent_match(Root(), &path_, &last_, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_id_arr(Root(), &path_, &last_, &ids_, 0), kMax);
  EXPECT_EQ(nc_dm_agent_match_index(Root(), &path_, &last_, 0, 0), kMax);
  EXPECT_EQ(nc_dm_agent_reg_match(Root(), &path_, &last_), kMax);
}

}  // namespace
}  // namespace ncdm_test
