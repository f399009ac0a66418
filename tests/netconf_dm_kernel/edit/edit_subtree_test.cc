// Edits by full path: their groups, and what becomes of each.

#include <string.h>

#include <string>
#include <utility>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "netconf_dm_kernel/edit/failing_calls.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Two containers at the top, a list with slots and a command, a leaf-list, and a leaf at the very
// top.
class SubtreeTest : public EditTest {
 protected:
  SubtreeTest() {
    app.Register({.path = "sys.name", .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "sys.site", .callbacks = 0u | Callback::kSet});
    app.Register({.path = "sys.clock.zone", .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "sys.clock.form", .callbacks = 0u | Callback::kSet});
    app.Register(
        {.path = "sys.dns.{i}", .flag = 4, .callbacks = Callback::kCreate | Callback::kDelete});
    app.Register({.path = "if.port.{i}.name",
                  .flag = 1,
                  .index = 1,
                  .callbacks = Callback::kExeCmd | Callback::kDelete});
    app.Register({.path = "if.port.{i}.mtu",
                  .type = NC_DM_VAL_TYPE_INT,
                  .index = 2,
                  .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "if.port.{i}.descr", .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "if.port.{i}.stats.rx", .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "if.port.{i}.sub.{i}.id", .flag = 1, .callbacks = 0u | Callback::kSet});
    app.Register({.path = "top", .callbacks = Callback::kSet | Callback::kDelete});
    AddInstance("if.port.3");
    AddInstance("if.port.4");
    LogCapture::Get().Clear();
  }

  nc_int64 Edit(ModelEdits& edits) {
    return nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, edits.get(), &fault);
  }
  nc_int64 Edit(std::initializer_list<ModelEdit> list) {
    ModelEdits edits(list);
    const nc_int64 result = Edit(edits);
    left = edits.size();
    return result;
  }

  void Restart() {
    app.Forget();
    LogCapture::Get().Clear();
    fault = {};
  }

  int left = 0;  // edits that the last request has not consumed
};

// ---- The request ----

TEST_F(SubtreeTest, EmptyRequest) {
  EXPECT_EQ(Edit({}), 0);
  EXPECT_TRUE(LoggedInfo("The edit list input is empty.\n"));
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(SubtreeTest, RefusesWhatIsMissing) {
  ModelEdits edits{{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}};
  EXPECT_EQ(nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, nullptr, &fault), -1);
  EXPECT_EQ(nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, edits.get(), nullptr), -1);
  EXPECT_THAT(Errors(),
              ElementsAre("The edit list input is null!\n", "The fault pointer input is null!\n"));
  EXPECT_EQ(edits.size(), 1);
}

TEST_F(SubtreeTest, RootIsTheTreesWhateverIsGiven) {
  list_head other = {&other, &other};
  for (list_head* root : {&other, static_cast<list_head*>(nullptr)}) {
    ModelEdits edits{{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}};
    EXPECT_EQ(nc_dm_agent_edit_subtree(root, edits.get(), &fault), 0);
    EXPECT_TRUE(edits.empty());
  }
  EXPECT_THAT(app.calls(), SizeIs(2));
}

TEST_F(SubtreeTest, UnreadableEditsAreDropped) {
  ModelEdits edits{{.name = "sys..name"},
                   {.name = "{i}"},
                   {.name = "x"},
                   {.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE},
                   {.name = "x"},
                   {.name = "sys..name"},
                   {.name = "sys.site", .val = "2", .op = NC_DM_OP_MERGE}};
  for (const int place : {2, 4}) {
    nc_dm_agent_free_edit(edits.at(place)->edit);
    free(std::exchange(edits.at(place)->edit, nullptr));
  }
  EXPECT_EQ(Edit(edits), 0);
  EXPECT_TRUE(edits.empty());
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set name ids=[] src=0 value=1", "set site ids=[] src=0 value=2"));
  EXPECT_EQ(LogCapture::Get().Count(kErrorPrefix, "Current entry edit is null!\n"), 2);
  EXPECT_EQ(LogCapture::Get().Count(kErrorPrefix, "Failed to parse edit->name: sys..name\n"), 2);
  EXPECT_TRUE(LoggedError("Failed to parse edit->name: {i}\n"));
  EXPECT_EQ(Fault(), "0 ");
}

