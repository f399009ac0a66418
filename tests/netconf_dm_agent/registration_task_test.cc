#include <cerrno>

#include "agent_fixture.h"
#include "support/model_app.h"

namespace ncdm_test {
namespace {

class RegistrationTaskTest : public AgentTest {
 protected:
  void SetUp() override { InitWithPeer(); }

  static nc_dm_stub_reg_t* Queue(nc_dm_msg_type_t type, const char* name = nullptr, int attr = 0) {
    auto* record = static_cast<nc_dm_stub_reg_t*>(calloc(1, sizeof(nc_dm_stub_reg_t)));
    record->type = type;
    record->attr = attr;
    record->name = nc_dm_copy_str(name);
    nc::PushBack(&g_nc_dm_reg_list.reg_list, &record->list);
    return record;
  }
  static void QueueYangAttr(const char* module, const char* attr,
                            nc_dm_yang_attr_type_t type = NC_DM_YANG_ATTR_REVISION) {
    auto* yang = static_cast<nc_dm_yang_attr_t*>(calloc(1, sizeof(nc_dm_yang_attr_t)));
    yang->type = type;
    yang->module_name = nc_dm_copy_str(module);
    yang->attr = nc_dm_copy_str(attr);
    Queue(NC_DM_MSG_TYPE_REG_YANG_ATTR)->other = yang;
  }
  static std::vector<int> PendingTypes() {
    std::vector<int> types;
    for (const auto& record : nc::Records<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
      types.push_back(record.type);
    }
    return types;
  }

  // One run, of a task that was scheduled.
  static int Run() {
    nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
    return platform().RunNext(nc_dm_agent_reg_handler);
  }

  void ExpectPath(int type, const std::string& path, int attr) {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), type);
    EXPECT_EQ(frame.head.sid, -1);
    EXPECT_EQ(frame.head.flag, NC_DM_MSG_FLAG_NAME);
    EXPECT_EQ(frame.head.entry_cnt, 0);
    EXPECT_EQ(frame.head.ds_type, 0);
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), attr);
    EXPECT_EQ(body.Text(), path);
    EXPECT_TRUE(body.AtEnd());
  }
  void ExpectYangAttr(const std::string& module, const std::string& attr, int type) {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_REG_YANG_ATTR);
    EXPECT_EQ(frame.head.sid, -1);
    BodyReader body(frame.body);
    EXPECT_EQ(body.Int32(), type);
    EXPECT_EQ(body.Text(), module);
    EXPECT_EQ(body.Text(), attr);
    EXPECT_TRUE(body.AtEnd());
  }
  void ExpectCplt() {
    const Frame frame = peer().Receive();
    EXPECT_EQ(frame.type(), NC_DM_MSG_TYPE_REG_CPLT);
    EXPECT_EQ(frame.head.sid, -1);
    EXPECT_EQ(frame.head.flag, 0);
    EXPECT_EQ(frame.body, "");
  }
  // The task runs again in a second, and nothing else is to come.
  static void ExpectNextRunInASecond() {
    ASSERT_EQ(platform().Pending().size(), 1u);
    const FakeTask* task = platform().Pending().front();
    EXPECT_EQ(task, tasks().tt_reg);
    EXPECT_EQ(task->kind, TaskKind::kTimer);
    EXPECT_EQ(task->sec, 1);
  }
};

// ---- The client's name ----

