// The edit engine as its callers and the application see it, where several of its steps meet: whose
// word counts, what is asked in which order, what stands in the tree meanwhile.

#include <string>
#include <utility>
#include <vector>

#include "netconf_dm_kernel/edit/edit_fixture.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr nc_int32 kContinue = NC_DM_ERROPT_CONTINUE;

using EditBehaviourTest = EditTest;

// ---- Missing arguments ----

// Of several that are missing, the first is named.
TEST_F(EditBehaviourTest, ArgumentsAreLookedAtInTheirOrder) {
  app.Register({.path = "net.vrf.{i}.name", .flag = NC_DM_FLAG_KEY});
  LogCapture::Get().Clear();
  char text[] = "x";
  nc_dm_id_array_t ids{};
  list_head empty{&empty, &empty};
  ModelEdits none;
  ModelEdits keyless({{.name = "net.vrf.name"}});
  nc_dm_agent_node_t* net = NodeAt("net");

  nc_dm_agent_add_key(nullptr, nullptr, nullptr);
  nc_dm_agent_add_key(text, nullptr, nullptr);
  nc_dm_agent_cpy_edit_list_keys(nullptr, nullptr);
  nc_dm_agent_get_key_value(nullptr, nullptr);
  nc_dm_agent_keys_cmp(nullptr, &empty);
  nc_dm_agent_get_mode_node(nullptr, nullptr);
  nc_dm_agent_get_mode_node_inst(nullptr, nullptr, 1);
  nc_dm_agent_get_node_instid(nullptr, nullptr, nullptr, nullptr);
  nc_dm_agent_get_node_instid(&ids, nullptr, nullptr, nullptr);
  nc_dm_agent_get_node_instid(&ids, net, nullptr, nullptr);
  nc_dm_agent_edit_object(6, nullptr, nullptr);
  nc_dm_agent_edit_object(6, none.get(), nullptr);
  nc_dm_agent_edit_object(6, keyless.get(), nullptr);
  nc_dm_agent_edit_execmd(nullptr, nullptr, 1, nullptr, NC_DM_NODE_SRC_NONE);
  nc_dm_agent_edit_execmd(net, nullptr, 1, nullptr, NC_DM_NODE_SRC_NONE);
  nc_dm_agent_edit_execmd(net, none.get(), 1, nullptr, NC_DM_NODE_SRC_NONE);
  nc_dm_agent_edit_delall_child(nullptr, nullptr, nullptr, 0);
  EXPECT_THAT(Errors(),
              ElementsAre("The input key name is null!\n", "The input key value is null!\n",
                          "The input edit list is null!\n", "The input key_name is null!\n",
                          "The key_list input is null!\n", "The edit_node input is null!\n",
                          "The parent input is null!\n", "The input id_array is null!\n",
                          "The input mode_parent is null!\n", "The input mode_node is null!\n",
                          "The edit list input is null!\n", "The edit list input is empty!\n",
                          "The key list of edit list input is empty!\n",
                          "The parent input is null!\n", "The edit list input is null!\n",
                          "The edit list input is empty!\n", "The parent node input is null!\n"));
}

// ---- One entry ----

class EntryBehaviourTest : public EditTest {
 protected:
  // A list whose entries come and go through its own create and delete.
  void RegisterVrfs() {
    app.Register({.path = "net.vrf.{i}.name",
                  .flag = NC_DM_FLAG_KEY,
                  .callbacks = Callback::kCreate | Callback::kDelete | Callback::kGet});
    app.Register({.path = "net.vrf.{i}.mtu", .type = NC_DM_VAL_TYPE_INT});
    app.Register({.path = "net.vrf.{i}.peer.{i}.addr",
                  .flag = NC_DM_FLAG_KEY,
                  .callbacks = Callback::kCreate | Callback::kDelete});
  }
  // One whose entries come and go by command.
  void RegisterPorts() {
    app.Register({.path = "net.port.{i}.name",
                  .flag = NC_DM_FLAG_KEY,
                  .index = 1,
                  .callbacks = Callback::kCreate | Callback::kExeCmd});
  }

