// Requests made at random, on a tree that they change, for an application that answers at random:
// every one must come out as in the plain implementation, call by call.

#include <string.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "reference/reference_edits.h"

namespace ncdm_test {
namespace {

const std::vector<ModelLeaf>& Schema() {
  static const std::vector<ModelLeaf> schema = {
      {.path = "a.x", .callbacks = Callback::kSet | Callback::kDelete},
      {.path = "a.c.p", .callbacks = Callback::kSet | Callback::kDelete},
      {.path = "a.c.q"},
      {.path = "a.c.u",
       .flag = NC_DM_FLAG_LEAF_LIST,
       .callbacks = Callback::kCreate | Callback::kDelete},
      {.path = "a.c.j.{i}.jk",
       .flag = NC_DM_FLAG_KEY,
       .index = 1,
       .callbacks = Callback::kExeCmd | Callback::kGetAttr},
      {.path = "a.c.v.{i}.vn", .callbacks = 0u | Callback::kSet},
      {.path = "a.g.g1", .index = 3, .callbacks = Callback::kExeCmd | Callback::kDelete},
      {.path = "a.g.g2", .type = NC_DM_VAL_TYPE_INT, .index = 4},
      {.path = "a.g.g3", .callbacks = Callback::kSet | Callback::kDelete},
      {.path = "a.l.{i}.k",
       .flag = NC_DM_FLAG_KEY,
       .index = 1,
       .callbacks = Callback::kExeCmd | Callback::kCreate | Callback::kDelete | Callback::kGet},
      {.path = "a.l.{i}.k3",
       .flag = NC_DM_FLAG_KEY_SETTABLE,
       .index = 5,
       .callbacks = Callback::kSet | Callback::kCreate | Callback::kDelete | Callback::kGet},
      {.path = "a.l.{i}.m",
       .type = NC_DM_VAL_TYPE_INT,
       .index = 2,
       .callbacks = Callback::kSet | Callback::kDelete},
      {.path = "a.l.{i}.n",
       .type = NC_DM_VAL_TYPE_INT,
       .callbacks = Callback::kSet | Callback::kDelete},
      {.path = "a.l.{i}.t",
       .flag = NC_DM_FLAG_LEAF_LIST,
       .callbacks = Callback::kCreate | Callback::kDelete},
      {.path = "a.l.{i}.t0", .flag = NC_DM_FLAG_LEAF_LIST},
      {.path = "a.l.{i}.o.r", .callbacks = Callback::kSet | Callback::kDelete},
      {.path = "a.l.{i}.o.u2",
       .flag = NC_DM_FLAG_LEAF_LIST,
       .callbacks = Callback::kCreate | Callback::kDelete},
      {.path = "a.l.{i}.s.{i}.w",
       .flag = NC_DM_FLAG_KEY,
       .callbacks = Callback::kSet | Callback::kCreate | Callback::kDelete | Callback::kGet},
      {.path = "a.l.{i}.s.{i}.e", .type = NC_DM_VAL_TYPE_INT, .callbacks = 0u | Callback::kSet},
      {.path = "a.y.{i}.y1", .flag = NC_DM_FLAG_KEY, .index = 1},
      {.path = "a.y.{i}.y2", .type = NC_DM_VAL_TYPE_INT, .flag = NC_DM_FLAG_KEY, .index = 2},
      {.path = "a.y.{i}.y3",
       .flag = NC_DM_FLAG_KEY,
       .index = 3,
       .callbacks = Callback::kCreate | Callback::kDelete | Callback::kGetAttr},
      {.path = "b.z", .callbacks = Callback::kSet | Callback::kDelete},
      {.path = "h", .callbacks = Callback::kSet | Callback::kDelete},
  };
  return schema;
}

// What the application answers depends on the question alone, so both sides get the same.
class Script {
 public:
  explicit Script(unsigned salt, int failures) : salt_(salt), failures_(failures) {}

