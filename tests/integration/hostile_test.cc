// A server that breaks the protocol: what is wrong is answered or ends the connection, and the next
// request is served as if nothing had been.

#include <sys/socket.h>

#include <atomic>
#include <thread>

#include "hostile_fixture.h"
#include "support/debug_mask.h"

namespace ncdm_test {
namespace {

using namespace ncdm::server;  // NOLINT: requests and answers
using testing::AnyOf;
using testing::ElementsAre;

// ---- Heads ----

TEST_F(HostileTest, LengthBelowZeroEndsTheConnection) {
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  EXPECT_EQ(Provoke(HeadOf(NC_DM_MSG_TYPE_EDIT, -1)), kDisconnected);
  EXPECT_TRUE(log.Contains("Disconnected with server and clear connect info.\n"));
  ExpectMended();
}

TEST_F(HostileTest, LengthAboveTheBufferEndsTheConnection) {
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  EXPECT_EQ(Provoke(HeadOf(NC_DM_MSG_TYPE_FILTER, 2537) + std::string(2537, 'x')), kDisconnected);
  EXPECT_TRUE(log.Contains("The length of in msg have reach max! in_msg->head.len=2537\n"));
  ExpectMended();
  EXPECT_EQ(Provoke(HeadOf(NC_DM_MSG_TYPE_SHOW, INT32_MAX)), kDisconnected);
  ExpectMended();
}

TEST_F(HostileTest, LargestBodyIsTaken) {
  // A filter with an echo of all that the body leaves room for.
  const std::string name = "sys.name";
  const std::size_t value_len = 2536 - 4 - 4 - name.size() - 4;
  const std::string body =
      BodyWriter().Int32(NC_DM_PKT_TYPE_FILTER).Text(name).Text(std::string(value_len, 'v')).Take();
  ASSERT_EQ(body.size(), 2536U);
  // The value fits no segment, which is another matter.
  EXPECT_THAT(
      Provoke(FrameOf(NC_DM_MSG_TYPE_FILTER, body, 0, NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE)),
      AnyOf("FILTER_RSP", "FILTER_RSP\nFILTER_RSP"));
  EXPECT_TRUE(device_.IsConnected());
  ExpectServes();
}

TEST_F(HostileTest, UnknownTypesWithoutBodyAreSkipped) {
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  int count = 0;
  for (const int type : {0, -1, 1, 2, 14, 15, 16, 19, 20, 21, 24, 27, 1000, INT32_MIN}) {
    EXPECT_EQ(Provoke(HeadOf(type, 0)), "") << type;
    EXPECT_EQ(log.Count("Unkown message type!\n"), ++count) << type;
  }
  EXPECT_TRUE(device_.IsConnected());
  ExpectServes();
}

// The body stays in the stream and is read as the next head: here as one that is served.
TEST_F(HostileTest, BodyOfAnUnknownTypeIsTheNextHead) {
  const std::string inner = EncodeFrame(ReadOne({.name = "sys.name"}).frames[0]);
  EXPECT_EQ(Provoke(FrameOf(NC_DM_MSG_TYPE_EDIT_RSP, inner)), "FILTER_RSP\nFILTER_RSP");
  ExpectServes();
}

TEST_F(HostileTest, AnswerTypeThatIsReadIsRefused) {
  EXPECT_EQ(Provoke(FrameOf(NC_DM_MSG_TYPE_FILTER_RSP, "any body")), "fault MSGTYPE");
  EXPECT_EQ(device_.frames()[0].head.sid, 77);
  ExpectServes();
}

TEST_F(HostileTest, OddHeadFieldsAreHarmless) {
  for (const std::int32_t odd : {INT32_MIN, -1, 7, INT32_MAX}) {
    Frame frame = ReadOne({.name = "sys.name"}).frames[0];
    frame.head.ds_type = odd;
    frame.head.entry_cnt = odd;
    EXPECT_EQ(Provoke(EncodeFrame(frame)), "FILTER_RSP\nFILTER_RSP") << odd;
  }
  ExpectServes();
}

// ---- Bodies ----

struct NamedFrame {
  std::string name;
  Frame frame;
  std::string fault;  // of a body that ends early
};

std::vector<NamedFrame> FramesWithBodies() {
  const std::vector<EditElement> edits{
      {.name = "net.user.uid", .value = "5", .ids = {1}, .key = NC_DM_FLAG_KEY}};
  const std::vector<ReadElement> reads{{.name = "net.user.name", .value = "root", .ids = {1}}};
  return {{"edit entry", EditEntry(edits).frames[0], kParseFault},
          {"edit command", EditEntry(edits, true).frames[0], kParseFault},
          {"edit subtree", EditSubtree(edits).frames[0], kParseFault},
          {"filter list", ReadValues(reads).frames[0], kParseFault},
          {"filter", ReadOne(reads[0]).frames[0], kParseFault},
          {"lookup", FindIds(reads).frames[0], kParseFault},
          {"debug", SwitchDebug(0, true).frames[0], "refused, without a reason"},
          {"registration answer", RegistrationAnswer(-9, "sys.name"), kParseFault}};
}

TEST_F(HostileTest, BodiesThatEndEarlyAreRefused) {
  for (const NamedFrame& named : FramesWithBodies()) {
    for (std::size_t len = 0; len < named.frame.body.size(); ++len) {
      Frame cut = named.frame;
      cut.body.resize(len);
      ASSERT_EQ(Provoke(EncodeFrame(cut)), named.fault) << named.name << " cut to " << len;
    }
  }
  // Nothing of all that was collected.
  EXPECT_EQ(Summary(device_.Call(EditSubtree({}))), "ok 0");
  EXPECT_THAT(app_.calls(), testing::IsEmpty());
  ExpectServes();
}

TEST_F(HostileTest, SpareBytesBehindABody) {
  for (const NamedFrame& named : FramesWithBodies()) {
    if (named.name == "filter") continue;  // answered, which is no news
    Frame longer = named.frame;
    longer.body += '\0';
    EXPECT_EQ(Provoke(EncodeFrame(longer)), named.name == "registration answer" ? kParseFault : "")
        << named.name;
    nc_dm_agent_op_data_init();
  }
  ExpectServes();
}

TEST_F(HostileTest, CountsThatTheBodyDoesNotHold) {
  for (const NamedFrame& named : FramesWithBodies()) {
    if (named.frame.head.entry_cnt == 0) continue;
    for (const std::int32_t count : {2, 1000, INT32_MAX, -1, INT32_MIN}) {
      Frame wrong = named.frame;
      wrong.head.entry_cnt = count;
      EXPECT_EQ(Provoke(EncodeFrame(wrong)), kParseFault) << named.name << " " << count;
    }
    Frame none = named.frame;
    none.head.entry_cnt = 0;
    EXPECT_EQ(Provoke(EncodeFrame(none)), "") << named.name;
  }
  EXPECT_EQ(Summary(device_.Call(EditSubtree({}))), "ok 0");
  EXPECT_THAT(app_.calls(), testing::IsEmpty());
  ExpectServes();
}

std::string FilterEntry(std::int32_t id_count, int ids) {
  BodyWriter body;
  body.Int32(NC_DM_PKT_TYPE_SEGMENT).Int32(0).Text("net.user.name").Int32(id_count);
  for (int i = 0; i < ids; ++i) body.Int64(1);
  return body.Take();
}

TEST_F(HostileTest, IdCounts) {
  const auto provoke = [&](std::int32_t id_count, int ids) {
    return Provoke(FrameOf(NC_DM_MSG_TYPE_FILTER, FilterEntry(id_count, ids), 1));
  };
  EXPECT_EQ(provoke(16, 16), "");
  EXPECT_EQ(provoke(-1, 0), "") << "no ids";
  EXPECT_EQ(provoke(17, 17), kParseFault);
  EXPECT_EQ(provoke(16, 15), kParseFault);
  EXPECT_EQ(provoke(INT32_MAX, 16), kParseFault);
  EXPECT_EQ(provoke(300, 300), kParseFault);
  nc_dm_agent_op_data_init();
  ExpectServes();
}

TEST_F(HostileTest, TextLengths) {
  for (const std::int32_t length : {-1, INT32_MIN, INT32_MAX, 100, 2536}) {
    // A text that claims another length than it has.
    std::string body = BodyWriter().Int32(NC_DM_PKT_TYPE_FILTER).Int32(length).Take() + "sys.name";
    EXPECT_EQ(Provoke(FrameOf(NC_DM_MSG_TYPE_FILTER, body, 0, NC_DM_MSG_FLAG_NAME)), kParseFault)
        << length;
  }
  ExpectServes();
}

TEST_F(HostileTest, TextsThatNobodyExpects) {
  // Bytes of every kind, NUL among them, as names and values; longer than any path and any value.
  std::string every;
  for (int c = 0; c < 256; ++c) every += static_cast<char>(c);
  for (const std::string& text :
       {std::string(), every, std::string(300, 'a'), std::string(1000, '.'), std::string(65, 'n'),
        std::string("a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p.q"), std::string("%s%n%s%n"),
        std::string("sys.{i}.{i}.name")}) {
    device_.Call(EditSubtree({{.name = text, .value = text}}));
    device_.Call(EditSubtree({{.name = "net.user.shell", .value = text, .ids = {1}}}));
    device_.Call(EditEntry({KeyElement(text, text)}));
    device_.Call(EditEntry({KeyElement("net.bogus." + text, text)}));
    device_.Call(ReadValues({{.name = text, .value = text}, {.name = text}}));
    device_.Call(ReadOne({.name = text}));
    device_.Call(FindIds({{.name = text, .value = text}}));
  }
  EXPECT_TRUE(device_.IsConnected());
  ASSERT_TRUE(device_.Call(EditSubtree({{.name = "sys.name", .value = "router"}})).ok());
  EXPECT_THAT(Texts(device_.Call(ReadValues({{.name = "sys"}})).values),
              ElementsAre("sys.name=router", "sys.dns.7=dns7"));
}

// A filter while an answer is on its way takes its place; neither hangs, and nothing is mixed.
TEST_F(HostileTest, RequestsThatOverlap) {
  for (int i = 10; i < 400; ++i) {
    ASSERT_TRUE(
        device_.Call(EditEntry({KeyElement("net.route.dest", "r" + std::to_string(i))})).ok());
  }
  const auto send = [&](const Request& request, std::int32_t sid) {
    for (Frame frame : request.frames) {
      frame.head.sid = sid;
      ASSERT_TRUE(device_.server().SendFrame(Device::kName, frame));
    }
  };
  for (int round = 0; round < 20; ++round) {
    device_.Forget();
    send(ReadValues({{.name = "net.route.dest"}}), 901);
    for (int turn = 0; turn < round; ++turn) device_.agent().RunOnce();
    send(FindIds({{.name = "net.user.name", .value = "root"}}), 902);
    for (int turn = 0; turn < round / 2; ++turn) device_.agent().RunOnce();
    send(ReadValues({{.name = "sys.name"}}), 903);
    ASSERT_TRUE(device_.RunUntil([&] {
      return !device_.frames().empty() && device_.frames().back().head.sid == 903 &&
             device_.frames().back().head.len == 4;
    }));
    // What came for the last request is that request's.
    std::vector<std::string> last;
    for (const Frame& frame : device_.frames()) {
      if (frame.head.sid != 903 || frame.head.type != NC_DM_MSG_TYPE_FILTER_RSP) continue;
      for (const std::string& text : Texts(DecodeValues(frame).values)) last.push_back(text);
    }
    ASSERT_THAT(last, ElementsAre("sys.name=router"));
  }
  EXPECT_EQ(device_.Call(ReadValues({{.name = "net.route.dest"}})).values.size(), 390U);
}

// ---- Pieces ----

TEST_F(HostileTest, HalfAMessageThatIsNotFollowedEndsTheConnection) {
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  const std::string bytes = EncodeFrame(ReadOne({.name = "sys.name"}).frames[0]);
  ASSERT_TRUE(device_.server().SendBytes(Device::kName, bytes.substr(0, 10)));
  ASSERT_TRUE(device_.RunUntil([&] { return !device_.IsConnected(); }));
  EXPECT_TRUE(log.Contains("failed to receive message, received -1, errno = 11, "));
  ExpectMended();
  ASSERT_TRUE(device_.server().SendBytes(Device::kName, bytes.substr(0, 30)));
  ASSERT_TRUE(device_.RunUntil([&] { return !device_.IsConnected(); }));
  EXPECT_TRUE(log.Contains("Failed to receive message, received -1, errno = 11, "));
  ExpectMended();
}

TEST_F(HostileTest, ManyMessagesInOnePiece) {
  std::string bytes;
  for (int i = 0; i < 200; ++i) bytes += EncodeFrame(ReadOne({.name = "bogus"}).frames[0]);
  bytes += EncodeFrame(Commit().frames[0]);
  ASSERT_TRUE(device_.server().SendBytes(Device::kName, bytes));
  ASSERT_TRUE(device_.RunUntil([&] { return app_.commits() > 0; }));
  ExpectServes();
}

// A peer on its own thread that writes byte by byte, as fast as it can: each message is taken
// whole or the connection is given up, never anything in between.
TEST_F(HostileTest, TricklingBytes) {
  device_.StopServer();
  RawServer raw(device_.dir().path());
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_TRUE(device_.RunUntil([&] {
    raw.Read();
    return PendingRegistrations() == 0;
  }));
  const std::string bytes = EncodeFrame(ReadOne({.name = "sys.name"}).frames[0]);
  const int fd = raw.fd();
  std::atomic<bool> done = false;
  std::thread trickle([&] {
    for (int message = 0; message < 20; ++message) {
      for (const char byte : bytes) {
        if (send(fd, &byte, 1, MSG_NOSIGNAL) != 1) {
          done = true;
          return;
        }
      }
    }
    done = true;
  });
  EXPECT_TRUE(device_.RunUntil([&] { return done.load(); }));
  trickle.join();
  device_.Settle();
  raw.Read();
  for (const Frame& frame : raw.frames()) {
    if (frame.head.type != NC_DM_MSG_TYPE_FILTER_RSP) continue;
    const ValuesSegment segment = DecodeValues(frame);
    if (segment.packet_type == NC_DM_PKT_TYPE_SEGMENT) {
      EXPECT_THAT(Texts(segment.values), ElementsAre("sys.name=router"));
    }
  }
  raw.Close();
  // Whatever came of it, the next server finds the agent.
  ASSERT_TRUE(device_.RunUntil([&] { return raw.Accept(); }));
  ASSERT_TRUE(device_.RunUntil([&] {
    raw.Read();
    return raw.frames().size() >= 2;
  }));
  EXPECT_EQ(raw.Descriptions()[0], "NAME");
  EXPECT_EQ(raw.Descriptions()[1], "CPLT");
}

// ---- Descriptors ----

TEST_F(HostileTest, ReconnectionsLeakNoDescriptors) {
  const std::size_t before = OpenDescriptors();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Provoke(HeadOf(NC_DM_MSG_TYPE_EDIT, -1)), kDisconnected);
    ExpectMended();
    EXPECT_EQ(OpenDescriptors(), before);
  }
  // Without a server each attempt makes a socket, too.
  device_.StopServer();
  ASSERT_TRUE(device_.RunUntil([] { return g_nc_dm_agent_manage.tt_reconnect != nullptr; }));
  LogText log;
  const DebugMask mask(NC_DM_DBG_ERROR);
  const std::size_t alone = OpenDescriptors();
  for (int attempt = 1; attempt <= 3; ++attempt) {
    ASSERT_TRUE(
        device_.RunUntil([&] { return log.Count("Failed to connect server:") >= attempt; }));
    EXPECT_EQ(OpenDescriptors(), alone);
  }
}

}  // namespace
}  // namespace ncdm_test