// An edit's ids are compared before its path is read.
TEST_F(SubtreeTest, UnreadableEditOfOtherIdsEndsTheGroup) {
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if..port", .ids = {4}},
                  {.name = "if.port.name", .val = "a", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[3] src=0 op=3 slots={2:1}",
                                           "exe_cmd name ids=[3] src=0 op=3 slots={1:a}"));
  EXPECT_EQ(LogCapture::Get().Count(kErrorPrefix, "Failed to parse edit->name: if..port\n"), 1);
}

TEST_F(SubtreeTest, NothingReadable) {
  ModelEdits edits{{.name = "sys..name"}, {.name = "x"}};
  free(std::exchange(edits.at(1)->edit->name, nullptr));
  EXPECT_EQ(Edit(edits), 0);
  EXPECT_TRUE(edits.empty());
  EXPECT_TRUE(LoggedError("Failed to parse edit->name: (null)\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(SubtreeTest, ConsumedKeysLeaveTheRequestsKeysToo) {
  ModelEdits edits{
      {.name = "if.port.name", .val = "a", .op = NC_DM_OP_MERGE, .flag = 1, .ids = {3}},
      {.name = "nowhere.name", .val = "a", .op = NC_DM_OP_MERGE, .flag = 1},
      {.name = "if.port.name", .val = "b", .op = NC_DM_OP_MERGE, .flag = 1, .ids = {4}}};
  nc_dm_stub_edit_node_t* last = edits.at(2);
  EXPECT_EQ(Edit(edits), -1);
  EXPECT_EQ(edits.size(), 1);
  EXPECT_EQ(edits.get()->key_head.next, &last->ky_lst);
  EXPECT_EQ(edits.get()->key_head.prev, &last->ky_lst);
}

TEST_F(SubtreeTest, PathsMayBeWrittenAsRegistered) {
  EXPECT_EQ(Edit({{.name = "if.port.{i}.descr", .val = "x", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set descr ids=[3] src=0 value=x",
                                           "exe_cmd name ids=[3] src=0 op=3 slots={2:1}"));
}

// ---- Groups ----

TEST_F(SubtreeTest, SiblingsMakeOneCommand) {
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.name", .val = "a", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[3] src=0 op=3 slots={1:a, 2:1}"));
  EXPECT_TRUE(LoggedInfo("The last matched node name is 'mtu'.\n"));
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(SubtreeTest, EachEntryIsAGroupOfItsOwn) {
  app.On(Callback::kExeCmd, "name", [](const ModelCall& call) { return 10 * call.ids.back(); });
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.mtu", .val = "2", .op = NC_DM_OP_MERGE, .ids = {4}},
                  {.name = "if.port.name", .val = "a", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            30);
  // The stranger ends the group, also for what comes behind it.
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[3] src=0 op=3 slots={2:1}",
                                           "exe_cmd name ids=[4] src=0 op=3 slots={2:2}",
                                           "exe_cmd name ids=[3] src=0 op=3 slots={1:a}"));
  EXPECT_TRUE(LoggedInfo("The current id array isn't same to first one, break.\n"));
}

TEST_F(SubtreeTest, LongerIdsAreLeftForLater) {
  AddInstance("if.port.3.sub.5");
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.sub.id", .val = "s", .op = NC_DM_OP_MERGE, .ids = {3, 5}},
                  {.name = "if.port.name", .val = "a", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[3] src=0 op=3 slots={1:a, 2:1}",
                                           "set id ids=[3,5] src=0 value=s"));
  EXPECT_TRUE(LoggedInfo("The current id array contains first one, continue.\n"));
}

TEST_F(SubtreeTest, ShorterIdsEndTheGroup) {
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE},
                  {.name = "if.port.name", .val = "a", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[3] src=0 op=3 slots={2:1}",
                                           "set name ids=[] src=0 value=x",
                                           "exe_cmd name ids=[3] src=0 op=3 slots={1:a}"));
}

