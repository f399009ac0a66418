// Filters and lookups of ids out of received messages.
#include <climits>
#include <string>
#include <vector>

#include "decode_fixture.h"

namespace {

using ncdm_test::Body;
using ncdm_test::ErrorLines;
using ncdm_test::Field;
using ncdm_test::Message;
using ncdm_test::PacketLines;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// A list that is emptied with its scope.
class FilterList {
 public:
  FilterList() { list.filter_head = {&list.filter_head, &list.filter_head}; }
  FilterList(const FilterList&) = delete;
  FilterList& operator=(const FilterList&) = delete;
  ~FilterList() { nc_dm_agent_free_filter_node_list(&list); }

  std::vector<nc_dm_stub_filter_t*> filters() const {
    std::vector<nc_dm_stub_filter_t*> filters;
    for (list_head* link = list.filter_head.next; link != &list.filter_head; link = link->next) {
      filters.push_back(reinterpret_cast<nc_dm_stub_filter_node_t*>(link)->filter);
    }
    return filters;
  }

  size_t size() const { return filters().size(); }

  nc_dm_stub_filter_node_list_t list = {};
};

class DecodeFilterTest : public ncdm_test::DecodeTest {};

Body OneEntry() {
  Body body;
  body.Int32(9).Int32(1).Text("a.b").Text("57").Int32(2);
  return body.Int64(7).Int64(-8);
}

TEST_F(DecodeFilterTest, Entry) {
  FilterList list;
  EXPECT_EQ(nc_dm_agent_decode_filter_list(Message(OneEntry(), 0, 1).get(), &list.list), 0);
  ASSERT_THAT(list.filters(), SizeIs(1));
  const nc_dm_stub_filter_t& filter = *list.filters()[0];
  EXPECT_EQ(filter.pkt_type, 0);
  EXPECT_STREQ(filter.name, "a.b");
  EXPECT_STREQ(filter.val, "57");
  ASSERT_NE(filter.id_array, nullptr);
  EXPECT_EQ(filter.id_array->cnt, 2);
  EXPECT_EQ(filter.id_array->match_cnt, 0);
  EXPECT_EQ(filter.id_array->id[0], 7);
  EXPECT_EQ(filter.id_array->id[1], -8);
  EXPECT_EQ(list.list.cnt, 0);
  EXPECT_THAT(ErrorLines(), IsEmpty());
  EXPECT_THAT(PacketLines(),
              ElementsAre("Filter packet type = 9\n", "stub_filter->name:a.b\n",
                          "stub_filter->val:57\n", "stub_filter->id_array->cnt:2\n",
                          "stub_filter->id_array->id[0]:7\n", "stub_filter->id_array->id[1]:-8\n"));
}

TEST_F(DecodeFilterTest, EntriesInOrderWithAndWithoutValueAndIds) {
  Body body;
  body.Int32(9);
  body.Int32(0).Text("a").Int32(0);
  body.Int32(1).Text("b").Text("").Int32(-1);
  body.Int32(-1).Text("c").Text("x").Int32(1).Int64(3);
  FilterList list;
  EXPECT_EQ(nc_dm_agent_decode_filter_list(Message(body, 0, 3).get(), &list.list), 0);
  const auto filters = list.filters();
  ASSERT_THAT(filters, SizeIs(3));
  EXPECT_STREQ(filters[0]->name, "a");
  EXPECT_EQ(filters[0]->val, nullptr);
  EXPECT_EQ(filters[0]->id_array, nullptr);
  EXPECT_STREQ(filters[1]->name, "b");
  EXPECT_STREQ(filters[1]->val, "");
  EXPECT_EQ(filters[1]->id_array, nullptr);
  EXPECT_STREQ(filters[2]->name, "c");
  EXPECT_STREQ(filters[2]->val, "x");
  EXPECT_EQ(filters[2]->id_array->id[0], 3);
}

TEST_F(DecodeFilterTest, SegmentsAddToTheList) {
  FilterList list;
  EXPECT_EQ(nc_dm_agent_decode_filter_list(Message(OneEntry(), 0, 1).get(), &list.list), 0);
  EXPECT_EQ(nc_dm_agent_decode_filter_list(Message(OneEntry(), 0, 1).get(), &list.list), 0);
  EXPECT_THAT(list.filters(), SizeIs(2));
}

TEST_F(DecodeFilterTest, SomePacketTypesHaveNoEntries) {
  FilterList list;
  for (const int packet_type : {3, 10}) {
    const Message message(Body().Int32(packet_type), 0, 1);
    EXPECT_EQ(nc_dm_agent_decode_filter_list(message.get(), &list.list), 0);
  }
  EXPECT_THAT(ErrorLines(), IsEmpty());
  for (const int packet_type : {4, 8, 9}) {
    const Message message(Body().Int32(packet_type), 0, 1);
    EXPECT_EQ(nc_dm_agent_decode_filter_list(message.get(), &list.list), -1);
  }
  EXPECT_THAT(list.filters(), IsEmpty());
}

TEST_F(DecodeFilterTest, EntryCountBelowZeroAndBeyondTheBody) {
  FilterList list;
  const Message none(Body().Int32(9), 0, 0);
  EXPECT_EQ(nc_dm_agent_decode_filter_list(none.get(), &list.list), 0);
  EXPECT_THAT(ErrorLines(), IsEmpty());
  const Message negative(Body().Int32(9), 0, INT_MIN);
  EXPECT_EQ(nc_dm_agent_decode_filter_list(negative.get(), &list.list), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The message error len=4, decode len=4!\n"));
  const Message beyond(OneEntry(), 0, 2);
  EXPECT_EQ(nc_dm_agent_decode_filter_list(beyond.get(), &list.list), -1);
  EXPECT_EQ(ErrorLines().back(), "Failed to decode message!\n");
  EXPECT_THAT(list.filters(), SizeIs(1));
}

TEST_F(DecodeFilterTest, EntryCutAnywhereFailsAtTheFieldThatIsCut) {
  const Body body = OneEntry();
  const Field fields[] = {
      {4, "Failed to decode message packet type field!\n"},
      {8, "Failed to decode message!\n"},
      {15, "Failed to decode stub_filter->name!\n"},
      {21, "Failed to decode msg!\n"},
      {25, "Failed to decode id_array->cnt!\n"},
      {33, "Failed to decode id[0]:0\n"},
      {41, "Failed to decode id[1]:0\n"},
  };
  ExpectEachCutToFail(body, fields, [](const Body& cut) {
    FilterList list;
    EXPECT_EQ(nc_dm_agent_decode_filter_list(Message(cut, 0, 1).get(), &list.list), -1);
    EXPECT_THAT(list.filters(), IsEmpty());
    EXPECT_THAT(ErrorLines(), SizeIs(2));
  });
}

TEST_F(DecodeFilterTest, SeventeenIdsFailAtTheirCount) {
  for (const int count : {16, 17}) {
    Forget();
    Body body;
    body.Int32(9).Int32(0).Text("a").Int32(count);
    for (int i = 1; i <= 17; ++i) body.Int64(i);
    FilterList list;
    EXPECT_EQ(nc_dm_agent_decode_filter_list(Message(body, 0, 1).get(), &list.list),
              count == 16 ? 0 : -1);
    EXPECT_THAT(list.filters(), SizeIs(count == 16 ? 1 : 0));
    if (count == 17) {
      EXPECT_THAT(ErrorLines(), ElementsAre("Failed to decode id_array->cnt!\n"));
    }
  }
}

TEST_F(DecodeFilterTest, EveryAllocationMayFailAndLeavesNothingBehind) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  const Message message(OneEntry(), 0, 1);
  const char* const failures[] = {
      "Failed to malloc filter_node!\n",       "Failed to malloc filter_node->filter!\n",
      "Failed to decode stub_filter->name!\n", "Failed to decode msg!\n",
      "Failed to decode id_array->cnt!\n",
  };
  ExpectEachAllocationToFail<FilterList>(message, nc_dm_agent_decode_filter_list, failures);
}

// ---- A single filter, a single lookup ----

constexpr int kAllFlags = NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE | NC_DM_MSG_FLAG_IDS;

Body Single() {
  Body body;
  body.Int32(4).Text("a.b").Text("57").Int32(2);
  return body.Int64(7).Int64(8);
}

TEST_F(DecodeFilterTest, SingleFilter) {
  nc_dm_stub_filter_t filter = {};
  EXPECT_EQ(nc_dm_agent_decode_filter(Message(Single(), kAllFlags).get(), &filter), 0);
  EXPECT_EQ(filter.pkt_type, 4);
  EXPECT_STREQ(filter.name, "a.b");
  EXPECT_STREQ(filter.val, "57");
  ASSERT_NE(filter.id_array, nullptr);
  EXPECT_EQ(filter.id_array->cnt, 2);
  EXPECT_EQ(filter.id_array->id[0], 7);
  EXPECT_EQ(filter.id_array->id[1], 8);
  EXPECT_THAT(PacketLines(),
              ElementsAre("Filter packet type = 4\n", "filter->name:a.b\n", "filter->val:57\n",
                          "filter->id_array->cnt:2\n", "filter->id_array->id[0]:7\n",
                          "filter->id_array->id[1]:8\n"));
  nc_dm_agent_free_filter(&filter);
}

TEST_F(DecodeFilterTest, SingleFilterHasWhatItsFlagSays) {
  nc_dm_stub_filter_t filter = {};
  EXPECT_EQ(nc_dm_agent_decode_filter(Message(Body().Int32(4), 0).get(), &filter), 0);
  EXPECT_EQ(filter.name, nullptr);
  EXPECT_EQ(filter.val, nullptr);
  EXPECT_EQ(filter.id_array, nullptr);
  const Message ids(Body().Int32(4).Int32(1).Int64(5), NC_DM_MSG_FLAG_IDS);
  EXPECT_EQ(nc_dm_agent_decode_filter(ids.get(), &filter), 0);
  EXPECT_EQ(filter.name, nullptr);
  ASSERT_NE(filter.id_array, nullptr);
  EXPECT_EQ(filter.id_array->id[0], 5);
  nc_dm_agent_free_filter(&filter);
}

TEST_F(DecodeFilterTest, SingleFilterWithoutPositiveIdCountHasNoIds) {
  for (const int count : {0, -1, INT_MIN}) {
    nc_dm_stub_filter_t filter = {};
    const Message message(Body().Int32(4).Text("a").Int32(count),
                          NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_IDS);
    EXPECT_EQ(nc_dm_agent_decode_filter(message.get(), &filter), 0);
    EXPECT_EQ(filter.id_array, nullptr);
    nc_dm_agent_free_filter(&filter);
  }
}

TEST_F(DecodeFilterTest, SingleFilterCutAnywhereFailsAndHoldsNothing) {
  const Body body = Single();
  const Field fields[] = {
      {4, "Failed to decode message packet type field!\n"},
      {11, "Failed to decode message, confirm whether any names in the message!\n"},
      {17, "Failed to decode message, confirm whether any values in the message!\n"},
      {21, "Failed to decode id_array->cnt!\n"},
      {29, "Failed to decode id[0]:0\n"},
      {37, "Failed to decode id[1]:0\n"},
  };
  ExpectEachCutToFail(body, fields, [](const Body& cut) {
    nc_dm_stub_filter_t filter = {};
    EXPECT_EQ(nc_dm_agent_decode_filter(Message(cut, kAllFlags).get(), &filter), -1);
    EXPECT_EQ(filter.name, nullptr);
    EXPECT_EQ(filter.val, nullptr);
    EXPECT_EQ(filter.id_array, nullptr);
    EXPECT_THAT(ErrorLines(), SizeIs(2));
  });
}

TEST_F(DecodeFilterTest, SingleFilterWithSeventeenIdsFailsAtTheirCount) {
  Body body;
  body.Int32(4).Text("a").Int32(17);
  for (int i = 1; i <= 17; ++i) body.Int64(i);
  nc_dm_stub_filter_t filter = {};
  const Message message(body, NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_IDS);
  EXPECT_EQ(nc_dm_agent_decode_filter(message.get(), &filter), -1);
  EXPECT_EQ(filter.name, nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to decode id_array->cnt!\n"));
}

TEST_F(DecodeFilterTest, SingleLookup) {
  nc_dm_stub_getid_t getid = {};
  const Body body = Body().Int32(9).Text("a.b").Text("57");
  // Ids are not a lookup's, whatever the flag says.
  EXPECT_EQ(nc_dm_agent_decode_getid(Message(body, kAllFlags).get(), &getid), 0);
  EXPECT_EQ(getid.pkt_type, 9);
  EXPECT_STREQ(getid.name, "a.b");
  EXPECT_STREQ(getid.val, "57");
  nc_dm_agent_free_getid(&getid);

  EXPECT_EQ(nc_dm_agent_decode_getid(Message(Body().Int32(9), 0).get(), &getid), 0);
  EXPECT_EQ(getid.name, nullptr);
  EXPECT_EQ(getid.val, nullptr);
}

TEST_F(DecodeFilterTest, SingleLookupCutAnywhereFailsAndHoldsNothing) {
  const Body body = Body().Int32(9).Text("a.b").Text("57");
  for (size_t cut = 0; cut < body.size(); ++cut) {
    nc_dm_stub_getid_t getid = {};
    EXPECT_EQ(nc_dm_agent_decode_getid(Message(body.Cut(cut), kAllFlags).get(), &getid), -1);
    EXPECT_EQ(getid.name, nullptr);
    EXPECT_EQ(getid.val, nullptr);
  }
}

TEST_F(DecodeFilterTest, NullIsRefused) {
  const Message message(Body().Int32(9));
  FilterList list;
  nc_dm_stub_filter_t filter = {};
  nc_dm_stub_getid_t getid = {};
  EXPECT_EQ(nc_dm_agent_decode_filter_list(nullptr, &list.list), -1);
  EXPECT_EQ(nc_dm_agent_decode_filter_list(message.get(), nullptr), -1);
  EXPECT_EQ(nc_dm_agent_decode_filter(nullptr, &filter), -1);
  EXPECT_EQ(nc_dm_agent_decode_filter(message.get(), nullptr), -1);
  EXPECT_EQ(nc_dm_agent_decode_getid(nullptr, &getid), -1);
  EXPECT_EQ(nc_dm_agent_decode_getid(message.get(), nullptr), -1);
  EXPECT_EQ(ErrorLines(), std::vector<std::string>(6, "Input parameter is invalid!\n"));
}

}  // namespace
