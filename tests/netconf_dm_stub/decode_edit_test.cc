// Edits out of received messages: lists of them, and single ones.
#include <climits>
#include <string>
#include <vector>

#include "decode_fixture.h"

namespace {

using ncdm_test::Body;
using ncdm_test::ErrorLines;
using ncdm_test::Field;
using ncdm_test::Message;
using ncdm_test::PacketLines;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// A list that is emptied with its scope.
class EditList {
 public:
  EditList() {
    list.key_head = {&list.key_head, &list.key_head};
    list.edit_head = {&list.edit_head, &list.edit_head};
  }
  EditList(const EditList&) = delete;
  EditList& operator=(const EditList&) = delete;
  ~EditList() { nc_dm_agent_free_edit_node_list(&list); }

  std::vector<nc_dm_stub_edit_node_t*> edits() const {
    std::vector<nc_dm_stub_edit_node_t*> nodes;
    for (list_head* link = list.edit_head.next; link != &list.edit_head; link = link->next) {
      nodes.push_back(reinterpret_cast<nc_dm_stub_edit_node_t*>(link));
    }
    return nodes;
  }
  std::vector<nc_dm_stub_edit_node_t*> keys() const {
    std::vector<nc_dm_stub_edit_node_t*> nodes;
    for (list_head* link = list.key_head.next; link != &list.key_head; link = link->next) {
      nodes.push_back(reinterpret_cast<nc_dm_stub_edit_node_t*>(
          reinterpret_cast<char*>(link) - offsetof(nc_dm_stub_edit_node_t, ky_lst)));
    }
    return nodes;
  }

  size_t size() const { return edits().size(); }

  nc_dm_stub_edit_node_list_t list = {};
};

class DecodeEditTest : public ncdm_test::DecodeTest {};

Body& AddEntry(Body* body, int flag, std::string_view name, std::string_view value,
               std::initializer_list<int64_t> ids) {
  body->Int32(flag).Int32(3).Int32(1).Int32(2).Int32(5).Int32(1).Text(name).Text(value);
  return body->Ids(ids);
}

TEST_F(DecodeEditTest, Entry) {
  Body body;
  body.Int32(9);
  AddEntry(&body, 1, "a.{i}.b", "5", {7, -8});
  EditList list;
  EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(body, 0, 1).get(), &list.list), 0);
  ASSERT_THAT(list.edits(), SizeIs(1));
  const nc_dm_stub_edit_node_t& node = *list.edits()[0];
  EXPECT_EQ(node.tmpnode, nullptr);
  EXPECT_EQ(node.tmpname, nullptr);
  const nc_dm_stub_edit_t& edit = *node.edit;
  EXPECT_EQ(edit.pkt_type, 0);
  EXPECT_EQ(edit.flag, 1);
  EXPECT_EQ(edit.op, 3);
  EXPECT_EQ(edit.defop, 1);
  EXPECT_EQ(edit.erropt, 2);
  EXPECT_EQ(edit.tstopt, 5);
  EXPECT_STREQ(edit.name, "a.{i}.b");
  EXPECT_STREQ(edit.val, "5");
  ASSERT_NE(edit.id_array, nullptr);
  EXPECT_EQ(edit.id_array->cnt, 2);
  EXPECT_EQ(edit.id_array->match_cnt, 0);
  EXPECT_EQ(edit.id_array->id[0], 7);
  EXPECT_EQ(edit.id_array->id[1], -8);
  EXPECT_EQ(edit.id_array->id[2], 0);
  EXPECT_EQ(list.list.cnt, 0);
  EXPECT_THAT(ErrorLines(), IsEmpty());
  EXPECT_THAT(PacketLines(),
              ElementsAre("Edit packet type = 9\n", "flag = 1\n", "op = 3\n", "defop = 1\n",
                          "errop = 2\n", "tstop = 5\n", "stub_edit->name:a.{i}.b\n",
                          "stub_edit->val:5\n", "stub_edit->id_array->cnt:2\n",
                          "stub_edit->id_array->id[0]:7\n", "stub_edit->id_array->id[1]:-8\n"));
}