// The ids of an edit without any are all zero, and so are like those of an empty array.
TEST_F(SubtreeTest, NoIdsAndNoneAreTheSame) {
  ModelEdits edits{{.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE, .ids = {9}},
                   {.name = "sys.site", .val = "2", .op = NC_DM_OP_MERGE}};
  edits.at(0)->edit->id_array->cnt = 0;
  EXPECT_EQ(Edit(edits), 0);
  EXPECT_FALSE(LoggedInfo("The current id array isn't same to first one, break.\n"));
  EXPECT_THAT(app.calls(), SizeIs(2));
}

TEST_F(SubtreeTest, LongerPathIsLeftForLater) {
  EXPECT_EQ(Edit({{.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE},
                  {.name = "sys.clock.zone", .val = "2", .op = NC_DM_OP_MERGE},
                  {.name = "sys.site", .val = "3", .op = NC_DM_OP_MERGE}}),
            0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set name ids=[] src=0 value=1", "set site ids=[] src=0 value=3",
                          "set zone ids=[] src=0 value=2"));
  EXPECT_TRUE(
      LoggedInfo("The current path nodes total number is more than first one, continue.\n"));
}

TEST_F(SubtreeTest, ShorterPathEndsTheGroup) {
  EXPECT_EQ(Edit({{.name = "sys.clock.zone", .val = "1", .op = NC_DM_OP_MERGE},
                  {.name = "sys.name", .val = "2", .op = NC_DM_OP_MERGE},
                  {.name = "sys.clock.form", .val = "3", .op = NC_DM_OP_MERGE}}),
            0);
  // The third is left behind by both passes.
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set zone ids=[] src=0 value=1", "set name ids=[] src=0 value=2",
                          "set form ids=[] src=0 value=3"));
  EXPECT_TRUE(LoggedInfo("The current path nodes total number is less than first one, break.\n"));
}