  nc_int64 Edit(ModelEdits& edits, nc_int32 pkt_type = NC_DM_PKT_TYPE_OBJECT_END) {
    return nc_dm_agent_edit_object(pkt_type, edits.get(), &fault);
  }
  nc_int64 Edit(std::initializer_list<ModelEdit> list,
                nc_int32 pkt_type = NC_DM_PKT_TYPE_OBJECT_END) {
    ModelEdits edits(list);
    return Edit(edits, pkt_type);
  }
};

TEST_F(EntryBehaviourTest, TheRequestsPacketTypeCountsNotTheEdits) {
  RegisterPorts();
  for (const nc_int32 pkt_type : {0, 9, 10}) {
    app.Forget();
    ModelEdits edits({{.name = "net.port.{i}.name", .val = "eth0", .op = 1, .flag = 1}});
    edits.at(0)->edit->pkt_type = NC_DM_PKT_TYPE_OBJECT_CMD_END;
    EXPECT_EQ(Edit(edits, pkt_type), 1);
    EXPECT_THAT(app.CallTexts(), ElementsAre("create name ids=[] src=0 value=eth0"));
  }
}

// The first edit of all is no key and would delete; so would the second key.
TEST_F(EntryBehaviourTest, TheFirstKeyLeafSpeaksForTheEntry) {
  RegisterVrfs();
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.mtu", .val = "9", .op = 4, .ids = {7}},
                  {.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1},
                  {.name = "net.vrf.{i}.name", .val = "blue", .op = 4, .flag = 2, .ids = {8}}}),
            1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("create name ids=[] src=0 value=red"));
}

TEST_F(EntryBehaviourTest, AnIdForTheEntryItselfEndsInItsLeafAndDoesNothing) {
  RegisterVrfs();
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 4, .flag = 1, .ids = {3}}}), 3);
  EXPECT_EQ(Fault(), "-7 ");
  EXPECT_EQ(NodeAt("net.vrf.3"), nullptr);
  // Of ids that lead further than the path, the last is answered.
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1, .ids = {3, 8}}}),
            8);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(EntryBehaviourTest, TheListsFirstKeyConvertsTheRequestsFirstKey) {
  app.Register({.path = "net.vlan.{i}.id",
                .type = NC_DM_VAL_TYPE_INT,
                .flag = NC_DM_FLAG_KEY,
                .callbacks = 0u | Callback::kGet});
  app.Register({.path = "net.vlan.{i}.name",
                .flag = NC_DM_FLAG_KEY,
                .callbacks = Callback::kCreate | Callback::kDelete,
                .key_type = NC_DM_VAL_TYPE_INT});
  const ModelEdit id = {.name = "net.vlan.{i}.id", .val = " 12", .op = 1, .flag = 1};
  const ModelEdit name = {.name = "net.vlan.{i}.name", .val = "n", .op = 1, .flag = 1};
  EXPECT_EQ(Edit({id, name}), 1);
  EXPECT_THAT(app.CallTexts(), ElementsAre("create name ids=[] src=0 value=12"));
  EXPECT_EQ(Edit({name, id}), -1);
  EXPECT_EQ(Fault(), "-11 id*");
}

TEST_F(EntryBehaviourTest, ALookupAsksForAllKeysInTheRequestsOrder) {
  RegisterVrfs();
  app.Register({.path = "net.vrf.{i}.zone",
                .type = NC_DM_VAL_TYPE_INT,
                .flag = NC_DM_FLAG_KEY,
                .callbacks = Callback::kGet | Callback::kCreate});
  AddInstance("net.vrf.6");
  AddInstance("net.vrf.7");
  app.On(Callback::kGet, "zone", [](const ModelCall& call) {
    *reinterpret_cast<int32_t*>(call.buffer) = static_cast<int32_t>(call.ids[0]);
    return 0;
  });
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.zone", .val = "7", .defop = 3, .flag = 1},
                  {.name = "net.vrf.{i}.mtu", .val = "1", .defop = 3},
                  {.name = "net.vrf.{i}.name", .val = "", .defop = 3, .flag = 1}}),
            7);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("get zone ids=[6]", "get zone ids=[7]", "get name ids=[7]"));
  // A key as it was received is compared, blanks included.
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.zone", .val = " 7", .defop = 3, .flag = 1}}), -1);
  EXPECT_TRUE(LoggedError("Current node value '7', input value ' 7'!\n"));
}

