// Each scenario of an agent's life with its first allocation failing, then with its second, until
// none is left to fail. Whatever could not be had, nothing crashes, the tree hangs together,
// nothing is lost, and the same scenario then succeeds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "netconf_dm_agent/agent_fixture.h"
#include "netconf_dm_yang.h"
#include "support/failing_alloc.h"
#include "support/fake_platform.h"
#include "support/model_app.h"
#include "support/tree_check.h"

namespace ncdm_test {
namespace {

using testing::IsEmpty;

// ---- The application: its callbacks allocate nothing ----

int Set(nc_dm_id_array_t*, char*) { return 0; }
int Get(nc_dm_id_array_t*, char* value) {
  memcpy(value, "red", 4);
  return 0;
}
nc_int64 Create(nc_dm_id_array_t*, char*) { return 8; }
nc_int64 Delete(nc_dm_id_array_t*, char*) { return 7; }
int GetAttr(nc_dm_agent_data_block_t*, nc_dm_op_output_t* output) {
  output->instid = 9;
  return 0;
}
nc_int64 ExeCmd(nc_dm_agent_data_block_t* padb) {
  return padb->op_flag == NC_DM_CMD_OP_DELETE ? 9 : 10;
}

struct Leaf {
  const char* path;
  int flag = 0;
  int index = 0;
  nc_dm_get_attr_fn get_attr = nullptr;
  nc_dm_exe_cmd_fn exe_cmd = nullptr;
};

constexpr Leaf kLeaves[] = {
    {"sys.host"},
    {"net.vrf.{i}.name", NC_DM_FLAG_KEY},
    {"net.vrf.{i}.descr"},
    {"net.vrf.{i}.dns", NC_DM_FLAG_LEAF_LIST},
    {"net.vrf.{i}.route.{i}.prefix", NC_DM_FLAG_KEY},
    {"net.port.{i}.name", NC_DM_FLAG_KEY, 1, &GetAttr, &ExeCmd},
    {"net.port.{i}.speed", 0, 2},
    {"net.port.{i}.vlan", NC_DM_FLAG_LEAF_LIST},
    {"net.stats.rx"},
    {"net.stats.peer.{i}.addr", NC_DM_FLAG_KEY},
    {"big.entry.{i}.key", NC_DM_FLAG_KEY, 0, &GetAttr},
    // Enough siblings for an index of their names.
    {"wide.a"},
    {"wide.b"},
    {"wide.c"},
    {"wide.d"},
    {"wide.e"},
    {"wide.f"},
    {"wide.g"},
    {"wide.h"},
    {"wide.i"},
    {"wide.j"},
    {"wide.k"},
    {"wide.l"},
    {"wide.m"},
    {"wide.n"},
    {"wide.o"},
    {"wide.p"},
    {"wide.q"},
    {"wide.r"},
    {"wide.s"},
    {"wide.t.{i}.key", NC_DM_FLAG_KEY},
    {"wide.u"},
};

constexpr const char* kInstances[] = {"net.vrf.7.",   "net.vrf.7.route.3.", "net.vrf.7.dns.7.",
                                      "net.port.9.",  "net.port.9.vlan.7.", "net.stats.peer.7.",
                                      "big.entry.5.", "wide.t.1."};

// Instances, as NodeAt names them, that stand in the tree once all is registered.
constexpr const char* kNodes[] = {"sys.host",
                                  "net.vrf.7.descr",
                                  "net.vrf.7.route.3.prefix",
                                  "net.vrf.7.dns.7",
                                  "net.port.9.speed",
                                  "net.port.9.vlan.7",
                                  "net.stats.peer.7.addr",
                                  "big.entry.5.key",
                                  "range.a.1.b",
                                  "range.a.2.b",
                                  "wide.t.1.key",
                                  "wide.u"};

// All registrations; the result of the first that fails, behind which the application goes on.
int RegisterAll() {
  int result = 0;
  const auto note = [&result](int step) {
    if (result == 0) result = step;
  };
  for (const Leaf& leaf : kLeaves) {
    note(nc_dm_agent_mode_reg(const_cast<char*>(leaf.path), NC_DM_VAL_TYPE_STRING, leaf.flag,
                              leaf.index, &Set, &Get, &Create, &Delete, leaf.get_attr, nullptr,
                              leaf.exe_cmd));
  }
  char range[] = "range.a.{1-2}.b";
  note(nc_dm_agent_mul_reg(range, NC_DM_VAL_TYPE_STRING, 0, &Set, &Get, nullptr, nullptr, nullptr,
                           nullptr));
  char hashed[] = "big.entry";
  if (NodeAt("big.entry.5") == nullptr) note(nc_dm_agent_reg_hash_tab(hashed, 10000));
  for (const char* path : kInstances) note(nc_dm_agent_reg(const_cast<char*>(path)));
  note(nc_dm_agent_yang_attr_reg("demo-net", NC_DM_YANG_ATTR_MODULE_NAME, "demo-net"));
  note(nc_dm_agent_yang_attr_reg("demo-net", NC_DM_YANG_ATTR_REVISION, "2020-01-01"));
  return result;
}

std::set<std::string> RegisteredPaths() {
  std::set<std::string> paths = {"range.a.{i}.b"};
  for (const Leaf& leaf : kLeaves) paths.insert(leaf.path);
  return paths;
}

// ---- An agent, and the server that it talks to ----

class ShortMemoryTest : public testing::Test {
 protected:
  void SetUp() override {
    NCDM_SKIP_WITHOUT_FAILING_ALLOC();
    nc_dm_agent_dbg_set(~0, false);
    // What the C library and the test's own doubles allocate once.
    Start();
    End();
  }

