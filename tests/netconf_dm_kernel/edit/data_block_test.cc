#include <cstdint>

#include "netconf_dm_kernel/tree_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DataBlockTest : public LoggedTreeTest {
 protected:
  DataBlockTest() {
    Register("a.leaf");
    node_ = At("a");
    EXPECT_EQ(nc_dm_agent_create_padb(node_, NC_DM_CMD_OP_EDIT), 0);
    LogCapture::Get().Clear();
  }
  ~DataBlockTest() override {
    if (node_ != nullptr) FreeBlock();
  }

  void FreeBlock() {
    free(node_->padb);
    node_->padb = nullptr;
  }

  nc_dm_agent_data_block_t* block() { return node_->padb; }

  template <typename T>
  uint64_t Stored(nc_dm_val_type_t type, T value) {
    block()->ulong_var_flag = 0;
    // At an odd address: values come from byte buffers.
    alignas(8) char buffer[sizeof(T) + 1];
    memcpy(buffer + 1, &value, sizeof value);
    EXPECT_EQ(nc_dm_agent_padb_set_var(block(), 3, type, buffer + 1), 0);
    EXPECT_EQ(block()->ulong_var_flag, 8);
    EXPECT_EQ(block()->string_var_flag, 0);
    return block()->ulong_var[3];
  }

  Node* node_ = nullptr;
  char one_[8] = {1};
};

TEST_F(DataBlockTest, NewBlockIsEmpty) {
  EXPECT_EQ(block()->op_flag, NC_DM_CMD_OP_EDIT);
  EXPECT_EQ(block()->id_array.cnt, 0);
  EXPECT_EQ(block()->ulong_var_flag, 0);
  EXPECT_EQ(block()->string_var_flag, 0);
  EXPECT_EQ(block()->has_int_var, nc_dm_agent_padb_has_int_set);
  EXPECT_EQ(block()->has_str_var, nc_dm_agent_padb_has_str_set);
  EXPECT_EQ(block()->get_int_var, nc_dm_agent_padb_get_int_var);
  EXPECT_EQ(block()->get_str_var, nc_dm_agent_padb_get_str_var);
  for (int i = 0; i < NC_DM_MAX_SLOTS; ++i) {
    EXPECT_FALSE(block()->has_int_var(block(), i));
    EXPECT_FALSE(block()->has_str_var(block(), i));
    EXPECT_EQ(block()->get_int_var(block(), i), 0U);
    EXPECT_EQ(block()->get_str_var(block(), i), nullptr);
  }
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(DataBlockTest, BlockOfNoNode) {
  EXPECT_EQ(nc_dm_agent_create_padb(nullptr, 1), -1);
  EXPECT_THAT(LogLines(), ElementsAre(Error("The node input is null!\n")));
}

TEST_F(DataBlockTest, NoMemoryForTheBlock) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  nc_dm_agent_data_block_t* before = block();
  {
    const FailingAlloc failing(0);
    EXPECT_EQ(nc_dm_agent_create_padb(node_, NC_DM_CMD_OP_EDIT), -1);
  }
  EXPECT_THAT(LogLines(), ElementsAre(Error("Failed to malloc parent padb!\n")));
  EXPECT_EQ(block(), before);
}

TEST_F(DataBlockTest, BlockThatIsThereIsNotFreed) {
  nc_dm_agent_data_block_t* before = block();
  ASSERT_EQ(nc_dm_agent_padb_set_var(before, 1, NC_DM_VAL_TYPE_BOOL, one_), 0);
  ASSERT_EQ(nc_dm_agent_create_padb(node_, NC_DM_CMD_OP_LOOKUP), 0);
  EXPECT_NE(block(), before);
  EXPECT_EQ(before->op_flag, NC_DM_CMD_OP_EDIT);
  EXPECT_TRUE(nc_dm_agent_padb_has_int_set(before, 1));
  EXPECT_EQ(block()->op_flag, NC_DM_CMD_OP_LOOKUP);
  free(before);
}

