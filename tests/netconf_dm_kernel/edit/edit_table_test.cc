// The decision table of an entry edit: every operation and default operation, through the list's
// callbacks and through a command, for an entry that exists on both sides, on one or on none, with
// its id asked of the application or looked for in the tree, for each datastore and each source
// that the entry may have had. What should happen is written down here once more, plainly and case
// by case, and compared with what does.

#include <string.h>

#include <map>
#include <string>
#include <vector>

#include "netconf_dm_kernel/edit/edit_fixture.h"

namespace ncdm_test {
namespace {

// The edited entry, and another one that is always there and should not notice.
constexpr nc_int64 kEntry = 7;
constexpr const char* kEntryKey = "red";
constexpr nc_int64 kOther = 3;
constexpr const char* kOtherKey = "blue";

struct Case {
  nc_int32 op;
  nc_int32 defop;
  nc_int32 pkt_type;
  bool has_command;   // the list has exe_cmd
  bool has_get_attr;  // the list has get_attr
  bool in_app;
  bool in_tree;
  nc_dm_node_src_t src;  // of the entry in the tree, and of its leaves
  nc_dm_ds_type_t store;

  std::string ToString() const {
    return "op " + std::to_string(op) + " defop " + std::to_string(defop) + " pkt_type " +
           std::to_string(pkt_type) + (has_command ? " exe_cmd" : "") +
           (has_get_attr ? " get_attr" : "") + (in_app ? " in-app" : "") +
           (in_tree ? " in-tree" : "") + " src " + std::to_string(src) + " store " +
           std::to_string(store);
  }
};

// What is seen of an edit from outside.
struct Outcome {
  std::vector<std::string> calls;
  nc_int64 result = 0;
  int fault_code = 0;
  std::string fault_path;
  bool new_fault = false;
  bool in_app = false;
  std::map<std::string, int> tree;

  bool operator==(const Outcome&) const = default;
};

std::string Describe(const Outcome& outcome) {
  std::string text = "result " + std::to_string(outcome.result) + ", fault " +
                     std::to_string(outcome.fault_code) + " '" + outcome.fault_path + "'" +
                     (outcome.new_fault ? " new" : "") + (outcome.in_app ? ", in app" : "") + "\n";
  for (const std::string& call : outcome.calls) text += "  " + call + "\n";
  for (const auto& [path, src] : outcome.tree)
    text += "  " + path + " src " + std::to_string(src) + "\n";
  return text;
}

// ---- What should happen ----

class Oracle {
 public:
  explicit Oracle(const Case& c) : c_(c) {
    expected_.in_app = c.in_app;
    for (const char* path : {"top", "top.list", "top.list.id", "top.list.mtu", "top.list.descr"}) {
      expected_.tree[path] = NC_DM_NODE_SRC_NONE;
    }
    AddEntry(kOther, NC_DM_NODE_SRC_CLI);
    if (c.in_tree) AddEntry(kEntry, c.src);
  }

  Outcome Predict() {
    // The walk to the list stamps the container above it.
    expected_.tree["top"] = Source();
    if (Merges()) {
      Merge();
    } else if (Deletes()) {
      Delete();
    } else {
      LookUp();
    }
    return expected_;
  }

 private:
  bool Merges() const {
    if (c_.op == 1 || c_.op == 2 || c_.op == 3) return true;
    return c_.op == 0 && (c_.defop == 0 || c_.defop == 1 || c_.defop == 2);
  }
  bool Deletes() const { return c_.op == 4 || c_.op == 5; }
  bool ByCommand() const { return c_.pkt_type == 8 || (c_.pkt_type == 6 && c_.has_command); }
  int Source() const { return c_.store == NC_DM_DATASTORE_SDN ? 1 : 0; }

  static std::string Path(nc_int64 id) { return "top.list." + std::to_string(id); }
  void AddEntry(nc_int64 id, int src) {
    for (const char* part : {"", ".id", ".mtu", ".descr"}) expected_.tree[Path(id) + part] = src;
  }
  void RemoveEntry() {
    for (const char* part : {"", ".id", ".mtu", ".descr"})
      expected_.tree.erase(Path(kEntry) + part);
  }
  void Call(const std::string& text) { expected_.calls.push_back(text); }
  void Fail(nc_int64 result, int code, const std::string& path) {
    expected_.result = result;
    expected_.fault_code = code;
    expected_.fault_path = path;
    expected_.new_fault = true;
  }