TEST_F(RegistrationTaskTest, TheNameIsSentOnceAConnection) {
  char name[] = "app";
  EXPECT_EQ(nc_dm_agent_reg_server_name(agent_fd(), 128, name, &g_nc_agent_dm), 0);
  ExpectPath(NC_DM_MSG_TYPE_REG_NAME, "app", 128);
  EXPECT_TRUE(g_nc_agent_dm.registered);
  EXPECT_EQ(nc_dm_agent_reg_server_name(agent_fd(), 0, name, &g_nc_agent_dm), 0);
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(RegistrationTaskTest, ANameThatCannotBeSentIsNotRegistered) {
  peer().Close();
  char name[] = "app";
  EXPECT_EQ(nc_dm_agent_reg_server_name(agent_fd(), 0, name, &g_nc_agent_dm), -2);
  EXPECT_TRUE(log().ContainsError("app failed to send to server.\n"));
  EXPECT_FALSE(g_nc_agent_dm.registered);
}

// 24 of head, 4 of attribute, 4 of length, and a NUL that the encoder writes behind the name.
constexpr size_t kLongestName = NC_DM_SEND_BUF_SIZE - 24 - 4 - 4 - 1;

TEST_F(RegistrationTaskTest, ANameThatFillsTheMessageIsSent) {
  std::string name(kLongestName, 'n');
  EXPECT_EQ(nc_dm_agent_reg_server_name(agent_fd(), 0, name.data(), &g_nc_agent_dm), 0);
  ExpectPath(NC_DM_MSG_TYPE_REG_NAME, name, 0);
}

TEST_F(RegistrationTaskTest, ANameThatFitsNoMessageIsLoggedAndNotSent) {
  std::string name(kLongestName + 1, 'n');
  EXPECT_EQ(nc_dm_agent_reg_server_name(agent_fd(), 0, name.data(), &g_nc_agent_dm), -1);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_FALSE(g_nc_agent_dm.registered);
  EXPECT_EQ(log().Records().size(), 1u);
}

TEST_F(RegistrationTaskTest, ANameNeedsATree) {
  char name[] = "app";
  EXPECT_EQ(nc_dm_agent_reg_server_name(agent_fd(), 0, name, nullptr), -1);
  EXPECT_TRUE(log().ContainsError("Input parameter is invalid!\n"));
}

// ---- Completion, sent directly ----

TEST_F(RegistrationTaskTest, CompletionIsSentAtOnce) {
  EXPECT_EQ(nc_dm_agent_reg_server_mode_cplt(), 0);
  ExpectCplt();
}

TEST_F(RegistrationTaskTest, CompletionThatCannotBeSentIsLogged) {
  peer().Close();
  EXPECT_EQ(nc_dm_agent_reg_server_mode_cplt(), -2);
  EXPECT_TRUE(log().ContainsError("Failed to send 'mode register complete' to server.\n"));
}

// ---- The registration task ----

TEST_F(RegistrationTaskTest, ARunWithoutRecordsComesAgainInASecond) {
  EXPECT_EQ(Run(), 0);
  ExpectNextRunInASecond();
  EXPECT_TRUE(peer().IsQuiet());
}

TEST_F(RegistrationTaskTest, ARunSendsEveryRecordInOrder) {
  Queue(NC_DM_MSG_TYPE_REG, "a.b", 17);
  Queue(NC_DM_MSG_TYPE_UNREG, "a.c", 3);
  QueueYangAttr("mod", "mod-name", NC_DM_YANG_ATTR_MODULE_NAME);
  QueueYangAttr("mod", "2024-01-01");
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  Queue(NC_DM_MSG_TYPE_REG, "a.d", 0);
  EXPECT_EQ(Run(), 0);

  ExpectPath(NC_DM_MSG_TYPE_REG, "a.b", 17);
  ExpectPath(NC_DM_MSG_TYPE_UNREG, "a.c", 3);
  ExpectYangAttr("mod", "mod-name", NC_DM_YANG_ATTR_MODULE_NAME);
  ExpectYangAttr("mod", "2024-01-01", NC_DM_YANG_ATTR_REVISION);
  ExpectCplt();
  ExpectPath(NC_DM_MSG_TYPE_REG, "a.d", 0);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(PendingTexts().size(), 0u);
  ExpectNextRunInASecond();
}

TEST_F(RegistrationTaskTest, SentMessagesAreNotCounted) {
  for (int i = 0; i < 100; i++) Queue(NC_DM_MSG_TYPE_REG, "a", i);
  EXPECT_EQ(Run(), 0);
  for (int i = 0; i < 100; i++) ExpectPath(NC_DM_MSG_TYPE_REG, "a", i);

  // More than a socket holds, so that these are dropped for their length.
  const std::string too_long(kLongestName + 1, 'n');
  for (int i = 0; i < 700; i++) Queue(NC_DM_MSG_TYPE_REG, too_long.c_str());
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(PendingTexts().size(), 0u);
}

// ---- A server that is slower than the registrations ----

TEST_F(RegistrationTaskTest, AFullSocketMakesTheRunWaitAndLosesNothing) {
  constexpr int kPaths = 5000;  // more than any socket holds
  for (int i = 0; i < kPaths; i++) Queue(NC_DM_MSG_TYPE_REG, "a.b", i);
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  EXPECT_EQ(Run(), 0);

  int received = 0;
  while (!PendingTexts().empty()) {
    const FakeTask* task = platform().Find(nc_dm_agent_reg_handler);
    ASSERT_NE(task, nullptr);
    ASSERT_EQ(task, tasks().tt_reg);
    ASSERT_EQ(task->kind, TaskKind::kWrite);
    ASSERT_EQ(task->value, agent_fd());
    while (!peer().IsQuiet()) ExpectPath(NC_DM_MSG_TYPE_REG, "a.b", received++);
    EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  }
  while (received < kPaths) ExpectPath(NC_DM_MSG_TYPE_REG, "a.b", received++);
  ExpectCplt();
  EXPECT_EQ(platform().Run(tasks().tt_watch), 0) << "nobody waits any more";
  ExpectNextRunInASecond();
  EXPECT_FALSE(log().Contains(kErrorPrefix, "Failed to write data"));
}

TEST_F(RegistrationTaskTest, ObjectsAreAppliedWhileTheSocketIsFull) {
  FillSocket();
  Queue(NC_DM_MSG_TYPE_UNREG_OBJ, "nowhere");
  Queue(NC_DM_MSG_TYPE_REG, "a.b");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(PendingTypes(), std::vector<int>{NC_DM_MSG_TYPE_REG});
}

TEST_F(RegistrationTaskTest, ALostConnectionEndsTheWaitForItsSocket) {
  FillSocket();
  Queue(NC_DM_MSG_TYPE_REG, "a.b");
  EXPECT_EQ(Run(), 0);
  ASSERT_EQ(tasks().tt_reg->func, nc_dm_agent_reg_handler);

  nc_dm_agent_clear_connect();
  ExpectNextRunInASecond();
}

TEST_F(RegistrationTaskTest, ALostConnectionLeavesATimerAloneOnceTheWaitIsOver) {
  FillSocket();
  Queue(NC_DM_MSG_TYPE_REG, "a.b");
  EXPECT_EQ(Run(), 0);
  close(agent_fd());
  Connect();
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  nc_dm_agent_clear_connect();
  EXPECT_EQ(platform().cancelled(TaskKind::kWrite), 0) << "the run has ended the wait";
  ExpectNextRunInASecond();

  Connect();
  FillSocket();
  Queue(NC_DM_MSG_TYPE_REG, "a.b");
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  nc_dm_agent_clear_connect();
  EXPECT_EQ(platform().cancelled(TaskKind::kWrite), 1);
  nc_dm_agent_clear_connect();
  EXPECT_EQ(platform().cancelled(TaskKind::kWrite), 1) << "the loss before has ended it";
  ExpectNextRunInASecond();
}

TEST_F(RegistrationTaskTest, ARunThatCannotWaitForTheSocketComesAgainByTime) {
  FillSocket();
  Queue(NC_DM_MSG_TYPE_REG, "a.b");
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
  platform().FailNext(1);
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ASSERT_EQ(platform().Pending().size(), 1u);
  EXPECT_EQ(platform().Pending().front()->usec, 100000);

  nc_dm_agent_clear_connect();  // leaves a task that waits for a time alone
  EXPECT_EQ(platform().Pending().size(), 1u);
  EXPECT_EQ(platform().Pending().front()->usec, 100000);
}

TEST_F(RegistrationTaskTest, ARecordWithoutANameIsSentWithoutOne) {
  Queue(NC_DM_MSG_TYPE_REG);
  EXPECT_EQ(Run(), 0);
  const Frame frame = peer().Receive();
  EXPECT_EQ(frame.head.flag, 0);
  EXPECT_EQ(frame.body.size(), 4u);
}

TEST_F(RegistrationTaskTest, AnUnknownRecordIsDroppedAndTheRunGoesOn) {
  Queue(NC_DM_MSG_TYPE_EDIT, "a");
  Queue(NC_DM_MSG_TYPE_REG, "b");
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(log().ContainsError("unknown message type node in the register list.\n"));
  ExpectPath(NC_DM_MSG_TYPE_REG, "b", 0);
  EXPECT_EQ(PendingTexts().size(), 0u);
}

TEST_F(RegistrationTaskTest, APathThatFitsNoMessageIsDroppedAndTheRunGoesOn) {
  const std::string longest(kLongestName, 'n');
  Queue(NC_DM_MSG_TYPE_REG, longest.c_str());
  Queue(NC_DM_MSG_TYPE_REG, (longest + "n").c_str());
  Queue(NC_DM_MSG_TYPE_UNREG, (longest + "n").c_str());
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  EXPECT_EQ(Run(), 0);
  ExpectPath(NC_DM_MSG_TYPE_REG, longest, 0);
  ExpectCplt();
  EXPECT_EQ(PendingTexts().size(), 0u);
}

TEST_F(RegistrationTaskTest, AYangAttributeThatFitsNoMessageIsDroppedAndTheRunGoesOn) {
  // One more length field than a path.
  const std::string module(100, 'm');
  const std::string longest(kLongestName - 4 - module.size(), 'a');
  QueueYangAttr(module.c_str(), longest.c_str());
  QueueYangAttr(module.c_str(), (longest + "a").c_str());
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  EXPECT_EQ(Run(), 0);
  ExpectYangAttr(module, longest, NC_DM_YANG_ATTR_REVISION);
  ExpectCplt();
  EXPECT_TRUE(log().ContainsError(
      "The yang attribute is too long to send to server, module: " + module + "\n"));
  EXPECT_EQ(PendingTexts().size(), 0u);
}

TEST_F(RegistrationTaskTest, AYangAttributeThatCannotBeEncodedIsDroppedAndTheRunGoesOn) {
  Queue(NC_DM_MSG_TYPE_REG_YANG_ATTR);
  QueueYangAttr("mod", "x", NC_DM_YANG_ATTR_REVISION);
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(log().ContainsError("Input parameter yang_attr is invalid!\n"));
  ExpectYangAttr("mod", "x", NC_DM_YANG_ATTR_REVISION);
  EXPECT_EQ(PendingTexts().size(), 0u);
}

TEST_F(RegistrationTaskTest, APathIsGoneWhenTheConnectionBreaks) {
  for (nc_dm_msg_type_t type : {NC_DM_MSG_TYPE_REG, NC_DM_MSG_TYPE_UNREG}) {
    platform().Reset();
    tasks().tt_reg = nullptr;
    tasks().tt_reconnect = nullptr;
    peer().Close();
    Queue(type, "a");
    Queue(NC_DM_MSG_TYPE_REG, "b");
    EXPECT_EQ(Run(), -2);
    EXPECT_EQ(PendingTexts().size(), 1u);
    ASSERT_NE(platform().Find(nc_dm_agent_reconnect), nullptr);
    ASSERT_NE(platform().Find(nc_dm_agent_reg_handler), nullptr);
    EXPECT_EQ(platform().Find(nc_dm_agent_reg_handler)->sec, 1);
    FreePendingRecords();
  }
}

TEST_F(RegistrationTaskTest, ACompletionStaysQueuedWhenTheConnectionBreaks) {
  peer().Close();
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  Queue(NC_DM_MSG_TYPE_REG, "b");
  EXPECT_EQ(Run(), -2);
  EXPECT_EQ(PendingTypes(), (std::vector<int>{NC_DM_MSG_TYPE_REG_CPLT, NC_DM_MSG_TYPE_REG}));

  close(agent_fd());
  Connect();
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectCplt();
  ExpectPath(NC_DM_MSG_TYPE_REG, "b", 0);
}

TEST_F(RegistrationTaskTest, AYangAttributeStaysQueuedWhenTheConnectionBreaks) {
  peer().Close();
  QueueYangAttr("mod", "x");
  EXPECT_EQ(Run(), -2);
  EXPECT_EQ(PendingTypes(), std::vector<int>{NC_DM_MSG_TYPE_REG_YANG_ATTR});

  close(agent_fd());
  Connect();
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectYangAttr("mod", "x", NC_DM_YANG_ATTR_REVISION);
  EXPECT_EQ(PendingTexts().size(), 0u);
}

TEST_F(RegistrationTaskTest, ARunDoesNotInheritAStaleErrno) {
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
  FakeTask* task = platform().Find(nc_dm_agent_reg_handler);
  errno = ERANGE;
  EXPECT_EQ(platform().Run(task), 0);
  EXPECT_EQ(errno, 0);
}

// ---- Attributes ----

TEST_F(RegistrationTaskTest, AnAttributeIsSentWithTheValueThatTheTreeHolds) {
  ASSERT_EQ(nc_dm_agent_yang_attr_reg("mod", NC_DM_YANG_ATTR_REVISION, "new"), 0);
  FreePendingRecords();
  QueueYangAttr("mod", "old");
  QueueYangAttr("other", "its own");
  EXPECT_EQ(Run(), 0);
  ExpectYangAttr("mod", "new", NC_DM_YANG_ATTR_REVISION);
  ExpectYangAttr("other", "its own", NC_DM_YANG_ATTR_REVISION);
}

TEST_F(RegistrationTaskTest, ManyAttributesAreSentWithTheirOwnValues) {
  constexpr int kModules = 100;
  const auto module = [](int i) { return "m" + std::to_string(i * 7919 % 1000); };
  for (int i = 0; i < kModules; i++) {
    for (auto kind : {NC_DM_YANG_ATTR_MODULE_NAME, NC_DM_YANG_ATTR_REVISION}) {
      const std::string value = module(i) + "-" + std::to_string(kind);
      ASSERT_EQ(nc_dm_agent_yang_attr_reg(module(i).c_str(), kind, value.c_str()), 0);
    }
  }
  EXPECT_EQ(Run(), 0);
  for (int i = 0; i < kModules; i++) {
    ExpectYangAttr(module(i), module(i) + "-0", NC_DM_YANG_ATTR_MODULE_NAME);
    ExpectYangAttr(module(i), module(i) + "-1", NC_DM_YANG_ATTR_REVISION);
  }
}

TEST_F(RegistrationTaskTest, AnAttributeThatWasSentIsQueuedAgain) {
  for (int i = 0; i < 2; i++) {
    ASSERT_EQ(nc_dm_agent_yang_attr_reg("mod", NC_DM_YANG_ATTR_REVISION, "x"), 0);
    EXPECT_EQ(PendingTexts().size(), 1u);
    nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
    EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
    ExpectYangAttr("mod", "x", NC_DM_YANG_ATTR_REVISION);
  }
}

TEST_F(RegistrationTaskTest, AnAttributeWhoseMessageWasLostWaitsOnce) {
  ASSERT_EQ(nc_dm_agent_yang_attr_reg("mod", NC_DM_YANG_ATTR_REVISION, "old"), 0);
  peer().Close();
  EXPECT_EQ(Run(), -2);
  ASSERT_EQ(nc_dm_agent_yang_attr_reg("mod", NC_DM_YANG_ATTR_REVISION, "new"), 0);
  EXPECT_EQ(PendingTypes(), std::vector<int>{NC_DM_MSG_TYPE_REG_YANG_ATTR});

  close(agent_fd());
  Connect();
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectYangAttr("mod", "new", NC_DM_YANG_ATTR_REVISION);
  EXPECT_TRUE(peer().IsQuiet());
}

// ---- Without a connection ----

TEST_F(RegistrationTaskTest, WithoutAConnectionARunAsksForOne) {
  peer().Close();
  close(agent_fd());
  info().agent_fd = -1;
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  EXPECT_EQ(Run(), -2);
  EXPECT_NE(tasks().tt_reconnect, nullptr);
  EXPECT_NE(tasks().tt_reg, nullptr);
}

// A socket whose connect failed is no connection, and a message must not be lost to it.
TEST_F(RegistrationTaskTest, WithoutAConnectionWhatIsForTheServerStaysInOrder) {
  close(agent_fd());
  for (const int fd : {-1, socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)}) {
    info().agent_fd = fd;
    Queue(NC_DM_MSG_TYPE_REG, "a.b");
    Queue(NC_DM_MSG_TYPE_UNREG_OBJ, "nowhere");
    Queue(NC_DM_MSG_TYPE_UNREG, "a.c");
    Queue(NC_DM_MSG_TYPE_REG_CPLT);
    QueueYangAttr("mod", "x");
    for (int i = 0; i < 2; i++) {
      EXPECT_EQ(Run(), -2);
      EXPECT_EQ(PendingTypes(),
                (std::vector<int>{NC_DM_MSG_TYPE_REG, NC_DM_MSG_TYPE_UNREG, NC_DM_MSG_TYPE_REG_CPLT,
                                  NC_DM_MSG_TYPE_REG_YANG_ATTR}));
    }
    FreePendingRecords();
    if (fd >= 0) close(fd);
  }
  info().agent_fd = -1;
}

