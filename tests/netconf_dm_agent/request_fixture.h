// What the tests of FILTER and GETID have in common: an application with a list, and the answers.
#ifndef TESTS_NETCONF_DM_AGENT_REQUEST_FIXTURE_H_
#define TESTS_NETCONF_DM_AGENT_REQUEST_FIXTURE_H_

#include "agent_fixture.h"
#include "support/model_app.h"
#include "support/tree_lock.h"

namespace ncdm_test {

// The application has net.vrf.{i} with the entries 1, 2 and 3, whose `name` and `zone` a test
// gives, and the leaf sys.host.
class RequestTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    app_.emplace();
    Register("sys.host");
    Register("net.vrf.{i}.name", NC_DM_FLAG_KEY);
    Register("net.vrf.{i}.zone");
    app_->On(Callback::kGet, "host", [](const ModelCall& call) {
      WriteText(call.buffer, "box");
      return 0;
    });
    Give("name", {"red", "blue", "blue"});
    Give("zone", {"in", "in", "out"});
    for (int id = 1; id <= 3; id++) {
      ASSERT_NE(AddInstance("net.vrf." + std::to_string(id)), nullptr);
    }
    app_->Forget();
    log().Clear();
  }

  void Register(const std::string& path, int flag = 0) {
    app_->Register(
        {.path = path, .flag = flag, .callbacks = static_cast<unsigned>(Callback::kGet)});
  }
  // The texts of a list's leaf, by entry. Walks ask the list's schema node too, which has none.
  void Give(const std::string& leaf, const std::vector<std::string>& texts) {
    app_->On(Callback::kGet, leaf, [texts](const ModelCall& call) {
      if (call.ids.empty()) return NC_DM_FAULT_CODE_OP_FAILED + 0;
      WriteText(call.buffer, texts.at(static_cast<size_t>(call.ids[0] - 1)));
      return 0;
    });
  }

  static size_t CollectedFilters() {
    size_t count = 0;
    for (const auto& node :
         nc::Records<nc_dm_stub_filter_node_t>(&g_nc_dm_filter_node_list.filter_head)) {
      count += node.filter != nullptr;
    }
    return count;
  }

  // Runs the write task until the closing message, which is checked; the segments before it.
  std::vector<Frame> TakeAnswer(zu_thread_func task, int type, int sid) {
    std::vector<Frame> segments;
    while (platform().Find(task) != nullptr) {
      EXPECT_EQ(platform().Find(task)->value, agent_fd());
      EXPECT_EQ(platform().RunNext(task), 0);
      segments.push_back(peer().Receive());
      EXPECT_EQ(segments.back().type(), type);
      EXPECT_EQ(segments.back().head.sid, sid);
    }
    if (segments.empty()) {
      ADD_FAILURE() << "no answer is being written";
      return segments;
    }
    EXPECT_EQ(segments.back().head.len, 4);
    EXPECT_EQ(segments.back().head.flag, 0);
    EXPECT_EQ(BodyReader(segments.back().body).Int32(), NC_DM_PKT_TYPE_END);
    EXPECT_TRUE(peer().IsQuiet());
    segments.pop_back();
    return segments;
  }

  using Values = std::vector<std::pair<std::string, std::string>>;
  Values TakeValues(int sid = 5) {
    Values values;
    for (const Frame& frame :
         TakeAnswer(nc_dm_agent_send_filter_rsp_lst, NC_DM_MSG_TYPE_FILTER_RSP, sid)) {
      BodyReader body(frame.body);
      EXPECT_EQ(body.Int32(), NC_DM_PKT_TYPE_SEGMENT);
      for (int i = 0; i < frame.head.entry_cnt; i++) {
        std::string name = body.Text();
        values.emplace_back(name, body.Text());
      }
      EXPECT_TRUE(body.AtEnd());
    }
    return values;
  }

  std::vector<Ids> TakeIds(int sid = 5) {
    std::vector<Ids> arrays;
    for (const Frame& frame :
         TakeAnswer(nc_dm_agent_send_getid_rsp_lst, NC_DM_MSG_TYPE_GETID_RSP, sid)) {
      EXPECT_EQ(frame.head.flag, NC_DM_MSG_FLAG_IDS);
      BodyReader body(frame.body);
      EXPECT_EQ(body.Int32(), NC_DM_PKT_TYPE_SEGMENT);
      for (int i = 0; i < frame.head.entry_cnt; i++) {
        Ids ids(static_cast<size_t>(body.Int32()));
        for (nc_int64& id : ids) id = body.Int64();
        arrays.push_back(ids);
      }
      EXPECT_TRUE(body.AtEnd());
    }
    return arrays;
  }

  // A request with a packet type and list entries.
  int Request(int type, int pkt_type, const Body& entries = {}, int entry_cnt = 0, int sid = 5) {
    return Handle(type, Body().Int32(pkt_type).bytes() + entries.bytes(), sid, entry_cnt);
  }

  std::optional<ModelApp> app_;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_AGENT_REQUEST_FIXTURE_H_
