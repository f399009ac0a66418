// The registered paths, rebuilt from the tree.

#include <string.h>

#include "netconf_dm_kernel/query_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Paths {
 public:
  Paths() { nc::InitList(&list_.head); }
  Paths(const Paths&) = delete;
  Paths& operator=(const Paths&) = delete;
  ~Paths() { Release(); }

  nc_dm_list_t* get() { return &list_; }
  nc_int32 cnt() const { return list_.cnt; }
  void Release() {
    if (list_.cnt > 0) nc_dm_agent_free_reg_list(&list_);
  }

  // "path attr", in order.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const auto& node : nc::Records<nc_dm_reg_node_t>(&list_.head)) {
      texts.push_back(std::string(node.reg_entry.dm_path) + " " +
                      std::to_string(node.reg_entry.attr));
    }
    return texts;
  }

 private:
  nc_dm_list_t list_ = {};
};

class RegisteredPathsTest : public QueryTest {
 protected:
  std::vector<std::string> Rebuild() {
    Paths paths;
    EXPECT_EQ(nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, paths.get()), 0);
    EXPECT_EQ(static_cast<size_t>(paths.cnt()), paths.Texts().size());
    return paths.Texts();
  }
  void Register(std::initializer_list<const char*> paths) {
    for (const char* path : paths) {
      std::string copy = path;
      ASSERT_GE(nc_dm_agent_path_reg(copy.data(), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr),
                0)
          << path;
    }
  }
};

TEST_F(RegisteredPathsTest, GivesThePathsAsTheyWereRegistered) {
  Register({"a.x", "a.b.{i}.c", "a.b.{i}.d.{i}.e", "a.o.p", "f"});
  EXPECT_THAT(Rebuild(),
              ElementsAre("a.x 0", "a.b.{i}.c 0", "a.b.{i}.d.{i}.e 0", "a.o.p 0", "f 0"));
}

TEST_F(RegisteredPathsTest, TracesTheWalk) {
  Register({"a.b.{i}.c"});
  log().Clear();
  Rebuild();
  EXPECT_THAT(LogLines(),
              ElementsAre("I Get all local register trees.\n", "I Get register node 'c'.\n",
                          "I Get agent's register paths list successfully.\n"));
}

TEST_F(RegisteredPathsTest, GivesFlagsAndSlotsAsAttributes) {
  app.Register({.path = "a.b.{i}.c", .flag = 1, .index = 3});
  app.Register({.path = "a.b.{i}.d", .flag = 2});
  app.Register({.path = "a.b.{i}.e", .index = 63});
  app.Register({.path = "a.b.{i}.f"});
  app.Register({.path = "a.l", .flag = 4, .index = 5});
  EXPECT_THAT(Rebuild(),
              ElementsAre("a.b.{i}.c 17", "a.b.{i}.d 2", "a.b.{i}.e 16", "a.b.{i}.f 0", "a.l 20"));
}

TEST_F(RegisteredPathsTest, GivesEachLeafOfAListOnce) {
  Register({"a.b.{i}.c", "a.b.{i}.d.{i}.e"});
  for (int id = 1; id <= 10; ++id) AddInstance("a.b." + std::to_string(id));
  AddInstance("a.b.3.d.7");
  EXPECT_THAT(Rebuild(), ElementsAre("a.b.{i}.c 0", "a.b.{i}.d.{i}.e 0"));
}

TEST_F(RegisteredPathsTest, GivesALeafListByItsName) {
  app.Register({.path = "a.b.{i}.l", .flag = 4});
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  EXPECT_THAT(Rebuild(), ElementsAre("a.b.{i}.l 4"));
  app.Register({.path = "a.m", .flag = 4});
  AddInstance("a.m.1");
  AddInstance("a.m.2");
  EXPECT_THAT(Rebuild(), ElementsAre("a.b.{i}.l 4", "a.m 4"));
}

TEST_F(RegisteredPathsTest, GivesEachPathOnceWhereSiblingsAreInterleaved) {
  Register({"a.b.{i}.c", "a.d.{i}.e"});
  AddInstance("a.b.1");
  AddInstance("a.d.1");
  AddInstance("a.b.2");
  AddInstance("a.d.2");
  Register({"a.x"});
  AddInstance("a.b.3");
  Register({"a.b.{i}.y", "a.z.{i}.w"});
  EXPECT_THAT(Rebuild(),
              ElementsAre("a.b.{i}.c 0", "a.b.{i}.y 0", "a.d.{i}.e 0", "a.x 0", "a.z.{i}.w 0"));
}

TEST_F(RegisteredPathsTest, GivesTheLeavesOfEntriesRegisteredByNumber) {
  Register({"a.b.5.c", "a.x", "a.b.6.c", "a.b.6.d", "a.b.7.c"});
  EXPECT_THAT(Rebuild(), ElementsAre("a.b.{i}.c 0", "a.x 0", "a.b.{i}.d 0"));
}