  int Init(int (*dm_reg)()) {
    const int result = nc_dm_agent_init("app", FakePlatform::Master(), dm_reg, nullptr);
    if (server_.HasConnection()) peer_ = server_.Accept();
    return result;
  }

  // An agent with everything registered and applied, and nothing on the way to the server.
  void Start() {
    ASSERT_EQ(Init(&RegisterAll), 0);
    Drain();
    TakeFrames();
  }

  // Applies and sends what is registered.
  void Drain() {
    if (platform().Find(nc_dm_agent_reg_handler) != nullptr) {
      platform().RunNext(nc_dm_agent_reg_handler);
    }
  }

  // Gives everything back that the agent holds.
  void End() {
    ReleaseAnswer();
    nc_dm_agent_free_edit_node_list(&g_nc_dm_edit_node_list);
    nc_dm_agent_free_filter_node_list(&g_nc_dm_filter_node_list);
    for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
      nc::Unlink(&record.list);
      if (record.other != nullptr) {
        nc_dm_agent_free_yang_attr(static_cast<nc_dm_yang_attr_t*>(record.other));
        free(record.other);
      }
      nc_dm_agent_free_reg(&record);
      free(&record);
    }
    while (!nc::IsEmpty(&g_nc_agent_dm.dm_root)) {
      nc_dm_agent_unreg_nodes(reinterpret_cast<nc_dm_agent_node_t*>(g_nc_agent_dm.dm_root.next));
    }
    for (auto& attr : nc::RecordsSafely<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
      nc::Unlink(&attr.lst);
      nc_dm_agent_free_yang_attr(&attr);
      free(&attr);
    }
    if (g_nc_dm_mng_info.agent_fd > 0) close(g_nc_dm_mng_info.agent_fd);
    g_nc_dm_mng_info.agent_fd = -1;
    peer_.Close();
    g_nc_dm_agent_manage = {};
    platform().Reset();
    LogCapture::Get().Clear();
  }

  // A request that finds nothing takes the place of an answer that is still to be written.
  void ReleaseAnswer() {
    if (!peer_.IsOpen() || g_nc_dm_mng_info.agent_fd < 0) return;
    TakeFrames();
    nc_dm_agent_free_filter_node_list(&g_nc_dm_filter_node_list);
    Send(NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_END));
    WriteAnswer();
    TakeFrames();
  }

