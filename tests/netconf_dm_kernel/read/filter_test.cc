// Filters: a list of paths with ids and values, and one path without.

#include <string.h>

#include "netconf_dm_kernel/edit/failing_calls.h"
#include "netconf_dm_kernel/query_fixture.h"
#include "support/tree_lock.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

struct Filter {
  std::string name;
  Ids ids = {};
  std::optional<std::string> val = {};
  bool has_ids = true;
};

// A request's filters, as the decoder makes them.
class Filters {
 public:
  Filters(std::initializer_list<Filter> filters = {}) {
    nc::InitList(&list_.filter_head);
    for (const Filter& filter : filters) Add(filter);
  }
  Filters(const Filters&) = delete;
  Filters& operator=(const Filters&) = delete;
  ~Filters() { nc_dm_agent_free_filter_node_list(&list_); }

  nc_dm_stub_filter_node_list_t* get() { return &list_; }

  void Add(const Filter& from) {
    auto* filter = static_cast<nc_dm_stub_filter_t*>(calloc(1, sizeof(nc_dm_stub_filter_t)));
    filter->name = strdup(from.name.c_str());
    if (from.val) filter->val = strdup(from.val->c_str());
    if (from.has_ids) {
      filter->id_array = static_cast<nc_dm_id_array_t*>(calloc(1, sizeof(nc_dm_id_array_t)));
      *filter->id_array = IdArrayOf(from.ids);
    }
    AddNode(filter);
  }
  void AddNode(nc_dm_stub_filter_t* filter) {
    auto* node =
        static_cast<nc_dm_stub_filter_node_t*>(calloc(1, sizeof(nc_dm_stub_filter_node_t)));
    node->filter = filter;
    nc::PushBack(&list_.filter_head, &node->lst);
  }

 private:
  nc_dm_stub_filter_node_list_t list_ = {};
};

class FilterTest : public QueryTest {
 protected:
  // The values of the filters, one after the other.
  std::vector<std::string> Read(std::initializer_list<Filter> filters) {
    Filters list(filters);
    Values values;
    EXPECT_EQ(nc_dm_agent_filter_subtree_id_arr(list.get(), values.get()), 0);
    EXPECT_EQ(static_cast<size_t>(values.cnt()), values.Texts().size());
    return values.Texts();
  }

  int Show(std::string name, Values* values) {
    nc_dm_stub_filter_t filter = {};
    filter.name = name.data();
    return nc_dm_agent_filter_subtree(&g_nc_agent_dm.dm_root, &filter, values->get());
  }

  // a.b with entries 3 and 5, of which each has c, a container and a nested list.
  void MakeLists() {
    RegisterReadable({"a.x", "a.b.{i}.c", "a.b.{i}.o.d", "a.b.{i}.n.{i}.e"});
    for (const char* path : {"a.b.3", "a.b.5", "a.b.3.n.7", "a.b.3.n.8", "a.b.5.n.7"}) {
      AddInstance(path);
    }
    app.Forget();
    log().Clear();
  }
};

TEST_F(FilterTest, RefusesNullAndEmptyLists) {
  Filters filters({{"a"}});
  Filters none;
  Values values;
  EXPECT_EQ(nc_dm_agent_filter_subtree_id_arr(nullptr, values.get()), -1);
  EXPECT_EQ(nc_dm_agent_filter_subtree_id_arr(filters.get(), nullptr), -1);
  EXPECT_EQ(nc_dm_agent_filter_subtree_id_arr(none.get(), values.get()), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Input filter list parameter is null!\n",
                                      "E Input result list parameter is null!\n",
                                      "E Input filter list is empty!\n"));
}

