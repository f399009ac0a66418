#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>

#include <string>
#include <thread>

#include "netconf_dm_kernel/tree_fixture.h"

namespace {

bool g_fails_attributes = false;

}  // namespace

// What no system refuses by itself. It stands before the C library's.
extern "C" __attribute__((visibility("default"))) int pthread_mutexattr_settype(
    pthread_mutexattr_t* attributes, int kind) noexcept {
  using SetType = int (*)(pthread_mutexattr_t*, int);
  static const auto real = reinterpret_cast<SetType>(dlsym(RTLD_NEXT, "pthread_mutexattr_settype"));
  return g_fails_attributes ? EINVAL : real(attributes, kind);
}

namespace ncdm_test {
namespace {

using testing::IsEmpty;

// A death test has a process of its own, where the tree is as it was loaded.
TEST(TreeDeathTest, SearchBeforeTheStart) {
  const auto search = [] {
    nc_dm_path_nodes_t path = Parsed("a.b");
    Node* last = nullptr;
    const bool is_empty = nc_dm_agent_match(&g_nc_agent_dm.dm_root, &path, &last, 0) ==
                              NC_DM_CLIENT_MATCH_STATUS_NO_EXIST &&
                          g_nc_agent_dm.yang_attr_lst.next == &g_nc_agent_dm.yang_attr_lst;
    exit(is_empty ? 0 : 1);
  };
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(search(), testing::ExitedWithCode(0), "");
}

TEST_F(TreeTest, StartsEmpty) {
  EXPECT_THAT(Roots(), IsEmpty());
  EXPECT_EQ(CountersNow(), Counters{});
  EXPECT_EQ(g_nc_agent_dm.yang_attr_lst.next, &g_nc_agent_dm.yang_attr_lst);
  EXPECT_EQ(g_nc_agent_dm.yang_attr_lst.prev, &g_nc_agent_dm.yang_attr_lst);
  EXPECT_FALSE(g_nc_agent_dm.registered);
}

TEST_F(TreeTest, StartTellsTheConnection) {
  g_nc_dm_mng_info.agent_tree_init = false;
  EXPECT_EQ(nc_dm_agent_init_tree(), 0);
  EXPECT_TRUE(g_nc_dm_mng_info.agent_tree_init);
}

TEST_F(TreeTest, NoStartWithoutItsMutex) {
  g_nc_dm_mng_info.agent_tree_init = false;
  Register("a.b");
  for (Node* root : Roots()) nc_dm_agent_unreg_nodes(root);
  g_nc_agent_dm.total_node = 7;
  g_fails_attributes = true;
  EXPECT_EQ(nc_dm_agent_init_tree(), -1);
  g_fails_attributes = false;
  EXPECT_FALSE(g_nc_dm_mng_info.agent_tree_init);
  EXPECT_THAT(Roots(), IsEmpty());
  EXPECT_EQ(CountersNow(), Counters{});
  EXPECT_EQ(nc_dm_agent_init_tree(), 0);
}

TEST_F(TreeTest, MutexIsRecursive) {
  ASSERT_EQ(pthread_mutex_lock(&g_nc_agent_dm.dm_mutex), 0);
  EXPECT_EQ(pthread_mutex_trylock(&g_nc_agent_dm.dm_mutex), 0);
  int elsewhere = 0;
  std::thread([&] { elsewhere = pthread_mutex_trylock(&g_nc_agent_dm.dm_mutex); }).join();
  EXPECT_EQ(elsewhere, EBUSY);
  EXPECT_EQ(pthread_mutex_unlock(&g_nc_agent_dm.dm_mutex), 0);
  EXPECT_EQ(pthread_mutex_unlock(&g_nc_agent_dm.dm_mutex), 0);
}

TEST_F(TreeTest, StartClearsTheWholeRecord) {
  Register("a.b");
  g_nc_agent_dm.registered = true;
  std::vector<Node*> roots = Roots();
  ASSERT_EQ(nc_dm_agent_init_tree(), 0);
  EXPECT_THAT(Roots(), IsEmpty());
  EXPECT_EQ(CountersNow(), Counters{});
  EXPECT_FALSE(g_nc_agent_dm.registered);

  // What stood in the tree is the caller's now.
  g_nc_agent_dm.total_node = 2;
  g_nc_agent_dm.total_leaf = 1;
  g_nc_agent_dm.total_sobject = 1;
  for (Node* root : roots) {
    root->lst.next = &root->lst;
    root->lst.prev = &root->lst;
    nc_dm_agent_unreg_nodes(root);
  }
  EXPECT_EQ(CountersNow(), Counters{});
}

TEST_F(TreeTest, StartForgetsWhatWasKnownOfManyRoots) {
  for (int i = 0; i < 100; ++i) Register("r" + std::to_string(i) + ".x");
  nc_dm_path_nodes_t path = Parsed("r99.x");
  Node* last = nullptr;
  ASSERT_EQ(nc_dm_agent_match(&g_nc_agent_dm.dm_root, &path, &last, 0),
            NC_DM_CLIENT_MATCH_STATUS_LEAF);
  for (Node* root : Roots()) nc_dm_agent_unreg_nodes(root);
  ASSERT_EQ(nc_dm_agent_init_tree(), 0);
  EXPECT_EQ(nc_dm_agent_match(&g_nc_agent_dm.dm_root, &path, &last, 0),
            NC_DM_CLIENT_MATCH_STATUS_NO_EXIST);
  EXPECT_EQ(last, nullptr);
}

}  // namespace
}  // namespace ncdm_test