// ---- A server that takes nothing ----

class StalledServerTest : public RegistrationTaskTest {
 protected:
  void SetUp() override {
    RegistrationTaskTest::SetUp();
    FillSocket();
    Queue(NC_DM_MSG_TYPE_REG, "a.b");
    ASSERT_EQ(Run(), 0);
    ASSERT_NE(tasks().tt_watch, nullptr);
    EXPECT_EQ(static_cast<FakeTask*>(tasks().tt_watch)->sec, 1);
  }
  static int AfterASecond() { return platform().Run(tasks().tt_watch); }
  static bool IsGivenUp() { return tasks().tt_reconnect != nullptr; }
};

TEST_F(StalledServerTest, TheConnectionIsGivenUpAfter5Seconds) {
  for (int second = 1; second < 5; second++) EXPECT_EQ(AfterASecond(), 0);
  EXPECT_FALSE(IsGivenUp());
  EXPECT_EQ(AfterASecond(), -2);
  EXPECT_TRUE(IsGivenUp());
  EXPECT_TRUE(log().ContainsError(
      "The server has taken nothing for 5 seconds, the connection is given up.\n"));
  EXPECT_EQ(tasks().tt_watch, nullptr);
  EXPECT_EQ(static_cast<FakeTask*>(tasks().tt_reg)->kind, TaskKind::kTimer);
  EXPECT_EQ(static_cast<FakeTask*>(tasks().tt_reg)->sec, 1);
  EXPECT_EQ(PendingTexts().size(), 1u);
}