TEST_F(DecodeEditTest, EntryWithoutValueAndIds) {
  Body body;
  body.Int32(5).Int32(0).Int32(0).Int32(0).Int32(0).Int32(0).Int32(0).Text("a").Int32(0);
  EditList list;
  EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(body, 0, 1).get(), &list.list), 0);
  ASSERT_THAT(list.edits(), SizeIs(1));
  EXPECT_STREQ(list.edits()[0]->edit->name, "a");
  EXPECT_EQ(list.edits()[0]->edit->val, nullptr);
  EXPECT_EQ(list.edits()[0]->edit->id_array, nullptr);
  EXPECT_THAT(list.keys(), IsEmpty());
}

TEST_F(DecodeEditTest, KeysAreInBothListsInOrder) {
  Body body;
  body.Int32(5);
  AddEntry(&body, 2, "a.k2", "2", {});
  AddEntry(&body, 4, "a.x", "x", {});
  AddEntry(&body, 1, "a.k1", "1", {});
  AddEntry(&body, 3, "a.k3", "3", {});
  AddEntry(&body, 0, "a.y", "y", {});
  EditList list;
  EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(body, 0, 5).get(), &list.list), 0);
  const auto edits = list.edits();
  ASSERT_THAT(edits, SizeIs(5));
  EXPECT_STREQ(edits[0]->edit->name, "a.k2");
  EXPECT_STREQ(edits[1]->edit->name, "a.x");
  EXPECT_STREQ(edits[4]->edit->name, "a.y");
  EXPECT_THAT(list.keys(), ElementsAre(edits[0], edits[2], edits[3]));
}

TEST_F(DecodeEditTest, SegmentsAddToTheList) {
  EditList list;
  for (const char* name : {"a.b", "a.c"}) {
    Body body;
    body.Int32(9);
    AddEntry(&body, 0, name, "", {});
    EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(body, 0, 1).get(), &list.list), 0);
  }
  ASSERT_THAT(list.edits(), SizeIs(2));
  EXPECT_STREQ(list.edits()[0]->edit->name, "a.b");
  EXPECT_STREQ(list.edits()[1]->edit->name, "a.c");
  EXPECT_STREQ(list.edits()[1]->edit->val, "");
}

TEST_F(DecodeEditTest, NoEntriesSucceed) {
  EditList list;
  EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(Body().Int32(9), 0, 0).get(), &list.list), 0);
  EXPECT_THAT(list.edits(), IsEmpty());
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(DecodeEditTest, SomePacketTypesHaveNoEntries) {
  EditList list;
  for (const int packet_type : {3, 8}) {
    const Message message(Body().Int32(packet_type), 0, 1);
    EXPECT_EQ(nc_dm_agent_decode_edit_list(message.get(), &list.list), 0);
  }
  EXPECT_THAT(ErrorLines(), IsEmpty());
  for (const int packet_type : {5, 6, 7, 9, 10}) {
    const Message message(Body().Int32(packet_type), 0, 1);
    EXPECT_EQ(nc_dm_agent_decode_edit_list(message.get(), &list.list), -1);
  }
  EXPECT_THAT(list.edits(), IsEmpty());
}

TEST_F(DecodeEditTest, NegativeEntryCountIsRefused) {
  EditList list;
  EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(Body().Int32(9), 0, -1).get(), &list.list), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The message error len=4, decode len=4!\n"));
}

TEST_F(DecodeEditTest, EntryCountBeyondTheBodyFailsAtTheFirstMissingField) {
  Body body;
  body.Int32(9);
  AddEntry(&body, 0, "a.b", "5", {});
  EditList list;
  EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(body, 0, INT_MAX).get(), &list.list), -1);
  EXPECT_THAT(list.edits(), SizeIs(1));
  EXPECT_EQ(ErrorLines().back(), "Failed to decode message flag field!\n");
}