TEST_F(DataBlockTest, EveryIntegerTypeIsWidened) {
  EXPECT_EQ(Stored<uint8_t>(NC_DM_VAL_TYPE_BOOL, 1), 1U);
  EXPECT_EQ(Stored<uint8_t>(NC_DM_VAL_TYPE_BOOL, 0xFF), 0xFFU);
  EXPECT_EQ(Stored<int16_t>(NC_DM_VAL_TYPE_SHORT, -2), 0xFFFFFFFFFFFFFFFEU);
  EXPECT_EQ(Stored<int16_t>(NC_DM_VAL_TYPE_SHORT, INT16_MAX), 0x7FFFU);
  EXPECT_EQ(Stored<uint16_t>(NC_DM_VAL_TYPE_USHORT, 0xFFFE), 0xFFFEU);
  EXPECT_EQ(Stored<int32_t>(NC_DM_VAL_TYPE_INT, -3), 0xFFFFFFFFFFFFFFFDU);
  EXPECT_EQ(Stored<int32_t>(NC_DM_VAL_TYPE_LONG, -4), 0xFFFFFFFFFFFFFFFCU);
  EXPECT_EQ(Stored<uint32_t>(NC_DM_VAL_TYPE_UINT, 0xFFFFFFFD), 0xFFFFFFFDU);
  EXPECT_EQ(Stored<uint32_t>(NC_DM_VAL_TYPE_ULONG, 0xFFFFFFFC), 0xFFFFFFFCU);
  EXPECT_EQ(Stored<int64_t>(NC_DM_VAL_TYPE_LONGLONG, INT64_MIN), 0x8000000000000000U);
  EXPECT_EQ(Stored<uint64_t>(NC_DM_VAL_TYPE_ULONGLONG, UINT64_MAX), UINT64_MAX);
}

TEST_F(DataBlockTest, IntegersReadAsTheirLow32Bits) {
  Stored<int16_t>(NC_DM_VAL_TYPE_SHORT, -2);
  LogCapture::Get().Clear();
  EXPECT_EQ(block()->get_int_var(block(), 3), 0xFFFFFFFEU);
  EXPECT_THAT(LogLines(), ElementsAre(Info("The unsigned long variable: 4294967294.\n")));
  Stored<uint64_t>(NC_DM_VAL_TYPE_ULONGLONG, 0x1234567890ABCDEF);
  EXPECT_EQ(block()->get_int_var(block(), 3), 0x90ABCDEFU);
}

TEST_F(DataBlockTest, Texts) {
  char text[] = "eth0";
  ASSERT_EQ(nc_dm_agent_padb_set_var(block(), 2, NC_DM_VAL_TYPE_STRING, text), 0);
  EXPECT_EQ(block()->string_var_flag, 4);
  EXPECT_EQ(block()->ulong_var_flag, 0);
  EXPECT_TRUE(block()->has_str_var(block(), 2));
  EXPECT_FALSE(block()->has_int_var(block(), 2));
  EXPECT_EQ(block()->get_str_var(block(), 2), block()->string_var[2]);
  EXPECT_STREQ(block()->get_str_var(block(), 2), "eth0");
  EXPECT_TRUE(LogCapture::Get().ContainsInfo("The string variable: eth0.\n"));
  EXPECT_EQ(block()->get_int_var(block(), 2), 0U);

  char shorter[] = "e";
  ASSERT_EQ(nc_dm_agent_padb_set_var(block(), 2, NC_DM_VAL_TYPE_STRING, shorter), 0);
  EXPECT_STREQ(block()->get_str_var(block(), 2), "e");
  char empty[] = "";
  ASSERT_EQ(nc_dm_agent_padb_set_var(block(), 4, NC_DM_VAL_TYPE_STRING, empty), 0);
  EXPECT_TRUE(block()->has_str_var(block(), 4));
  EXPECT_STREQ(block()->get_str_var(block(), 4), "");
}

TEST_F(DataBlockTest, TextsAreCutAt256) {
  for (const size_t length : {255U, 256U, 257U, 300U}) {
    std::string text(length, 'x');
    text[0] = 'y';
    ASSERT_EQ(nc_dm_agent_padb_set_var(block(), 63, NC_DM_VAL_TYPE_STRING, text.data()), 0);
    EXPECT_EQ(std::string(block()->string_var[63]), text.substr(0, 256)) << length;
  }
}