TEST_F(StalledServerTest, AServerThatTakesSomethingHas5SecondsMore) {
  for (int second = 1; second < 5; second++) EXPECT_EQ(AfterASecond(), 0);
  char bytes[8192];
  ASSERT_GT(recv(peer().fd(), bytes, sizeof(bytes), 0), 0);
  for (int second = 1; second <= 5; second++) EXPECT_EQ(AfterASecond(), 0);
  EXPECT_FALSE(IsGivenUp());
  EXPECT_EQ(AfterASecond(), -2);
}

TEST_F(StalledServerTest, ALostConnectionIsNotWatched) {
  nc_dm_agent_clear_connect();
  EXPECT_EQ(tasks().tt_watch, nullptr);
}

TEST_F(StalledServerTest, TheWatchEndsWithTheWait) {
  while (peer().Waiting() > 0) {
    char bytes[65536];
    ASSERT_GT(recv(peer().fd(), bytes, sizeof(bytes), 0), 0);
  }
  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  EXPECT_EQ(AfterASecond(), 0);
  EXPECT_EQ(tasks().tt_watch, nullptr);
  EXPECT_FALSE(IsGivenUp());
}

TEST_F(RegistrationTaskTest, AnAnswerThatNobodyTakesIsWatchedFromTheNextRunOn) {
  FillSocket();
  nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, agent_fd(), 0);
  EXPECT_EQ(tasks().tt_watch, nullptr);
  EXPECT_EQ(Run(), 0);
  ASSERT_NE(tasks().tt_watch, nullptr);
  for (int second = 1; second < 5; second++) EXPECT_EQ(platform().Run(tasks().tt_watch), 0);
  EXPECT_EQ(platform().Run(tasks().tt_watch), -2);
  EXPECT_NE(tasks().tt_reconnect, nullptr);
}

