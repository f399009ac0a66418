#include "request_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class FilterTest : public RequestTest {
 protected:
  int Filter(int pkt_type, const Body& entries = {}, int entry_cnt = 0, int sid = 5) {
    return Request(NC_DM_MSG_TYPE_FILTER, pkt_type, entries, entry_cnt, sid);
  }
  int FilterSingle(const std::string& name) {
    return Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text(name), 5, 0,
                  NC_DM_MSG_FLAG_NAME);
  }
  // A message for the handlers themselves.
  static nc_dm_msg_t* PutMessage(std::string_view body, int flag = 0) {
    nc_dm_msg_t* message = nc_dm_agent_init_in_msg();
    message->head.flag = flag;
    message->head.len = static_cast<nc_int32>(body.size());
    memcpy(message->buf, body.data(), body.size());
    return message;
  }
};

TEST_F(FilterTest, SegmentsAreCollectedAndThenRun) {
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("sys.host"), 1), 0);
  EXPECT_EQ(
      Filter(NC_DM_PKT_TYPE_SEGMENT,
             Body().Filter("net.vrf.{i}.name", {}, {2}).Filter("net.vrf.{i}.zone", {}, {3}), 2),
      0);
  EXPECT_EQ(CollectedFilters(), 3u);
  EXPECT_FALSE(log().ContainsError("Failed to decode filter list message!\n"));
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(platform().Pending().size(), 0u);

  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_END, {}, 0, 8), 0);
  EXPECT_EQ(CollectedFilters(), 0u);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(info().msg_head.sid, 8);
  EXPECT_THAT(TakeValues(8), ElementsAre(Pair("sys.host", "box"), Pair("net.vrf.2.name", "blue"),
                                         Pair("net.vrf.3.zone", "out")));
}

TEST_F(FilterTest, ResultsThatFitOneSegmentAreTwoMessages) {
  EXPECT_EQ(FilterSingle("sys.host"), 0);
  EXPECT_EQ(TakeAnswer(nc_dm_agent_send_filter_rsp_lst, NC_DM_MSG_TYPE_FILTER_RSP, 5).size(), 1u);
}

TEST_F(FilterTest, NothingCollectedIsAnEmptyAnswer) {
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_END), 0);
  EXPECT_TRUE(log().ContainsError("The filter node list is empty!\n"));
  EXPECT_THAT(TakeValues(), IsEmpty());
}

TEST_F(FilterTest, AFilterThatMatchesNothingIsAnEmptyAnswer) {
  EXPECT_EQ(FilterSingle("no.such"), 0);
  EXPECT_THAT(TakeValues(), IsEmpty());
}

TEST_F(FilterTest, ASingleFilterIsRunAtOnce) {
  EXPECT_EQ(FilterSingle("net.vrf.{i}.name"), 0);
  EXPECT_THAT(TakeValues(),
              ElementsAre(Pair("net.vrf.1.name", "red"), Pair("net.vrf.2.name", "blue"),
                          Pair("net.vrf.3.name", "blue")));
}

TEST_F(FilterTest, ASingleFilterRunsBehindThoseCollected) {
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("net.vrf.{i}.zone", {}, {3}), 1), 0);
  EXPECT_EQ(FilterSingle("sys.host"), 0);
  EXPECT_EQ(CollectedFilters(), 0u);
  EXPECT_THAT(TakeValues(), ElementsAre(Pair("net.vrf.3.zone", "out"), Pair("sys.host", "box")));
}

TEST_F(FilterTest, ASingleFilterMayCarryIdsAndAValue) {
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER,
                   Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("net.vrf.{i}.name").Text("x").Ids({2}),
                   5, 0, NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE | NC_DM_MSG_FLAG_IDS),
            0);
  EXPECT_THAT(TakeValues(), ElementsAre(Pair("net.vrf.2.name", "x")));
}

