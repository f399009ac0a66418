// Releasing what the records hold. A released record points to nothing any more, so that releasing
// it again is harmless; a list is released by the elements that it holds, whatever it counts.
#include <cstdlib>

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/refuse.h"

namespace {

template <typename Record>
void Release(Record** owned) {
  free(*owned);
  *owned = nullptr;
}

int RefuseInput() { return nc::Refuse("Invaild input parameter!\n"); }

// Frees the elements of a list. A head that was cleared and never initialised holds none.
template <typename Node, typename ReleaseNode>
void Clear(list_head* head, ReleaseNode release_node) {
  if (head->next != nullptr) {
    for (Node& node : nc::RecordsSafely<Node>(head)) {
      release_node(&node);
      free(&node);
    }
  }
  nc::InitList(head);
}

template <typename Node, typename ReleaseNode>
int Clear(nc_dm_list_t* list, ReleaseNode release_node) {
  if (list == nullptr) return RefuseInput();
  Clear<Node>(&list->head, release_node);
  list->cnt = 0;
  return 0;
}

}  // namespace

// ---- Elements of answers and registrations ----

void nc_dm_agent_free_val_node(nc_dm_val_node_t* val_node) {
  if (val_node == nullptr) {
    RefuseInput();
    return;
  }
  Release(&val_node->val_entry.dm_name);
  Release(&val_node->val_entry.dm_val);
}

void nc_dm_agent_free_reg_node(nc_dm_reg_node_t* reg_node) {
  if (reg_node == nullptr) {
    RefuseInput();
    return;
  }
  Release(&reg_node->reg_entry.dm_path);
}

int nc_dm_agent_free_id_array_list(nc_dm_list_t* list) {
  return Clear<nc_dm_id_array_node_t>(list, [](nc_dm_id_array_node_t*) {});
}

int nc_dm_agent_free_val_list(nc_dm_list_t* list) {
  return Clear<nc_dm_val_node_t>(list, nc_dm_agent_free_val_node);
}

int nc_dm_agent_free_reg_list(nc_dm_list_t* list) {
  if (list == nullptr || list->cnt <= 0) return RefuseInput();
  return Clear<nc_dm_reg_node_t>(list, nc_dm_agent_free_reg_node);
}

// ---- Requests ----

void nc_dm_agent_free_getid(nc_dm_stub_getid_t* getid) {
  if (getid == nullptr) return;
  Release(&getid->name);
  Release(&getid->val);
}

void nc_dm_agent_free_filter(nc_dm_stub_filter_t* filter) {
  if (filter == nullptr) return;
  Release(&filter->name);
  Release(&filter->val);
  Release(&filter->id_array);
}

void nc_dm_agent_free_edit(nc_dm_stub_edit_t* edit) {
  if (edit == nullptr) return;
  Release(&edit->name);
  Release(&edit->val);
  Release(&edit->id_array);
}

void nc_dm_agent_free_filter_node(nc_dm_stub_filter_node_t* filter_node) {
  if (filter_node == nullptr) {
    RefuseInput();
    return;
  }
  nc_dm_agent_free_filter(filter_node->filter);
  Release(&filter_node->filter);
}

void nc_dm_agent_free_edit_node(nc_dm_stub_edit_node_t* edit_node) {
  if (edit_node == nullptr) {
    RefuseInput();
    return;
  }
  nc_dm_agent_free_edit(edit_node->edit);
  Release(&edit_node->edit);
  Release(&edit_node->tmpname);
}

void nc_dm_agent_free_filter_node_list(nc_dm_stub_filter_node_list_t* filter_list) {
  if (filter_list == nullptr) return;
  Clear<nc_dm_stub_filter_node_t>(&filter_list->filter_head, nc_dm_agent_free_filter_node);
  filter_list->cnt = 0;
}

void nc_dm_agent_free_edit_node_list(nc_dm_stub_edit_node_list_t* edit_list) {
  if (edit_list == nullptr) return;
  Clear<nc_dm_stub_edit_node_t>(&edit_list->edit_head, [](nc_dm_stub_edit_node_t* node) {
    // The list may be a group of edits whose keys are still linked in the list that it was taken
    // from.
    if (node->ky_lst.next != nullptr) nc::Unlink(&node->ky_lst);
    nc_dm_agent_free_edit_node(node);
  });
  nc::InitList(&edit_list->key_head);
  edit_list->cnt = 0;
}

// ---- Registrations and their answers ----

void nc_dm_agent_free_reg(nc_dm_stub_reg_t* reg) {
  if (reg == nullptr) return;
  Release(&reg->name);
}

void nc_dm_agent_free_reg_rsp(nc_dm_stub_reg_rsp_t* reg_rsp) {
  if (reg_rsp == nullptr) return;
  Release(&reg_rsp->name);
}

void nc_dm_agent_free_yang_attr(nc_dm_yang_attr_t* yang_attr) {
  if (yang_attr == nullptr) return;
  Release(&yang_attr->module_name);
  Release(&yang_attr->attr);
}

// The path stands in the record itself.
void nc_dm_agent_free_fault(nc_dm_fault_t*) {}