  nc_int64 operator()(Callback callback, const std::string& leaf, const Ids& ids,
                      bool* exists) const {
    unsigned hash = salt_ + static_cast<unsigned>(callback) * 7919u;
    for (const char c : leaf) hash = hash * 31u + static_cast<unsigned>(c);
    for (const nc_int64 id : ids) hash = hash * 131u + static_cast<unsigned>(id);
    std::minstd_rand random(hash);
    random.discard(3);
    const auto up = [&random](int bound) {
      return static_cast<int>(random() % static_cast<unsigned>(bound));
    };
    *exists = up(3) == 0;
    if (up(100) < failures_) {
      static constexpr int kFailures[] = {-1, -7, -7, -3};
      return callback == Callback::kSet && up(2) == 0 ? 1 : kFailures[up(4)];
    }
    return callback == Callback::kSet ? 0 : up(5);
  }

 private:
  unsigned salt_;
  int failures_;
};

// A call of the plain implementation, as the recording application writes it down.
ModelCall Written(const ReferenceCall& call) {
  ModelCall written;
  written.callback = call.callback;
  written.leaf = call.leaf->path.substr(call.leaf->path.rfind('.') + 1);
  written.ids = call.ids;
  written.src = call.src;
  written.value = call.value;
  written.op_flag = call.op_flag;
  for (const auto& [slot, value] : call.slots) {
    // Of a number the command reads the low 32 bits, without a sign.
    const bool is_number = value.leaf->type == NC_DM_VAL_TYPE_INT;
    written.slots[slot] =
        is_number ? std::to_string(static_cast<unsigned>(std::stol(value.text))) : value.text;
  }
  return written;
}

struct RequestOutcome {
  nc_int64 result = 0;
  int fault_code = 0;
  std::string fault_path = {};
  bool new_fault = false;
  int left = 0;  // edits that were not looked at
  std::vector<std::string> calls = {};
  std::map<std::string, int> tree = {};

  bool operator==(const RequestOutcome&) const = default;
};

class EditRandomTest : public testing::TestWithParam<unsigned> {
 protected:
  EditRandomTest() {
    for (const ModelLeaf& leaf : Schema()) {
      app_.Register(leaf);
      for (const Callback callback : {Callback::kSet, Callback::kGet, Callback::kCreate,
                                      Callback::kDelete, Callback::kGetAttr, Callback::kExeCmd}) {
        const std::string name = leaf.path.substr(leaf.path.rfind('.') + 1);
        app_.On(callback, name,
                [this, type = leaf.type](const ModelCall& call) { return Answer(call, type); });
      }
    }
  }

  nc_int64 Answer(const ModelCall& call, nc_dm_val_type_t type) const {
    bool exists = false;
    const nc_int64 result = script_(call.callback, call.leaf, call.ids, &exists);
    call.output->inst_exist = exists ? 1 : 0;
    if (call.callback == Callback::kGetAttr) call.output->instid = result;
    if (call.callback != Callback::kGet || result < 0) return result;
    if (type == NC_DM_VAL_TYPE_INT) {
      const auto number = static_cast<int32_t>(result);
      memcpy(call.buffer, &number, sizeof number);
    } else {
      Put(std::to_string(result), call.buffer);
    }
    return 0;
  }

  // Half of the runs have hash tables, which must make no difference.
  void SetUp() override {
    if (GetParam() % 2 == 0) return;
    g_nc_dm_mng_info.agent_init = true;
    for (std::string path : {"a.l.{i}.", "a.l.{i}.t", "a.l.{i}.s.{i}.", "a.c.u"}) {
      EXPECT_EQ(nc_dm_agent_reg_hash_tab(path.data(), 10000), 0) << path;
    }
    g_nc_dm_mng_info.agent_init = false;
  }

  // ---- Chance ----

  int Up(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }
  bool Chance(int percent) { return Up(100) < percent; }

  // ---- The tree ----

