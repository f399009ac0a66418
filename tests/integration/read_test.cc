// Reads over the socket: filters and instance-id lookups of every kind, answers of every size.

#include <algorithm>
#include <map>

#include "device_app.h"
#include "gmock/gmock.h"
#include "harness.h"
#include "support/debug_mask.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using testing::ElementsAre;
using testing::IsEmpty;

class ReadTest : public testing::Test {
 protected:
  ReadTest() {
    app_.PutValue("sys.name", {}, "router");
    app_.PutValue("sys.enabled", {}, "true");
    app_.PutValue("sys.secret", {}, "hidden");
    app_.PutValue("sys.clock.offset", {}, "-60");
    app_.PutElement("sys.ntp.server", {4}, "ntp4");
    app_.PutElement("sys.ntp.server", {9}, "ntp9");
    app_.PutElement("sys.dns", {7}, "dns7");

    app_.PutEntry("net.user", {3}, "root");
    app_.PutValue("net.user.uid", {3}, "0");
    app_.PutElement("net.user.group", {3, 5}, "wheel");
    app_.PutElement("net.user.group", {3, 2}, "staff");
    app_.PutValue("net.user.prefs.lang", {3}, "en");
    app_.PutEntry("net.user.key", {3, 1}, "100");
    app_.PutEntry("net.user.key.use", {3, 1, 8}, "login");
    app_.PutValue("net.user.key.use.count", {3, 1, 8}, "18446744073709551615");
    app_.PutEntry("net.user.key.use", {3, 1, 6}, "backup");
    app_.PutEntry("net.user", {1}, "guest");
    app_.PutValue("net.user.uid", {1}, "1000");
    app_.PutEntry("net.user.key", {1, 1}, "200");
    app_.PutEntry("net.user.key.use", {1, 1, 8}, "login");

    app_.PutEntry("net.route", {20}, "10.0.0.0");
    app_.PutEntry("net.route", {10}, "default");
    app_.PutElement("net.route.via", {10, 1}, "gw");
    app_.PutEntry("net.port", {1}, "eth0");
    app_.PutValue("net.port.mtu", {1}, "1500");
  }

  void SetUp() override {
    device_.StartServer();
    ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
    ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
    device_.Forget();
  }

  std::vector<std::string> Read(const std::vector<ReadElement>& elements,
                                nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING) {
    const Answer answer = device_.Call(ReadValues(elements, datastore));
    EXPECT_TRUE(answer.ok()) << answer.error;
    return Texts(answer.values);
  }
  // As a single message and as a list of one; the answers must agree.
  std::vector<std::string> Read(const std::string& name, const Ids& ids = {}) {
    const ReadElement element{.name = name, .ids = ids};
    const std::vector<std::string> texts = Read({element});
    EXPECT_EQ(Texts(device_.Call(ReadOne(element)).values), texts);
    return texts;
  }
  std::vector<Ids> Find(const std::vector<ReadElement>& elements,
                        nc_dm_ds_type_t datastore = NC_DM_DATASTORE_RUNNING) {
    const Answer answer = device_.Call(FindIds(elements, datastore));
    EXPECT_TRUE(answer.ok()) << answer.error;
    return answer.ids;
  }
  std::vector<Ids> Find(const std::string& name, const std::string& value, const Ids& ids = {}) {
    return Find({{.name = name, .value = value, .ids = ids}});
  }

  DeviceApp app_;
  Device device_;
};

// ---- Filters ----

TEST_F(ReadTest, Leaves) {
  EXPECT_THAT(Read("sys.name"), ElementsAre("sys.name=router"));
  EXPECT_THAT(Read("sys.clock.offset"), ElementsAre("sys.clock.offset=-60"));
  EXPECT_THAT(Read("net.user.uid", {1}), ElementsAre("net.user.1.uid=1000"));
  EXPECT_THAT(Read("net.user.{i}.uid", {1}), ElementsAre("net.user.1.uid=1000"));
  EXPECT_THAT(Read("net.user.prefs.lang", {3}), ElementsAre("net.user.3.prefs.lang=en"));
  EXPECT_THAT(Read("net.user.key.use.count", {3, 1, 8}),
              ElementsAre("net.user.3.key.1.use.8.count=18446744073709551615"));
}

