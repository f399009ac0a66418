// What applications find in the memory that they are handed, byte by byte: the same on every
// machine, whatever its word and the order of its bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <cstdlib>
#include <string>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "support/host_bytes.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

std::string BytesOf(const void* object, size_t size) {
  return std::string(static_cast<const char*>(object), size);
}

// ---- Typed objects ----

struct TypedValue {
  nc_dm_val_type_t type;
  const char* text;
  std::string bytes;  // of an integer the least significant first
};

const TypedValue kTyped[] = {
    {NC_DM_VAL_TYPE_BOOL, "false", "\0"s},
    {NC_DM_VAL_TYPE_BOOL, "true", "\1"s},
    {NC_DM_VAL_TYPE_SHORT, "-2", "\xfe\xff"s},
    {NC_DM_VAL_TYPE_USHORT, "4660", "\x34\x12"s},
    {NC_DM_VAL_TYPE_INT, "-2", "\xfe\xff\xff\xff"s},
    {NC_DM_VAL_TYPE_UINT, "305419896", "\x78\x56\x34\x12"s},
    {NC_DM_VAL_TYPE_LONGLONG, "-2", "\xfe\xff\xff\xff\xff\xff\xff\xff"s},
    {NC_DM_VAL_TYPE_ULONGLONG, "1311768467463790320", "\xf0\xde\xbc\x9a\x78\x56\x34\x12"s},
};

TEST(TypedBytesTest, ATextBecomesTheObjectsBytes) {
  for (const TypedValue& value : kTyped) {
    std::string text = value.text;
    char* typed = nullptr;
    ASSERT_EQ(nc_dm_unserialize_val(text.data(), &typed, value.type), 0) << value.text;
    EXPECT_EQ(BytesOf(typed, value.bytes.size()), HostInt(value.bytes)) << value.text;
    free(typed);
  }
}

TEST(TypedBytesTest, TheObjectsBytesBecomeTheText) {
  for (const TypedValue& value : kTyped) {
    // What stands behind the object is no part of it.
    std::string typed = HostInt(value.bytes) + "\x5a\x5a\x5a\x5a\x5a\x5a\x5a\x5a";
    char* text = nullptr;
    ASSERT_EQ(nc_dm_serialize_val(&text, typed.data(), value.type), 0) << value.text;
    EXPECT_STREQ(text, value.text);
    free(text);
  }
}

// ---- Slots ----

struct SlotValue {
  nc_dm_val_type_t type;
  std::string bytes;    // of the value
  std::string slot;     // of the slot; both with the least significant first
  unsigned long value;  // what get_int_var gives: the low 32 bits
};

const SlotValue kSlots[] = {
    {NC_DM_VAL_TYPE_BOOL, "\1"s, "\1\0\0\0\0\0\0\0"s, 1},
    {NC_DM_VAL_TYPE_SHORT, "\xfe\xff"s, "\xfe\xff\xff\xff\xff\xff\xff\xff"s, 0xfffffffe},
    {NC_DM_VAL_TYPE_USHORT, "\x34\x12"s, "\x34\x12\0\0\0\0\0\0"s, 0x1234},
    {NC_DM_VAL_TYPE_INT, "\xfe\xff\xff\xff"s, "\xfe\xff\xff\xff\xff\xff\xff\xff"s, 0xfffffffe},
    {NC_DM_VAL_TYPE_UINT, "\x78\x56\x34\x92"s, "\x78\x56\x34\x92\0\0\0\0"s, 0x92345678},
    {NC_DM_VAL_TYPE_LONG, "\xfe\xff\xff\xff"s, "\xfe\xff\xff\xff\xff\xff\xff\xff"s, 0xfffffffe},
    {NC_DM_VAL_TYPE_ULONG, "\x78\x56\x34\x92"s, "\x78\x56\x34\x92\0\0\0\0"s, 0x92345678},
    {NC_DM_VAL_TYPE_LONGLONG, "\xfe\xff\xff\xff\xff\xff\xff\xff"s,
     "\xfe\xff\xff\xff\xff\xff\xff\xff"s, 0xfffffffe},
    {NC_DM_VAL_TYPE_ULONGLONG, "\xf0\xde\xbc\x9a\x78\x56\x34\x12"s,
     "\xf0\xde\xbc\x9a\x78\x56\x34\x12"s, 0x9abcdef0},
};