  void Send(int type, std::string_view body, int entry_cnt = 0, int flag = 0) {
    peer_.Send(type, body, 5, entry_cnt, flag);
    nc_dm_agent_recv(g_nc_dm_mng_info.agent_fd);
  }

  void WriteAnswer() {
    for (zu_thread_func task : {nc_dm_agent_send_filter_rsp_lst, nc_dm_agent_send_getid_rsp_lst}) {
      while (platform().Find(task) != nullptr) platform().RunNext(task);
    }
  }

  // What the agent has sent up to now.
  std::vector<Frame> TakeFrames() {
    std::vector<Frame> frames;
    while (peer_.IsOpen() && peer_.Waiting() >= NC_DM_MSG_HEAD_SIZE) {
      frames.push_back(peer_.Receive());
    }
    return frames;
  }

  // Runs the scenario with each of its allocations failing. `run` is to succeed, and `check` to
  // find that it did, when memory is there, also after a run in which it was not.
  template <typename Run, typename Check>
  void WithEachFailure(Run run, Check check) {
    const long live = FailingAlloc::Live();
    bool failed = true;
    int successes = 0;
    for (; failed && !HasFailure(); ++successes) {
      SCOPED_TRACE("allocation " + std::to_string(successes) + " fails");
      Start();
      {
        const FailingAlloc failing(successes);
        run();
        failed = FailingAlloc::HasFailed();
      }
      EXPECT_EQ(TreeTrouble(Counters::kDrifted), "");
      EXPECT_THAT(DataBlocks(), IsEmpty());
      short_answers_.clear();
      if (failed) {
        short_answers_ = TakeFrames();
        run();
      }
      check();
      EXPECT_EQ(TreeTrouble(Counters::kDrifted), "");
      End();
      EXPECT_EQ(FailingAlloc::Live(), live) << "lost";
    }
    EXPECT_GT(successes, 1) << "the scenario allocates nothing";
    RecordProperty("allocations", successes - 1);
  }

  // Requests whose last answer is to be of a type.
  struct Request {
    int type = 0;
    std::string body = {};
    int entry_cnt = 0;
    int flag = 0;
  };
  void WithRequests(const std::vector<Request>& requests, int answer_type) {
    std::vector<Frame> answers;
    WithEachFailure(
        [&] {
          for (const Request& request : requests) {
            Send(request.type, request.body, request.entry_cnt, request.flag);
          }
          WriteAnswer();
        },
        [&] {
          answers = TakeFrames();
          ASSERT_FALSE(answers.empty());
          EXPECT_EQ(answers.back().type(), answer_type);
          EXPECT_EQ(answers.back().head.sid, 5);
          ExpectFaultOrTheSame(answers);
        });
  }

  // What was answered when memory was short: an edit is done or refused. (A read leaves out what it
  // cannot have, as it does with a leaf that the application cannot read.)
  void ExpectFaultOrTheSame(const std::vector<Frame>& answers) {
    if (short_answers_.empty() || short_answers_.front().type() == NC_DM_MSG_TYPE_FAULT) return;
    EXPECT_EQ(short_answers_.back().type(), answers.back().type());
    EXPECT_EQ(short_answers_.back().body, answers.back().body);
  }

  void WithEdit(int collect, int execute, const Body& entries, int entry_cnt) {
    WithRequests({{NC_DM_MSG_TYPE_EDIT, Body().Int32(collect).bytes() + entries.bytes(), entry_cnt},
                  {NC_DM_MSG_TYPE_EDIT, Body().Int32(execute).bytes()}},
                 NC_DM_MSG_TYPE_EDIT_RSP);
  }
  void WithObjectEdit(const Body& entries, int entry_cnt = 1) {
    WithEdit(NC_DM_PKT_TYPE_OBJECT, NC_DM_PKT_TYPE_OBJECT_END, entries, entry_cnt);
  }
  void WithCommandEdit(const Body& entries, int entry_cnt) {
    WithEdit(NC_DM_PKT_TYPE_OBJECT_CMD, NC_DM_PKT_TYPE_OBJECT_CMD_END, entries, entry_cnt);
  }
  void WithSubtreeEdit(const Body& entries, int entry_cnt = 1) {
    WithEdit(NC_DM_PKT_TYPE_SEGMENT, NC_DM_PKT_TYPE_END, entries, entry_cnt);
  }
  void WithQuery(int type, int answer_type, const Body& entries, int entry_cnt = 1) {
    const int segment = NC_DM_PKT_TYPE_SEGMENT;
    WithRequests({{type, Body().Int32(segment).bytes() + entries.bytes(), entry_cnt},
                  {type, Body().Int32(NC_DM_PKT_TYPE_END).bytes()}},
                 answer_type);
  }