TEST_F(DataBlockTest, SlotsZeroTo63) {
  for (const int index : {0, 63}) {
    EXPECT_EQ(nc_dm_agent_padb_set_var(block(), index, NC_DM_VAL_TYPE_BOOL, one_), 0);
    EXPECT_TRUE(block()->has_int_var(block(), index));
    EXPECT_EQ(block()->get_int_var(block(), index), 1U);
  }
  EXPECT_EQ(static_cast<uint64_t>(block()->ulong_var_flag), 0x8000000000000001U);
  LogCapture::Get().Clear();
  for (const int index : {-1, 64}) {
    EXPECT_EQ(nc_dm_agent_padb_set_var(block(), index, NC_DM_VAL_TYPE_BOOL, one_), -1);
    EXPECT_EQ(nc_dm_agent_padb_set_var(block(), index, NC_DM_VAL_TYPE_STRING, one_), -1);
  }
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Info("The index '-1' is invalid.\n"), Info("The index '-1' is invalid.\n"),
                  Info("The index '64' is invalid.\n"), Info("The index '64' is invalid.\n")));
  EXPECT_EQ(block()->string_var_flag, 0);
}

TEST_F(DataBlockTest, SetRefusesBadArguments) {
  EXPECT_EQ(nc_dm_agent_padb_set_var(block(), 99, 99, nullptr), -1);
  for (const int type : {-1, 0, 11, 12, 13, 14}) {
    EXPECT_EQ(nc_dm_agent_padb_set_var(block(), 99, type, one_), -1) << type;
  }
  EXPECT_THAT(
      LogLines(),
      ElementsAre(Error("The value input for padb is null!\n"),
                  Error("padb set unknown value type!\n"), Error("padb set unknown value type!\n"),
                  Error("padb set unknown value type!\n"), Error("padb set unknown value type!\n"),
                  Error("padb set unknown value type!\n"),
                  Error("padb set unknown value type!\n")));
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_padb_set_var(nullptr, 1, NC_DM_VAL_TYPE_BOOL, one_), -1);
  EXPECT_EQ(nc_dm_agent_padb_set_var(nullptr, 1, NC_DM_VAL_TYPE_STRING, one_), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre(Error("The padb input is null!\n"), Error("The padb input is null!\n")));
  EXPECT_EQ(block()->ulong_var_flag, 0);
  EXPECT_EQ(block()->string_var_flag, 0);
}

TEST_F(DataBlockTest, AccessorsRefuseBadArguments) {
  EXPECT_FALSE(nc_dm_agent_padb_has_int_set(nullptr, 1));
  EXPECT_FALSE(nc_dm_agent_padb_has_str_set(nullptr, 1));
  EXPECT_EQ(nc_dm_agent_padb_get_int_var(nullptr, 1), 0U);
  EXPECT_EQ(nc_dm_agent_padb_get_str_var(nullptr, 99), nullptr);
  EXPECT_EQ(LogCapture::Get().Count(kErrorPrefix, "The padb input is null!\n"), 4);
  LogCapture::Get().Clear();
  for (const int index : {-1, 64}) {
    EXPECT_FALSE(nc_dm_agent_padb_has_int_set(block(), index));
    EXPECT_FALSE(nc_dm_agent_padb_has_str_set(block(), index));
    EXPECT_EQ(nc_dm_agent_padb_get_int_var(block(), index), 0U);
    EXPECT_EQ(nc_dm_agent_padb_get_str_var(block(), index), nullptr);
    EXPECT_EQ(LogCapture::Get().Count(
                  kErrorPrefix, "The index " + std::to_string(index) + " input is invalid!\n"),
              4);
  }
}

// ---- Sources ----

class SourceTest : public LoggedTreeTest {
 protected:
  // Leaves i1 and i2 (integers, slots 1 and 2), s1 and s2 (texts, slots 1 and 2), and d1 (a date).
  SourceTest() {
    Add("i1", NC_DM_VAL_TYPE_UINT, 1);
    Add("i2", NC_DM_VAL_TYPE_BOOL, 2);
    Add("s1", NC_DM_VAL_TYPE_STRING, 1);
    Add("s2", NC_DM_VAL_TYPE_STRING, 2);
    Add("d1", NC_DM_VAL_TYPE_DATATIME, 1);
    Add("u1", NC_DM_VAL_TYPE_UNKNOWN, 1);
    EXPECT_EQ(nc_dm_agent_create_padb(At("a"), NC_DM_CMD_OP_EDIT), 0);
    LogCapture::Get().Clear();
  }
  ~SourceTest() override {
    free(At("a")->padb);
    At("a")->padb = nullptr;
  }

