// What a server may make the agent keep between the messages of a request.

#include "netconf_dm_agent/collected_requests.h"

#include "agent_fixture.h"

namespace ncdm_test {
namespace {

constexpr int kSegment = NC_DM_PKT_TYPE_SEGMENT;
constexpr int kEnd = NC_DM_PKT_TYPE_END;

// A kind of request that is collected.
struct Kind {
  const char* name;
  int type;
  Body (*entry)(Body body, const std::string& name);
  list_head* list;
};

Body EditEntry(Body body, const std::string& name) { return body.Edit(0, 1, name, std::nullopt); }
Body FilterEntry(Body body, const std::string& name) { return body.Filter(name); }

const Kind kKinds[] = {
    {"edit", NC_DM_MSG_TYPE_EDIT, EditEntry, &g_nc_dm_edit_node_list.edit_head},
    {"filter", NC_DM_MSG_TYPE_FILTER, FilterEntry, &g_nc_dm_filter_node_list.filter_head},
    {"getid", NC_DM_MSG_TYPE_GETID, FilterEntry, &g_nc_dm_filter_node_list.filter_head},
};

class CollectedRequestsTest : public AgentTest, public testing::WithParamInterface<Kind> {
 protected:
  void SetUp() override {
    InitWithPeer();
    silent_.emplace(0);
  }

  // Sends segments of `count` elements in all.
  void Collect(size_t count, const std::string& name = "a.b", int sid = 1) {
    constexpr size_t kMaxBody = 2500;
    while (count > 0) {
      Body body;
      body.Int32(kSegment);
      int entries = 0;
      for (; count > 0 && body.bytes().size() + name.size() + 60 < kMaxBody; --count, ++entries) {
        body = GetParam().entry(body, name);
      }
      ASSERT_EQ(Handle(GetParam().type, body, sid, entries), 0);
    }
  }
  void End(int sid) { ASSERT_EQ(Handle(GetParam().type, Body().Int32(kEnd), sid), 0); }
  static size_t Collected() {
    size_t count = 0;
    for (const list_head* at = GetParam().list->next; at != GetParam().list; at = at->next) ++count;
    return count;
  }
  std::optional<DebugMask> silent_;
};

TEST_P(CollectedRequestsTest, TakeAsManyElementsAsTheyMay) {
  Collect(nc::kMaxCollectedElements);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(Collected(), nc::kMaxCollectedElements);
}

TEST_P(CollectedRequestsTest, OneElementMoreIsAFaultAndEverythingGoes) {
  Collect(nc::kMaxCollectedElements);
  const DebugMask errors(NC_DM_DBG_ERROR);
  Collect(1, "a.b", 7);
  EXPECT_FALSE(log().ContainsError("Failed to decode edit list message!\n"));
  ExpectFault(NC_DM_FAULT_CODE_MEM, 7);
  EXPECT_EQ(Collected(), 0u);
}

TEST_P(CollectedRequestsTest, SegmentsBehindARefusedOneAreDroppedAndTheEndIsRefused) {
  Collect(nc::kMaxCollectedElements + 1);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 1);
  Collect(1000);
  EXPECT_EQ(Collected(), 0u);
  EXPECT_TRUE(peer().IsQuiet()) << "the fault is sent once";
  End(9);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 9);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(tasks().tt_fltrsp, nullptr);
  EXPECT_EQ(tasks().tt_idrsp, nullptr);
}

TEST_P(CollectedRequestsTest, TheNextRequestIsCollectedAgain) {
  Collect(nc::kMaxCollectedElements + 1);
  End(1);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 1);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 1);
  Collect(3);
  EXPECT_EQ(Collected(), 3u);
  End(2);
  EXPECT_EQ(Collected(), 0u);
}

TEST_P(CollectedRequestsTest, HeapIsBoundedToo) {
  const std::string long_name(2000, 'n');
  Collect(7000, long_name);  // each takes more than 2,000 bytes
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(Collected(), 7000u);
  Collect(1500, long_name);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 1);
  EXPECT_EQ(Collected(), 0u);
}

TEST_P(CollectedRequestsTest, ARequestThatWasExecutedCountsNoMore) {
  for (int i = 0; i < 3; i++) {
    Collect(nc::kMaxCollectedElements / 2);
    EXPECT_EQ(Collected(), nc::kMaxCollectedElements / 2);
    nc_dm_agent_free_edit_node_list(&g_nc_dm_edit_node_list);
    nc_dm_agent_free_filter_node_list(&g_nc_dm_filter_node_list);
  }
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_P(CollectedRequestsTest, ANewConnectionBeginsAnew) {
  Collect(nc::kMaxCollectedElements + 1);
  const Server server(dir());
  nc_dm_agent_clear_connect();
  ASSERT_EQ(nc_dm_agent_connect_socket(), 0);
  close(agent_fd());
  Connect();
  Collect(2);
  EXPECT_EQ(Collected(), 2u);
  EXPECT_TRUE(peer().IsQuiet());
}

INSTANTIATE_TEST_SUITE_P(Kinds, CollectedRequestsTest, testing::ValuesIn(kKinds),
                         [](const auto& param) { return param.param.name; });

class CollectedFiltersTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    silent_.emplace(0);
  }
  void Collect(size_t count) {
    for (; count > 0; count -= 64) {
      Body body;
      body.Int32(kSegment);
      for (int i = 0; i < 64; i++) body.Filter("a");
      ASSERT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, body, 1, 64), 0);
    }
  }
  int SendSingle(int sid) {
    return Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("a"), sid, 0,
                  NC_DM_MSG_FLAG_NAME);
  }

  std::optional<DebugMask> silent_;
};

TEST_F(CollectedFiltersTest, ASingleFilterThatWouldBeTooMuchIsRefusedAndEndsTheRequest) {
  Collect(nc::kMaxCollectedElements);
  EXPECT_EQ(SendSingle(5), 0);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 5);
  EXPECT_TRUE(nc::IsEmpty(&g_nc_dm_filter_node_list.filter_head));
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(kEnd), 6), 0);
  EXPECT_TRUE(peer().IsQuiet()) << "the next request is an empty one";
  EXPECT_NE(tasks().tt_fltrsp, nullptr);
}

TEST_F(CollectedFiltersTest, ASingleFilterEndsARefusedRequest) {
  Collect(nc::kMaxCollectedElements + 64);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 1);
  EXPECT_EQ(SendSingle(5), 0);
  ExpectFault(NC_DM_FAULT_CODE_MEM, 5);
  Collect(64);
  EXPECT_FALSE(nc::IsEmpty(&g_nc_dm_filter_node_list.filter_head));
}

}  // namespace
}  // namespace ncdm_test