  void Merge() {
    const std::string src = std::to_string(Source());
    const bool existed = c_.in_app;
    if (ByCommand()) {
      // The leaf without a slot is set at once; of an entry edit it is the list's own leaf.
      Call("set descr ids=[] src=" + src + " value=text");
      expected_.tree["top.list.descr"] = Source();
      if (!c_.has_command) {
        // The result is that of the set, and 0 is no entry.
        Fail(-1, -7, "list");
        return;
      }
      Call("exe_cmd id ids=[] src=" + src + " op=" + (c_.op == 3 ? "5" : "1") +
           " slots={1:red, 2:1500}");
    } else {
      Call("create id ids=[] src=" + src + " value=red");
    }
    expected_.in_app = true;
    if (c_.op == 3 && existed) {
      Fail(-1, -9, ByCommand() ? "list" : "");
      return;
    }
    expected_.result = kEntry;
    if (!c_.in_tree) {
      AddEntry(kEntry, Source());
      return;
    }
    const int before = c_.src;
    expected_.tree[Path(kEntry)] = before == 1 || before == 3 ? before : Source();
    for (const char* leaf : {".id", ".mtu", ".descr"}) {
      expected_.tree[Path(kEntry) + leaf] = before == 1 ? before : Source();
    }
  }

  void Delete() {
    const std::string src = std::to_string(Source());
    if (ByCommand()) {
      Call("delete descr ids=[] src=" + src + " value=text");
      expected_.tree["top.list.descr"] = Source();
      if (!c_.has_command) {
        expected_.result = 0;  // of the leaf; it names no entry
        return;
      }
      Call("exe_cmd id ids=[] src=" + src + " op=2 slots={1:red, 2:1500}");
    } else {
      Call("delete id ids=[] src=0 value=red");
    }
    if (!c_.in_app) {
      if (c_.op == 4) Fail(-1, -10, ByCommand() ? "list" : "");
      return;
    }
    expected_.in_app = false;
    expected_.result = kEntry;
    if (c_.in_tree) RemoveEntry();
  }

  void LookUp() {
    if (c_.has_get_attr) {
      Call("get_attr id ids=[] src=0 op=4 slots={1:red}");
      expected_.result = kEntry;
      if (!c_.in_app) Fail(0, -7, "list");
      return;
    }
    Call("get id ids=[3]");
    if (c_.in_tree) Call("get id ids=[7]");
    expected_.result = kEntry;
    if (!c_.in_tree || !c_.in_app) Fail(-1, -7, "list");
  }

