#include "netconf_dm_agent/collected_requests.h"

#include <malloc.h>

#include "netconf_dm_util/intrusive_list.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_util/refuse.h"

// Empty lists from the start, so that they can be released at any time.
constinit nc_dm_stub_edit_node_list_t g_nc_dm_edit_node_list = {
    {&g_nc_dm_edit_node_list.key_head, &g_nc_dm_edit_node_list.key_head},
    {&g_nc_dm_edit_node_list.edit_head, &g_nc_dm_edit_node_list.edit_head},
    0};
constinit nc_dm_stub_filter_node_list_t g_nc_dm_filter_node_list = {
    {&g_nc_dm_filter_node_list.filter_head, &g_nc_dm_filter_node_list.filter_head}, 0};

namespace {

// The size of one of the two lists.
struct Account {
  size_t elements = 0;
  size_t heap = 0;
  bool is_refused = false;  // until the message that executes the request
};
Account g_edits;
Account g_filters;

size_t HeapOf(void* memory) {
  constexpr size_t kAllocatorsOwn = sizeof(size_t);
  return memory == nullptr ? 0 : malloc_usable_size(memory) + kAllocatorsOwn;
}

size_t HeapOf(nc_dm_stub_edit_node_t* node) {
  const nc_dm_stub_edit_t& edit = *node->edit;
  return HeapOf(static_cast<void*>(node)) + HeapOf(node->edit) + HeapOf(edit.name) +
         HeapOf(edit.val) + HeapOf(edit.id_array);
}

size_t HeapOf(nc_dm_stub_filter_node_t* node) {
  const nc_dm_stub_filter_t& filter = *node->filter;
  return HeapOf(static_cast<void*>(node)) + HeapOf(node->filter) + HeapOf(filter.name) +
         HeapOf(filter.val) + HeapOf(filter.id_array);
}

// Counts what `append` puts behind the list; false when the list then holds more than it may.
template <typename Node, typename Append>
bool CountAppended(Account* account, list_head* head, Append append) {
  if (nc::IsEmpty(head)) *account = {.is_refused = account->is_refused};
  const list_head* last = head->prev;
  append();
  for (list_head* link = last->next; link != head; link = link->next) {
    ++account->elements;
    account->heap += HeapOf(nc::RecordOf<Node, &Node::lst>(link));
  }
  return account->elements <= nc::kMaxCollectedElements && account->heap <= nc::kMaxCollectedHeap;
}

int Fail(nc_dm_fault_t* fault, nc_dm_fault_code_t code, const char* message) {
  fault->fault_code = code;
  return nc::Refuse(message);
}

int RefuseTooMuch(nc_dm_fault_t* fault) {
  return Fail(fault, NC_DM_FAULT_CODE_MEM, "The request is too large, what was collected goes!\n");
}

// Collects a segment by `decode`. The list's account says whether there is room for it.
template <typename Node>
int Collect(Account* account, list_head* head, int (*decode)(nc_dm_msg_t*), nc_dm_msg_t* in_msg,
            void (*release)(), nc_dm_fault_t* fault) {
  if (account->is_refused) return 0;
  int result = 0;
  const bool fits = CountAppended<Node>(account, head, [&] { result = decode(in_msg); });
  if (result != 0) {
    fault->fault_code = NC_DM_FAULT_CODE_PARSE;
    release();
    return result;
  }
  if (fits) return 0;
  release();
  account->is_refused = true;
  return RefuseTooMuch(fault);
}

int DecodeEdits(nc_dm_msg_t* in_msg) {
  return nc_dm_agent_decode_edit_list(in_msg, &g_nc_dm_edit_node_list);
}

int DecodeFilters(nc_dm_msg_t* in_msg) {
  return nc_dm_agent_decode_filter_list(in_msg, &g_nc_dm_filter_node_list);
}

// A filter on its way into the list. 0, or negative with `fault` filled.
int DecodeSingleFilter(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  auto node = nc::NewRecord<nc_dm_stub_filter_node_t>();
  if (node == nullptr) {
    return Fail(fault, NC_DM_FAULT_CODE_MEM, "Failed to malloc filter_node!\n");
  }
  auto filter = nc::NewRecord<nc_dm_stub_filter_t>();
  if (filter == nullptr) {
    return Fail(fault, NC_DM_FAULT_CODE_MEM, "Failed to malloc filter_node->filter!\n");
  }
  if (nc_dm_agent_decode_filter(in_msg, filter.get()) != 0) {
    nc_dm_agent_free_filter(filter.get());
    return Fail(fault, NC_DM_FAULT_CODE_PARSE, "Failed to decode filter list message!\n");
  }
  node->filter = filter.release();
  nc::PushBack(&g_nc_dm_filter_node_list.filter_head, &node.release()->lst);
  return 0;
}

int CheckComplete(Account* account, nc_dm_fault_t* fault) {
  if (!account->is_refused) return 0;
  account->is_refused = false;
  return RefuseTooMuch(fault);
}

}  // namespace

namespace nc {

void ReleaseEdits() { nc_dm_agent_free_edit_node_list(&g_nc_dm_edit_node_list); }

void ReleaseFilters() { nc_dm_agent_free_filter_node_list(&g_nc_dm_filter_node_list); }

int CollectEdits(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  return Collect<nc_dm_stub_edit_node_t>(&g_edits, &g_nc_dm_edit_node_list.edit_head, DecodeEdits,
                                         in_msg, ReleaseEdits, fault);
}

int CollectFilters(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  return Collect<nc_dm_stub_filter_node_t>(&g_filters, &g_nc_dm_filter_node_list.filter_head,
                                           DecodeFilters, in_msg, ReleaseFilters, fault);
}

int CollectSingleFilter(nc_dm_msg_t* in_msg, nc_dm_fault_t* fault) {
  int result = 0;
  const bool fits =
      CountAppended<nc_dm_stub_filter_node_t>(&g_filters, &g_nc_dm_filter_node_list.filter_head,
                                              [&] { result = DecodeSingleFilter(in_msg, fault); });
  if (result != 0) return result;
  return fits ? 0 : RefuseTooMuch(fault);
}

int CheckEditsComplete(nc_dm_fault_t* fault) { return CheckComplete(&g_edits, fault); }

int CheckFiltersComplete(nc_dm_fault_t* fault) { return CheckComplete(&g_filters, fault); }

}  // namespace nc

int nc_dm_agent_op_data_init(void) {
  nc::ReleaseFilters();
  nc::ReleaseEdits();
  g_filters = {};
  g_edits = {};
  return 0;
}