TEST_F(EntryBehaviourTest, ACommandThatMissesItsEntryIsNoMergeEither) {
  RegisterPorts();
  app.On(Callback::kExeCmd, "name", -7);
  const auto edit = [this](nc_int32 op) {
    fault = {};
    return Edit({{.name = "net.port.{i}.name", .val = "eth0", .op = op, .flag = 1}});
  };
  EXPECT_EQ(edit(1), -1);
  EXPECT_EQ(Fault(), "-7 port*");
  EXPECT_TRUE(LoggedError("Failed to create node 'port' config instance, return -7!\n"));
  EXPECT_EQ(edit(5), 0);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_EQ(edit(4), -1);
  EXPECT_EQ(Fault(), "-10 port*");
}

// What is above the entry takes the source of every request, and gives it up for the next.
TEST_F(EntryBehaviourTest, TheContainerAboveKeepsNoSource) {
  RegisterVrfs();
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_SDN;
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1}}), 1);
  EXPECT_EQ(NodeAt("net")->src, NC_DM_NODE_SRC_SDN);
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING;
  EXPECT_EQ(Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = 1, .flag = 1}}), 1);
  EXPECT_EQ(NodeAt("net")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(NodeAt("net.vrf.1")->src, NC_DM_NODE_SRC_SDN);
}