TEST_F(RegistrationTaskTest, AnAnswerToAServerThatHasTakenEverythingIsNotWatched) {
  nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, agent_fd(), 0);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(tasks().tt_watch, nullptr);
}

// ---- Objects ----

class ObjectTest : public RegistrationTaskTest {
 protected:
  void SetUp() override {
    RegistrationTaskTest::SetUp();
    app_.emplace();
    app_->Register({.path = "net.vrf.{i}.name", .flag = NC_DM_FLAG_KEY});
  }

  static void QueueObjects(nc_dm_msg_type_t type, int from, int count) {
    for (int id = from; id < from + count; id++) {
      Queue(type, ("net.vrf." + std::to_string(id) + ".").c_str());
    }
  }
  static size_t Instances() {
    size_t count = 0;
    for (const auto& [path, src] : TreeSources()) {
      count += path.ends_with(".name") && path != "net.vrf.name";
    }
    return count;
  }

  std::optional<ModelApp> app_;
};

TEST_F(ObjectTest, ObjectsAreAppliedToTheTreeAndNotSent) {
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 1, 3);
  QueueObjects(NC_DM_MSG_TYPE_UNREG_OBJ, 2, 1);
  EXPECT_EQ(Run(), 0);
  EXPECT_NE(NodeAt("net.vrf.1"), nullptr);
  EXPECT_EQ(NodeAt("net.vrf.2"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.3"), nullptr);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_EQ(PendingTexts().size(), 0u);
  ExpectNextRunInASecond();
}

TEST_F(ObjectTest, AnObjectThatCannotBeAppliedIsDropped) {
  Queue(NC_DM_MSG_TYPE_REG_OBJ, "no.such.1.");
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 1, 1);
  EXPECT_EQ(Run(), 0);
  EXPECT_NE(NodeAt("net.vrf.1"), nullptr);
  EXPECT_EQ(PendingTexts().size(), 0u);
}