TEST_F(FilterTest, ASegmentThatCannotBeDecodedDropsWhatWasCollected) {
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("sys.host"), 1), 0);
  log().Clear();
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("sys.host"), 2), 0);
  EXPECT_TRUE(log().ContainsError("Failed to decode filter list message!\n"));
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
  EXPECT_EQ(CollectedFilters(), 0u);
  EXPECT_EQ(platform().Pending().size(), 0u);
}

TEST_F(FilterTest, ASingleFilterThatCannotBeDecodedDropsWhatWasCollected) {
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("sys.host"), 1), 0);
  log().Clear();
  // Announces a value that is not there.
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("sys.host"), 5,
                   0, NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE),
            0);
  EXPECT_TRUE(log().ContainsError("Failed to decode filter list message!\n"));
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
  EXPECT_EQ(CollectedFilters(), 0u);
  EXPECT_EQ(platform().Pending().size(), 0u);
}

TEST_F(FilterTest, AMissingPacketTypeDropsWhatWasCollected) {
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("sys.host"), 1), 0);
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, "abc", 5), 0);
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
  EXPECT_EQ(CollectedFilters(), 0u);
}

TEST_F(FilterTest, OtherPacketTypesDoNothing) {
  EXPECT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("sys.host"), 1), 0);
  for (int pkt_type : {0, 3, 5, 8, 11, 12}) {
    EXPECT_EQ(Filter(pkt_type), 0);
    EXPECT_TRUE(peer().IsQuiet());
  }
  EXPECT_EQ(CollectedFilters(), 1u);
  EXPECT_EQ(platform().Pending().size(), 0u);
}

TEST_F(FilterTest, ARequestThatCannotBeReadIsRefusedAndLeavesNothing) {
  // Announces a value that is not there.
  nc_dm_msg_t* message = PutMessage(Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("sys.host"),
                                    NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE);
  nc_dm_fault_t fault = {};
  const int live = FailingAlloc::Live();
  EXPECT_EQ(nc_dm_agent_handle_msg_filter(agent_fd(), message, &fault), -1);
  EXPECT_EQ(FailingAlloc::Live(), live);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_PARSE);

  for (const std::string& body : {std::string("abc"), Body().Int32(-4).bytes()}) {
    message = PutMessage(body);
    fault = {};
    EXPECT_EQ(nc_dm_agent_handle_msg_filter(agent_fd(), message, &fault), -1);
    EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_PARSE);
    fault = {};
    EXPECT_EQ(nc_dm_agent_handle_msg_getid(agent_fd(), message, &fault), -1);
    EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_PARSE);
  }
}

TEST_F(FilterTest, MemoryThatIsShortIsAFault) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  nc_dm_msg_t* message = PutMessage(Body().Int32(NC_DM_PKT_TYPE_FILTER));
  constexpr const char* kFailures[] = {"Failed to malloc filter_node!\n",
                                       "Failed to malloc filter_node->filter!\n"};
  for (int successes : {0, 1}) {
    nc_dm_fault_t fault = {};
    const FailingAlloc failing(successes);
    EXPECT_EQ(nc_dm_agent_handle_msg_filter(agent_fd(), message, &fault), -1);
    EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_MEM);
    EXPECT_TRUE(log().ContainsError(kFailures[successes]));
    EXPECT_EQ(CollectedFilters(), 0u);
    EXPECT_EQ(platform().Pending().size(), 0u);
  }
}