  static FakePlatform& platform() { return FakePlatform::Get(); }

  TempDir dir_;
  Server server_{dir_};
  Peer peer_;
  std::vector<Frame> short_answers_;
};

// ---- Start, registration, reconnection ----

TEST_F(ShortMemoryTest, Start) {
  const long live = FailingAlloc::Live();
  bool failed = true;
  for (int successes = 0; failed && !HasFailure(); ++successes) {
    SCOPED_TRACE("allocation " + std::to_string(successes) + " fails");
    {
      const FailingAlloc failing(successes);
      Init(&RegisterAll);
      failed = FailingAlloc::HasFailed();
    }
    EXPECT_EQ(TreeTrouble(Counters::kDrifted), "");
    End();
    EXPECT_EQ(FailingAlloc::Live(), live) << "lost";
    Start();
    for (const char* path : kNodes) EXPECT_NE(NodeAt(path), nullptr) << path;
    End();
  }
}

TEST_F(ShortMemoryTest, Registration) {
  const long live = FailingAlloc::Live();
  int reported = 0;
  bool failed = true;
  int successes = 0;
  for (; failed && !HasFailure(); ++successes) {
    SCOPED_TRACE("allocation " + std::to_string(successes) + " fails");
    ASSERT_EQ(Init(nullptr), 0);
    int result = 0;
    {
      const FailingAlloc failing(successes);
      result = RegisterAll();
      failed = FailingAlloc::HasFailed();
    }
    reported += result != 0;
    EXPECT_EQ(TreeTrouble(Counters::kDrifted), "");
    EXPECT_EQ(RegisterAll(), 0);
    Drain();
    std::set<std::string> announced;
    for (const Frame& frame : TakeFrames()) {
      BodyReader body(frame.body);
      if (frame.type() != NC_DM_MSG_TYPE_REG) continue;
      body.Int32();
      announced.insert(body.Text());
    }
    EXPECT_EQ(announced, RegisteredPaths());
    for (const char* path : kNodes) EXPECT_NE(NodeAt(path), nullptr) << path;
    EXPECT_EQ(TreeTrouble(Counters::kDrifted), "");
    End();
    EXPECT_EQ(FailingAlloc::Live(), live) << "lost";
  }
  RecordProperty("allocations", successes - 1);
  // An index that cannot be had costs time alone; every other failure is told the application.
  EXPECT_GT(reported, successes / 2);
}

// A leaf that is in the tree is not announced again, so it must not get there unannounced.
TEST_F(ShortMemoryTest, PathWithRangesIsAnnouncedAtTheNextTry) {
  WithEachFailure(
      [] {
        char path[] = "later.a.{1-2}.b";
        nc_dm_agent_mul_reg(path, NC_DM_VAL_TYPE_STRING, 0, &Set, &Get, nullptr, nullptr, nullptr,
                            nullptr);
      },
      [this] {
        Drain();
        std::vector<std::string> announced;
        for (const Frame& frame : TakeFrames()) {
          BodyReader body(frame.body);
          body.Int32();
          announced.push_back(body.Text());
        }
        EXPECT_THAT(announced, testing::ElementsAre("later.a.{i}.b"));
        EXPECT_NE(NodeAt("later.a.2.b"), nullptr);
      });
}

