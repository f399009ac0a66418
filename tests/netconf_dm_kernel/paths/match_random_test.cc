// Trees that grow and shrink at random, on which every matcher must give what a plain walk gives,
// down to the texts logged.

#include "netconf_dm_kernel/paths/reference_match.h"
#include "netconf_dm_kernel/random_tree.h"
#include "support/repeats.h"

namespace ncdm_test {
namespace {

class RandomMatchTest : public RandomTreeTest {
 protected:
  // A path with markers and numbers among the components, as a registration writes it.
  nc_dm_path_nodes_t AnyRegistrationPath() {
    const nc_dm_path_nodes_t path = AnyPath();
    nc_dm_path_nodes_t with_markers{};
    for (int i = 0; i < path.total_node; ++i) {
      AppendComponent(&with_markers, path.nodes[i]);
      if (path.instances[i] != 0 || Chance(20)) {
        const std::string id =
            Chance(30) ? "{i}" : std::to_string(static_cast<int>(path.instances[i]));
        AppendComponent(&with_markers, id);
      }
    }
    return with_markers;
  }

  struct Answer {
    int status = 0;
    Node* last = nullptr;
    nc_dm_path_nodes_t path{};
    int ids_used = 0;
    std::vector<std::string> log;
  };

  template <typename Ask>
  static Answer AnswerOf(const nc_dm_path_nodes_t& path, Ask ask) {
    Answer answer;
    answer.path = path;
    LogCapture::Get().Clear();
    answer.status = ask(&answer);
    answer.log = LogLines();
    return answer;
  }

  static void ExpectSame(const Answer& is, const Answer& should_be) {
    EXPECT_EQ(is.status, should_be.status);
    EXPECT_EQ(is.last, should_be.last) << Describe(is.last) << " " << Describe(should_be.last);
    EXPECT_EQ(is.path.match_cnt, should_be.path.match_cnt);
    EXPECT_EQ(memcmp(&is.path, &should_be.path, sizeof is.path), 0);
    EXPECT_EQ(is.ids_used, should_be.ids_used);
    EXPECT_EQ(is.log, should_be.log);
  }

  void AskMatchers() {
    list_head* root = &g_nc_agent_dm.dm_root;
    const nc_dm_path_nodes_t path = AnyPath();
    static constexpr int kFlags[] = {0, 1, 2, 4, 5, 8, 12};
    const int flag = kFlags[Up(7)];
    ExpectSame(AnswerOf(path,
                        [&](Answer* answer) {
                          return nc_dm_agent_match(root, &answer->path, &answer->last, flag);
                        }),
               AnswerOf(path, [&](Answer* answer) {
                 return reference::Match(root, &answer->path, &answer->last, flag);
               }));

    const nc_dm_id_array_t ids = IdsOf(path);
    nc_dm_path_nodes_t bare = path;
    memset(bare.instances, 0, sizeof bare.instances);
    const auto ask_with_ids = [&](auto match) {
      return AnswerOf(bare, [&](Answer* answer) {
        nc_dm_id_array_t used = ids;
        const int status = match(root, &answer->path, &answer->last, &used, flag);
        answer->ids_used = used.match_cnt;
        return status;
      });
    };
    ExpectSame(ask_with_ids(nc_dm_agent_match_id_arr), ask_with_ids(reference::MatchIdArr));

    const int bg = Up(2);
    const int mt = Up(6);
    ExpectSame(AnswerOf(path,
                        [&](Answer* answer) {
                          return nc_dm_agent_match_index(root, &answer->path, &answer->last, bg,
                                                         mt);
                        }),
               AnswerOf(path, [&](Answer* answer) {
                 return reference::MatchIndex(root, &answer->path, &answer->last, bg, mt);
               }));

    const nc_dm_path_nodes_t registration = AnyRegistrationPath();
    ExpectSame(AnswerOf(registration,
                        [&](Answer* answer) {
                          return nc_dm_agent_reg_match(root, &answer->path, &answer->last);
                        }),
               AnswerOf(registration, [&](Answer* answer) {
                 return reference::RegMatch(root, &answer->path, &answer->last);
               }));
  }

  void AskForChildren() {
    Node* parent = AnyNode([](const Node*) { return true; });
    if (parent == nullptr) return;
    std::string name = AnyName();
    if (const Node* child = Any(Children(parent)); child != nullptr && Chance(80)) {
      name = child->node_name;
    }
    const nc_int64 id = Up(8);
    LogCapture::Get().Clear();
    EXPECT_EQ(nc_dm_agent_search_mode_node(parent, name.data()),
              reference::SearchModeNode(parent, name.c_str()))
        << PathOf(parent) << " " << name;
    EXPECT_EQ(nc_dm_agent_has_inst_node(parent, name.data(), id),
              reference::HasInstNode(parent, name.c_str(), id))
        << PathOf(parent) << " " << name << " " << id;
    EXPECT_EQ(nc_dm_agent_check_width(parent), 0);
    EXPECT_THAT(LogLines(), testing::IsEmpty());
  }

  void Run(int changes) {
    const DebugMask mask(NC_DM_DBG_ERROR | NC_DM_DBG_INFO);
    for (int i = 0; i < Repeats(changes) && !HasFailure(); ++i) {
      ChangeSomething();
      ASSERT_EQ(CountersNow(), CountedNodes()) << "change " << i;
      for (int k = 0; k < 4; ++k) AskMatchers();
      for (int k = 0; k < 4; ++k) AskForChildren();
      LogCapture::Get().Clear();
    }
  }
};

TEST_P(RandomMatchTest, MatchersAgreeWithPlainWalks) { Run(400); }

TEST_P(RandomMatchTest, MatchersAgreeAmongHandMadeNodes) {
  hand_made_ = true;
  Run(400);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomMatchTest, testing::Range(1U, 13U));

}  // namespace
}  // namespace ncdm_test
