// What is released must not leak, and not be released twice: the address sanitizer's business. What
// these tests look at themselves is what the records are afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "netconf_dm_kernel.h"
#include "support/debug_mask.h"
#include "support/log_lines.h"

namespace {

using ncdm_test::DebugMask;
using ncdm_test::ErrorLines;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kInvalid[] = "Invaild input parameter!\n";

class ReleaseTest : public testing::Test {
 protected:
  DebugMask mask_;
};

template <typename Record>
Record* New() {
  return static_cast<Record*>(calloc(1, sizeof(Record)));
}

void Link(list_head* head, list_head* link) {
  *link = {head, head->prev};
  head->prev->next = link;
  head->prev = link;
}

bool IsEmptyList(const list_head& head) { return head.next == &head && head.prev == &head; }

nc_dm_list_t* InitialisedList(nc_dm_list_t* list) {
  *list = {{&list->head, &list->head}, 0};
  return list;
}

nc_dm_stub_edit_node_list_t* InitialisedList(nc_dm_stub_edit_node_list_t* list) {
  *list = {{&list->key_head, &list->key_head}, {&list->edit_head, &list->edit_head}, 0};
  return list;
}

void AddValue(nc_dm_list_t* list, const char* name, const char* value) {
  auto* node = New<nc_dm_val_node_t>();
  node->val_entry.dm_name = name == nullptr ? nullptr : strdup(name);
  node->val_entry.dm_val = value == nullptr ? nullptr : strdup(value);
  Link(&list->head, &node->lst);
  ++list->cnt;
}

nc_dm_stub_edit_node_t* AddEdit(nc_dm_stub_edit_node_list_t* list, list_head* key_head) {
  auto* node = New<nc_dm_stub_edit_node_t>();
  node->edit = New<nc_dm_stub_edit_t>();
  node->edit->name = strdup("a.b");
  node->edit->val = strdup("5");
  node->edit->id_array = New<nc_dm_id_array_t>();
  node->tmpname = strdup("b");
  Link(&list->edit_head, &node->lst);
  if (key_head != nullptr) Link(key_head, &node->ky_lst);
  return node;
}

TEST_F(ReleaseTest, ValueNode) {
  nc_dm_val_node_t node = {};
  node.val_entry.dm_name = strdup("a.b");
  node.val_entry.dm_val = strdup("5");
  nc_dm_agent_free_val_node(&node);
  EXPECT_EQ(node.val_entry.dm_name, nullptr);
  EXPECT_EQ(node.val_entry.dm_val, nullptr);
  nc_dm_agent_free_val_node(&node);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReleaseTest, RegistrationNode) {
  nc_dm_reg_node_t node = {};
  node.reg_entry.dm_path = strdup("a.b");
  nc_dm_agent_free_reg_node(&node);
  EXPECT_EQ(node.reg_entry.dm_path, nullptr);
  nc_dm_agent_free_reg_node(&node);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReleaseTest, IdArrayList) {
  nc_dm_list_t list;
  InitialisedList(&list);
  for (int i = 0; i < 3; ++i) {
    Link(&list.head, &New<nc_dm_id_array_node_t>()->lst);
    ++list.cnt;
  }
  EXPECT_EQ(nc_dm_agent_free_id_array_list(&list), 0);
  EXPECT_TRUE(IsEmptyList(list.head));
  EXPECT_EQ(list.cnt, 0);
  EXPECT_EQ(nc_dm_agent_free_id_array_list(&list), 0);
}

TEST_F(ReleaseTest, ValueList) {
  nc_dm_list_t list;
  InitialisedList(&list);
  AddValue(&list, "a.b", "5");
  AddValue(&list, "a.c", nullptr);
  AddValue(&list, nullptr, nullptr);
  EXPECT_EQ(nc_dm_agent_free_val_list(&list), 0);
  EXPECT_TRUE(IsEmptyList(list.head));
  EXPECT_EQ(list.cnt, 0);
  EXPECT_EQ(nc_dm_agent_free_val_list(&list), 0);
}

TEST_F(ReleaseTest, ListsAreReleasedByWhatTheyHold) {
  nc_dm_list_t list;
  InitialisedList(&list);
  AddValue(&list, "a.b", "5");
  AddValue(&list, "a.c", "6");
  list.cnt = 0;
  EXPECT_EQ(nc_dm_agent_free_val_list(&list), 0);
  EXPECT_TRUE(IsEmptyList(list.head));

  list.cnt = 7;
  EXPECT_EQ(nc_dm_agent_free_val_list(&list), 0);
  EXPECT_EQ(list.cnt, 0);
}

TEST_F(ReleaseTest, ClearedListThatWasNeverInitialisedIsEmpty) {
  nc_dm_list_t list = {};
  EXPECT_EQ(nc_dm_agent_free_val_list(&list), 0);
  EXPECT_TRUE(IsEmptyList(list.head));
  list = {};
  EXPECT_EQ(nc_dm_agent_free_id_array_list(&list), 0);
  EXPECT_TRUE(IsEmptyList(list.head));
  nc_dm_stub_edit_node_list_t edits = {};
  nc_dm_agent_free_edit_node_list(&edits);
  EXPECT_TRUE(IsEmptyList(edits.edit_head));
  EXPECT_TRUE(IsEmptyList(edits.key_head));
  nc_dm_stub_filter_node_list_t filters = {};
  nc_dm_agent_free_filter_node_list(&filters);
  EXPECT_TRUE(IsEmptyList(filters.filter_head));
}

TEST_F(ReleaseTest, RegistrationList) {
  nc_dm_list_t list;
  InitialisedList(&list);
  for (const char* path : {"a.b", "a.c"}) {
    auto* node = New<nc_dm_reg_node_t>();
    node->reg_entry.dm_path = strdup(path);
    Link(&list.head, &node->lst);
    ++list.cnt;
  }
  EXPECT_EQ(nc_dm_agent_free_reg_list(&list), 0);
  EXPECT_TRUE(IsEmptyList(list.head));
  EXPECT_EQ(list.cnt, 0);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReleaseTest, RegistrationListWithoutAPositiveCountIsRefused) {
  nc_dm_list_t list;
  InitialisedList(&list);
  EXPECT_EQ(nc_dm_agent_free_reg_list(&list), -1);
  list.cnt = -1;
  EXPECT_EQ(nc_dm_agent_free_reg_list(&list), -1);
  list.cnt = 1;
  EXPECT_EQ(nc_dm_agent_free_reg_list(&list), 0);
  EXPECT_THAT(ErrorLines(), ElementsAre(kInvalid, kInvalid));
}

TEST_F(ReleaseTest, Getid) {
  nc_dm_stub_getid_t getid = {.pkt_type = 9, .name = strdup("a"), .val = strdup("5")};
  nc_dm_agent_free_getid(&getid);
  EXPECT_EQ(getid.name, nullptr);
  EXPECT_EQ(getid.val, nullptr);
  nc_dm_agent_free_getid(&getid);
}

TEST_F(ReleaseTest, Filter) {
  nc_dm_stub_filter_t filter = {};
  filter.name = strdup("a");
  filter.val = strdup("5");
  filter.id_array = New<nc_dm_id_array_t>();
  nc_dm_agent_free_filter(&filter);
  EXPECT_EQ(filter.name, nullptr);
  EXPECT_EQ(filter.val, nullptr);
  EXPECT_EQ(filter.id_array, nullptr);
  nc_dm_agent_free_filter(&filter);
}

TEST_F(ReleaseTest, Edit) {
  nc_dm_stub_edit_t edit = {};
  edit.name = strdup("a");
  edit.val = strdup("5");
  edit.id_array = New<nc_dm_id_array_t>();
  nc_dm_agent_free_edit(&edit);
  EXPECT_EQ(edit.name, nullptr);
  EXPECT_EQ(edit.val, nullptr);
  EXPECT_EQ(edit.id_array, nullptr);
  nc_dm_agent_free_edit(&edit);
}

TEST_F(ReleaseTest, FilterNode) {
  nc_dm_stub_filter_node_t node = {};
  node.filter = New<nc_dm_stub_filter_t>();
  node.filter->name = strdup("a");
  nc_dm_agent_free_filter_node(&node);
  EXPECT_EQ(node.filter, nullptr);
  nc_dm_agent_free_filter_node(&node);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReleaseTest, EditNode) {
  nc_dm_stub_edit_node_t node = {};
  node.edit = New<nc_dm_stub_edit_t>();
  node.edit->name = strdup("a.b");
  node.tmpname = strdup("b");
  nc_dm_agent_free_edit_node(&node);
  EXPECT_EQ(node.edit, nullptr);
  EXPECT_EQ(node.tmpname, nullptr);
  nc_dm_agent_free_edit_node(&node);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReleaseTest, FilterNodeList) {
  nc_dm_stub_filter_node_list_t list = {};
  list.filter_head = {&list.filter_head, &list.filter_head};
  list.cnt = 2;
  for (int i = 0; i < 2; ++i) {
    auto* node = New<nc_dm_stub_filter_node_t>();
    if (i == 0) {
      node->filter = New<nc_dm_stub_filter_t>();
      node->filter->name = strdup("a");
      node->filter->id_array = New<nc_dm_id_array_t>();
    }
    Link(&list.filter_head, &node->lst);
  }
  nc_dm_agent_free_filter_node_list(&list);
  EXPECT_TRUE(IsEmptyList(list.filter_head));
  EXPECT_EQ(list.cnt, 0);
  nc_dm_agent_free_filter_node_list(&list);
}

TEST_F(ReleaseTest, EditNodeListWithItsKeys) {
  nc_dm_stub_edit_node_list_t list;
  InitialisedList(&list);
  AddEdit(&list, &list.key_head);
  AddEdit(&list, nullptr);
  AddEdit(&list, &list.key_head);
  list.cnt = 3;
  nc_dm_agent_free_edit_node_list(&list);
  EXPECT_TRUE(IsEmptyList(list.edit_head));
  EXPECT_TRUE(IsEmptyList(list.key_head));
  EXPECT_EQ(list.cnt, 0);
  nc_dm_agent_free_edit_node_list(&list);
}

TEST_F(ReleaseTest, GroupOfEditsLeavesTheKeysOfTheListItWasTakenFrom) {
  nc_dm_stub_edit_node_list_t all;
  InitialisedList(&all);
  nc_dm_stub_edit_node_list_t group;
  InitialisedList(&group);
  AddEdit(&group, &all.key_head);
  nc_dm_stub_edit_node_t* kept = AddEdit(&all, &all.key_head);
  nc_dm_agent_free_edit_node_list(&group);
  EXPECT_EQ(all.key_head.next, &kept->ky_lst);
  EXPECT_EQ(all.key_head.prev, &kept->ky_lst);
  EXPECT_EQ(kept->ky_lst.next, &all.key_head);
  nc_dm_agent_free_edit_node_list(&all);
  EXPECT_TRUE(IsEmptyList(all.key_head));
}

TEST_F(ReleaseTest, Registration) {
  nc_dm_stub_reg_t reg = {};
  reg.name = strdup("a.b");
  nc_dm_agent_free_reg(&reg);
  EXPECT_EQ(reg.name, nullptr);
  nc_dm_agent_free_reg(&reg);
}

TEST_F(ReleaseTest, RegistrationAnswer) {
  nc_dm_stub_reg_rsp_t rsp = {.fault_code = -7, .name = strdup("a.b")};
  nc_dm_agent_free_reg_rsp(&rsp);
  EXPECT_EQ(rsp.name, nullptr);
  EXPECT_EQ(rsp.fault_code, -7);
  nc_dm_agent_free_reg_rsp(&rsp);
}

TEST_F(ReleaseTest, YangAttribute) {
  nc_dm_yang_attr_t attr = {};
  attr.module_name = strdup("m");
  attr.attr = strdup("2024-05-06");
  nc_dm_agent_free_yang_attr(&attr);
  EXPECT_EQ(attr.module_name, nullptr);
  EXPECT_EQ(attr.attr, nullptr);
  nc_dm_agent_free_yang_attr(&attr);
}

TEST_F(ReleaseTest, FaultHoldsNothing) {
  nc_dm_fault_t fault = {};
  fault.fault_code = NC_DM_FAULT_CODE_MEM;
  strcpy(fault.path, "a.b");
  nc_dm_agent_free_fault(&fault);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_MEM);
  EXPECT_STREQ(fault.path, "a.b");
}

TEST_F(ReleaseTest, NullIsIgnoredSilently) {
  nc_dm_agent_free_getid(nullptr);
  nc_dm_agent_free_filter(nullptr);
  nc_dm_agent_free_edit(nullptr);
  nc_dm_agent_free_filter_node_list(nullptr);
  nc_dm_agent_free_edit_node_list(nullptr);
  nc_dm_agent_free_reg(nullptr);
  nc_dm_agent_free_reg_rsp(nullptr);
  nc_dm_agent_free_yang_attr(nullptr);
  nc_dm_agent_free_fault(nullptr);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReleaseTest, NullIsLoggedByNodesAndCountedLists) {
  nc_dm_agent_free_val_node(nullptr);
  nc_dm_agent_free_reg_node(nullptr);
  nc_dm_agent_free_filter_node(nullptr);
  nc_dm_agent_free_edit_node(nullptr);
  EXPECT_EQ(nc_dm_agent_free_id_array_list(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_free_val_list(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_free_reg_list(nullptr), -1);
  EXPECT_EQ(ErrorLines(), std::vector<std::string>(7, kInvalid));
}

}  // namespace