  void AddAny() {
    static const std::vector<std::vector<std::string>> lists = {
        {"a", "l"},      {"a", "l", "s"},       {"a", "l", "t"},  {"a", "c", "j"}, {"a", "c", "v"},
        {"a", "c", "u"}, {"a", "l", "o", "u2"}, {"a", "l", "t0"}, {"a", "y"}};
    const auto& names = lists[static_cast<size_t>(Up(static_cast<int>(lists.size())))];
    Ids ids;
    std::string path;
    for (const std::string& name : names) {
      path += (path.empty() ? "" : ".") + name;
      const nc_dm_agent_node_t* node = NodeAt(path);
      ASSERT_NE(node, nullptr) << path;
      if (node->node_type != NC_DM_NODE_TYPE_MULT_MODE &&
          node->node_type != NC_DM_NODE_TYPE_MULT_LEAF_MODE) {
        continue;
      }
      ids.push_back(1 + Up(4));
      path += "." + std::to_string(ids.back());
      if (NodeAt(path) == nullptr && &name != &names.back()) return;
    }
    if (NodeAt(path) != nullptr) return;
    const auto src = static_cast<nc_dm_node_src_t>(Up(4));
    AddInstance(path, src);
    tree_.AddInstance(names, ids, src);
  }

  void StampAny() {
    const auto tree = TreeSources();
    auto it = tree.begin();
    std::advance(it, Up(static_cast<int>(tree.size())));
    const auto src = static_cast<nc_dm_node_src_t>(Up(4));
    NodeAt(it->first)->src = src;
    tree_.SetSource(it->first, src);
  }

  // ---- Requests ----

  // A path as registered, or what is left of one, or one that nobody knows.
  std::string AnyPath() {
    std::string path = Schema()[static_cast<size_t>(Up(static_cast<int>(Schema().size())))].path;
    if (Chance(12)) path = path.substr(0, path.rfind('.'));
    if (Chance(5)) path += ".zz";
    if (Chance(4)) path = "zz." + path;
    if (Chance(3)) path.insert(path.size() / 2, "..");
    if (Chance(40)) {
      for (size_t at; (at = path.find(".{i}")) != std::string::npos;) path.erase(at, 4);
    }
    return path;
  }

  static std::string SiblingOf(const std::string& path, const std::string& other) {
    return path.substr(0, path.rfind('.') + 1) + other.substr(other.rfind('.') + 1);
  }

  int Lists(const std::string& path) const {
    return path.find(".s.") != std::string::npos || path.ends_with(".s")   ? 2
           : path.find(".l.") != std::string::npos || path.ends_with(".l") ? 1
           : path.find(".j.") != std::string::npos || path.find(".v.") != std::string::npos ||
                   path.find(".y.") != std::string::npos
               ? 1
               : 0;
  }

  ModelEdit AnyEdit(const std::vector<ModelEdit>& before) {
    ModelEdit edit;
    edit.name = AnyPath();
    for (int i = Lists(edit.name); i > 0; --i) edit.ids.push_back(1 + Up(4));
    if (Chance(6)) edit.ids.push_back(Up(4));
    if (Chance(4) && !edit.ids.empty()) edit.ids.pop_back();
    if (!before.empty() && Chance(60)) {
      const ModelEdit& other = before[static_cast<size_t>(Up(static_cast<int>(before.size())))];
      edit.ids = other.ids;
      // A leaf beside the other one, if there is one; if not, an unknown one.
      for (int tries = 0; tries < 10; ++tries) {
        const std::string path = AnyPath();
        edit.name = SiblingOf(other.name, path);
        if (edit.name == path) break;
      }
    }
    FillIn(&edit);
    edit.flag = Up(4);
    return edit;
  }

