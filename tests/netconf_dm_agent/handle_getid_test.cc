#include "request_fixture.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class GetidTest : public RequestTest {
 protected:
  int Getid(int pkt_type, const Body& entries = {}, int entry_cnt = 0, int sid = 5) {
    return Request(NC_DM_MSG_TYPE_GETID, pkt_type, entries, entry_cnt, sid);
  }
  int Collect(const Body& entries, int entry_cnt) {
    return Getid(NC_DM_PKT_TYPE_SEGMENT, entries, entry_cnt);
  }
};

TEST_F(GetidTest, ALookupFindsTheInstancesWithTheValue) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  EXPECT_EQ(CollectedFilters(), 1u);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(platform().Pending().size(), 0u);

  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END, {}, 0, 8), 0);
  EXPECT_EQ(CollectedFilters(), 0u);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_THAT(TakeIds(8), ElementsAre(Ids{2}, Ids{3}));
}

TEST_F(GetidTest, SeveralFiltersAreIntersected) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.zone", "in"), 1), 0);
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_THAT(TakeIds(), ElementsAre(Ids{2}));
}

TEST_F(GetidTest, OneFilterWithoutAResultEmptiesTheAnswer) {
  EXPECT_EQ(Collect(Body()
                        .Filter("net.vrf.{i}.name", "blue")
                        .Filter("net.vrf.{i}.zone", "nowhere")
                        .Filter("net.vrf.{i}.zone", "in"),
                    3),
            0);
  app_->Forget();
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_TRUE(log().ContainsError("The tmp id array list is empty!\n"));
  // It stops there: the name, and the zone, of three entries.
  EXPECT_EQ(app_->calls().size(), 6u);
  EXPECT_THAT(TakeIds(), IsEmpty());
  EXPECT_EQ(CollectedFilters(), 0u);
}

TEST_F(GetidTest, IdsNarrowTheLookup) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue", {3}), 1), 0);
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_THAT(TakeIds(), ElementsAre(Ids{3}));
}

TEST_F(GetidTest, NothingCollectedIsAnEmptyAnswer) {
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_THAT(TakeIds(), IsEmpty());
}

TEST_F(GetidTest, ASegmentThatCannotBeDecodedDropsWhatWasCollected) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 2), 0);
  EXPECT_FALSE(log().ContainsError("Failed to decode filter list message!\n"));
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
  EXPECT_EQ(CollectedFilters(), 0u);
}

TEST_F(GetidTest, AMissingPacketTypeDropsWhatWasCollected) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  EXPECT_EQ(Handle(NC_DM_MSG_TYPE_GETID, "abc", 5), 0);
  ExpectFault(NC_DM_FAULT_CODE_PARSE, 5);
  EXPECT_EQ(CollectedFilters(), 0u);
}

TEST_F(GetidTest, OtherPacketTypesDoNothing) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  for (int pkt_type : {0, 3, 4, 8, 11, 12}) {
    EXPECT_EQ(Getid(pkt_type), 0);
    EXPECT_TRUE(peer().IsQuiet());
  }
  EXPECT_EQ(CollectedFilters(), 1u);
  EXPECT_EQ(platform().Pending().size(), 0u);
}

TEST_F(GetidTest, ALookupThatFailsIsAFaultAndLeavesNothing) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue").Filter("", "x"), 2), 0);
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  ExpectFault(NC_DM_FAULT_CODE_OP_FAILED, 5);
  EXPECT_EQ(CollectedFilters(), 0u);
  EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
  EXPECT_EQ(platform().Pending().size(), 0u);
  // The lock is free again.
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_THAT(TakeIds(), IsEmpty());
}

TEST_F(GetidTest, TheTreeIsHeldWhileItIsSearched) {
  bool was_free = true;
  app_->On(Callback::kGet, "host", [&](const ModelCall& call) {
    was_free = IsTreeFree();
    WriteText(call.buffer, "box");
    return 0;
  });
  for (const char* value : {"box", "other"}) {
    EXPECT_EQ(Collect(Body().Filter("sys.host", value), 1), 0);
    EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
    EXPECT_FALSE(was_free);
    EXPECT_TRUE(IsTreeFree());
    was_free = true;
  }
}

TEST_F(GetidTest, AnAnswerThatCannotBeScheduledIsReleased) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  platform().FailNext(1);
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_TRUE(log().ContainsError("Failed to add zu-thread for getid response write!\n"));
  EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
}

TEST_F(GetidTest, AnAnswerThatALostConnectionLeftIsReleasedByTheNextRequest) {
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  nc_dm_agent_clear_connect();
  EXPECT_FALSE(nc::IsEmpty(&info().param_list.head));
  Connect();
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "red"), 1), 0);
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_THAT(TakeIds(), ElementsAre(Ids{1}));
}

TEST_F(GetidTest, ALookupTakesThePlaceOfAFiltersAnswer) {
  ASSERT_EQ(Handle(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text("net.vrf"), 5, 0,
                   NC_DM_MSG_FLAG_NAME),
            0);
  ASSERT_NE(tasks().tt_fltrsp, nullptr);
  EXPECT_EQ(Collect(Body().Filter("net.vrf.{i}.name", "blue"), 1), 0);
  EXPECT_EQ(Getid(NC_DM_PKT_TYPE_END), 0);
  EXPECT_EQ(tasks().tt_fltrsp, nullptr);
  EXPECT_THAT(TakeIds(), ElementsAre(Ids{2}, Ids{3}));
  EXPECT_EQ(platform().Pending().size(), 0u);
}

}  // namespace
}  // namespace ncdm_test