TEST_F(DecodeEditTest, EntryCutAnywhereFailsAtTheFieldThatIsCut) {
  Body body;
  body.Int32(9);
  AddEntry(&body, 1, "a.b", "57", {7, 8});
  const Field fields[] = {
      {4, "Failed to decode message packet type field!\n"},
      {8, "Failed to decode message flag field!\n"},
      {12, "Failed to decode message op field!\n"},
      {16, "Failed to decode message defop field!\n"},
      {20, "Failed to decode message erropt field!\n"},
      {24, "Failed to decode message tstopt field!\n"},
      {28, "Failed to decode message hasval field!\n"},
      {35, "Failed to decode stub_edit->name!\n"},
      {41, "Failed to decode msg!\n"},
      {45, "Failed to decode id_array->cnt!\n"},
      {53, "Failed to decode id[0]:0\n"},
      {61, "Failed to decode id[1]:0\n"},
  };
  ExpectEachCutToFail(body, fields, [](const Body& cut) {
    EditList list;
    EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(cut, 0, 1).get(), &list.list), -1);
    EXPECT_THAT(list.edits(), IsEmpty());
    EXPECT_THAT(list.keys(), IsEmpty());
    ASSERT_THAT(ErrorLines(), SizeIs(2));
    EXPECT_THAT(ErrorLines()[0], testing::StartsWith("The message error len="));
  });
}

TEST_F(DecodeEditTest, EntriesBeforeAFailureStayInTheList) {
  Body body;
  body.Int32(9);
  AddEntry(&body, 1, "a.k", "1", {});
  AddEntry(&body, 1, "a.l", "2", {3});
  EditList list;
  const Message message(body.Cut(body.size() - 1), 0, 2);
  EXPECT_EQ(nc_dm_agent_decode_edit_list(message.get(), &list.list), -1);
  ASSERT_THAT(list.edits(), SizeIs(1));
  EXPECT_STREQ(list.edits()[0]->edit->name, "a.k");
  EXPECT_THAT(list.keys(), SizeIs(1));
}

TEST_F(DecodeEditTest, SixteenIdsAreAcceptedAndSeventeenFailAtTheirCount) {
  for (const int count : {16, 17, INT_MAX}) {
    Forget();
    Body body;
    body.Int32(9).Int32(0).Int32(0).Int32(0).Int32(0).Int32(0).Int32(0).Text("a").Int32(count);
    for (int i = 1; i <= 17; ++i) body.Int64(i);
    EditList list;
    const int result = nc_dm_agent_decode_edit_list(Message(body, 0, 1).get(), &list.list);
    if (count == 16) {
      EXPECT_EQ(result, 0);
      ASSERT_THAT(list.edits(), SizeIs(1));
      EXPECT_EQ(list.edits()[0]->edit->id_array->cnt, 16);
      EXPECT_EQ(list.edits()[0]->edit->id_array->id[15], 16);
    } else {
      EXPECT_EQ(result, -1);
      EXPECT_THAT(list.edits(), IsEmpty());
      EXPECT_THAT(ErrorLines(), ElementsAre("Failed to decode id_array->cnt!\n"));
    }
  }
}

TEST_F(DecodeEditTest, NegativeIdCountIsNoIds) {
  Body body;
  body.Int32(9).Int32(0).Int32(0).Int32(0).Int32(0).Int32(0).Int32(0).Text("a").Int32(-3);
  EditList list;
  EXPECT_EQ(nc_dm_agent_decode_edit_list(Message(body, 0, 1).get(), &list.list), 0);
  ASSERT_THAT(list.edits(), SizeIs(1));
  EXPECT_EQ(list.edits()[0]->edit->id_array, nullptr);
}

TEST_F(DecodeEditTest, EveryAllocationMayFailAndLeavesNothingBehind) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Body body;
  body.Int32(9);
  AddEntry(&body, 1, "a.k", "1", {3});
  const Message message(body, 0, 1);
  const char* const failures[] = {
      "Failed to malloc edit_node!\n",       "Failed to malloc edit_node->edit!\n",
      "Failed to decode stub_edit->name!\n", "Failed to decode msg!\n",
      "Failed to decode id_array->cnt!\n",
  };
  ExpectEachAllocationToFail<EditList>(message, nc_dm_agent_decode_edit_list, failures);
}

TEST_F(DecodeEditTest, NullIsRefused) {
  const Message message(Body().Int32(9));
  EditList list;
  nc_dm_stub_edit_t edit = {};
  EXPECT_EQ(nc_dm_agent_decode_edit_list(nullptr, &list.list), -1);
  EXPECT_EQ(nc_dm_agent_decode_edit_list(message.get(), nullptr), -1);
  EXPECT_EQ(nc_dm_agent_decode_edit(nullptr, &edit), -1);
  EXPECT_EQ(nc_dm_agent_decode_edit(message.get(), nullptr), -1);
  EXPECT_EQ(ErrorLines(), std::vector<std::string>(4, "Input parameter is invalid!\n"));
}