  static void Add(const std::string& name, nc_dm_val_type_t type, int index, int flag = 0) {
    Node leaf = Template(flag);
    leaf.val_type = type;
    leaf.index = index;
    ASSERT_EQ(RegisterPath("a." + name, leaf), 0);
  }

  static void SetInt(int slot) {
    char value[8] = {1};
    ASSERT_EQ(nc_dm_agent_padb_set_var(At("a")->padb, slot, NC_DM_VAL_TYPE_ULONGLONG, value), 0);
  }
  static void SetText(int slot) {
    char value[8] = "x";
    ASSERT_EQ(nc_dm_agent_padb_set_var(At("a")->padb, slot, NC_DM_VAL_TYPE_STRING, value), 0);
  }

  static std::string Sources() {
    std::string text;
    for (const Node* node : Children(At("a"))) {
      text +=
          std::string(text.empty() ? "" : " ") + node->node_name + "=" + std::to_string(node->src);
    }
    return text;
  }
};

TEST_F(SourceTest, StampsTheLeavesWhoseSlotsAreSet) {
  SetInt(1);
  SetText(2);
  nc_dm_agent_padb_update_src(At("a"), NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(Sources(), "i1=1 i2=0 s1=0 s2=1 d1=0 u1=0");
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(SourceTest, OnlyForEditsOfAnEntry) {
  SetInt(1);
  for (const int op :
       {NC_DM_CMD_OP_MERGE, NC_DM_CMD_OP_DELETE, NC_DM_CMD_OP_LOOKUP, NC_DM_CMD_OP_CREATE, 0}) {
    At("a")->padb->op_flag = op;
    nc_dm_agent_padb_update_src(At("a"), NC_DM_NODE_SRC_CLI);
    EXPECT_EQ(Sources(), "i1=0 i2=0 s1=0 s2=0 d1=0 u1=0") << op;
  }
}

TEST_F(SourceTest, SomeSourcesStay) {
  Add("m1", NC_DM_VAL_TYPE_STRING, 5, NC_DM_FLAG_LEAF_LIST);
  Add("m2", NC_DM_VAL_TYPE_STRING, 5, NC_DM_FLAG_LEAF_LIST);
  SetInt(1);
  SetInt(2);
  SetText(1);
  SetText(2);
  SetText(5);
  At("a.i1")->src = NC_DM_NODE_SRC_SDN;      // stays
  At("a.i2")->src = NC_DM_NODE_SRC_CLI_ALW;  // a leaf
  At("a.s1")->src = NC_DM_NODE_SRC_CLI;
  At("a.m1")->src = NC_DM_NODE_SRC_CLI_ALW;  // no leaf: stays
  At("a.m2")->src = NC_DM_NODE_SRC_CLI;
  nc_dm_agent_padb_update_src(At("a"), NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(Sources(), "i1=1 i2=0 s1=0 s2=0 d1=0 u1=0 m1=3 m2=0");
}

TEST_F(SourceTest, ElementsOfALeafListAreStampedToo) {
  Add("m1", NC_DM_VAL_TYPE_UINT, 5, NC_DM_FLAG_LEAF_LIST);
  ASSERT_EQ(RegisterPath("a.l.{i}.x", Template()), 0);
  for (nc_int64 id = 1; id <= 30; ++id) {
    ASSERT_NE(Create(At("a"), "l", id), nullptr);
    ASSERT_NE(Create(At("a"), "m1", id), nullptr);
  }
  At("a.m1.7")->src = NC_DM_NODE_SRC_CLI_ALW;
  SetInt(5);
  SetInt(0);  // what an entry of a list has is no slot
  nc_dm_agent_padb_update_src(At("a"), NC_DM_NODE_SRC_SDN);
  for (const Node* node : Children(At("a"))) {
    const bool is_stamped = strcmp(node->node_name, "m1") == 0 && node->instid != 7;
    EXPECT_EQ(node->src, node->instid == 7 && strcmp(node->node_name, "m1") == 0
                             ? NC_DM_NODE_SRC_CLI_ALW
                         : is_stamped ? NC_DM_NODE_SRC_SDN
                                      : NC_DM_NODE_SRC_NONE)
        << PathOf(node);
  }
}

TEST_F(SourceTest, EveryChildOfANameIsLookedAt) {
  AddHandMade(At("a"), "twice", NC_DM_NODE_TYPE_MULT_OBJECT, 5);
  Node* leaf = AddHandMade(At("a"), "twice", NC_DM_NODE_TYPE_LEAF);
  leaf->val_type = NC_DM_VAL_TYPE_UINT;
  leaf->index = 7;
  SetInt(7);
  nc_dm_agent_padb_update_src(At("a"), NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(Sources(), "i1=0 i2=0 s1=0 s2=0 d1=0 u1=0 twice=0 twice=2");
}

TEST_F(SourceTest, LeavesRegisteredWithANumberBesideAList) {
  Add("m1", NC_DM_VAL_TYPE_UINT, 5, NC_DM_FLAG_LEAF_LIST);
  Add("m1.7", NC_DM_VAL_TYPE_UINT, 6);
  Add("m2", NC_DM_VAL_TYPE_UINT, 5, NC_DM_FLAG_LEAF_LIST);
  ASSERT_NE(Create(At("a"), "m2", 3), nullptr);
  Add("m2.7", NC_DM_VAL_TYPE_UINT, 6);
  ASSERT_EQ(RegisterPath("a.l.{i}.x", Template()), 0);
  Add("l.7", NC_DM_VAL_TYPE_UINT, 6);
  SetInt(6);
  nc_dm_agent_padb_update_src(At("a"), NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(Sources(), "i1=0 i2=0 s1=0 s2=0 d1=0 u1=0 m1=0 m1=2 m2=0 m2=0 m2=2 l=0 l=2");
}

TEST_F(SourceTest, LeavesOfOneNameInAnEntry) {
  Add("b.{i}.l", NC_DM_VAL_TYPE_UINT, 5);
  Add("b.{i}.l.7", NC_DM_VAL_TYPE_UINT, 6);
  Add("z", NC_DM_VAL_TYPE_UINT, 8);
  Node* entry = Create(At("a"), "b", 1);
  Node* by_hand = AddHandMade(entry, "l", NC_DM_NODE_TYPE_LEAF);
  by_hand->val_type = NC_DM_VAL_TYPE_UINT;
  by_hand->index = 7;
  ASSERT_NE(nc_dm_agent_create_node(entry, At("a.z"), 0, NC_DM_NODE_TYPE_LEAF, NC_DM_NODE_SRC_NONE),
            nullptr);
  ASSERT_EQ(nc_dm_agent_create_padb(entry, NC_DM_CMD_OP_EDIT), 0);
  char value[] = {1};
  for (const int slot : {6, 7}) {
    ASSERT_EQ(nc_dm_agent_padb_set_var(entry->padb, slot, NC_DM_VAL_TYPE_BOOL, value), 0);
  }
  nc_dm_agent_padb_update_src(entry, NC_DM_NODE_SRC_CLI);
  std::vector<int> sources;
  for (const Node* leaf : Children(entry)) sources.push_back(leaf->src);
  EXPECT_THAT(sources, ElementsAre(0, 2, 2, 0));
  free(entry->padb);
  entry->padb = nullptr;
}

TEST_F(SourceTest, LeavesOfSlotZeroAndOfNoSlot) {
  Add("z", NC_DM_VAL_TYPE_UINT, 0);
  Add("far", NC_DM_VAL_TYPE_UINT, 64);
  Add("neg", NC_DM_VAL_TYPE_STRING, -1);
  SetInt(0);
  nc_dm_agent_padb_update_src(At("a"), NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(Sources(), "i1=0 i2=0 s1=0 s2=0 d1=0 u1=0 z=2 far=0 neg=0");
}

TEST_F(SourceTest, RefusesBadArguments) {
  nc_dm_agent_padb_update_src(nullptr, NC_DM_NODE_SRC_CLI);
  nc_dm_agent_padb_update_src(At("a.i1"), NC_DM_NODE_SRC_CLI);
  EXPECT_THAT(LogLines(),
              ElementsAre(Error("The node input is null!\n"), Error("The node padb is null!\n")));
}

}  // namespace
}  // namespace ncdm_test