TEST_F(RegisteredPathsTest, GivesAPathThatWasRegisteredBelowACopiedEntry) {
  Register({"t.l.{i}.a", "t.l.{i}.o.c"});
  for (const char* entry : {"t.l.1", "t.l.2", "t.l.3"}) AddInstance(entry);
  Register({"t.l.2.b", "t.x", "t.l.3.o.d"});
  EXPECT_THAT(Rebuild(),
              ElementsAre("t.l.{i}.a 0", "t.l.{i}.o.c 0", "t.l.{i}.b 0", "t.l.{i}.o.d 0", "t.x 0"));
  nc_dm_agent_unreg_nodes(NodeAt("t.l.2"));
  EXPECT_THAT(Rebuild(), ElementsAre("t.l.{i}.a 0", "t.l.{i}.o.c 0", "t.l.{i}.o.d 0", "t.x 0"));
}

TEST_F(RegisteredPathsTest, GivesAPathThatWasRegisteredBelowEntriesInCopiedEntries) {
  Register({"t.l.{i}.m.{i}.a"});
  AddInstance("t.l.1");
  AddInstance("t.l.2");
  AddInstance("t.l.2.m.5");
  Register({"t.l.2.m.5.b", "t.l.2.m.6.c", "t.l.2.n.{i}.d"});
  EXPECT_THAT(Rebuild(), ElementsAre("t.l.{i}.m.{i}.a 0", "t.l.{i}.m.{i}.b 0", "t.l.{i}.m.{i}.c 0",
                                     "t.l.{i}.n.{i}.d 0"));
}

TEST_F(RegisteredPathsTest, GivesAPathThatWasRegisteredBelowOneOfManyCopiedEntries) {
  Register({"t.l.{i}.a", "t.m.{i}.c"});
  for (int id = 1; id <= 100; ++id) {
    AddInstance("t.l." + std::to_string(id));
    AddInstance("t.m." + std::to_string(id));
  }
  Register({"t.l.77.b", "t.x"});
  for (int id = 101; id <= 200; ++id) AddInstance("t.l." + std::to_string(id));
  EXPECT_THAT(Rebuild(), ElementsAre("t.l.{i}.a 0", "t.m.{i}.c 0", "t.l.{i}.b 0", "t.x 0"));
}

TEST_F(RegisteredPathsTest, GivesEachOfManyPathsOnce) {
  std::vector<std::string> expected;
  for (const int entry : {5, 6}) {
    for (int i = 0; i < 100; ++i) {
      const std::string leaf = ".x" + std::to_string(i);
      Register({("a.b." + std::to_string(entry) + leaf).c_str()});
      if (entry == 5) expected.push_back("a.b.{i}" + leaf + " 0");
    }
  }
  Register({"a.b.6.last"});
  expected.emplace_back("a.b.{i}.last 0");
  EXPECT_EQ(Rebuild(), expected);
}

TEST_F(RegisteredPathsTest, KeepsTheMarkerOfATopLevelList) {
  Register({"t.{i}.c", "s.5.d", "s.6.d", "s.6.e"});
  EXPECT_THAT(Rebuild(), ElementsAre("t.{i}.c 0", "s.{i}.d 0", "s.{i}.e 0"));
}

TEST_F(RegisteredPathsTest, CutsAListsNameAt60Characters) {
  const std::string n60(60, 'n');
  const std::string m61(61, 'm');
  const std::string l64(64, 'l');
  Register({("a." + n60 + ".{i}.c").c_str(), ("a." + m61 + ".{i}.c").c_str(), ("a." + l64).c_str(),
            (l64 + ".{i}.c").c_str()});
  EXPECT_THAT(Rebuild(),
              ElementsAre("a." + n60 + ".{i}.c 0", "a." + std::string(60, 'm') + ".{i}.c 0",
                          "a." + l64 + " 0", std::string(60, 'l') + ".{i}.c 0"));
}