TEST_F(ShortMemoryTest, InstancesApplied) {
  WithEachFailure(
      [this] {
        for (const char* path : {"net.vrf.21.", "net.vrf.21.route.4.", "net.vrf.7.dns.22.",
                                 "big.entry.23.", "wide.t.24.", "net.vrf.7.route.3."}) {
          nc_dm_agent_cli_reg(const_cast<char*>(path), NC_DM_NODE_SRC_CLI);
        }
        char gone[] = "net.vrf.7.route.3.";
        nc_dm_agent_unreg(gone);
        Drain();
      },
      [] {
        for (const char* path : {"net.vrf.21.descr", "net.vrf.21.route.4.prefix",
                                 "net.vrf.7.dns.22", "big.entry.23.key", "wide.t.24.key"}) {
          EXPECT_NE(NodeAt(path), nullptr) << path;
        }
        EXPECT_EQ(NodeAt("net.vrf.7.route.3"), nullptr);
      });
}

TEST_F(ShortMemoryTest, Reconnection) {
  std::set<std::string> announced;
  WithEachFailure(
      [&, this] {
        peer_.Close();
        nc_dm_agent_handle_event(NC_DM_EVENT_RECONNECT, 0, 0);
        platform().RunNext(nc_dm_agent_reconnect);
        if (server_.HasConnection()) peer_ = server_.Accept();
        Drain();
      },
      [&, this] {
        const std::vector<Frame> frames = TakeFrames();
        ASSERT_GE(frames.size(), 2u);
        EXPECT_EQ(frames[0].type(), NC_DM_MSG_TYPE_REG_NAME);
        EXPECT_EQ(frames[1].type(), NC_DM_MSG_TYPE_REG_CPLT);
        announced.clear();
        int attributes = 0;
        for (const Frame& frame : frames) {
          attributes += frame.type() == NC_DM_MSG_TYPE_REG_YANG_ATTR;
          if (frame.type() != NC_DM_MSG_TYPE_REG) continue;
          BodyReader body(frame.body);
          body.Int32();
          announced.insert(body.Text());
        }
        EXPECT_EQ(announced, RegisteredPaths());
        EXPECT_EQ(attributes, 2);
        EXPECT_NE(g_nc_dm_agent_manage.tt_read, nullptr);
      });
}

// ---- Edits ----

TEST_F(ShortMemoryTest, EntryCreatedByItsCallback) {
  WithObjectEdit(Body().Edit(1, NC_DM_OP_CREATE, "net.vrf.name", "blue"));
}

TEST_F(ShortMemoryTest, EntryMergedBelowMissingEntries) {
  WithObjectEdit(Body().Edit(1, NC_DM_OP_MERGE, "net.vrf.route.prefix", "blue", {15}));
}

TEST_F(ShortMemoryTest, EntryDeleted) {
  WithObjectEdit(Body().Edit(1, NC_DM_OP_DELETE, "net.vrf.name", "red"));
}

TEST_F(ShortMemoryTest, EntryLookedUpInTheTree) {
  WithObjectEdit(Body().Edit(1, NC_DM_OP_NONE, "net.vrf.name", "red", {}, NC_DM_DEFOP_NONE));
}

TEST_F(ShortMemoryTest, EntryLookedUpByTheApplication) {
  WithObjectEdit(Body().Edit(1, NC_DM_OP_NONE, "net.port.name", "red", {}, NC_DM_DEFOP_NONE));
}

TEST_F(ShortMemoryTest, HashedEntryCreated) {
  WithObjectEdit(Body().Edit(1, NC_DM_OP_MERGE, "big.entry.key", "blue"));
}

TEST_F(ShortMemoryTest, EntryCreatedAmongManySiblings) {
  WithObjectEdit(Body().Edit(1, NC_DM_OP_MERGE, "wide.t.key", "blue"));
}

TEST_F(ShortMemoryTest, EntryCreatedByCommand) {
  WithCommandEdit(Body()
                      .Edit(1, NC_DM_OP_CREATE, "net.port.name", "blue")
                      .Edit(0, NC_DM_OP_CREATE, "net.port.speed", "fast"),
                  2);
}