TEST_F(SubtreeTest, PathThatDiffersEarlierEndsTheGroup) {
  EXPECT_EQ(Edit({{.name = "if.port.stats.rx", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.other.rx", .val = "2", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            -1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set rx ids=[3] src=0 value=1"));
  EXPECT_TRUE(LoggedInfo("The two path nodes max common index is 1, break.\n"));
}

TEST_F(SubtreeTest, SamePathAgain) {
  // Two names: as far as two equal paths can tell, they differ in the last one.
  EXPECT_EQ(Edit({{.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE},
                  {.name = "sys.name", .val = "2", .op = NC_DM_OP_MERGE}}),
            0);
  EXPECT_FALSE(LoggedInfo("The two path nodes max common index is 0, break.\n"));
  EXPECT_THAT(app.calls(), SizeIs(2));
  Restart();
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.mtu", .val = "2", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            1);
  EXPECT_TRUE(LoggedInfo("The two path nodes max common index is 0, break.\n"));
  EXPECT_THAT(app.calls(), SizeIs(2));
}

TEST_F(SubtreeTest, ShortMemoryEndsTheRequest) {
  for (int successes = 0; successes < 2; ++successes) {
    Restart();
    ModelEdits edits{{.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE},
                     {.name = "sys.site", .val = "2", .op = NC_DM_OP_MERGE},
                     {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}};
    memcpy(fault.path, "before", sizeof("before"));
    const FailingCall failing(Step::kCopyStr, successes);
    EXPECT_EQ(Edit(edits), -1);
    EXPECT_EQ(Fault(), "-3 before");  // the code alone
    EXPECT_THAT(Errors(), ElementsAre("Failed to malloc first entry tmpname!\n"));
    EXPECT_EQ(edits.size(), 2 - successes);
    EXPECT_THAT(app.CallTexts(), IsEmpty());
  }
}

TEST_F(SubtreeTest, NameThatIsThereAlreadyIsKept) {
  ModelEdits edits{{.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE}};
  edits.WithNames();
  EXPECT_EQ(Edit(edits), 0);
  EXPECT_THAT(app.calls(), SizeIs(1));
}

// ---- The way to the entry ----

TEST_F(SubtreeTest, EntriesOnTheWayAreCreatedForWhatIsWritten) {
  for (const nc_int32 op : {NC_DM_OP_NONE, NC_DM_OP_MERGE, NC_DM_OP_CREATE}) {
    const nc_int64 id = 20 + op;
    EXPECT_EQ(Edit({{.name = "if.port.descr", .val = "x", .op = op, .ids = {id}}}), 0);
    EXPECT_NE(NodeAt("if.port." + std::to_string(id)), nullptr);
  }
  EXPECT_TRUE(LoggedInfo("The last node checked is 'descr', instance is 0.\n"));
  EXPECT_THAT(app.calls(), SizeIs(3));
}

TEST_F(SubtreeTest, EntriesOnTheWayAreNotCreatedForWhatIsDeleted) {
  for (const nc_int32 op : {NC_DM_OP_DELETE, NC_DM_OP_REMOVE}) {
    Restart();
    EXPECT_EQ(Edit({{.name = "if.port.descr", .op = op, .ids = {20}}}), -1);
    EXPECT_EQ(NodeAt("if.port.20"), nullptr);
    EXPECT_EQ(Fault(), "-13 descr*");
    EXPECT_THAT(Errors(), ElementsAre("Failed to match the node with the first entry id array!\n",
                                      "The last matched node name is 'if'.\n"));
  }
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(SubtreeTest, SourceIsTheDatastores) {
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(Edit({{.name = "if.port.descr", .val = "x", .op = NC_DM_OP_MERGE, .ids = {20}}}), 0);
  EXPECT_EQ(app.calls()[0].src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("if.port.20")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("if.port.20.descr")->src, NC_DM_NODE_SRC_SDN);
}

TEST_F(SubtreeTest, UnknownPathFails) {
  EXPECT_EQ(Edit({{.name = "nowhere.name", .val = "x", .op = NC_DM_OP_MERGE},
                  {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-13 name*");
  EXPECT_EQ(Errors().back(), "Failed to match the node with the first entry id array!\n");
  EXPECT_EQ(left, 1);
  EXPECT_THAT(app.CallTexts(), IsEmpty());

  Restart();
  EXPECT_EQ(Edit({{.name = "sys.none", .op = NC_DM_OP_MERGE}}), -1);
  EXPECT_EQ(Fault(), "-13 none*");
  EXPECT_EQ(Errors().back(), "The last matched node name is 'sys'.\n");

  // Ids that are left over are a miss for a container, too.
  Restart();
  EXPECT_EQ(Edit({{.name = "sys.clock", .op = NC_DM_OP_DELETE, .ids = {3}}}), -1);
  EXPECT_EQ(Fault(), "-13 clock*");
}

// For a leaf and a leaf-list they are none.
TEST_F(SubtreeTest, IdsThatAreLeftOverAreTheCallbacks) {
  EXPECT_EQ(Edit({{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE, .ids = {3}}}), 0);
  EXPECT_EQ(Edit({{.name = "sys.dns", .val = "x", .op = NC_DM_OP_MERGE, .ids = {3}}}), 1);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set name ids=[3] src=0 value=x", "create dns ids=[3] src=0 value=x"));
  EXPECT_EQ(Fault(), "0 ");
}

TEST_F(SubtreeTest, UnknownPathIsPassedOverWhenAskedTo) {
  EXPECT_EQ(Edit({{.name = "nowhere.name", .op = NC_DM_OP_MERGE, .erropt = NC_DM_ERROPT_CONTINUE},
                  {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}}),
            0);
  EXPECT_EQ(Fault(), "-13 name");  // from the first; the second has no new one
  EXPECT_EQ(left, 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set name ids=[] src=0 value=x"));
}

// A path that goes on below a leaf is looked for beside the leaf.
TEST_F(SubtreeTest, PathBelowALeaf) {
  EXPECT_EQ(Edit({{.name = "sys.name.none", .op = NC_DM_OP_MERGE}}), -1);
  EXPECT_EQ(Fault(), "-13 none*");
  EXPECT_TRUE(
      LoggedError("Current parent node 'sys' has no children match the edit node 'none'\n"));
  EXPECT_TRUE(LoggedError("Failed to call edit_execmd!\n"));
}

// ---- Execution ----

TEST_F(SubtreeTest, FailedGroupEndsTheRequest) {
  app.On(Callback::kSet, "name", -1);
  EXPECT_EQ(Edit({{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE},
                  {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "sys.site", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-7 name*");  // of the element, not of its parent
  EXPECT_TRUE(LoggedError("Failed to call edit_execmd!\n"));
  EXPECT_EQ(left, 1);
  EXPECT_THAT(app.calls(), SizeIs(1));
}

TEST_F(SubtreeTest, FailureWithoutAFaultBlamesTheParent) {
  app.On(Callback::kExeCmd, "name", -7);
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}}), -1);
  EXPECT_EQ(Fault(), "-7 port*");
  Restart();
  fault.fault_code = NC_DM_FAULT_CODE_PARSE;
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}}), -1);
  EXPECT_EQ(Fault(), "-4 ");
}

TEST_F(SubtreeTest, FailedGroupIsPassedOverWhenAskedTo) {
  app.On(Callback::kSet, "name", -1);
  const nc_int32 go_on = NC_DM_ERROPT_CONTINUE;
  EXPECT_EQ(Edit({{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE, .erropt = go_on},
                  {.name = "sys.site", .val = "x", .op = NC_DM_OP_MERGE, .erropt = go_on},
                  {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            1);  // a good end is a good answer
  EXPECT_EQ(Fault(), "-7 name");
  EXPECT_THAT(app.calls(), SizeIs(3));
  EXPECT_EQ(left, 0);

  Restart();
  EXPECT_EQ(Edit({{.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE, .erropt = go_on}}),
            -1);
  EXPECT_EQ(Fault(), "-7 name*");

  Restart();
  EXPECT_EQ(
      Edit({{.name = "if.port.mtu", .val = "x", .op = NC_DM_OP_MERGE, .erropt = go_on, .ids = {3}},
            {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}}),
      -1);
  EXPECT_EQ(Fault(), "-7 name*");  // the last one
}

TEST_F(SubtreeTest, RefusedNumberDoesNotSpoilTheNextGroup) {
  EXPECT_EQ(Edit({{.name = "if.port.mtu",
                   .val = "2147483648",
                   .op = NC_DM_OP_MERGE,
                   .erropt = NC_DM_ERROPT_CONTINUE,
                   .ids = {3}},
                  {.name = "if.port.mtu", .val = "9", .op = NC_DM_OP_MERGE, .ids = {4}}}),
            1);
  EXPECT_EQ(Fault(), "-11 mtu");
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[4] src=0 op=3 slots={2:9}"));
}

TEST_F(SubtreeTest, FirstElementsErrorOptionIsTheGroups) {
  app.On(Callback::kSet, "name", -1);
  app.On(Callback::kSet, "site", -1);
  EXPECT_EQ(
      Edit({{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE, .erropt = NC_DM_ERROPT_CONTINUE},
            {.name = "sys.site", .val = "x", .op = NC_DM_OP_MERGE},
            {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}}),
      1);
  Restart();
  EXPECT_EQ(
      Edit({{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE},
            {.name = "sys.site", .val = "x", .op = NC_DM_OP_MERGE, .erropt = NC_DM_ERROPT_CONTINUE},
            {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}}),
      -1);
  EXPECT_THAT(app.calls(), SizeIs(1));
}

TEST_F(SubtreeTest, LeafListValues) {
  app.On(Callback::kCreate, "dns", 6);
  EXPECT_EQ(Edit({{.name = "sys.dns", .val = "a", .op = NC_DM_OP_MERGE}}), 6);
  EXPECT_NE(NodeAt("sys.dns.6"), nullptr);
  app.On(Callback::kDelete, "dns", 6);
  EXPECT_EQ(Edit({{.name = "sys.dns.{i}", .val = "a", .op = NC_DM_OP_DELETE}}), 6);
  EXPECT_EQ(NodeAt("sys.dns.6"), nullptr);
  EXPECT_NE(NodeAt("sys.dns"), nullptr);
}

TEST_F(SubtreeTest, ContainerInAnEntryIsEmptied) {
  EXPECT_EQ(Edit({{.name = "if.port.stats", .op = NC_DM_OP_DELETE, .ids = {3}},
                  {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete rx ids=[3] src=0 value=",
                                           "exe_cmd name ids=[3] src=0 op=3 slots={2:1}"));
}

// The entry of a list is no child that its parent's edits address.
TEST_F(SubtreeTest, EntryItselfIsNotAddressed) {
  EXPECT_EQ(Edit({{.name = "if.port", .op = NC_DM_OP_DELETE, .ids = {3}}}), -1);
  EXPECT_EQ(Fault(), "-13 port*");
  EXPECT_NE(NodeAt("if.port.3"), nullptr);
}

// ---- Containers at the top ----

TEST_F(SubtreeTest, TopLevelContainerIsEmptied) {
  AddInstance("sys.dns.6");
  for (const nc_int32 op : {NC_DM_OP_DELETE, NC_DM_OP_REMOVE}) {
    Restart();
    EXPECT_EQ(Edit({{.name = "sys", .op = op}}), 0);
    EXPECT_TRUE(LoggedInfo("The last match node parent is null!\n"));
    EXPECT_TRUE(LoggedInfo("Begin to delete single object node children.\n"));
    EXPECT_EQ(Fault(), "0 ");
  }
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("delete name ids=[] src=0 value=", "delete zone ids=[] src=0 value="));
  EXPECT_EQ(NodeAt("sys.dns.6"), nullptr);
  EXPECT_NE(NodeAt("sys.clock.zone"), nullptr);
}

TEST_F(SubtreeTest, EachTopLevelContainerOfADeletionIsEmptied) {
  AddInstance("sys.dns.6");
  EXPECT_EQ(Edit({{.name = "sys", .op = NC_DM_OP_DELETE}, {.name = "if", .op = NC_DM_OP_DELETE}}),
            0);
  EXPECT_EQ(left, 0);
  EXPECT_EQ(NodeAt("sys.dns.6"), nullptr);
  EXPECT_EQ(NodeAt("if.port.3"), nullptr);
  EXPECT_EQ(NodeAt("if.port.4"), nullptr);
}

TEST_F(SubtreeTest, TopLevelContainerIsNotWritten) {
  for (const nc_int32 op : {NC_DM_OP_NONE, NC_DM_OP_MERGE, NC_DM_OP_REPLACE, NC_DM_OP_CREATE, 6}) {
    Restart();
    EXPECT_EQ(Edit({{.name = "sys", .op = op, .erropt = NC_DM_ERROPT_CONTINUE},
                    {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}}),
              -1);
    EXPECT_EQ(Fault(), "0 ");
    EXPECT_TRUE(LoggedInfo("The last match node parent is null!\n"));
    EXPECT_EQ(left, 1);
  }
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(SubtreeTest, TopLevelLeafIsNotDeleted) {
  EXPECT_EQ(Edit({{.name = "top", .op = NC_DM_OP_DELETE}}), 0);
  EXPECT_EQ(Edit({{.name = "top", .val = "x", .op = NC_DM_OP_MERGE}}), -1);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(SubtreeTest, FailedTopLevelDeletion) {
  app.On(Callback::kDelete, "zone", -1);
  EXPECT_EQ(Edit({{.name = "sys", .op = NC_DM_OP_DELETE},
                  {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}}),
            -1);
  EXPECT_EQ(Fault(), "-7 clock*");
  EXPECT_EQ(Errors().back(), "Failed to delete all children of node 'sys'!\n");
  EXPECT_EQ(left, 1);

  Restart();
  EXPECT_EQ(Edit({{.name = "sys", .op = NC_DM_OP_DELETE, .erropt = NC_DM_ERROPT_CONTINUE},
                  {.name = "sys.site", .val = "x", .op = NC_DM_OP_MERGE}}),
            0);
  EXPECT_EQ(Fault(), "-7 zone");
  EXPECT_EQ(left, 0);
}

TEST_F(SubtreeTest, SdnDatastoreEmptiesOnlyWhatIsItsOwn) {
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  AddInstance("sys.dns.6", NC_DM_NODE_SRC_SDN);
  AddInstance("sys.dns.7", NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(Edit({{.name = "sys", .op = NC_DM_OP_DELETE}}), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete dns ids=[6] src=0 value="));
  EXPECT_EQ(NodeAt("sys.dns.6"), nullptr);
  EXPECT_NE(NodeAt("sys.dns.7"), nullptr);
}

TEST_F(SubtreeTest, TopLevelDeletionIsTimed) {
  app.On(Callback::kDelete, "name", Busy(0));
  g_nc_dm_mng_info.del_time = 0;
  const DebugMask timing(NC_DM_DBG_TIMING);
  EXPECT_EQ(Edit({{.name = "sys", .op = NC_DM_OP_DELETE}}), 0);
  EXPECT_GT(g_nc_dm_mng_info.del_time, 0);
  EXPECT_LT(g_nc_dm_mng_info.del_time, 100);
  g_nc_dm_mng_info.del_time = 0;
}

TEST_F(SubtreeTest, NothingIsLoggedThroughAClosedMask) {
  app.On(Callback::kSet, "name", -1);
  app.On(Callback::kDelete, "name", -1);
  const DebugMask closed(0);
  EXPECT_EQ(Edit({}), 0);
  EXPECT_EQ(nc_dm_agent_edit_subtree(nullptr, nullptr, &fault), -1);
  ModelEdits edits{{.name = "sys.name"}};
  EXPECT_EQ(nc_dm_agent_edit_subtree(nullptr, edits.get(), nullptr), -1);
  nc_dm_agent_free_edit(edits.at(0)->edit);
  free(std::exchange(edits.at(0)->edit, nullptr));
  EXPECT_EQ(Edit(edits), 0);
  const nc_int32 go_on = NC_DM_ERROPT_CONTINUE;
  EXPECT_EQ(Edit({{.name = "sys..name"},
                  {.name = "sys.none", .op = NC_DM_OP_MERGE, .erropt = go_on},
                  {.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE, .erropt = go_on},
                  {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "sys..name", .ids = {3}},
                  {.name = "if.port.mtu", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.stats.rx", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "if.port.sub.id", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3, 5}},
                  {.name = "if.port.descr", .val = "1", .op = NC_DM_OP_MERGE, .ids = {3}},
                  {.name = "sys", .op = NC_DM_OP_DELETE}}),
            -1);
  EXPECT_EQ(Edit({{.name = "sys.name", .val = "x", .op = NC_DM_OP_MERGE}}), -1);
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

// ---- Which entries are made, and which go again ----

class SubtreeRulesTest : public EditTest {
 protected:
  SubtreeRulesTest() {
    Leaf("net.host");
    Leaf("net.domain");
    Leaf("net.vrf.{i}.mtu");
    Leaf("net.vrf.{i}.desc");
    Leaf("net.vrf.{i}.peer.{i}.addr");
    Leaf("net.vrf.{i}.peer.{i}.port");
    app.Register({.path = "net.vrf.{i}.tag",
                  .flag = NC_DM_FLAG_LEAF_LIST,
                  .callbacks = 0u | Callback::kCreate});
    LogCapture::Get().Clear();
  }

  void Leaf(const char* path) {
    app.Register({.path = path, .callbacks = Callback::kSet | Callback::kDelete});
  }
  nc_int64 Edit(std::initializer_list<ModelEdit> list) {
    ModelEdits edits(list);
    app.Forget();
    return nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, edits.get(), &fault);
  }
  static ModelEdit Set(const char* name, Ids ids = {}, nc_int32 op = 1, nc_int32 erropt = 0) {
    return {.name = name, .val = "v", .op = op, .erropt = erropt, .ids = std::move(ids)};
  }
};

TEST_F(SubtreeRulesTest, WhatIsLeftForLaterIsAGroupToo) {
  AddInstance("net.vrf.3");
  AddInstance("net.vrf.3.peer.7");
  EXPECT_EQ(Edit({Set("net.host"), Set("net.vrf.peer.addr", {3, 7}), Set("net.domain"),
                  Set("net.vrf.peer.port", {3, 7}), Set("net.vrf.mtu", {3})}),
            0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set host ids=[] src=0 value=v", "set domain ids=[] src=0 value=v",
                          "set addr ids=[3,7] src=0 value=v", "set port ids=[3,7] src=0 value=v",
                          "set mtu ids=[3] src=0 value=v"));
}

TEST_F(SubtreeRulesTest, AMissAtTheEndLeavesTheResultOfTheGroupBefore) {
  app.On(Callback::kCreate, "tag", 12);
  EXPECT_EQ(Edit({Set("net.vrf.tag", {3}), Set("nowhere.x", {}, 1, NC_DM_ERROPT_CONTINUE)}), 12);
  EXPECT_EQ(Fault(), "-13 x*");
}

TEST_F(SubtreeRulesTest, TheFirstEditOfAGroupDecidesWhetherItsEntryIsMade) {
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {3}), Set("net.vrf.desc", {3}, 4)}), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set mtu ids=[3] src=0 value=v", "delete desc ids=[3] src=0 value=v"));
  EXPECT_EQ(Edit({Set("net.vrf.desc", {4}, 4), Set("net.vrf.mtu", {4})}), -1);
  EXPECT_EQ(Fault(), "-13 desc*");
  EXPECT_EQ(NodeAt("net.vrf.4"), nullptr);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(SubtreeRulesTest, NoEntryIsLeftWhereNothingWasToBeDone) {
  EXPECT_EQ(Edit({{.name = "net.vrf.mtu", .val = "v", .op = 0, .defop = 3, .ids = {5}}}), 0);
  EXPECT_EQ(NodeAt("net.vrf.5"), nullptr);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

// ---- Entries that were made for what the application then refused ----

TEST_F(SubtreeRulesTest, AnEntryMadeForARefusedEditIsRemovedAgain) {
  app.On(Callback::kSet, "mtu", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5})}), -1);
  EXPECT_EQ(NodeAt("net.vrf.5"), nullptr);
}

TEST_F(SubtreeRulesTest, AnEntryOfWhichSomethingWasAcceptedStays) {
  app.On(Callback::kSet, "desc", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5}), Set("net.vrf.desc", {5})}), -1);
  EXPECT_NE(NodeAt("net.vrf.5"), nullptr);
}

TEST_F(SubtreeRulesTest, AnEntryThatWasThereStaysWhateverIsRefused) {
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5})}), 0);
  app.On(Callback::kSet, "mtu", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5})}), -1);
  EXPECT_NE(NodeAt("net.vrf.5"), nullptr);
}

