#include "model_app.h"

#include <stdlib.h>
#include <string.h>

#include <array>
#include <charconv>
#include <utility>

namespace ncdm_test {
namespace {

ModelApp* g_app = nullptr;

bool TakesBlock(Callback callback) {
  return callback == Callback::kGetAttr || callback == Callback::kExeCmd;
}

template <typename T>
std::string Number(const char* value) {
  T number;
  memcpy(&number, value, sizeof number);
  return std::to_string(number);
}

std::string ValueText(nc_dm_val_type_t type, const char* value) {
  if (value == nullptr) return "(null)";
  switch (type) {
    case NC_DM_VAL_TYPE_BOOL:
      return *value != 0 ? "true" : "false";
    case NC_DM_VAL_TYPE_SHORT:
      return Number<int16_t>(value);
    case NC_DM_VAL_TYPE_USHORT:
      return Number<uint16_t>(value);
    case NC_DM_VAL_TYPE_INT:
    case NC_DM_VAL_TYPE_LONG:
      return Number<int32_t>(value);
    case NC_DM_VAL_TYPE_UINT:
    case NC_DM_VAL_TYPE_ULONG:
      return Number<uint32_t>(value);
    case NC_DM_VAL_TYPE_LONGLONG:
      return Number<int64_t>(value);
    case NC_DM_VAL_TYPE_ULONGLONG:
      return Number<uint64_t>(value);
    default:
      return value;
  }
}

Ids IdsOf(const nc_dm_id_array_t& array) {
  return array.cnt > 0 ? Ids(array.id, array.id + array.cnt) : Ids();
}

std::map<int, std::string> Slots(nc_dm_agent_data_block_t* padb) {
  std::map<int, std::string> slots;
  for (int i = 0; i < NC_DM_MAX_SLOTS; ++i) {
    if (padb->has_int_var(padb, i)) slots[i] = std::to_string(padb->get_int_var(padb, i));
    if (padb->has_str_var(padb, i)) slots[i] = padb->get_str_var(padb, i);
  }
  return slots;
}

ModelCall NewCall(Callback callback, nc_dm_id_array_t* ids, char* value) {
  ModelCall call;
  call.callback = callback;
  call.ids = IdsOf(*ids);
  call.src = ids->src;
  call.id_array = ids;
  call.buffer = value;
  call.output = &ids->output;
  return call;
}

ModelCall NewCall(Callback callback, nc_dm_agent_data_block_t* padb, nc_dm_op_output_t* output) {
  ModelCall call;
  call.callback = callback;
  call.ids = IdsOf(padb->id_array);
  call.src = padb->id_array.src;
  call.id_array = &padb->id_array;
  call.padb = padb;
  call.output = output;
  call.op_flag = padb->op_flag;
  call.slots = Slots(padb);
  return call;
}

// C callbacks carry no context, so each leaf has functions of its own.
struct LeafFunctions {
  nc_dm_set_fn set;
  nc_dm_get_fn get;
  nc_dm_create_fn create;
  nc_dm_delete_fn delete_fn;
  nc_dm_get_attr_fn get_attr;
  nc_dm_exe_cmd_fn exe_cmd;
};

template <int kLeaf>
constexpr LeafFunctions FunctionsOf() {
  return {
      [](nc_dm_id_array_t* ids, char* value) {
        return static_cast<int>(g_app->Called(kLeaf, NewCall(Callback::kSet, ids, value)));
      },
      [](nc_dm_id_array_t* ids, char* value) {
        return static_cast<int>(g_app->Called(kLeaf, NewCall(Callback::kGet, ids, value)));
      },
      [](nc_dm_id_array_t* ids, char* value) {
        return g_app->Called(kLeaf, NewCall(Callback::kCreate, ids, value));
      },
      [](nc_dm_id_array_t* ids, char* value) {
        return g_app->Called(kLeaf, NewCall(Callback::kDelete, ids, value));
      },
      [](nc_dm_agent_data_block_t* padb, nc_dm_op_output_t* output) {
        return static_cast<int>(g_app->Called(kLeaf, NewCall(Callback::kGetAttr, padb, output)));
      },
      [](nc_dm_agent_data_block_t* padb) {
        return g_app->Called(kLeaf, NewCall(Callback::kExeCmd, padb, &padb->id_array.output));
      },
  };
}

template <int... kLeaves>
constexpr std::array<LeafFunctions, sizeof...(kLeaves)> AllFunctions(
    std::integer_sequence<int, kLeaves...>) {
  return {FunctionsOf<kLeaves>()...};
}

constexpr auto kFunctions = AllFunctions(std::make_integer_sequence<int, ModelApp::kMaxLeaves>());

std::string LastName(const std::string& path) {
  std::string name = path;
  if (name.ends_with(".{i}")) name.resize(name.size() - 4);
  return name.substr(name.rfind('.') + 1);
}

// The tree is walked by hand, apart from the library's own ways of finding a child.
nc_dm_agent_node_t* NodeOf(const list_head* link) {
  // The link is the record's first member.
  return reinterpret_cast<nc_dm_agent_node_t*>(const_cast<list_head*>(link));
}

template <typename Visit>
void ForEachChild(const list_head* siblings, Visit visit) {
  for (const list_head* link = siblings->next; link != siblings; link = link->next) {
    visit(NodeOf(link));
  }
}

template <typename Visit>
void ForEachNode(const list_head* siblings, const std::string& prefix, Visit visit) {
  ForEachChild(siblings, [&](nc_dm_agent_node_t* node) {
    std::string path = prefix + node->node_name;
    if (node->instid != 0) path += "." + std::to_string(node->instid);
    visit(path, node);
    ForEachNode(&node->sub_lst, path + ".", visit);
  });
}

}  // namespace

void Put(std::string_view text, char* buffer) {
  ASSERT_LT(text.size(), static_cast<size_t>(NC_DM_VALUE_BUF_SIZE));
  memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
}

// ---- The application ----

ModelApp::ModelApp() {
  EXPECT_EQ(g_app, nullptr) << "two applications at a time";
  g_app = this;
  EXPECT_EQ(nc_dm_agent_init_tree(), 0);
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING;
}

ModelApp::~ModelApp() {
  while (g_nc_agent_dm.dm_root.next != &g_nc_agent_dm.dm_root) {
    nc_dm_agent_unreg_nodes(NodeOf(g_nc_agent_dm.dm_root.next));
  }
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING;
  g_app = nullptr;
}

void ModelApp::Register(const ModelLeaf& leaf) {
  ASSERT_LT(leaves_.size(), kFunctions.size());
  const LeafFunctions& functions = kFunctions[leaves_.size()];
  leaves_.push_back(leaf);
  const auto has = [&leaf](Callback callback) {
    return (leaf.callbacks & static_cast<unsigned>(callback)) != 0;
  };
  std::string path = leaf.path;
  ASSERT_EQ(nc_dm_agent_path_reg(path.data(), leaf.type, leaf.flag, leaf.index,
                                 has(Callback::kSet) ? functions.set : nullptr,
                                 has(Callback::kGet) ? functions.get : nullptr,
                                 has(Callback::kCreate) ? functions.create : nullptr,
                                 has(Callback::kDelete) ? functions.delete_fn : nullptr,
                                 has(Callback::kGetAttr) ? functions.get_attr : nullptr, nullptr,
                                 has(Callback::kExeCmd) ? functions.exe_cmd : nullptr),
            0)
      << leaf.path;
}

void ModelApp::On(Callback callback, const std::string& leaf, Answer answer) {
  answers_[{callback, leaf}] = std::move(answer);
}

void ModelApp::On(Callback callback, const std::string& leaf, nc_int64 result) {
  On(callback, leaf, [result](const ModelCall&) { return result; });
}

std::vector<std::string> ModelApp::CallTexts() const {
  std::vector<std::string> texts;
  for (const ModelCall& call : calls_) texts.push_back(call.ToString());
  return texts;
}

nc_int64 ModelApp::Called(int leaf, ModelCall call) {
  const ModelLeaf& registered = leaves_.at(static_cast<size_t>(leaf));
  call.leaf = LastName(registered.path);
  if (!TakesBlock(call.callback) && call.callback != Callback::kGet) {
    const bool takes_key =
        call.callback != Callback::kSet && registered.key_type != NC_DM_VAL_TYPE_UNKNOWN;
    call.value = ValueText(takes_key ? registered.key_type : registered.type, call.buffer);
  }
  calls_.push_back(call);
  const auto found = answers_.find({call.callback, call.leaf});
  if (found != answers_.end()) return found->second(call);
  return call.callback == Callback::kCreate || call.callback == Callback::kExeCmd ? 1 : 0;
}

// ---- Edits ----

ModelEdits::ModelEdits() : list_{} {
  list_.key_head = {&list_.key_head, &list_.key_head};
  list_.edit_head = {&list_.edit_head, &list_.edit_head};
}

ModelEdits::ModelEdits(std::initializer_list<ModelEdit> edits) : ModelEdits() {
  for (const ModelEdit& edit : edits) Add(edit);
}

ModelEdits::~ModelEdits() { nc_dm_agent_free_edit_node_list(&list_); }

nc_dm_stub_edit_node_t* ModelEdits::Add(const ModelEdit& from) {
  const auto append = [](list_head* head, list_head* link) {
    *link = {head, head->prev};
    head->prev->next = link;
    head->prev = link;
  };
  auto* node = static_cast<nc_dm_stub_edit_node_t*>(calloc(1, sizeof(nc_dm_stub_edit_node_t)));
  auto* edit = static_cast<nc_dm_stub_edit_t*>(calloc(1, sizeof(nc_dm_stub_edit_t)));
  node->edit = edit;
  edit->flag = from.flag;
  edit->op = from.op;
  edit->defop = from.defop;
  edit->erropt = from.erropt;
  edit->name = strdup(from.name.c_str());
  if (from.val != nullptr) edit->val = strdup(from.val);
  if (!from.ids.empty()) {
    edit->id_array = static_cast<nc_dm_id_array_t*>(calloc(1, sizeof(nc_dm_id_array_t)));
    edit->id_array->cnt = static_cast<nc_int32>(from.ids.size());
    for (size_t i = 0; i < from.ids.size(); ++i) edit->id_array->id[i] = from.ids[i];
  }
  append(&list_.edit_head, &node->lst);
  if ((from.flag & NC_DM_EDIT_FLAG_KEYS) != 0) append(&list_.key_head, &node->ky_lst);
  return node;
}

ModelEdits& ModelEdits::WithNames() {
  EXPECT_EQ(nc_dm_agent_parse_edit_list_last_node_name(&list_), 0);
  return *this;
}

int ModelEdits::size() const {
  int count = 0;
  for (const list_head* link = list_.edit_head.next; link != &list_.edit_head; link = link->next) {
    ++count;
  }
  return count;
}

nc_dm_stub_edit_node_t* ModelEdits::at(int place) const {
  list_head* link = list_.edit_head.next;
  for (int i = 0; i < place; ++i) link = link->next;
  return reinterpret_cast<nc_dm_stub_edit_node_t*>(link);
}

// ---- The tree ----

nc_dm_agent_node_t* NodeAt(std::string_view path) {
  nc_dm_agent_node_t* found = nullptr;
  ForEachNode(&g_nc_agent_dm.dm_root, "", [&](const std::string& at, nc_dm_agent_node_t* node) {
    if (found == nullptr && at == path) found = node;
  });
  return found;
}

nc_dm_agent_node_t* AddInstance(std::string_view path, nc_dm_node_src_t src) {
  const size_t id_dot = path.rfind('.');
  const std::string_view list_path = path.substr(0, id_dot);
  nc_int64 id = 0;
  std::from_chars(path.data() + id_dot + 1, path.data() + path.size(), id);
  nc_dm_agent_node_t* list = NodeAt(list_path);
  nc_dm_agent_node_t* parent = NodeAt(list_path.substr(0, list_path.rfind('.')));
  if (list == nullptr || parent == nullptr) {
    ADD_FAILURE() << "nothing to create " << path << " from";
    return nullptr;
  }
  const nc_dm_node_type_t type = list->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE
                                     ? NC_DM_NODE_TYPE_MULT_LEAF
                                     : NC_DM_NODE_TYPE_MULT_OBJECT;
  nc_dm_agent_node_t* node = nc_dm_agent_create_node(parent, list, id, type, src);
  EXPECT_NE(node, nullptr) << path;
  return node;
}

std::map<std::string, int> TreeSources() {
  std::map<std::string, int> sources;
  ForEachNode(&g_nc_agent_dm.dm_root, "", [&](const std::string& path, nc_dm_agent_node_t* node) {
    sources[path] = node->src;
  });
  return sources;
}

std::vector<std::string> DataBlocks() {
  std::vector<std::string> paths;
  ForEachNode(&g_nc_agent_dm.dm_root, "", [&](const std::string& path, nc_dm_agent_node_t* node) {
    if (node->padb != nullptr) paths.push_back(path);
  });
  return paths;
}

}  // namespace ncdm_test