TEST_F(ShortMemoryTest, EntryDeletedByCommand) {
  WithCommandEdit(Body().Edit(1, NC_DM_OP_DELETE, "net.port.name", "red"), 1);
}

TEST_F(ShortMemoryTest, SubtreeEdited) {
  WithSubtreeEdit(Body()
                      .Edit(0, NC_DM_OP_MERGE, "net.port.speed", "fast", {9})
                      .Edit(0, NC_DM_OP_MERGE, "net.port.vlan", "one", {9})
                      .Edit(0, NC_DM_OP_MERGE, "net.vrf.descr", "text", {7})
                      .Edit(0, NC_DM_OP_MERGE, "net.stats.rx", "1"),
                  4);
}

TEST_F(ShortMemoryTest, LeafListElementDeleted) {
  WithSubtreeEdit(Body().Edit(0, NC_DM_OP_DELETE, "net.vrf.dns", "red", {7}));
}

TEST_F(ShortMemoryTest, EverythingBelowAContainerDeleted) {
  WithSubtreeEdit(Body().Edit(0, NC_DM_OP_REMOVE, "net.stats", std::nullopt));
}

TEST_F(ShortMemoryTest, EverythingBelowATopLevelContainerDeleted) {
  WithSubtreeEdit(Body().Edit(0, NC_DM_OP_DELETE, "sys", std::nullopt));
}

// ---- Reads ----

TEST_F(ShortMemoryTest, SingleFilter) {
  for (const char* name : {"net", "net.vrf.descr", "sys.host"}) {
    WithRequests({{NC_DM_MSG_TYPE_FILTER, Body().Int32(NC_DM_PKT_TYPE_FILTER).Text(name).bytes(), 0,
                   NC_DM_MSG_FLAG_NAME}},
                 NC_DM_MSG_TYPE_FILTER_RSP);
  }
}

TEST_F(ShortMemoryTest, FilterList) {
  WithQuery(NC_DM_MSG_TYPE_FILTER, NC_DM_MSG_TYPE_FILTER_RSP,
            Body().Filter("net.vrf.name", "red").Filter("net.vrf.descr").Filter("net.port"), 3);
}

TEST_F(ShortMemoryTest, FilterOfOneEntry) {
  WithQuery(NC_DM_MSG_TYPE_FILTER, NC_DM_MSG_TYPE_FILTER_RSP,
            Body().Filter("net.vrf.dns", std::nullopt, {7}));
}

TEST_F(ShortMemoryTest, InstanceIds) {
  WithQuery(NC_DM_MSG_TYPE_GETID, NC_DM_MSG_TYPE_GETID_RSP,
            Body().Filter("net.vrf.name", "red").Filter("net.vrf.descr", "red"), 2);
}

TEST_F(ShortMemoryTest, DumpOfTheTree) {
  WithEachFailure([this] { Send(NC_DM_MSG_TYPE_SHOW, ""); },
                  [this] { EXPECT_THAT(TakeFrames(), IsEmpty()); });
}

// ---- The reader of YANG headers ----

TEST_F(ShortMemoryTest, YangHeader) {
  constexpr const char* kText =
      "module demo-net {\n namespace \"urn:demo:net\";\n prefix net;\n revision 2020-01-01 {\n";
  const long live = FailingAlloc::Live();
  bool failed = true;
  for (int successes = 0; failed && !HasFailure(); ++successes) {
    SCOPED_TRACE("allocation " + std::to_string(successes) + " fails");
    {
      const FailingAlloc failing(successes);
      nc_dm_yang_doc_free(nc_dm_yang_read_doc(kText));
      failed = FailingAlloc::HasFailed();
    }
    EXPECT_EQ(FailingAlloc::Live(), live) << "lost";
  }
  nc_dm_yang_doc_t* doc = nc_dm_yang_read_doc(kText);
  ASSERT_NE(doc, nullptr);
  EXPECT_STREQ(doc->version, "2020-01-01");
  nc_dm_yang_doc_free(doc);
}

}  // namespace
}  // namespace ncdm_test