TEST_F(ObjectTest, ObjectsKeepTheirSource) {
  Queue(NC_DM_MSG_TYPE_REG_OBJ, "net.vrf.1.")->src = NC_DM_NODE_SRC_CLI;
  EXPECT_EQ(Run(), 0);
  ASSERT_NE(NodeAt("net.vrf.1"), nullptr);
  EXPECT_EQ(NodeAt("net.vrf.1")->src, NC_DM_NODE_SRC_CLI);
}

TEST_F(ObjectTest, Run599ObjectsWithoutAPause) {
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 1, 599);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Instances(), 599u);
  EXPECT_FALSE(
      log().ContainsInfo("The count of reg(or unreg) objects is to high this time, break.\n"));
  ExpectNextRunInASecond();
}

TEST_F(ObjectTest, The600thObjectPausesTheRun) {
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 1, 599);
  QueueObjects(NC_DM_MSG_TYPE_UNREG_OBJ, 1, 1);
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 601, 2);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Instances(), 598u);
  EXPECT_EQ(PendingTexts().size(), 3u);
  EXPECT_TRUE(peer().IsQuiet());
  EXPECT_TRUE(
      log().ContainsInfo("The count of reg(or unreg) objects is to high this time, break.\n"));
  ASSERT_EQ(platform().Pending().size(), 1u);
  const FakeTask* task = platform().Pending().front();
  EXPECT_EQ(task, tasks().tt_reg);
  EXPECT_EQ(task->kind, TaskKind::kTimevalTimer);
  EXPECT_EQ(task->sec, 0);
  EXPECT_EQ(task->usec, 100000);

  EXPECT_EQ(platform().RunNext(nc_dm_agent_reg_handler), 0);
  ExpectCplt();
  EXPECT_EQ(Instances(), 600u);
  ExpectNextRunInASecond();
}