// The lists in the entries have tables of their own; what a table lacks is no error.
TEST_F(EntryBehaviourTest, EntriesOfAListWithAHashTable) {
  RegisterVrfs();
  g_nc_dm_mng_info.agent_init = true;
  for (std::string path : {"net.vrf.{i}.", "net.vrf.{i}.peer.{i}."}) {
    ASSERT_EQ(nc_dm_agent_reg_hash_tab(path.data(), 10000), 0);
  }
  g_nc_dm_mng_info.agent_init = false;
  LogCapture::Get().Clear();
  const auto vrf = [this](nc_int32 op) {
    return Edit({{.name = "net.vrf.{i}.name", .val = "red", .op = op, .flag = 1}});
  };
  const auto peer = [this](nc_int32 op, nc_int64 outer) {
    return Edit({{.name = "net.vrf.{i}.peer.{i}.addr",
                  .val = "10.0.0.1",
                  .op = op,
                  .flag = 1,
                  .ids = {outer}}});
  };
  app.On(Callback::kCreate, "name", 4);
  app.On(Callback::kDelete, "name", 4);
  app.On(Callback::kCreate, "addr", 7);
  app.On(Callback::kDelete, "addr", 7);
  EXPECT_EQ(vrf(1), 4);
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.4");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(vrf(2), 4);
  EXPECT_EQ(NodeAt("net.vrf.4"), entry);
  EXPECT_EQ(peer(1, 4), 7);
  EXPECT_EQ(peer(1, 5), 7);
  EXPECT_NE(NodeAt("net.vrf.4.peer.7"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.5.peer.7"), nullptr);
  EXPECT_EQ(peer(4, 4), 7);
  EXPECT_EQ(NodeAt("net.vrf.4.peer.7"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.5.peer.7"), nullptr);
  EXPECT_EQ(peer(5, 4), 7);  // no longer in the tree
  EXPECT_EQ(vrf(4), 4);
  EXPECT_EQ(NodeAt("net.vrf.4"), nullptr);
  EXPECT_EQ(vrf(4), 4);
  EXPECT_EQ(Fault(), "0 ");
  // Said once of each list before its first entry.
  EXPECT_EQ(Errors(), std::vector<std::string>(3, "The hash_tab->table input is null!\n"));
}

// ---- Data blocks ----

TEST_F(EditBehaviourTest, ABlockHangsFromItsNodeDuringTheCallbackAlone) {
  app.Register({.path = "net.if.{i}.name",
                .flag = NC_DM_FLAG_KEY,
                .index = 1,
                .callbacks = Callback::kGetAttr | Callback::kExeCmd});
  app.Register({.path = "net.if.{i}.mtu", .type = NC_DM_VAL_TYPE_INT, .index = 2});
  int looks = 0;
  const auto look = [&looks](const ModelCall& call) {
    EXPECT_EQ(NodeAt("net.if")->padb, call.padb);
    EXPECT_EQ(call.padb->string_var_flag, 1 << 1);
    if (call.callback == Callback::kExeCmd) {
      EXPECT_EQ(call.padb->ulong_var_flag, 1 << 2);
      EXPECT_EQ(call.padb->ulong_var[2], 0xFFFFFFFFFFFFFFF7u);  // -9, whole
    } else {
      call.output->instid = 1;
    }
    ++looks;
    return 1;
  };
  app.On(Callback::kGetAttr, "name", look);
  app.On(Callback::kExeCmd, "name", look);
  for (const nc_int32 defop : {0, 3}) {
    ModelEdits edits({{.name = "net.if.{i}.mtu", .val = "-9", .defop = defop},
                      {.name = "net.if.{i}.name", .val = "eth0", .defop = defop, .flag = 1}});
    EXPECT_EQ(nc_dm_agent_edit_object(6, edits.get(), &fault), 1);
    EXPECT_THAT(DataBlocks(), IsEmpty());
  }
  EXPECT_EQ(looks, 2);
}

// ---- The edits of one entry ----

// An entry net.if.3 with slotted leaves, leaves of their own and leaf-lists.
class CommandBehaviourTest : public EditTest {
 protected:
  CommandBehaviourTest() {
    app.Register({.path = "net.if.{i}.name",
                  .flag = NC_DM_FLAG_KEY,
                  .index = 1,
                  .callbacks = Callback::kExeCmd | Callback::kDelete});
    app.Register({.path = "net.if.{i}.mtu", .type = NC_DM_VAL_TYPE_INT, .index = 2});
    app.Register({.path = "net.if.{i}.desc", .callbacks = Callback::kSet | Callback::kDelete});
    app.Register(
        {.path = "net.if.{i}.alias", .flag = NC_DM_FLAG_KEY, .callbacks = 0u | Callback::kSet});
    app.Register({.path = "net.if.{i}.admin",
                  .type = NC_DM_VAL_TYPE_BOOL,
                  .callbacks = Callback::kSet | Callback::kDelete});
    app.Register({.path = "net.if.{i}.tag",
                  .flag = NC_DM_FLAG_LEAF_LIST,
                  .index = 7,
                  .callbacks = Callback::kCreate | Callback::kDelete});
    AddInstance("net.if.3");
    app.On(Callback::kExeCmd, "name", 30);
    LogCapture::Get().Clear();
  }

  nc_int64 Run(std::initializer_list<ModelEdit> list, int cmd_op = NC_DM_CMD_OP_EDIT) {
    ModelEdits edits(list);
    fault = {};
    app.Forget();
    return nc_dm_agent_edit_execmd(NodeAt("net.if.3"), edits.WithNames().get(), cmd_op, &fault,
                                   NC_DM_NODE_SRC_CLI);
  }

  static ModelEdit Of(const std::string& leaf, const char* val, nc_int32 op = 1,
                      nc_int32 erropt = 0) {
    return {.name = "net.if.{i}." + leaf, .val = val, .op = op, .erropt = erropt, .ids = {3}};
  }
};

TEST_F(CommandBehaviourTest, SlotsOfAnEntryWithoutACommandGoNowhere) {
  NodeAt("net.if.3")->exe_cmd = nullptr;
  EXPECT_EQ(Run({Of("mtu", "1500")}), 0);
  EXPECT_TRUE(LoggedInfo("The node 'if' exe_cmd is null.\n"));
  EXPECT_FALSE(LoggedInfo("The node 'if' padb no var flag is set.\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(CommandBehaviourTest, EveryCommandButAnEditTakesTheSlotsOfWhatIsDeleted) {
  for (const int cmd_op : {NC_DM_CMD_OP_DELETE, NC_DM_CMD_OP_CREATE}) {
    for (nc_int32 op = 0; op <= 6; ++op) {
      EXPECT_EQ(Run({Of("name", "eth0", op)}, cmd_op), 30);
      EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[3] src=2 op=" +
                                               std::to_string(cmd_op) + " slots={1:eth0}"));
    }
  }
}

TEST_F(CommandBehaviourTest, ALeafListHasNoSlotWhateverItsIndex) {
  app.On(Callback::kCreate, "tag", 6);
  for (const int cmd_op : {NC_DM_CMD_OP_MERGE, NC_DM_CMD_OP_EDIT}) {
    EXPECT_EQ(Run({Of("tag", "t")}, cmd_op), 6);
    EXPECT_THAT(app.CallTexts(), ElementsAre("create tag ids=[3] src=2 value=t"));
  }
}

TEST_F(CommandBehaviourTest, AKeyLeafWithoutASlotIsSetAsAnyOther) {
  EXPECT_EQ(Run({Of("alias", "a")}), 0);
  EXPECT_THAT(app.CallTexts(), ElementsAre("set alias ids=[3] src=2 value=a"));
}

TEST_F(CommandBehaviourTest, TheIdsOfTheCommandAreThoseOfTheFirstEditAlsoNone) {
  ModelEdit bare = Of("mtu", "1");
  bare.ids = {};
  EXPECT_EQ(Run({bare, Of("name", "eth0")}), 30);
  EXPECT_THAT(app.CallTexts(), ElementsAre("exe_cmd name ids=[] src=2 op=3 slots={1:eth0, 2:1}"));
}

TEST_F(CommandBehaviourTest, ADeletedSlotTurnsTheCommandEvenWhenNothingWasThere) {
  app.On(Callback::kDelete, "name", -7);
  EXPECT_EQ(Run({Of("name", nullptr, 5), Of("mtu", "1")}), 30);
  EXPECT_EQ(Fault(), "0 ");
  EXPECT_THAT(app.CallTexts(), ElementsAre("delete name ids=[3] src=2 value=",
                                           "exe_cmd name ids=[3] src=2 op=2 slots={2:1}"));
  EXPECT_EQ(NodeAt("net.if.3.name")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(NodeAt("net.if.3.mtu")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(CommandBehaviourTest, AValueIsConvertedAlsoWhenItIsOnlyLookedUp) {
  EXPECT_EQ(Run({{.name = "net.if.admin", .val = "yes", .op = 0, .defop = 3}}), -1);
  EXPECT_EQ(Fault(), "-11 admin*");
}

TEST_F(CommandBehaviourTest, AnEditWhoseValueIsRefusedStillGivesTheOperation) {
  app.On(Callback::kExeCmd, "name", -7);
  EXPECT_EQ(Run({Of("name", "eth0", 1), Of("mtu", "x", 4, kContinue)}, NC_DM_CMD_OP_DELETE), -1);
  EXPECT_EQ(Fault(), "-10 if*");
}

TEST_F(CommandBehaviourTest, TheCommandsFaultIsTheLast) {
  app.On(Callback::kSet, "desc", -1);
  app.On(Callback::kExeCmd, "name", -3);
  EXPECT_EQ(Run({Of("desc", "d", 1, kContinue), Of("mtu", "1", 1, kContinue)}), -1);
  EXPECT_EQ(Fault(), "-7 if*");
  app.On(Callback::kExeCmd, "name", 30);
  EXPECT_EQ(Run({Of("desc", "d", 1, kContinue), Of("mtu", "1", 1, kContinue)}), -1);
  EXPECT_EQ(Fault(), "-7 desc*");
}

TEST_F(CommandBehaviourTest, ASlotCutsALongTextAndASetDoesNot) {
  const std::string text(300, 'x');
  EXPECT_EQ(Run({Of("name", text.c_str()), Of("desc", text.c_str())}), 30);
  ASSERT_EQ(app.calls().size(), 2u);
  EXPECT_EQ(app.calls()[0].value, text);
  EXPECT_EQ(app.calls()[1].slots.at(1), text.substr(0, 256));
}

// ---- Subtrees ----

class SubtreeBehaviourTest : public EditTest {
 protected:
  SubtreeBehaviourTest() {
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

TEST_F(SubtreeBehaviourTest, WhatIsLeftForLaterIsAGroupToo) {
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

TEST_F(SubtreeBehaviourTest, AMissAtTheEndLeavesTheResultOfTheGroupBefore) {
  app.On(Callback::kCreate, "tag", 12);
  EXPECT_EQ(Edit({Set("net.vrf.tag", {3}), Set("nowhere.x", {}, 1, kContinue)}), 12);
  EXPECT_EQ(Fault(), "-13 x*");
}

TEST_F(SubtreeBehaviourTest, TheFirstEditOfAGroupDecidesWhetherItsEntryIsMade) {
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {3}), Set("net.vrf.desc", {3}, 4)}), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("set mtu ids=[3] src=0 value=v", "delete desc ids=[3] src=0 value=v"));
  EXPECT_EQ(Edit({Set("net.vrf.desc", {4}, 4), Set("net.vrf.mtu", {4})}), -1);
  EXPECT_EQ(Fault(), "-13 desc*");
  EXPECT_EQ(NodeAt("net.vrf.4"), nullptr);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(SubtreeBehaviourTest, NoEntryIsLeftWhereNothingWasToBeDone) {
  EXPECT_EQ(Edit({{.name = "net.vrf.mtu", .val = "v", .op = 0, .defop = 3, .ids = {5}}}), 0);
  EXPECT_EQ(NodeAt("net.vrf.5"), nullptr);
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

// ---- Entries that were made for what the application then refused ----

TEST_F(SubtreeBehaviourTest, AnEntryMadeForARefusedEditIsRemovedAgain) {
  app.On(Callback::kSet, "mtu", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5})}), -1);
  EXPECT_EQ(NodeAt("net.vrf.5"), nullptr);
}

TEST_F(SubtreeBehaviourTest, AnEntryOfWhichSomethingWasAcceptedStays) {
  app.On(Callback::kSet, "desc", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5}), Set("net.vrf.desc", {5})}), -1);
  EXPECT_NE(NodeAt("net.vrf.5"), nullptr);
}