TEST_F(RegisteredPathsTest, GivesNothingOfAnEmptyTree) {
  EXPECT_THAT(Rebuild(), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(RegisteredPathsTest, RefusesNullArguments) {
  Register({"a.b"});
  Paths paths;
  nc_dm_path_nodes_t path = PathOf("a");
  log().Clear();
  EXPECT_EQ(nc_dm_agent_get_regs_list(nullptr, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_get_regs_list(nullptr, paths.get()), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Input parameter 'list' is null!\n",
                                      "E Input parameter 'trees_list' is null!\n"));
  for (const auto walk : {nc_dm_agent_get_nodes_regs, nc_dm_agent_get_node_reg}) {
    log().Clear();
    EXPECT_EQ(walk(nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(walk(paths.get(), nullptr, nullptr), -1);
    EXPECT_EQ(walk(paths.get(), &path, nullptr), -1);
    EXPECT_THAT(LogLines(), ElementsAre("E Input parameter 'list' is null!\n",
                                        "E Input parameter 'path_nodes' is null!\n",
                                        "E Input parameter 'curr_node' is null!\n"));
  }
}

TEST_F(RegisteredPathsTest, CollectsASubtreeBehindAWorkPath) {
  Register({"a.b.{i}.c", "a.b.{i}.d"});
  Paths paths;
  nc_dm_path_nodes_t path = PathOf("x.y");
  EXPECT_EQ(nc_dm_agent_get_nodes_regs(paths.get(), &path, NodeAt("a.b")), 0);
  EXPECT_THAT(paths.Texts(), ElementsAre("x.y.c 0", "x.y.d 0"));
  EXPECT_EQ(path.total_node, 2) << "the path is as it was";
  path = PathOf("a.c");
  EXPECT_EQ(nc_dm_agent_get_nodes_regs(paths.get(), &path, NodeAt("a.b.c")), 0);
  EXPECT_THAT(paths.Texts(), ElementsAre("x.y.c 0", "x.y.d 0", "a.c 0"));
}

TEST_F(RegisteredPathsTest, AppendsOneNode) {
  app.Register({.path = "a.b", .flag = 1, .index = 3});
  Paths paths;
  nc_dm_path_nodes_t path = PathOf("a.b");
  EXPECT_EQ(nc_dm_agent_get_node_reg(paths.get(), &path, NodeAt("a.b")), 0);
  EXPECT_EQ(nc_dm_agent_get_node_reg(paths.get(), &path, NodeAt("a")), 0);
  EXPECT_THAT(paths.Texts(), ElementsAre("a.b 17", "a.b. 0"))
      << "only a leaf ends without a dot and has attributes";
}

TEST_F(RegisteredPathsTest, ReleasesAllWhenTheTreeIsTooDeep) {
  Register({"a.b", "template.y"});
  nc_dm_agent_node_t* node = NodeAt("a");
  for (int depth = 1; depth <= 15; ++depth) {
    node = nc_dm_agent_create_node(node, NodeAt("template"), 0, NC_DM_NODE_TYPE_SINGLE_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
  }
  Paths paths;
  EXPECT_EQ(nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, paths.get()), -1);
  EXPECT_EQ(paths.cnt(), 0);
  EXPECT_THAT(paths.Texts(), IsEmpty());
  EXPECT_THAT(ErrorLines(), Contains("Failed to get nodes register!\n"));
  EXPECT_EQ(ErrorLines().back(), "Failed to get nodes register paths.\n");
}

TEST_F(RegisteredPathsTest, LeaksNothingWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Register({"a.b.{i}.c", "a.b.{i}.d", "a.x"});
  const DebugMask silent(0);
  const int allocations = WithEachAllocationFailing([] {
    nc_dm_list_t list = {};
    nc::InitList(&list.head);
    const int result = nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, &list);
    if ((result == 0) != (list.cnt == 3)) abort();
    if (list.cnt > 0) nc_dm_agent_free_reg_list(&list);
  });
  EXPECT_GE(allocations, 6);
}

TEST_F(RegisteredPathsTest, NamesWhatMemoryWasTooShortFor) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Register({"a.b"});
  const DebugMask errors(NC_DM_DBG_ERROR);
  const auto failing = [](int successes) {
    LogCapture::Get().Clear();
    Paths paths;
    {
      const FailingAlloc fail(successes);
      EXPECT_EQ(nc_dm_agent_get_regs_list(&g_nc_agent_dm.dm_root, paths.get()), -1);
    }
    EXPECT_EQ(paths.cnt(), 0);
    return ErrorLines();
  };
  for (const int successes : {0, 1, 2}) {
    EXPECT_THAT(failing(successes),
                ElementsAre(successes == 0 ? "Failed to malloc for reg_node!\n"
                                           : "Failed to malloc for dm_name!\n",
                            "Failed to get nodes register!\n",
                            "Failed to get nodes register paths.\n", "Invaild input parameter!\n"));
  }
}

TEST_F(RegisteredPathsTest, ManyListsAreAllThere) {
  const DebugMask silent(0);
  for (int i = 0; i < 8000; ++i) Register({("a.n" + std::to_string(i) + ".{i}.c").c_str()});
  const std::vector<std::string> paths = Rebuild();
  ASSERT_EQ(paths.size(), 8000u);
  EXPECT_EQ(paths.front(), "a.n0.{i}.c 0");
  EXPECT_EQ(paths.back(), "a.n7999.{i}.c 0");
}

TEST_F(RegisteredPathsTest, InstancesAreNotAmongThem) {
  const DebugMask silent(0);
  Register({"a.b.{i}.c", "a.d.{i}.e", "a.x"});
  app.Register({.path = "a.l", .flag = 4});
  nc_dm_agent_node_t* parent = NodeAt("a");
  nc_dm_agent_node_t* leaf_list = NodeAt("a.l");
  for (nc_int64 id = 1; id <= 100; ++id) {
    for (nc_dm_agent_node_t* mode : {NodeAt("a.b"), NodeAt("a.d"), leaf_list}) {
      ASSERT_NE(nc_dm_agent_create_node(
                    parent, mode, id,
                    mode == leaf_list ? NC_DM_NODE_TYPE_MULT_LEAF : NC_DM_NODE_TYPE_MULT_OBJECT,
                    NC_DM_NODE_SRC_NONE),
                nullptr);
    }
  }
  EXPECT_THAT(Rebuild(), ElementsAre("a.b.{i}.c 0", "a.d.{i}.e 0", "a.x 0", "a.l 4"));
}

}  // namespace
}  // namespace ncdm_test
