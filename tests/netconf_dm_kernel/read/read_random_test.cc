// Trees that grow and shrink at random, on which every read and every lookup must give what a plain
// walk gives, with the same calls of the application and the same texts logged.

#include "netconf_dm_kernel/random_tree.h"
#include "netconf_dm_kernel/read/reference_read.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/repeats.h"

namespace ncdm_test {
namespace {

std::vector<std::string> g_calls;

// Answers with the ids that it is asked with, and now and then not.
int AnyGet(nc_dm_id_array_t* ids, char* value) {
  const std::string text = reference::IdsText(*ids);
  g_calls.push_back(text);
  switch ((text.size() + static_cast<size_t>(ids->cnt > 0 ? ids->id[ids->cnt - 1] : 0)) % 13) {
    case 4:
      return -7;
    case 8:
      return 1;
    case 12:
      memset(value, 'x', 256);
      return 0;
    default:
      memcpy(value, text.c_str(), text.size() + 1);
      return 0;
  }
}

class RandomReadTest : public RandomTreeTest {
 protected:
  ~RandomReadTest() override { g_calls.clear(); }

  // Gives the leaves that were made since their callback, and some node another source.
  void Prepare() {
    for (Node* node : AllNodes()) {
      if (node->node_name[0] != 'd') node->get = AnyGet;
    }
    if (Node* node = AnyNode([](const Node*) { return true; })) {
      node->src = static_cast<nc_dm_node_src_t>(Up(4));
    }
    g_nc_dm_mng_info.curr_dstype = Chance(20) ? NC_DM_DATASTORE_SDN : NC_DM_DATASTORE_RUNNING;
  }

  struct Answer {
    int status = 0;
    std::vector<std::string> results;
    nc_dm_path_nodes_t path{};
    int ids_used = 0;
    std::vector<std::string> calls;
    std::vector<std::string> log;
  };

  static std::string Describe(const nc_dm_path_nodes_t& path) {
    std::string text = std::to_string(path.total_node) + " " + std::to_string(path.match_cnt);
    for (int i = 0; i < NC_DM_MAX_DEPTH; ++i) {
      text += " " + std::string(path.nodes[i]) + ":" + std::to_string(path.instances[i]);
    }
    return text;
  }

  template <typename Ask>
  static Answer AnswerOf(const nc_dm_path_nodes_t& path, Ask ask) {
    Answer answer;
    answer.path = path;
    LogCapture::Get().Clear();
    g_calls.clear();
    ask(&answer);
    answer.calls = g_calls;
    answer.log = LogLines();
    return answer;
  }

  void ExpectSame(const Answer& is, const Answer& should_be) {
    results_ += is.results.size();
    EXPECT_EQ(is.status, should_be.status);
    EXPECT_EQ(is.results, should_be.results);
    EXPECT_EQ(Describe(is.path), Describe(should_be.path));
    EXPECT_EQ(is.ids_used, should_be.ids_used);
    EXPECT_EQ(is.calls, should_be.calls);
    EXPECT_EQ(is.log, should_be.log);
  }

  // Fills the answer's results with what a call collects, and checks the count.
  template <typename Call>
  static void CollectValues(Answer* answer, Call call) {
    nc_dm_list_t list = {};
    nc::InitList(&list.head);
    answer->status = call(&list);
    for (const auto& node : nc::Records<nc_dm_val_node_t>(&list.head)) {
      const nc_dm_val_entry_t& entry = node.val_entry;
      answer->results.push_back(reference::ValueLine(entry.dm_name, entry.dm_val, entry.src));
    }
    EXPECT_EQ(static_cast<size_t>(list.cnt), answer->results.size());
    nc_dm_agent_free_val_list(&list);
  }

  static nc_dm_path_nodes_t Bare(const nc_dm_path_nodes_t& path) {
    nc_dm_path_nodes_t bare = path;
    memset(bare.instances, 0, sizeof bare.instances);
    return bare;
  }

  // As a server writes it.
  std::string NameOf(const nc_dm_path_nodes_t& path) {
    std::string name;
    for (int i = 0; i < path.total_node; ++i) {
      name += (i > 0 ? "." : "") + std::string(path.nodes[i]);
      if (Chance(20) && path.total_node <= 8) name += ".{i}";
    }
    return name;
  }

  // ---- Questions ----

  void AskForASubtree() {
    Node* node = AnyNode([](const Node*) { return true; });
    if (node == nullptr) return;
    nc_dm_path_nodes_t path{};
    std::vector<const Node*> way;
    for (const Node* at = node; at != nullptr; at = at->parent) way.insert(way.begin(), at);
    if (way.size() > NC_DM_MAX_DEPTH) return;
    for (const Node* at : way) {
      AppendComponent(&path, at->node_name, IsInstance(at) ? at->instid : 0);
    }
    // A leaf-list's elements take the place of its id.
    if (node->node_type == NC_DM_NODE_TYPE_MULT_LEAF_MODE) path.instances[path.total_node - 1] = 0;
    ExpectSame(AnswerOf(path,
                        [&](Answer* answer) {
                          CollectValues(answer, [&](nc_dm_list_t* list) {
                            return nc_dm_agent_get_nodes_vals(list, &answer->path, node);
                          });
                        }),
               AnswerOf(path, [&](Answer* answer) {
                 answer->status = reference::GetNodesVals(&answer->results, &answer->path, node);
               }));
  }