  void FillIn(ModelEdit* edit) {
    static constexpr const char* kValues[] = {"1", "-5", "3", nullptr, "x"};
    edit->val = kValues[Up(Chance(15) ? 5 : 4)];
    edit->op = op_ >= 0 && Chance(70) ? op_ : Up(8) - 1;
    edit->defop = Up(4);
    edit->erropt = Chance(goes_on_) ? 2 : Up(4);
  }

  // The edits of one entry: its keys, most of the time, and some of its leaves.
  std::vector<ModelEdit> AnyEntry() {
    static const struct {
      std::string path;
      int outer;
      std::vector<std::string> keys;
      std::vector<std::string> leaves;
    } lists[] = {{"a.l", 0, {"k", "k3"}, {"m", "n", "t", "t0", "o", "s", "zz"}},
                 {"a.l.s", 1, {"w"}, {"e", "zz"}},
                 {"a.c.j", 0, {"jk"}, {"zz"}},
                 {"a.c.v", 0, {"vn"}, {"vn"}},
                 {"a.y", 0, {"y2", "y3", "y1"}, {"zz"}}};
    const auto& list = lists[Up(5)];
    Ids ids;
    for (int i = 0; i < list.outer; ++i) ids.push_back(1 + Up(4));
    if (Chance(5)) ids.push_back(1 + Up(4));
    if (Chance(4) && !ids.empty()) ids.pop_back();

    std::vector<ModelEdit> edits;
    const auto add = [&](const std::string& leaf, bool is_key) {
      ModelEdit edit;
      edit.name = list.path + "." + leaf;
      if (Chance(3)) edit.name = list.path;
      if (Chance(2)) edit.name = "zz." + edit.name;
      edit.ids = ids;
      FillIn(&edit);
      edit.flag = Chance(4) != is_key ? 1 + Up(2) : 4;
      edits.push_back(edit);
    };
    for (const std::string& key : list.keys) {
      if (Chance(90)) add(key, true);
    }
    for (int more = Up(5); more > 0; --more) {
      add(list.leaves[static_cast<size_t>(Up(static_cast<int>(list.leaves.size())))], false);
    }
    if (Chance(20)) std::reverse(edits.begin(), edits.end());
    return edits;
  }

  // By paths, or with a packet type as the edit of an entry.
  RequestOutcome Expect(nc_int32 pkt_type, const std::vector<ModelEdit>& edits, bool sdn) {
    RequestOutcome expected;
    ReferenceEdits reference(&tree_, [&](const ReferenceCall& call) {
      const ModelCall written = Written(call);
      expected.calls.push_back(written.ToString());
      ReferenceAnswer answer;
      answer.result = script_(call.callback, written.leaf, call.ids, &answer.existed);
      answer.value = std::to_string(answer.result);
      return answer;
    });
    const ReferenceOutcome outcome = pkt_type == NC_DM_PKT_TYPE_END
                                         ? reference.EditSubtree(edits, sdn)
                                         : reference.EditEntry(pkt_type, edits, sdn);
    expected.result = outcome.result;
    expected.fault_code = outcome.fault.code;
    expected.fault_path = outcome.fault.path;
    expected.new_fault = outcome.fault.is_new;
    expected.left = outcome.left;
    expected.tree = tree_.Sources();
    return expected;
  }

  RequestOutcome Perform(nc_int32 pkt_type, const std::vector<ModelEdit>& edits, bool sdn) {
    app_.Forget();
    g_nc_dm_mng_info.curr_dstype = sdn ? NC_DM_DATASTORE_SDN : NC_DM_DATASTORE_RUNNING;
    nc_dm_fault_t fault{};
    ModelEdits request;
    for (const ModelEdit& edit : edits) request.Add(edit);
    RequestOutcome seen;
    seen.result = pkt_type == NC_DM_PKT_TYPE_END
                      ? nc_dm_agent_edit_subtree(nullptr, request.get(), &fault)
                      : nc_dm_agent_edit_object(pkt_type, request.get(), &fault);
    seen.fault_code = fault.fault_code;
    seen.fault_path = fault.path;
    seen.new_fault = fault.new_fault;
    seen.left = request.size();
    seen.calls = app_.CallTexts();
    seen.tree = TreeSources();
    return seen;
  }