TEST_F(SubtreeBehaviourTest, AnEntryThatWasThereStaysWhateverIsRefused) {
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5})}), 0);
  app.On(Callback::kSet, "mtu", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({Set("net.vrf.mtu", {5})}), -1);
  EXPECT_NE(NodeAt("net.vrf.5"), nullptr);
}

TEST_F(SubtreeBehaviourTest, EveryEntryMadeForARefusedRequestIsRemoved) {
  app.On(Callback::kSet, "mtu", [](const ModelCall&) { return nc_int64{-1}; });
  EXPECT_EQ(Edit({{.name = "net.vrf.mtu", .val = "v", .op = 1, .erropt = 2, .ids = {5}},
                  {.name = "net.vrf.mtu", .val = "v", .op = 1, .erropt = 2, .ids = {6}},
                  {.name = "net.vrf.mtu", .val = "v", .op = 1, .erropt = 2, .ids = {7}}}),
            -1);
  for (const char* entry : {"net.vrf.5", "net.vrf.6", "net.vrf.7"}) {
    EXPECT_EQ(NodeAt(entry), nullptr);
  }
}

// ---- Containers ----

TEST_F(EditBehaviourTest, AnEntryStaysInTheTreeUntilItsDeletionIsAnswered) {
  app.Register({.path = "box.list.{i}.name",
                .flag = NC_DM_FLAG_KEY,
                .callbacks = Callback::kCreate | Callback::kDelete});
  app.Register({.path = "box.cmd.{i}.key",
                .flag = NC_DM_FLAG_KEY,
                .index = 1,
                .callbacks = 0u | Callback::kExeCmd});
  for (const char* path : {"box.list.3", "box.list.4", "box.cmd.4"}) AddInstance(path);
  // An answer that names another entry removes the one that was asked about.
  app.On(Callback::kDelete, "name", [](const ModelCall& call) {
    EXPECT_NE(NodeAt("box.list." + std::to_string(call.ids.back())), nullptr);
    return call.ids.back() == 3 ? 4 : 77;
  });
  app.On(Callback::kExeCmd, "key", [](const ModelCall& call) {
    EXPECT_EQ(NodeAt("box.list.4"), nullptr);
    EXPECT_EQ(NodeAt("box.cmd.4")->padb, call.padb);
    return 0;
  });
  nc_dm_id_array_t ids{};
  EXPECT_EQ(nc_dm_agent_edit_delall_child(NodeAt("box"), &ids, &fault, 0), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("delete name ids=[3] src=0 value=", "delete name ids=[4] src=0 value=",
                          "exe_cmd key ids=[4] src=0 op=2 slots={}"));
  EXPECT_EQ(NodeAt("box.list.3"), nullptr);
  EXPECT_EQ(NodeAt("box.cmd.4"), nullptr);
}

}  // namespace
}  // namespace ncdm_test