TEST_F(FilterTest, ReadsOneLeafOfOneEntry) {
  MakeLists();
  EXPECT_THAT(Read({{"a.b.c", {5}}}), ElementsAre("a.b.5.c=5"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("get c ids=[5]"));
  EXPECT_THAT(LogLines(), ElementsAre("I The last node name: c\n", "I Get node 'c' value.\n"));
  EXPECT_THAT(Read({{"a.b.n.e", {3, 8}}}), ElementsAre("a.b.3.n.8.e=3,8"));
  EXPECT_THAT(Read({{"a.x"}}), ElementsAre("a.x=-"));
}

TEST_F(FilterTest, TakesPathsAsTheyWereRegistered) {
  MakeLists();
  EXPECT_THAT(Read({{"a.b.{i}.c", {5}}}), ElementsAre("a.b.5.c=5"));
  EXPECT_THAT(Read({{"a.b.{i}.n.{i}.e", {3, 8}}}), ElementsAre("a.b.3.n.8.e=3,8"));
}

TEST_F(FilterTest, HandsTheRequestsIdsToTheApplication) {
  MakeLists();
  nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE;
  app.On(Callback::kGet, "c", [&](const ModelCall& call) {
    src = call.id_array->src;
    return IdsAsText(call);
  });
  Filters filters({{"a.b.c", {5}}});
  auto* node = nc::RecordOf<nc_dm_stub_filter_node_t, &nc_dm_stub_filter_node_t::lst>(
      filters.get()->filter_head.next);
  node->filter->id_array->src = NC_DM_NODE_SRC_CLI;
  Values values;
  EXPECT_EQ(nc_dm_agent_filter_subtree_id_arr(filters.get(), values.get()), 0);
  EXPECT_EQ(src, NC_DM_NODE_SRC_CLI);
}

TEST_F(FilterTest, EchoesAGivenValue) {
  MakeLists();
  EXPECT_THAT(Read({{"a.b.c", {5}, "given"}}), ElementsAre("a.b.5.c=given"));
  EXPECT_THAT(app.calls(), IsEmpty());
  EXPECT_THAT(Read({{"a.b", {5}, "given"}}),
              ElementsAre("a.b.5.c=5", "a.b.5.o.d=5", "a.b.5.n.7.e=5,7"))
      << "an object has no value of its own";
}

TEST_F(FilterTest, GoesOnAfterAFilterThatFails) {
  MakeLists();
  app.On(Callback::kGet, "x", -7);
  EXPECT_THAT(Read({{"a.x"}, {"a..x"}, {"nothing"}, {"a.b.c", {3}}}), ElementsAre("a.b.3.c=3"));
  EXPECT_THAT(
      ErrorLines(),
      ElementsAre("Failed to get val from app, some object non-existent, leaf node 'x'!\n",
                  "Failed to get node 'x' value by id array!\n",
                  "The form of dm's path is error!\n",
                  "The current filter_node->filter->name parse failed!\n",
                  "The dm'tree don't have this instance path!\n", "The last node is null!\n"));
}

TEST_F(FilterTest, SkipsANodeWithoutAFilter) {
  MakeLists();
  Filters filters;
  filters.AddNode(nullptr);
  filters.Add({"a.x"});
  Values values;
  EXPECT_EQ(nc_dm_agent_filter_subtree_id_arr(filters.get(), values.get()), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.x=-"));
  EXPECT_THAT(ErrorLines(), ElementsAre("The current filter_node->filter is null!\n"));
}

TEST_F(FilterTest, RefusesAPathOfListMarkersAlone) {
  MakeLists();
  EXPECT_THAT(Read({{"{i}"}}), IsEmpty());
  EXPECT_THAT(ErrorLines(), Contains("The current filter_node->filter->name parse failed!\n"));
}

TEST_F(FilterTest, CollectsASubtree) {
  MakeLists();
  EXPECT_THAT(Read({{"a.b.n", {3, 7}}}), ElementsAre("a.b.3.n.7.e=3,7"));
  EXPECT_THAT(LogLines(),
              ElementsAre("I The last object node name: n\n",
                          "I The path_nodes match_cnt has reached to total_node: 3.\n",
                          "I Get node 'e' values, instid 0.\n", "I Get node 'e' value.\n"));
  EXPECT_THAT(Read({{"a.b.o", {5}}}), ElementsAre("a.b.5.o.d=5"));
  EXPECT_THAT(Read({{"a"}}),
              ElementsAre("a.x=-", "a.b.3.c=3", "a.b.3.o.d=3", "a.b.3.n.7.e=3,7", "a.b.3.n.8.e=3,8",
                          "a.b.5.c=5", "a.b.5.o.d=5", "a.b.5.n.7.e=5,7"));
}

TEST_F(FilterTest, CollectsEveryEntryOfAListWithoutIds) {
  MakeLists();
  EXPECT_THAT(Read({{"a.b.{i}"}}),
              ElementsAre("a.b.3.c=3", "a.b.3.o.d=3", "a.b.3.n.7.e=3,7", "a.b.3.n.8.e=3,8",
                          "a.b.5.c=5", "a.b.5.o.d=5", "a.b.5.n.7.e=5,7"));
  EXPECT_THAT(Read({{"a.b.c"}}), ElementsAre("a.b.3.c=3", "a.b.5.c=5"));
  EXPECT_THAT(Read({{"a.b.n", {3}}}), ElementsAre("a.b.3.n.7.e=3,7", "a.b.3.n.8.e=3,8"))
      << "the ids given are kept";
  EXPECT_THAT(Read({{"a.b.n.e"}}),
              ElementsAre("a.b.3.n.7.e=3,7", "a.b.3.n.8.e=3,8", "a.b.5.n.7.e=5,7"));
}

TEST_F(FilterTest, LogsHowFarASearchCameThatFails) {
  MakeLists();
  const FailingCall failing(Step::kMatchIds);
  EXPECT_THAT(Read({{"a.b.c", {3}}, {"a.x"}}), ElementsAre("a.x=-"));
  EXPECT_THAT(ErrorLines(), ElementsAre("The dm'tree don't have this instance path!\n",
                                        "The last node name: c\n"));
}

TEST_F(FilterTest, LogsAWalkOverAllInstancesThatFails) {
  MakeLists();
  EXPECT_THAT(Read({{"a.b.c"}}), ElementsAre("a.b.3.c=3", "a.b.5.c=5"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
  const FailingCall failing(Step::kMatchValues);
  EXPECT_THAT(Read({{"a.b.c"}, {"a.x"}}), ElementsAre("a.x=-"));
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to get node 'a' descendant values by id array!\n"));
}

TEST_F(FilterTest, CollectsNothingWithIdsLeftOver) {
  MakeLists();
  EXPECT_THAT(Read({{"a.b.c", {4}}}), IsEmpty());
  EXPECT_THAT(Read({{"a.b.n.e", {3, 9}}}), IsEmpty());
  EXPECT_THAT(Read({{"a.nothing", {3}}}), IsEmpty());
  EXPECT_THAT(app.calls(), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(FilterTest, ReadsTheLeafThatAPathEndsAt) {
  MakeLists();
  EXPECT_EQ(Read({{"a.x.nothing"}, {"a.b.c.nothing", {3}, "given"}}).size(), 2u);
  EXPECT_THAT(app.CallTexts(), ElementsAre("get x ids=[]"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(FilterTest, ForgetsHowFarTheIdsOfAnEarlierSearchReached) {
  MakeLists();
  Filters filters({{"a.b.c", {5}}});
  auto* node = nc::RecordOf<nc_dm_stub_filter_node_t, &nc_dm_stub_filter_node_t::lst>(
      filters.get()->filter_head.next);
  for (const nc_int32 reached : {1, 7, -1}) {
    node->filter->id_array->match_cnt = reached;
    Values values;
    EXPECT_EQ(nc_dm_agent_filter_subtree_id_arr(filters.get(), values.get()), 0);
    EXPECT_THAT(values.Texts(), ElementsAre("a.b.5.c=5"));
    EXPECT_EQ(node->filter->id_array->match_cnt, 1);
  }
}

TEST_F(FilterTest, WorksWithoutAnIdArray) {
  MakeLists();
  EXPECT_THAT(Read({{"a.x", {}, {}, false}}), ElementsAre("a.x=-"));
  EXPECT_THAT(LogLines(), Contains("I Current filter 'a.x' id_array is null!\n"));
  EXPECT_THAT(Read({{"a.b.c", {}, {}, false}}), ElementsAre("a.b.3.c=3", "a.b.5.c=5"));
}

TEST_F(FilterTest, ReadsALeafList) {
  RegisterReadable({"a.b.{i}.c"});
  RegisterReadableLeafList("a.b.{i}.l");
  AddInstance("a.b.3");
  AddInstance("a.b.3.l.4");
  AddInstance("a.b.3.l.9");
  log().Clear();
  EXPECT_THAT(Read({{"a.b.{i}.l", {3}}}), ElementsAre("a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
  EXPECT_THAT(LogLines(), Contains("I The last object node name: l\n"));
  EXPECT_THAT(Read({{"a.b", {3}}}), ElementsAre("a.b.3.c=3", "a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
}

TEST_F(FilterTest, ReadsAllElementsOfALeafListWhateverItsIdAndValue) {
  RegisterReadableLeafList("a.b.{i}.l");
  for (const char* path : {"a.b.3", "a.b.3.l.4", "a.b.3.l.9"}) AddInstance(path);
  EXPECT_THAT(Read({{"a.b.l", {3, 9}}}), ElementsAre("a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
  EXPECT_THAT(Read({{"a.b.l", {3, 9}, "given"}}), ElementsAre("a.b.3.l.4=3,4", "a.b.3.l.9=3,9"));
  EXPECT_THAT(Read({{"a.b.l.x", {3, 9}}}), IsEmpty());
  EXPECT_THAT(Read({{"a.b.l.x", {3}}}), IsEmpty());
}

TEST_F(FilterTest, ReadsOneElementWhereItsLeafListIsGone) {
  RegisterReadableLeafList("a.b.{i}.l");
  for (const char* path : {"a.b.3", "a.b.3.l.4", "a.b.3.l.9"}) AddInstance(path);
  nc_dm_agent_unreg_nodes(NodeAt("a.b.3.l"));
  log().Clear();
  EXPECT_THAT(Read({{"a.b.l", {3, 9}}}), ElementsAre("a.b.3.l.9=3,9"));
  EXPECT_THAT(LogLines(), ElementsAre("I The last node name: l\n", "I Get node 'l' value.\n"));
  EXPECT_THAT(Read({{"a.b.l", {3, 9}, "given"}}), ElementsAre("a.b.3.l.9=given"));
  EXPECT_THAT(Read({{"a.b.l", {3, 5}}}), IsEmpty());
}

TEST_F(FilterTest, ReadsAHashIndexedList) {
  MakeLists();
  char path[] = "a.h";
  RegisterReadable({"a.h.{i}.k"});
  info().agent_init = true;
  ASSERT_EQ(nc_dm_agent_reg_hash_tab(path, 10000), 0);
  info().agent_init = false;
  AddInstance("a.h.12");
  AddInstance("a.h.13");
  EXPECT_THAT(Read({{"a.h.k", {13}}}), ElementsAre("a.h.13.k=13"));
  EXPECT_THAT(Read({{"a.h", {12}}}), ElementsAre("a.h.12.k=12"));
  EXPECT_THAT(Read({{"a.h.k", {14}}}), IsEmpty());
  EXPECT_THAT(Read({{"a.h.k"}}), ElementsAre("a.h.12.k=12", "a.h.13.k=13"));
}

TEST_F(FilterTest, ShowsTheSdnDatastoreItsOwn) {
  MakeLists();
  NodeAt("a.b.5.c")->src = NC_DM_NODE_SRC_SDN;
  info().curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_THAT(Read({{"a"}}), ElementsAre("a.b.5.c=5@1"));
  EXPECT_THAT(Read({{"a.b.c", {3}}}), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty()) << "a leaf that is not shown is no failure";
}

TEST_F(FilterTest, LogsWhatASubtreeFailsWith) {
  RegisterReadableLeafList("l");
  EXPECT_THAT(Read({{"l"}}), IsEmpty());
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The current node parent is null, can't get multiple child values!\n",
                          "Failed to get node 'l' descendant values!\n"));
}

// ---- One path ----

TEST_F(FilterTest, ShowsASubtree) {
  MakeLists();
  Values values;
  EXPECT_EQ(Show("a", &values), 0);
  EXPECT_THAT(values.Texts(),
              ElementsAre("a.x=-", "a.b.3.c=3", "a.b.3.o.d=3", "a.b.3.n.7.e=3,7", "a.b.3.n.8.e=3,8",
                          "a.b.5.c=5", "a.b.5.o.d=5", "a.b.5.n.7.e=5,7"));
  EXPECT_EQ(LogLines().front(), "I The last node match status is: 3\n");
  EXPECT_EQ(LogLines().back(), "I Filter subtree successfully!\n");
}

TEST_F(FilterTest, ShowsBelowWhatIsThereOfAPath) {
  MakeLists();
  Values values;
  EXPECT_EQ(Show("a.x", &values), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.x=-"));
  Values below;
  EXPECT_EQ(Show("a.x.nothing", &below), 0);
  EXPECT_THAT(below.Texts(), ElementsAre("a.x=-"));
}

TEST_F(FilterTest, ShowsNothingOfAnUnknownPath) {
  MakeLists();
  Values values;
  EXPECT_EQ(Show("nothing", &values), -3);
  EXPECT_EQ(values.cnt(), 0);
  EXPECT_THAT(LogLines(), ElementsAre("I The last node match status is: 5\n",
                                      "E Input parameter is invalid!\n"));
  EXPECT_EQ(Show("a..b", &values), -4);
}

TEST_F(FilterTest, ReleasesWhatItShowedOnFailure) {
  MakeLists();
  Values values;
  EXPECT_EQ(Show("a", &values), 0);
  EXPECT_EQ(Show("nothing", &values), -3);
  EXPECT_EQ(values.cnt(), 0);
  EXPECT_THAT(values.Texts(), IsEmpty());
}

TEST_F(FilterTest, RefusesNullArgumentsOfShow) {
  Values values;
  nc_dm_stub_filter_t filter = {};
  list_head* root = &g_nc_agent_dm.dm_root;
  char name[] = "a";
  EXPECT_EQ(nc_dm_agent_filter_subtree(root, nullptr, values.get()), -1);
  EXPECT_EQ(nc_dm_agent_filter_subtree(root, &filter, values.get()), -1);
  filter.name = name;
  EXPECT_EQ(nc_dm_agent_filter_subtree(root, &filter, nullptr), -1);
  EXPECT_EQ(log().Count(kErrorPrefix, "Input parameter is invalid!\n"), 3);
}

TEST_F(FilterTest, HoldsTheTreeWhileItShows) {
  MakeLists();
  bool was_free = true;
  app.On(Callback::kGet, "x", [&](const ModelCall&) {
    was_free = IsTreeFree();
    return 0;
  });
  Values values;
  EXPECT_EQ(Show("a.x", &values), 0);
  EXPECT_FALSE(was_free);
  EXPECT_TRUE(IsTreeFree());
}

TEST_F(FilterTest, ShowsTheSameUnderAClosedLog) {
  MakeLists();
  const DebugMask silent(0);
  Values values;
  EXPECT_EQ(Show("a", &values), 0);
  EXPECT_EQ(values.cnt(), 8);
  EXPECT_THAT(LogLines(), IsEmpty());
}

}  // namespace
}  // namespace ncdm_test