TEST_F(ReadTest, WhatCannotBeReadGivesNothing) {
  EXPECT_THAT(Read("sys.limit"), IsEmpty()) << "no value";
  EXPECT_THAT(Read("sys.secret"), IsEmpty()) << "no get";
  EXPECT_THAT(Read("net.user.uid", {2}), IsEmpty()) << "no such entry";
  EXPECT_THAT(Read("bogus"), IsEmpty());
  EXPECT_THAT(Read("net.user.bogus", {3}), IsEmpty());
  EXPECT_THAT(Read("net..user"), IsEmpty()) << "malformed";
  EXPECT_THAT(Read("{i}"), IsEmpty()) << "names nothing";
}

TEST_F(ReadTest, ContainersAndEntriesInTreeOrder) {
  EXPECT_THAT(Read("sys"),
              ElementsAre("sys.name=router", "sys.enabled=true", "sys.clock.offset=-60",
                          "sys.ntp.server.4=ntp4", "sys.ntp.server.9=ntp9", "sys.dns.7=dns7"));
  EXPECT_THAT(Read("sys.clock"), ElementsAre("sys.clock.offset=-60"));
  EXPECT_THAT(Read("net.user", {3}),
              ElementsAre("net.user.3.name=root", "net.user.3.uid=0", "net.user.3.prefs.lang=en",
                          "net.user.3.group.5=wheel", "net.user.3.group.2=staff",
                          "net.user.3.key.1.number=100", "net.user.3.key.1.use.8.tag=login",
                          "net.user.3.key.1.use.8.count=18446744073709551615",
                          "net.user.3.key.1.use.6.tag=backup"));
  EXPECT_THAT(Read("net.user.key", {1, 1}),
              ElementsAre("net.user.1.key.1.number=200", "net.user.1.key.1.use.8.tag=login"));
}

TEST_F(ReadTest, EntriesOfAllListsInOrderOfCreation) {
  EXPECT_THAT(Read("net.route"), ElementsAre("net.route.20.dest=10.0.0.0",
                                             "net.route.10.dest=default", "net.route.10.via.1=gw"));
  const std::vector<std::string> all = Read("net");
  EXPECT_EQ(all.front(), "net.user.3.name=root");
  EXPECT_EQ(all.back(), "net.port.1.mtu=1500");
  EXPECT_EQ(all.size(), 9U + 4U + 3U + 2U);
}

TEST_F(ReadTest, WithoutIdsAllInstancesAreRead) {
  EXPECT_THAT(Read("net.user.name"), ElementsAre("net.user.3.name=root", "net.user.1.name=guest"));
  EXPECT_THAT(Read("net.user.key.use.tag"),
              ElementsAre("net.user.3.key.1.use.8.tag=login", "net.user.3.key.1.use.6.tag=backup",
                          "net.user.1.key.1.use.8.tag=login"));
  EXPECT_THAT(Read("net.user.key.use.tag", {3}),
              ElementsAre("net.user.3.key.1.use.8.tag=login", "net.user.3.key.1.use.6.tag=backup"));
  EXPECT_THAT(Read("net.user.key.use", {3, 1}).size(), 3U);
  EXPECT_THAT(Read("net.user.prefs"), ElementsAre("net.user.3.prefs.lang=en"));
}

TEST_F(ReadTest, MoreIdsThanListsReadNothingBelowAnObjectThatIsNotWhole) {
  EXPECT_THAT(Read("net.user.key", {3, 9}), IsEmpty());
  EXPECT_THAT(Read("sys.bogus", {1}), IsEmpty());
  // A place that is reached whole does not ask for the ids behind.
  EXPECT_THAT(Read("sys.clock", {1}), ElementsAre("sys.clock.offset=-60"));
}

TEST_F(ReadTest, HashIndexedLists) {
  EXPECT_THAT(Read("net.route.dest", {10}), ElementsAre("net.route.10.dest=default"));
  EXPECT_THAT(Read("net.route", {20}), ElementsAre("net.route.20.dest=10.0.0.0"));
  EXPECT_THAT(Read("net.route.dest", {30}), IsEmpty());
  EXPECT_THAT(Read("net.route.via", {10}), ElementsAre("net.route.10.via.1=gw"));
  EXPECT_THAT(Read("net.route.dest").size(), 2U);
}