TEST_F(SubtreeRulesTest, EveryEntryMadeForARefusedRequestIsRemoved) {
  app.On(Callback::kSet, "mtu", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({{.name = "net.vrf.mtu", .val = "v", .op = 1, .erropt = 2, .ids = {5}},
                  {.name = "net.vrf.mtu", .val = "v", .op = 1, .erropt = 2, .ids = {6}},
                  {.name = "net.vrf.mtu", .val = "v", .op = 1, .erropt = 2, .ids = {7}}}),
            -1);
  for (const char* entry : {"net.vrf.5", "net.vrf.6", "net.vrf.7"}) {
    EXPECT_EQ(NodeAt(entry), nullptr);
  }
}

// ---- Siblings by their paths ----

using SiblingPathsTest = EditTest;

TEST_F(SiblingPathsTest, AnElementWithoutAnEditIsNoSiblingOfTheFirst) {
  app.Register({.path = "sys.name", .callbacks = 0u | Callback::kSet});
  ModelEdits edits{{.name = "sys.name", .val = "1", .op = NC_DM_OP_MERGE}, {.name = "sys.site"}};
  nc_dm_agent_free_edit(edits.at(1)->edit);
  free(std::exchange(edits.at(1)->edit, nullptr));
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, edits.get(), &fault), 0);
  EXPECT_TRUE(edits.empty());
  EXPECT_THAT(Errors(), ElementsAre("Current entry edit is null!\n"));
}

TEST_F(SiblingPathsTest, PathsOfTheGreatestDepthAreComparedToTheirEnd) {
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

TEST_F(SiblingPathsTest, WhatStandsBehindAPathIsNotCompared) {
  nc_dm_path_nodes_t paths[3] = {};
  std::string texts[] = {"a.b.c.d", "a.b.c.e", "a.b.c"};
  for (int i = 0; i < 3; ++i) ASSERT_EQ(nc_dm_parse(texts[i].data(), &paths[i], false), 0);
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(paths, 3), 2);
  paths[2].total_node = 2;
  EXPECT_EQ(nc_dm_agent_filter_find_max_cmm_node_index(paths, 3), 1);
}

}  // namespace
}  // namespace ncdm_test