// ---- A single edit ----

constexpr int kAll = NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE | NC_DM_MSG_FLAG_IDS;

Body SingleEdit() {
  Body body;
  body.Int32(9).Int32(3).Int32(1).Int32(2).Int32(5).Text("a.b").Text("57").Int32(2);
  return body.Int64(7).Int64(8);
}

TEST_F(DecodeEditTest, SingleEdit) {
  nc_dm_stub_edit_t edit = {};
  EXPECT_EQ(nc_dm_agent_decode_edit(Message(SingleEdit(), kAll).get(), &edit), 0);
  EXPECT_EQ(edit.pkt_type, 9);
  EXPECT_EQ(edit.flag, 0);
  EXPECT_EQ(edit.op, 3);
  EXPECT_EQ(edit.defop, 1);
  EXPECT_EQ(edit.erropt, 2);
  EXPECT_EQ(edit.tstopt, 5);
  EXPECT_STREQ(edit.name, "a.b");
  EXPECT_STREQ(edit.val, "57");
  ASSERT_NE(edit.id_array, nullptr);
  EXPECT_EQ(edit.id_array->cnt, 2);
  EXPECT_EQ(edit.id_array->id[1], 8);
  EXPECT_THAT(
      PacketLines(),
      ElementsAre("Edit packet type = 9\n", "op = 3\n", "defop = 1\n", "errop = 2\n", "tstop = 5\n",
                  "stub_edit->name:a.b\n", "stub_edit->val:57\n", "stub_edit->id_array->cnt:2\n",
                  "stub_edit->id_array->id[0]:7\n", "stub_edit->id_array->id[1]:8\n"));
  nc_dm_agent_free_edit(&edit);
}

TEST_F(DecodeEditTest, SingleEditHasWhatItsFlagSays) {
  const Body head = Body().Int32(9).Int32(3).Int32(1).Int32(2).Int32(5);
  nc_dm_stub_edit_t edit = {};
  EXPECT_EQ(nc_dm_agent_decode_edit(Message(head, 0).get(), &edit), 0);
  EXPECT_EQ(edit.name, nullptr);
  EXPECT_EQ(edit.val, nullptr);
  EXPECT_EQ(edit.id_array, nullptr);
  EXPECT_EQ(
      nc_dm_agent_decode_edit(Message(Body(head).Text("57"), NC_DM_MSG_FLAG_VALUE).get(), &edit),
      0);
  EXPECT_EQ(edit.name, nullptr);
  EXPECT_STREQ(edit.val, "57");
  nc_dm_agent_free_edit(&edit);
}

TEST_F(DecodeEditTest, SomePacketTypesHaveNoSingleEdit) {
  for (const int packet_type : {3, 8}) {
    nc_dm_stub_edit_t edit = {};
    EXPECT_EQ(nc_dm_agent_decode_edit(Message(Body().Int32(packet_type), kAll).get(), &edit), 0);
    EXPECT_EQ(edit.pkt_type, packet_type);
    EXPECT_EQ(edit.name, nullptr);
  }
}

TEST_F(DecodeEditTest, SingleEditCutAnywhereFailsAndHoldsNothing) {
  const Body body = SingleEdit();
  const Field fields[] = {
      {4, "Failed to decode message packet type field!\n"},
      {8, "Failed to decode message op field!\n"},
      {12, "Failed to decode message defop field!\n"},
      {16, "Failed to decode message erropt field!\n"},
      {20, "Failed to decode message tstopt field!\n"},
      {27, "Failed to decode stub_edit->name!\n"},
      {33, "Failed to decode msg!\n"},
      {37, "Failed to decode id_array->cnt!\n"},
      {45, "Failed to decode id[0]:0\n"},
      {53, "Failed to decode id[1]:0\n"},
  };
  ExpectEachCutToFail(body, fields, [](const Body& cut) {
    nc_dm_stub_edit_t edit = {};
    EXPECT_EQ(nc_dm_agent_decode_edit(Message(cut, kAll).get(), &edit), -1);
    EXPECT_EQ(edit.name, nullptr);
    EXPECT_EQ(edit.val, nullptr);
    EXPECT_EQ(edit.id_array, nullptr);
  });
}

}  // namespace