TEST_F(ReadTest, LeafLists) {
  EXPECT_THAT(Read("sys.ntp.server"),
              ElementsAre("sys.ntp.server.4=ntp4", "sys.ntp.server.9=ntp9"));
  EXPECT_THAT(Read("sys.dns"), ElementsAre("sys.dns.7=dns7"));
  EXPECT_THAT(Read("net.user.group", {3}),
              ElementsAre("net.user.3.group.5=wheel", "net.user.3.group.2=staff"));
  EXPECT_THAT(Read("net.user.group", {1}), IsEmpty());
  EXPECT_THAT(Read("net.user.group"),
              ElementsAre("net.user.3.group.5=wheel", "net.user.3.group.2=staff"));
}

TEST_F(ReadTest, GivenValuesAreEchoed) {
  EXPECT_THAT(Read({{.name = "sys.name", .value = "other"}}), ElementsAre("sys.name=other"));
  EXPECT_THAT(Read({{.name = "net.user.uid", .value = "", .ids = {3}}}),
              ElementsAre("net.user.3.uid="));
  EXPECT_THAT(Read({{.name = "sys.secret", .value = "x"}}), ElementsAre("sys.secret=x"));
  EXPECT_THAT(Read({{.name = "sys.clock", .value = "x"}}), ElementsAre("sys.clock.offset=-60"))
      << "a container has no value";
  EXPECT_THAT(Texts(device_.Call(ReadOne({.name = "sys.name", .value = "one"})).values),
              ElementsAre("sys.name=one"));
}

TEST_F(ReadTest, ListsOfFiltersInOrderAndOverManyMessages) {
  EXPECT_THAT(Read({{.name = "net.user.uid", .ids = {1}},
                    {.name = "bogus"},
                    {.name = "sys.name"},
                    {.name = "sys.name"}}),
              ElementsAre("net.user.1.uid=1000", "sys.name=router", "sys.name=router"));
  std::vector<ReadElement> many(200, {.name = "net.user.key.use.tag", .ids = {3, 1, 6}});
  const Request request = ReadValues(many);
  ASSERT_GT(request.frames.size(), 3U);
  const Answer answer = device_.Call(request);
  ASSERT_EQ(answer.values.size(), 200U);
  EXPECT_THAT(answer.values, testing::Each(Value{"net.user.3.key.1.use.6.tag", "backup"}));
}

TEST_F(ReadTest, NoFilterIsAnsweredByTheClosingMessageAlone) {
  const Answer answer = device_.Call(ReadValues({}));
  EXPECT_TRUE(answer.ok());
  ASSERT_EQ(device_.frames().size(), 1U);
  const nc_dm_msg_head_t& head = device_.frames()[0].head;
  EXPECT_EQ(head.type, NC_DM_MSG_TYPE_FILTER_RSP);
  EXPECT_EQ(head.len, 4);
  EXPECT_EQ(head.flag, 0);
  EXPECT_EQ(head.entry_cnt, 0);
}

TEST_F(ReadTest, SmallAnswerIsOneSegmentAndTheClosingMessage) {
  ASSERT_TRUE(device_.Call(ReadValues({{.name = "sys"}})).ok());
  ASSERT_EQ(device_.frames().size(), 2U);
  EXPECT_EQ(device_.frames()[0].head.entry_cnt, 6);
  EXPECT_EQ(device_.frames()[0].head.flag, 0);
  EXPECT_EQ(DecodeValues(device_.frames()[0]).packet_type, NC_DM_PKT_TYPE_SEGMENT);
  EXPECT_EQ(DecodeValues(device_.frames()[1]).packet_type, NC_DM_PKT_TYPE_END);
  EXPECT_EQ(device_.frames()[0].head.sid, device_.frames()[1].head.sid);
}

// ---- Lookups ----