TEST_F(FilterTest, AnAnswerThatCannotBeScheduledIsReleased) {
  platform().FailNext(1);
  EXPECT_EQ(FilterSingle("sys.host"), 0);
  EXPECT_TRUE(log().ContainsError("Failed to add zu-thread for filter response write!\n"));
  EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(FilterTest, AnAnswerThatALostConnectionLeftIsReleasedByTheNextRequest) {
  EXPECT_EQ(FilterSingle("net.vrf.{i}.name"), 0);
  nc_dm_agent_clear_connect();
  EXPECT_FALSE(nc::IsEmpty(&info().param_list.head));
  Connect();
  EXPECT_EQ(FilterSingle("sys.host"), 0);
  EXPECT_THAT(TakeValues(), ElementsAre(Pair("sys.host", "box")));
}

// The server ought to wait. What it gets when it does not is the second answer, and no memory is
// taken for what it is not.
TEST_F(FilterTest, AFilterTakesThePlaceOfALookupsAnswer) {
  ASSERT_EQ(Request(NC_DM_MSG_TYPE_GETID, NC_DM_PKT_TYPE_SEGMENT,
                    Body().Filter("net.vrf.{i}.name", "blue"), 1),
            0);
  ASSERT_EQ(Request(NC_DM_MSG_TYPE_GETID, NC_DM_PKT_TYPE_END), 0);
  ASSERT_NE(tasks().tt_idrsp, nullptr);
  EXPECT_EQ(FilterSingle("sys.host"), 0);
  EXPECT_EQ(tasks().tt_idrsp, nullptr);
  EXPECT_THAT(TakeValues(), ElementsAre(Pair("sys.host", "box")));
  EXPECT_EQ(platform().Pending().size(), 0u);
}

TEST_F(FilterTest, TheTreeIsHeldWhileItIsRead) {
  bool was_free = true;
  app_->On(Callback::kGet, "host", [&](const ModelCall&) {
    was_free = IsTreeFree();
    return 0;
  });
  EXPECT_EQ(FilterSingle("sys.host"), 0);
  EXPECT_FALSE(was_free);
  EXPECT_TRUE(IsTreeFree());
  EXPECT_THAT(TakeValues(), ElementsAre(Pair("sys.host", "")));
}

TEST_F(FilterTest, OnlyValuesOfTheDatastoreAreAnswered) {
  NodeAt("net.vrf.2.name")->src = NC_DM_NODE_SRC_SDN;
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("net.vrf"), 5, 0,
                   NC_DM_MSG_FLAG_NAME, NC_DM_DATASTORE_SDN),
            0);
  EXPECT_THAT(TakeValues(), ElementsAre(Pair("net.vrf.2.name", "blue")));
}

// ---- nc_dm_agent_do_filter ----

class DoFilterTest : public FilterTest {
 protected:
  void SetUp() override {
    FilterTest::SetUp();
    ASSERT_EQ(Filter(NC_DM_PKT_TYPE_SEGMENT, Body().Filter("sys.host"), 1), 0);
  }
  static int Count(const nc_dm_list_t& list) {
    int count = 0;
    for (const auto& node : nc::Records<nc_dm_val_node_t>(&list.head)) {
      count += node.val_entry.dm_val != nullptr;
    }
    return count;
  }
  nc_dm_fault_t fault_ = {};
};

TEST_F(DoFilterTest, TheResultIsThatOfTheLastRun) {
  nc_dm_list_t list = {};
  list.cnt = 5;  // of nothing: the head is cleared
  const int live = FailingAlloc::Live();
  for (int i = 0; i < 2; i++) {
    EXPECT_EQ(nc_dm_agent_do_filter(&g_nc_dm_filter_node_list, &list, &fault_), 0);
    EXPECT_EQ(Count(list), 1);
    EXPECT_EQ(list.cnt, 1);
  }
  nc_dm_agent_free_val_list(&list);
  EXPECT_EQ(FailingAlloc::Live(), live);
}

TEST_F(DoFilterTest, NoFiltersEmptyTheResult) {
  nc_dm_list_t list = {};
  EXPECT_EQ(nc_dm_agent_do_filter(&g_nc_dm_filter_node_list, &list, &fault_), 0);
  nc_dm_agent_op_data_init();
  EXPECT_EQ(nc_dm_agent_do_filter(&g_nc_dm_filter_node_list, &list, &fault_), 0);
  EXPECT_EQ(Count(list), 0);
  EXPECT_EQ(list.cnt, 0);
  EXPECT_EQ(fault_.fault_code, NC_DM_FAULT_CODE_OK);
}

}  // namespace
}  // namespace ncdm_test