  // An outcome, of its tree only what is otherwise in another one.
  static std::string Describe(const RequestOutcome& outcome, const RequestOutcome& other) {
    std::string text = "result " + std::to_string(outcome.result) + ", fault " +
                       std::to_string(outcome.fault_code) + " '" + outcome.fault_path + "'" +
                       (outcome.new_fault ? " new" : "") + ", left " +
                       std::to_string(outcome.left) + "\n";
    for (const std::string& call : outcome.calls) text += "  " + call + "\n";
    for (const auto& [path, src] : outcome.tree) {
      const auto found = other.tree.find(path);
      if (found != other.tree.end() && found->second == src) continue;
      text += "  " + path + " src " + std::to_string(src) + "\n";
    }
    return text;
  }

  static std::string Describe(const std::vector<ModelEdit>& edits) {
    std::string text;
    for (const ModelEdit& edit : edits) {
      text += "  " + edit.name + " [";
      for (const nc_int64 id : edit.ids) text += " " + std::to_string(id);
      text += " ] flag " + std::to_string(edit.flag) + " op " + std::to_string(edit.op) +
              " defop " + std::to_string(edit.defop) + " erropt " + std::to_string(edit.erropt) +
              " value " + (edit.val != nullptr ? edit.val : "(none)") + "\n";
    }
    return text;
  }

  std::minstd_rand random_{GetParam() + 1};
  nc_int32 op_ = -1;  // the operation of most edits, or any
  int goes_on_ = 0;   // percentage of edits with continue-on-error
  Script script_{0, 0};
  ModelApp app_;
  ReferenceTree tree_{Schema()};
};

TEST_P(EditRandomTest, EveryRequestComesOutAsPlainlyWritten) {
  constexpr int kRequests = 200;
  static constexpr nc_int32 kEntryTypes[] = {5, 6, 6, 8};
  size_t calls = 0;
  int successes[2] = {};
  for (int i = 0; i < kRequests; ++i) {
    for (int added = Up(4); added > 0; --added) AddAny();
    for (int stamped = Up(3); stamped > 0; --stamped) StampAny();
    script_ = Script(static_cast<unsigned>(random_()), Chance(50) ? 0 : 30);
    op_ = Chance(30) ? -1 : Up(6);
    goes_on_ = Chance(50) ? 80 : 0;
    const bool sdn = Chance(40);
    const bool entry = i % 2 != 0;
    const nc_int32 pkt_type = entry ? kEntryTypes[Up(4)] : NC_DM_PKT_TYPE_END;
    std::vector<ModelEdit> edits;
    if (entry) edits = AnyEntry();
    if (!entry) {
      for (int edit = 1 + Up(8); edit > 0; --edit) edits.push_back(AnyEdit(edits));
    }

    const RequestOutcome expected = Expect(pkt_type, edits, sdn);
    const RequestOutcome seen = Perform(pkt_type, edits, sdn);
    ASSERT_TRUE(seen == expected) << "request " << i << " packet type " << pkt_type
                                  << (sdn ? " (SDN)\n" : "\n") << Describe(edits) << "expected "
                                  << Describe(expected, seen) << "seen "
                                  << Describe(seen, expected);
    ASSERT_THAT(DataBlocks(), testing::IsEmpty());
    calls += seen.calls.size();
    if (seen.result >= 0) ++successes[entry ? 1 : 0];
  }
  // It would be no use if the requests all failed at once, or never did.
  EXPECT_GT(calls, static_cast<size_t>(kRequests) / 2);
  for (const int count : successes) {
    EXPECT_GT(count, kRequests / 20);
    EXPECT_LT(count, kRequests * 9 / 20);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, EditRandomTest, testing::Range(0u, 24u));

}  // namespace
}  // namespace ncdm_test