TEST_F(ReadTest, FindsInstancesByValue) {
  EXPECT_THAT(Find("net.user.name", "guest"), ElementsAre(Ids{1}));
  EXPECT_THAT(Find("net.user.{i}.uid", "0"), ElementsAre(Ids{3}));
  EXPECT_THAT(Find("net.user.key.use.tag", "login"), ElementsAre(Ids{3, 1, 8}, Ids{1, 1, 8}));
  EXPECT_THAT(Find("net.user.prefs.lang", "en"), ElementsAre(Ids{3}));
  EXPECT_THAT(Find("net.route.dest", "default"), ElementsAre(Ids{10}));
  EXPECT_THAT(Find("net.user.group", "staff"), ElementsAre(Ids{3, 2}));
  EXPECT_THAT(Find("sys.dns", "dns7"), ElementsAre(Ids{7}));
  EXPECT_THAT(Find("sys.name", "router"), ElementsAre(Ids{}));
}

TEST_F(ReadTest, FindsNothing) {
  EXPECT_THAT(Find("net.user.name", "nobody"), IsEmpty());
  EXPECT_THAT(Find("net.user", "root"), IsEmpty()) << "no leaf";
  EXPECT_THAT(Find("bogus", "x"), IsEmpty());
  EXPECT_THAT(Find({{.name = "net.user.name"}}), IsEmpty()) << "no value";
  EXPECT_THAT(Find(std::vector<ReadElement>{}), IsEmpty());
  EXPECT_EQ(Summary(device_.Call(FindIds({{.name = "a..b", .value = "x"}}))), "fault OP_FAILED");
}

TEST_F(ReadTest, KnownIdsNarrowALookup) {
  EXPECT_THAT(Find("net.user.key.use.tag", "login", {1}), ElementsAre(Ids{1, 1, 8}));
  EXPECT_THAT(Find("net.user.key.use.tag", "login", {1, 1}), ElementsAre(Ids{1, 1, 8}));
  EXPECT_THAT(Find("net.user.key.use.tag", "login", {2}), IsEmpty());
  EXPECT_THAT(Find("net.route.dest", "default", {10}), ElementsAre(Ids{10}));
  EXPECT_THAT(Find("net.user.key.use.tag", "login", {3}), ElementsAre(Ids{3, 1, 8}));
}

TEST_F(ReadTest, SeveralLookupsIntersect) {
  EXPECT_THAT(
      Find({{.name = "net.user.name", .value = "root"}, {.name = "net.user.uid", .value = "0"}}),
      ElementsAre(Ids{3}));
  EXPECT_THAT(
      Find({{.name = "net.user.name", .value = "root"}, {.name = "net.user.uid", .value = "1000"}}),
      IsEmpty());
  EXPECT_THAT(Find({{.name = "net.user.name", .value = "nobody"},
                    {.name = "net.user.uid", .value = "1000"}}),
              IsEmpty());
}

TEST_F(ReadTest, LookupAnswerIsSegmentsAndTheClosingMessage) {
  ASSERT_EQ(Find("net.user.name", "root").size(), 1U);
  ASSERT_EQ(device_.frames().size(), 2U);
  EXPECT_EQ(device_.frames()[0].head.flag, NC_DM_MSG_FLAG_IDS);
  EXPECT_EQ(device_.frames()[0].head.entry_cnt, 1);
  EXPECT_EQ(device_.frames()[1].head.len, 4);
  EXPECT_EQ(device_.frames()[1].head.flag, 0);
}

// ---- The SDN datastore ----

TEST_F(ReadTest, SdnShowsWhatSdnWrote) {
  EXPECT_THAT(Read({{.name = "sys"}, {.name = "net"}}, NC_DM_DATASTORE_SDN), IsEmpty());
  ASSERT_TRUE(device_
                  .Call(EditSubtree({{.name = "sys.name", .value = "sdn"},
                                     {.name = "sys.ntp.server", .value = "ntp-sdn"}},
                                    NC_DM_DATASTORE_SDN))
                  .ok());
  const Answer user = device_.Call(
      EditEntry({KeyElement("net.user.name", "sdn-user")}, false, NC_DM_DATASTORE_SDN));
  ASSERT_TRUE(user.ok());
  const std::string id = std::to_string(user.instance);
  const std::string server = std::to_string(DeviceId("sys.ntp.server", "ntp-sdn"));
  EXPECT_THAT(Read({{.name = "sys"}, {.name = "net"}}, NC_DM_DATASTORE_SDN),
              ElementsAre("sys.name=sdn", "sys.ntp.server." + server + "=ntp-sdn",
                          "net.user." + id + ".name=sdn-user"));
  EXPECT_THAT(Find({{.name = "net.user.name", .value = "sdn-user"}}, NC_DM_DATASTORE_SDN).size(),
              1U);
  EXPECT_THAT(Find({{.name = "net.user.name", .value = "root"}}, NC_DM_DATASTORE_SDN), IsEmpty());
  // Every other datastore shows all of it.
  for (const auto datastore : {NC_DM_DATASTORE_ERROR, NC_DM_DATASTORE_CONFIG,
                               NC_DM_DATASTORE_STARTUP, NC_DM_DATASTORE_CANDIDATE}) {
    EXPECT_EQ(Read({{.name = "sys"}}, datastore).size(), 7U);
  }
  EXPECT_THAT(Read({{.name = "sys.limit", .value = "9"}}, NC_DM_DATASTORE_SDN),
              ElementsAre("sys.limit=9"))
      << "an echo asks nobody";
}