  const Case c_;
  Outcome expected_;
};

// ---- What happens ----

// An application that holds entries by their key.
void Answer(ModelApp& app, std::map<std::string, nc_int64>& entries) {
  app.On(Callback::kCreate, "id", [&](const ModelCall& call) -> nc_int64 {
    call.output->inst_exist = entries.contains(call.value) ? 1 : 0;
    entries[call.value] = kEntry;
    return kEntry;
  });
  app.On(Callback::kDelete, "id", [&](const ModelCall& call) -> nc_int64 {
    return entries.erase(call.value) > 0 ? kEntry : -7;
  });
  app.On(Callback::kExeCmd, "id", [&](const ModelCall& call) -> nc_int64 {
    const std::string& key = call.slots.at(1);
    if (call.op_flag == NC_DM_CMD_OP_DELETE) return entries.erase(key) > 0 ? kEntry : -7;
    call.output->inst_exist = entries.contains(key) ? 1 : 0;
    entries[key] = kEntry;
    return kEntry;
  });
  app.On(Callback::kGet, "id", [&](const ModelCall& call) -> nc_int64 {
    for (const auto& [key, id] : entries) {
      if (id != call.ids.back()) continue;
      Put(key, call.buffer);
      return 0;
    }
    return -7;
  });
  app.On(Callback::kGetAttr, "id", [&](const ModelCall& call) -> nc_int64 {
    const auto found = entries.find(call.slots.at(1));
    call.output->instid = found == entries.end() ? 0 : found->second;
    return 0;
  });
}

Outcome Perform(const Case& c) {
  ModelApp app;
  std::map<std::string, nc_int64> entries = {{kOtherKey, kOther}};
  if (c.in_app) entries[kEntryKey] = kEntry;
  Answer(app, entries);

  unsigned callbacks = Callback::kCreate | Callback::kDelete | Callback::kGet;
  if (c.has_command) callbacks = callbacks | Callback::kExeCmd;
  if (c.has_get_attr) callbacks = callbacks | Callback::kGetAttr;
  app.Register({.path = "top.list.{i}.id", .flag = 1, .index = 1, .callbacks = callbacks});
  app.Register({.path = "top.list.{i}.mtu",
                .type = NC_DM_VAL_TYPE_INT,
                .index = 2,
                .callbacks = Callback::kSet | Callback::kDelete});
  app.Register({.path = "top.list.{i}.descr", .callbacks = Callback::kSet | Callback::kDelete});
  AddInstance("top.list.3", NC_DM_NODE_SRC_CLI);
  if (c.in_tree) AddInstance("top.list.7", c.src);

  ModelEdits edits{
      {.name = "top.list.id", .val = kEntryKey, .op = c.op, .defop = c.defop, .flag = 1},
      {.name = "top.list.mtu", .val = "1500", .op = c.op, .defop = c.defop},
      {.name = "top.list.descr", .val = "text", .op = c.op, .defop = c.defop},
  };
  g_nc_dm_mng_info.curr_dstype = c.store;
  nc_dm_fault_t fault{};
  Outcome outcome;
  outcome.result = nc_dm_agent_edit_object(c.pkt_type, edits.get(), &fault);
  outcome.calls = app.CallTexts();
  outcome.fault_code = fault.fault_code;
  outcome.fault_path = fault.path;
  outcome.new_fault = fault.new_fault;
  outcome.in_app = entries.contains(kEntryKey);
  outcome.tree = TreeSources();
  EXPECT_EQ(DataBlocks(), std::vector<std::string>()) << c.ToString();
  EXPECT_EQ(entries.count(kOtherKey), 1u) << c.ToString();
  return outcome;
}

// ---- The table ----

struct Place {
  bool in_app;
  bool in_tree;
};

class EditTableTest : public testing::TestWithParam<Place> {};

TEST_P(EditTableTest, EveryCaseComesOutAsWritten) {
  int cases = 0;
  Case c{};
  c.in_app = GetParam().in_app;
  c.in_tree = GetParam().in_tree;
  std::vector<nc_dm_node_src_t> sources = {NC_DM_NODE_SRC_NONE};
  if (c.in_tree) {
    sources = {NC_DM_NODE_SRC_NONE, NC_DM_NODE_SRC_SDN, NC_DM_NODE_SRC_CLI, NC_DM_NODE_SRC_CLI_ALW};
  }
  for (c.op = -1; c.op <= 7; ++c.op) {
    for (c.defop = -1; c.defop <= 4; ++c.defop) {
      for (const nc_int32 pkt_type : {5, 6, 8}) {
        c.pkt_type = pkt_type;
        for (const bool has_command : {false, true}) {
          c.has_command = has_command;
          for (const bool has_get_attr : {false, true}) {
            c.has_get_attr = has_get_attr;
            for (const nc_dm_node_src_t src : sources) {
              c.src = src;
              for (const nc_dm_ds_type_t store : {NC_DM_DATASTORE_RUNNING, NC_DM_DATASTORE_SDN}) {
                c.store = store;
                const Outcome expected = Oracle(c).Predict();
                const Outcome actual = Perform(c);
                ASSERT_EQ(actual, expected) << c.ToString() << "\nexpected " << Describe(expected)
                                            << "actual " << Describe(actual);
                ++cases;
              }
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(cases, 9 * 6 * 3 * 2 * 2 * static_cast<int>(sources.size()) * 2);
}

std::string PlaceName(const testing::TestParamInfo<Place>& info) {
  if (info.param.in_app) return info.param.in_tree ? "InBoth" : "InApplication";
  return info.param.in_tree ? "InTree" : "Missing";
}

INSTANTIATE_TEST_SUITE_P(Entry, EditTableTest,
                         testing::Values(Place{false, false}, Place{true, false},
                                         Place{false, true}, Place{true, true}),
                         &PlaceName);

}  // namespace
}  // namespace ncdm_test