TEST(SlotBytesTest, ASlotHoldsAnIntegerWideAndGivesItsLow32Bits) {
  for (const SlotValue& slot : kSlots) {
    nc_dm_agent_node_t node{};
    ASSERT_EQ(nc_dm_agent_create_padb(&node, NC_DM_CMD_OP_EDIT), 0);
    nc_dm_agent_data_block_t* block = node.padb;
    // What stands behind the object is no part of it, and neither is what stood in front.
    std::string value = "\x5a" + HostInt(slot.bytes) + "\x5a\x5a\x5a\x5a\x5a\x5a\x5a\x5a";
    ASSERT_EQ(nc_dm_agent_padb_set_var(block, 7, slot.type, value.data() + 1), 0);
    EXPECT_EQ(BytesOf(&block->ulong_var[7], sizeof(block->ulong_var[7])), HostInt(slot.slot))
        << "type " << slot.type;
    EXPECT_EQ(block->get_int_var(block, 7), slot.value) << "type " << slot.type;
    EXPECT_EQ(block->ulong_var_flag, 1 << 7);
    free(block);
  }
}

TEST(SlotBytesTest, TheFlagsOfTheLastSlotsAreTheHighestBits) {
  nc_dm_agent_node_t node{};
  ASSERT_EQ(nc_dm_agent_create_padb(&node, NC_DM_CMD_OP_EDIT), 0);
  nc_dm_agent_data_block_t* block = node.padb;
  char text[] = "x";
  ASSERT_EQ(nc_dm_agent_padb_set_var(block, 63, NC_DM_VAL_TYPE_STRING, text), 0);
  EXPECT_EQ(BytesOf(&block->string_var_flag, sizeof(block->string_var_flag)),
            HostInt("\0\0\0\0\0\0\0\x80"s));
  EXPECT_EQ(BytesOf(block->string_var[63], 2), "x\0"s);
  free(block);
}

// ---- Callbacks ----

// The same as the application meets it in an edit.
class CallbackBytesTest : public EditTest {
 protected:
  // Sets sys.leaf to a text. The bytes that `set` is handed.
  std::string SetBytes(nc_dm_val_type_t type, const char* text, size_t size) {
    std::string bytes;
    app.On(Callback::kSet, "leaf" + std::to_string(type), [&](const ModelCall& call) {
      bytes = BytesOf(call.buffer, size);
      return 0;
    });
    const std::string path = "sys.leaf" + std::to_string(type);
    if (NodeAt(path) == nullptr) {
      app.Register({.path = path, .type = type, .callbacks = 0u | Callback::kSet});
    }
    ModelEdits edits{{.name = path, .val = text, .op = NC_DM_OP_MERGE}};
    EXPECT_EQ(nc_dm_agent_edit_subtree(&g_nc_agent_dm.dm_root, edits.get(), &fault), 0);
    return bytes;
  }
};

TEST_F(CallbackBytesTest, SetIsHandedTheObjectsBytes) {
  for (const TypedValue& value : kTyped) {
    EXPECT_EQ(SetBytes(value.type, value.text, value.bytes.size()), HostInt(value.bytes))
        << value.text;
  }
}

TEST_F(CallbackBytesTest, ACommandIsHandedItsSlots) {
  app.Register({.path = "net.if.{i}.name",
                .flag = NC_DM_FLAG_KEY,
                .index = 1,
                .callbacks = 0u | Callback::kExeCmd});
  app.Register({.path = "net.if.{i}.up", .type = NC_DM_VAL_TYPE_BOOL, .index = 2});
  app.Register({.path = "net.if.{i}.speed", .type = NC_DM_VAL_TYPE_ULONGLONG, .index = 3});
  std::string up;
  std::string speed;
  app.On(Callback::kExeCmd, "name", [&](const ModelCall& call) {
    up = BytesOf(&call.padb->ulong_var[2], 8);
    speed = BytesOf(&call.padb->ulong_var[3], 8);
    EXPECT_EQ(call.padb->get_int_var(call.padb, 3), 0x9abcdef0UL);
    return 4;
  });
  ModelEdits edits{
      {.name = "net.if.name", .val = "eth0", .op = NC_DM_OP_MERGE, .flag = NC_DM_FLAG_KEY},
      {.name = "net.if.up", .val = "true", .op = NC_DM_OP_MERGE},
      {.name = "net.if.speed", .val = "1311768467463790320", .op = NC_DM_OP_MERGE}};
  EXPECT_EQ(nc_dm_agent_edit_object(NC_DM_PKT_TYPE_OBJECT_END, edits.get(), &fault), 4);
  EXPECT_EQ(up, HostInt("\1\0\0\0\0\0\0\0"s));
  EXPECT_EQ(speed, HostInt("\xf0\xde\xbc\x9a\x78\x56\x34\x12"s));
}

}  // namespace
}  // namespace ncdm_test