// ---- Answers of every size ----

// What the segments of an answer have to keep to.
void ExpectSegments(const std::vector<Frame>& frames) {
  ASSERT_GE(frames.size(), 2U);
  for (std::size_t i = 0; i + 1 < frames.size(); ++i) {
    EXPECT_LE(frames[i].head.len, NC_DM_SEND_BUF_SIZE - NC_DM_MSG_HEAD_SIZE) << i;
    EXPECT_GT(frames[i].head.entry_cnt, 0) << i;
    EXPECT_EQ(frames[i].head.sid, frames[0].head.sid) << i;
  }
  EXPECT_EQ(frames.back().head.len, 4);
}

TEST_F(ReadTest, LongestNamesAndValuesFillSegments) {
  const std::string longest(NC_DM_VALUE_BUF_SIZE - 2, 'v');
  for (int i = 0; i < 30; ++i) {
    const Answer user = device_.Call(EditEntry({KeyElement("net.user.name", longest.substr(i))}));
    ASSERT_TRUE(user.ok());
    ASSERT_TRUE(device_
                    .Call(EditSubtree({{.name = "net.user.shell",
                                        .value = longest.substr(30 - i),
                                        .ids = {user.instance}}}))
                    .ok());
  }
  device_.Forget();
  const Answer answer = device_.Call(ReadValues({{.name = "net.user"}}));
  ExpectSegments(device_.frames());
  EXPECT_EQ(
      std::ranges::count_if(answer.values, [](const Value& v) { return v.value.size() > 200; }),
      60);
}

// A value that no segment could hold; only a filter's own can be so long.
TEST_F(ReadTest, ValueThatFitsNoSegmentIsDropped) {
  // The path, 40 bytes and the packet type leave so much of a segment's 2047.
  const std::string path = "sys.name";
  const std::size_t most = 2047 - 40 - 4 - path.size();
  const std::string fits(most, 'f');
  EXPECT_THAT(Read({{.name = path, .value = fits}}), ElementsAre(path + "=" + fits));

  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  const std::string too_long(most + 1, 't');
  EXPECT_THAT(Read({{.name = path, .value = too_long}}), IsEmpty());
  EXPECT_TRUE(log.Contains("too large to send, name:sys.name.\n"));
  // What stands around it is answered.
  EXPECT_THAT(Read({{.name = "sys.enabled"}, {.name = path, .value = too_long}, {.name = path}}),
              ElementsAre("sys.enabled=true", "sys.name=router"));
}

class LargeReadTest : public ReadTest {
 protected:
  static constexpr int kEntries = 10000;

  LargeReadTest() {
    // Ids in no order, so that the order of the answer is seen to be that of creation.
    for (int i = 0; i < kEntries; ++i) {
      const Ids ids{1000 + (i * 7919L) % 1000003};
      app_.PutEntry("net.user", ids, "user" + std::to_string(i));
      app_.PutValue("net.user.uid", ids, std::to_string(i % 10));
      order_.push_back(ids);
    }
    for (int i = 0; i < kEntries; ++i) {
      app_.PutEntry("net.route", {1000000 - 3 * i}, "route" + std::to_string(i));
    }
  }

  std::vector<Ids> order_;
};