TEST_F(ObjectTest, ExactlyTheLastObjectPausesToo) {
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 1, 600);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Instances(), 600u);
  ASSERT_NE(tasks().tt_reg, nullptr);
  EXPECT_EQ(static_cast<FakeTask*>(tasks().tt_reg)->kind, TaskKind::kTimevalTimer);
}

TEST_F(ObjectTest, WithoutAConnectionInstancesAreAppliedInOrder) {
  FreePendingRecords();
  close(agent_fd());
  info().agent_fd = -1;
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 1, 3);
  Queue(NC_DM_MSG_TYPE_REG, "a.b");
  QueueObjects(NC_DM_MSG_TYPE_UNREG_OBJ, 2, 1);
  QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 2, 1);
  QueueObjects(NC_DM_MSG_TYPE_UNREG_OBJ, 1, 1);
  EXPECT_EQ(Run(), -2);
  EXPECT_EQ(PendingTypes(), (std::vector<int>{NC_DM_MSG_TYPE_REG_CPLT, NC_DM_MSG_TYPE_REG}));
  EXPECT_EQ(NodeAt("net.vrf.1"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.2"), nullptr);
  EXPECT_NE(NodeAt("net.vrf.3"), nullptr);
}

TEST_F(ObjectTest, WithoutAConnectionTheQueueDoesNotGrowWithTheChanges) {
  const DebugMask silent(0);
  FreePendingRecords();
  close(agent_fd());
  info().agent_fd = -1;
  Queue(NC_DM_MSG_TYPE_REG_CPLT);
  for (int change = 0; change < 100; change++) {
    QueueObjects(NC_DM_MSG_TYPE_REG_OBJ, 1, 250);
    QueueObjects(NC_DM_MSG_TYPE_UNREG_OBJ, 1, 250);
    EXPECT_EQ(Run(), -2);
    ASSERT_EQ(PendingTexts().size(), 1u);
  }
  EXPECT_EQ(Instances(), 0u);
}

}  // namespace
}  // namespace ncdm_test