  void AskOverAllInstances() {
    list_head* root = &g_nc_agent_dm.dm_root;
    const nc_dm_path_nodes_t path = Bare(AnyPath());
    const int mt = path.total_node - 1;
    ExpectSame(AnswerOf(path,
                        [&](Answer* answer) {
                          CollectValues(answer, [&](nc_dm_list_t* list) {
                            return nc_dm_agent_match_get_vals(list, root, &answer->path, 0, mt);
                          });
                        }),
               AnswerOf(path, [&](Answer* answer) {
                 reference::MatchGetVals(&answer->results, root, &answer->path, 0, mt);
                 answer->status = NC_DM_CLIENT_MATCH_STATUS_OBJECT;
               }));
  }

  void AskByFilter() {
    const nc_dm_path_nodes_t path = AnyPath();
    std::string name = NameOf(path);
    char given[] = "given";
    nc_dm_stub_filter_t filter = {};
    filter.name = name.data();
    filter.val = Chance(20) ? given : nullptr;
    const nc_dm_id_array_t ids = IdsOf(path);
    const bool has_ids = !Chance(20);
    nc_dm_stub_filter_node_list_t filters = {};
    nc::InitList(&filters.filter_head);
    nc_dm_stub_filter_node_t node = {};
    node.filter = &filter;
    nc::PushBack(&filters.filter_head, &node.lst);
    ExpectSame(AnswerOf({},
                        [&](Answer* answer) {
                          nc_dm_id_array_t used = ids;
                          filter.id_array = has_ids ? &used : nullptr;
                          CollectValues(answer, [&](nc_dm_list_t* list) {
                            return nc_dm_agent_filter_subtree_id_arr(&filters, list);
                          });
                          answer->ids_used = used.match_cnt;
                        }),
               AnswerOf({}, [&](Answer* answer) {
                 nc_dm_id_array_t used = ids;
                 reference::Filter(&answer->results, name.data(), filter.val,
                                   has_ids ? &used : nullptr);
                 answer->ids_used = used.match_cnt;
               }));

    filter.id_array = nullptr;
    ExpectSame(AnswerOf({},
                        [&](Answer* answer) {
                          CollectValues(answer, [&](nc_dm_list_t* list) {
                            return nc_dm_agent_filter_subtree(&g_nc_agent_dm.dm_root, &filter,
                                                              list);
                          });
                        }),
               AnswerOf({}, [&](Answer* answer) {
                 answer->status = reference::Show(&answer->results, name.data());
               }));
  }

  void AskForIds() {
    list_head* root = &g_nc_agent_dm.dm_root;
    const nc_dm_path_nodes_t found_path = AnyPath();
    const nc_dm_id_array_t ids = IdsOf(found_path);
    const nc_dm_path_nodes_t path = Bare(found_path);
    std::string value = reference::IdsText(ids);
    const bool has_value = !Chance(10);
    nc_dm_id_array_t known_ids = ids;
    known_ids.cnt = Up(ids.cnt + 1);
    const bool has_known = Chance(50);
    const int mt = path.total_node - 1;
    const auto ask = [&](auto call) {
      return AnswerOf(path, [&](Answer* answer) {
        nc_dm_id_array_t known = known_ids;
        call(answer, has_value ? value.data() : nullptr, has_known ? &known : nullptr);
        answer->ids_used = known.match_cnt;
      });
    };
    ExpectSame(
        ask([&](Answer* answer, char* text, nc_dm_id_array_t* known) {
          nc_dm_list_t list = {};
          nc::InitList(&list.head);
          answer->status =
              nc_dm_agent_match_get_id_arrays(&list, root, &answer->path, text, known, 0, mt);
          for (const auto& node : nc::Records<nc_dm_id_array_node_t>(&list.head)) {
            answer->results.push_back(reference::IdsText(node.id_array));
          }
          EXPECT_EQ(static_cast<size_t>(list.cnt), answer->results.size());
          nc_dm_agent_free_id_array_list(&list);
        }),
        ask([&](Answer* answer, const char* text, nc_dm_id_array_t* known) {
          reference::MatchGetIdArrays(&answer->results, root, &answer->path, text, known, 0, mt);
          answer->status = NC_DM_CLIENT_MATCH_STATUS_OBJECT;
        }));
  }

  void Run(int changes) {
    for (int i = 0; i < Repeats(changes) && !HasFailure(); ++i) {
      // Without a trace there are shorter ways than to walk.
      const DebugMask mask(NC_DM_DBG_ERROR | (i % 2 == 0 ? NC_DM_DBG_INFO : 0));
      ChangeSomething();
      Prepare();
      for (int k = 0; k < 2 && !HasFailure(); ++k) {
        AskForASubtree();
        AskOverAllInstances();
        AskByFilter();
        AskForIds();
      }
      LogCapture::Get().Clear();
    }
    EXPECT_GT(results_, 100U) << "hardly anything was read";
  }

  size_t results_ = 0;
};

TEST_P(RandomReadTest, ReadsAgreeWithPlainWalks) { Run(300); }

TEST_P(RandomReadTest, ReadsAgreeAmongHandMadeNodes) {
  hand_made_ = true;
  Run(300);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomReadTest, testing::Range(1U, 9U));

}  // namespace
}  // namespace ncdm_test