TEST_F(LargeReadTest, TenThousandEntriesArriveCompleteAndInOrder) {
  const Answer users = device_.Call(ReadValues({{.name = "net.user.name"}}));
  ASSERT_EQ(users.values.size(), kEntries + 2U);
  ExpectSegments(device_.frames());
  for (std::size_t i = 0; i < order_.size(); ++i) {
    ASSERT_EQ(users.values[i + 2], (Value{"net.user." + std::to_string(order_[i][0]) + ".name",
                                          "user" + std::to_string(i)}));
  }
  const Answer routes = device_.Call(ReadValues({{.name = "net.route"}}));
  ASSERT_EQ(routes.values.size(), kEntries + 3U);
  for (std::size_t i = 0; i < kEntries; ++i) {
    ASSERT_EQ(routes.values[i + 3].value, "route" + std::to_string(i));
  }
}

TEST_F(LargeReadTest, ManyFoundInstancesArriveCompleteAndInOrder) {
  const std::vector<Ids> found = Find("net.user.uid", "7");
  ASSERT_EQ(found.size(), kEntries / 10U);
  for (std::size_t i = 0; i < found.size(); ++i) ASSERT_EQ(found[i], order_[10 * i + 7]);
  ExpectSegments(device_.frames());
  // Every entry is reached by its own id, too.
  EXPECT_THAT(Read("net.user.name", order_[9999]),
              ElementsAre("net.user." + std::to_string(order_[9999][0]) + ".name=user9999"));
  EXPECT_THAT(Read("net.route.dest", {1000000 - 3 * 4321}),
              ElementsAre("net.route.987037.dest=route4321"));
}

TEST_F(LargeReadTest, EditsGoOnBetweenTheSegments) {
  const RequestId read = device_.Start(ReadValues({{.name = "net.user.name"}}));
  ASSERT_TRUE(device_.RunUntil([&] { return device_.frames().size() > 10; }));
  // By hand, since the server itself waits for the answer: an edit that removes what is still to be
  // sent.
  const Request edit = EditEntry({KeyElement("net.user.name", "user9999", {}, Operation::kDelete)});
  for (const Frame& frame : edit.frames) {
    ASSERT_TRUE(device_.server().SendFrame(Device::kName, frame));
  }
  const Answer answer = device_.Finish(read);
  EXPECT_EQ(answer.values.size(), kEntries + 2U) << "as it was when it was asked for";
  EXPECT_THAT(Read("net.user.name", order_[9999]), IsEmpty());
}

// ---- Dumps ----

TEST_F(ReadTest, ShowWritesTheTreeToTheLog) {
  LogText log;
  ASSERT_TRUE(device_.Call(Confirmed(ShowTree())).ok());
  const std::string text = log.Get();
  EXPECT_NE(text.find("Data tree path[1] name: sys.name\n"
                      "Data tree path[1] value: router\n"
                      "Data tree path[1] src: NONE\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Data tree path[7] name: net.user.3.name\n"), std::string::npos);
  EXPECT_NE(text.find("Handle show message successfully, total nodes: " +
                      std::to_string(g_nc_agent_dm.total_node) + ".\n"),
            std::string::npos);
  EXPECT_EQ(device_.frames().size(), 1U) << "the lookup behind it is answered alone";
}

TEST_F(ReadTest, DebugSwitchesWorkAtRunTime) {
  LogText log;
  ASSERT_TRUE(device_.Call(Confirmed(SwitchDebug(NC_DM_DBG_ERROR | NC_DM_DBG_TIMING, true))).ok());
  EXPECT_THAT(Read("bogus"), IsEmpty());
  EXPECT_TRUE(log.Contains("The dm'tree don't have this instance path!\n"));
  EXPECT_TRUE(log.Contains("[get time]:"));
  ASSERT_TRUE(device_.Call(Confirmed(SwitchDebug(NC_DM_DBG_TIMING, false))).ok());
  const int timings = log.Count("[get time]:");
  EXPECT_THAT(Read("bogus"), IsEmpty());
  EXPECT_EQ(log.Count("[get time]:"), timings);
  ASSERT_TRUE(device_.Call(Confirmed(SwitchDebug(NC_DM_DBG_ERROR, false))).ok());
  EXPECT_EQ(g_nc_dm_agent_dbg, 0);
}

}  // namespace
}  // namespace ncdm_test
