#include <functional>
#include <ostream>
#include <thread>

#include "agent_fixture.h"

namespace ncdm_test {
namespace {

struct Expected {
  const char* event_name;
  nc_dm_event_t event;
  zu_thread* nc_dm_thread_manage_t::*handle;
  zu_thread_func func;
  TaskKind kind;
  int value;         // with socket 42
  const char* name;  // or null
  long sec;          // with time 5
  const char* failure;
};

std::ostream& operator<<(std::ostream& out, const Expected& expected) {
  return out << expected.event_name;
}

constexpr Expected kExpected[] = {
    {"connect", NC_DM_EVENT_CONNECT, &nc_dm_thread_manage_t::tt_connect, nc_dm_agent_connect,
     TaskKind::kEvent, 42, "tt-conn", 0, "Failed to add zu-thread for connection!\n"},
    {"reconnect", NC_DM_EVENT_RECONNECT, &nc_dm_thread_manage_t::tt_reconnect,
     nc_dm_agent_reconnect, TaskKind::kNamedTimer, 0, "tt-reconn", 1,
     "Failed to add zu-thread for reconnection!\n"},
    {"read", NC_DM_EVENT_READ, &nc_dm_thread_manage_t::tt_read, nc_dm_agent_read, TaskKind::kRead,
     42, "tt-read", 0, "Failed to add zu-thread for read!\n"},
    {"filter_write", NC_DM_EVENT_FLTRSP_WRITE, &nc_dm_thread_manage_t::tt_fltrsp,
     nc_dm_agent_send_filter_rsp_lst, TaskKind::kWrite, 42, nullptr, 0,
     "Failed to add zu-thread for filter response write!\n"},
    {"getid_write", NC_DM_EVENT_IDRSP_WRITE, &nc_dm_thread_manage_t::tt_idrsp,
     nc_dm_agent_send_getid_rsp_lst, TaskKind::kWrite, 42, nullptr, 0,
     "Failed to add zu-thread for getid response write!\n"},
    {"reg", NC_DM_EVENT_REG, &nc_dm_thread_manage_t::tt_reg, nc_dm_agent_reg_handler,
     TaskKind::kTimer, 0, nullptr, 5, "Failed to add zu-thread for register(or unregister)!\n"},
    {"unreg_client", NC_DM_EVENT_UNREG_CLIENT, &nc_dm_thread_manage_t::tt_unreg_client,
     nc_dm_agent_unreg_client, TaskKind::kEvent, 0, "tt-unreg-client", 0,
     "Failed to add zu-thread for unregister client!\n"},
};

class EventTest : public AgentTest {
 protected:
  EventTest() { tasks().master = FakePlatform::Master(); }
};

class EachEventTest : public EventTest, public testing::WithParamInterface<Expected> {};

TEST_P(EachEventTest, IsScheduledAsItsKindAsks) {
  const Expected& expected = GetParam();
  nc_dm_agent_handle_event(expected.event, 42, 5);

  ASSERT_EQ(platform().Pending().size(), 1u);
  const FakeTask* task = platform().Pending().front();
  EXPECT_EQ(tasks().*expected.handle, task);
  EXPECT_EQ(task->kind, expected.kind);
  EXPECT_EQ(task->master, FakePlatform::Master());
  EXPECT_EQ(task->func, expected.func);
  EXPECT_EQ(task->arg, nullptr);
  EXPECT_EQ(task->value, expected.value);
  EXPECT_STREQ(task->name, expected.name);
  EXPECT_EQ(task->sec, expected.sec);
  EXPECT_TRUE(log().Records().empty());
}

TEST_P(EachEventTest, IsScheduledOnceAtATime) {
  nc_dm_agent_handle_event(GetParam().event, 42, 5);
  nc_dm_agent_handle_event(GetParam().event, 43, 6);
  EXPECT_EQ(platform().scheduled(), 1);
  EXPECT_EQ(platform().Pending().size(), 1u);
}

TEST_P(EachEventTest, AFailureIsLoggedAndTheNextRequestTriesAgain) {
  const Expected& expected = GetParam();
  platform().FailNext(1);
  nc_dm_agent_handle_event(expected.event, 42, 5);
  EXPECT_EQ(tasks().*expected.handle, nullptr);
  EXPECT_TRUE(log().ContainsError(expected.failure));

  nc_dm_agent_handle_event(expected.event, 42, 5);
  EXPECT_NE(tasks().*expected.handle, nullptr);
}

TEST_P(EachEventTest, NeedsAMaster) {
  tasks().master = nullptr;
  nc_dm_agent_handle_event(GetParam().event, 42, 5);
  EXPECT_EQ(platform().scheduled(), 0);
  EXPECT_TRUE(log().ContainsError("Input parameter is invalid!\n"));
}

INSTANTIATE_TEST_SUITE_P(Events, EachEventTest, testing::ValuesIn(kExpected),
                         [](const auto& param) { return param.param.event_name; });

TEST_F(EventTest, NotifyIsNotSupported) {
  nc_dm_agent_handle_event(NC_DM_EVENT_NOTIFY, 42, 5);
  EXPECT_EQ(platform().scheduled(), 0);
  EXPECT_TRUE(log().ContainsError("Nosupport notify event!\n"));
}

TEST_F(EventTest, OtherKindsAreUnknown) {
  for (int event : {NC_DM_EVENT_UNREG + 0, NC_DM_EVENT_MAX + 0, NC_DM_EVENT_MAX + 1}) {
    log().Clear();
    nc_dm_agent_handle_event(static_cast<nc_dm_event_t>(event), 42, 5);
    EXPECT_EQ(platform().scheduled(), 0);
    EXPECT_TRUE(log().ContainsError("Unknow event type!\n"));
  }
}

TEST_F(EventTest, TheRegistrationTimerCountsMicroseconds) {
  nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 2, 100000);
  ASSERT_EQ(platform().Pending().size(), 1u);
  const FakeTask* task = platform().Pending().front();
  EXPECT_EQ(tasks().tt_reg, task);
  EXPECT_EQ(task->kind, TaskKind::kTimevalTimer);
  EXPECT_EQ(task->func, nc_dm_agent_reg_handler);
  EXPECT_EQ(task->sec, 2);
  EXPECT_EQ(task->usec, 100000);

  nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 3, 0);
  nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 3);
  EXPECT_EQ(platform().scheduled(), 1);
}

TEST_F(EventTest, ATimerIsForRegistrationAlone) {
  for (int event : {NC_DM_EVENT_RECONNECT + 0, NC_DM_EVENT_UNREG + 0, NC_DM_EVENT_MAX + 0}) {
    log().Clear();
    nc_dm_agent_handle_timer(static_cast<nc_dm_event_t>(event), 1, 0);
    EXPECT_EQ(platform().scheduled(), 0);
    EXPECT_TRUE(log().ContainsError("Unknow event type!\n"));
  }
}

TEST_F(EventTest, ATimerNeedsAMaster) {
  tasks().master = nullptr;
  nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 1, 0);
  EXPECT_EQ(platform().scheduled(), 0);
  EXPECT_TRUE(log().ContainsError("Input parameter is invalid!\n"));
}

TEST_F(EventTest, ATimerThatFailsIsLogged) {
  platform().FailNext(1);
  nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 1, 0);
  EXPECT_EQ(tasks().tt_reg, nullptr);
  EXPECT_TRUE(log().ContainsError("Failed to add zu-thread for register(or unregister)!\n"));
}

// What the list held is freed with all that it owns: the leak checker sees to that.
TEST_F(EventTest, AFilterAnswerThatCannotBeWrittenIsReleased) {
  auto* node = static_cast<nc_dm_val_node_t*>(calloc(1, sizeof(nc_dm_val_node_t)));
  node->val_entry.dm_name = nc_dm_copy_str("a.b");
  node->val_entry.dm_val = nc_dm_copy_str("value");
  nc::PushBack(&info().param_list.head, &node->lst);
  info().param_list.cnt = 1;

  platform().FailNext(1);
  nc_dm_agent_handle_event(NC_DM_EVENT_FLTRSP_WRITE, 42, 0);
  EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
  EXPECT_EQ(info().param_list.cnt, 0);
}

TEST_F(EventTest, AGetidAnswerThatCannotBeWrittenIsReleased) {
  auto* node = static_cast<nc_dm_id_array_node_t*>(calloc(1, sizeof(nc_dm_id_array_node_t)));
  nc::PushBack(&info().param_list.head, &node->lst);
  info().param_list.cnt = 1;

  platform().FailNext(1);
  nc_dm_agent_handle_event(NC_DM_EVENT_IDRSP_WRITE, 42, 0);
  EXPECT_TRUE(nc::IsEmpty(&info().param_list.head));
  EXPECT_EQ(info().param_list.cnt, 0);
}

// ---- What cannot be scheduled is owed ----

class OwedTaskTest : public AgentTest {
 protected:
  void SetUp() override {
    InitWithPeer();
    nc_dm_agent_handle_event(NC_DM_EVENT_READ, agent_fd(), 0);
    nc_dm_agent_handle_event(NC_DM_EVENT_REG, 0, 1);
  }
  static void RunAny(zu_thread_func func) { platform().RunNext(func); }
};

TEST_F(OwedTaskTest, AReadThatFailsIsTriedAgainAtOnceAndByTheNextTask) {
  peer().Send(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(0));
  platform().FailNext(2);
  RunAny(nc_dm_agent_read);
  EXPECT_EQ(tasks().tt_read, nullptr);
  EXPECT_EQ(log().Count(kErrorPrefix, "Failed to add zu-thread for read!\n"), 2);
  RunAny(nc_dm_agent_reg_handler);
  ASSERT_NE(tasks().tt_read, nullptr);
  EXPECT_EQ(tasks().tt_read->value, agent_fd());
}

TEST_F(OwedTaskTest, ATimerThatFailsIsTriedAgainByTheNextMessage) {
  platform().FailNext(2);
  RunAny(nc_dm_agent_reg_handler);
  EXPECT_EQ(tasks().tt_reg, nullptr);
  peer().Send(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(0));
  RunAny(nc_dm_agent_read);
  ASSERT_NE(tasks().tt_reg, nullptr);
  EXPECT_EQ(static_cast<FakeTask*>(tasks().tt_reg)->sec, 1);
}

TEST_F(OwedTaskTest, APauseThatFailsIsStillAPause) {
  platform().Reset();
  tasks().tt_reg = nullptr;
  tasks().tt_read = nullptr;
  platform().FailNext(1);
  nc_dm_agent_handle_timer(NC_DM_EVENT_REG, 0, 100000);
  EXPECT_EQ(tasks().tt_reg, nullptr);
  nc_dm_agent_handle_event(NC_DM_EVENT_UNREG_CLIENT, 0, 0);
  RunAny(nc_dm_agent_unreg_client);
  ASSERT_NE(tasks().tt_reg, nullptr);
  EXPECT_EQ(static_cast<FakeTask*>(tasks().tt_reg)->usec, 100000);
}

TEST_F(OwedTaskTest, AReconnectionThatFailsIsTriedAgain) {
  peer().Close();
  platform().FailNext(2);
  RunAny(nc_dm_agent_read);
  EXPECT_EQ(tasks().tt_reconnect, nullptr);
  RunAny(nc_dm_agent_reg_handler);
  EXPECT_NE(tasks().tt_reconnect, nullptr);
}

// Nothing is scheduled any more, so that only the application can bring the library back.
TEST_F(OwedTaskTest, ACallOfTheApplicationBringsBackWhatAllFailed) {
  platform().FailNext(100);
  peer().Send(NC_DM_MSG_TYPE_REG_RSP, Body().Int32(0));
  RunAny(nc_dm_agent_read);
  RunAny(nc_dm_agent_reg_handler);
  EXPECT_TRUE(platform().Pending().empty());
  platform().FailNext(0);
  char path[] = "t.1.";
  std::thread([&] { EXPECT_EQ(nc_dm_agent_reg(path), 0); }).join();
  EXPECT_TRUE(platform().Pending().empty()) << "only the event loop's thread may schedule";
  EXPECT_EQ(nc_dm_agent_reg(path), 0);
  EXPECT_NE(tasks().tt_read, nullptr);
  EXPECT_NE(tasks().tt_reg, nullptr);
}

TEST_F(OwedTaskTest, EachRegistrationCallBringsBackWhatFailed) {
  const std::vector<std::function<void()>> calls = {
      [] { EXPECT_EQ(nc_dm_agent_reg(const_cast<char*>("t.1.")), 0); },
      [] { EXPECT_EQ(nc_dm_agent_cli_reg(const_cast<char*>("t.1."), NC_DM_NODE_SRC_CLI), 0); },
      [] { EXPECT_EQ(nc_dm_agent_unreg(const_cast<char*>("t.1.")), 0); },
      [] { EXPECT_EQ(nc_dm_agent_yang_attr_reg("m", NC_DM_YANG_ATTR_REVISION, "x"), 0); },
      [] { nc_dm_agent_mode_reg_cplt(); },
      // Without an instance: the leaf alone is queued.
      [] {
        EXPECT_EQ(nc_dm_agent_mul_reg(const_cast<char*>("c.{2-1}.d"), NC_DM_VAL_TYPE_STRING, 0,
                                      nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  0);
      },
      [] {
        EXPECT_EQ(
            nc_dm_agent_mode_reg(const_cast<char*>("a.b"), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
      },
  };
  for (const auto& call : calls) {
    platform().FailNext(2);
    RunAny(nc_dm_agent_reg_handler);
    ASSERT_EQ(tasks().tt_reg, nullptr);
    call();
    ASSERT_NE(tasks().tt_reg, nullptr);
  }
}

TEST_F(OwedTaskTest, WhatIsCancelledIsOwedNoMore) {
  peer().Close();
  platform().FailNext(2);
  RunAny(nc_dm_agent_read);
  nc_dm_agent_clear_connect();
  RunAny(nc_dm_agent_reg_handler);
  EXPECT_EQ(tasks().tt_read, nullptr);
  EXPECT_EQ(tasks().tt_reconnect, nullptr);
}

TEST_F(OwedTaskTest, AStartSchedulesWhatFailedWithinIt) {
  close(agent_fd());
  platform().Reset();
  platform().FailEvery(3);
  ASSERT_EQ(Init(), 0);
  EXPECT_NE(tasks().tt_reconnect, nullptr);
  EXPECT_NE(tasks().tt_read, nullptr);
  EXPECT_NE(tasks().tt_reg, nullptr);
}

TEST_F(OwedTaskTest, ARequestToLeaveThatFailsIsTriedAgain) {
  platform().FailNext(1);
  ASSERT_EQ(nc_dm_agent_unreg_all(nullptr), 0);
  EXPECT_EQ(tasks().tt_unreg_client, nullptr);
  RunAny(nc_dm_agent_reg_handler);
  EXPECT_NE(tasks().tt_unreg_client, nullptr);
}

// ---- A whole life in which every n-th scheduling fails ----

class FailingSchedulingsTest : public AgentTest, public testing::WithParamInterface<int> {
 protected:
  static int RegisterModel() {
    const char* const kLeaves[] = {"sys.a", "sys.b", "t.{i}.name"};
    int result = 0;
    for (const char* leaf : kLeaves) {
      result |= nc_dm_agent_mode_reg(
          const_cast<char*>(leaf), NC_DM_VAL_TYPE_BOOL, 0, 0, nullptr,
          [](nc_dm_id_array_t*, char*) { return 0; }, nullptr, nullptr, nullptr, nullptr, nullptr);
    }
    return result;
  }

  // Runs tasks until only those are left that wait for the server's next word or for the next
  // second, or for the server itself.
  static void RunSome() {
    for (int i = 0; i < 6; i++) {
      for (FakeTask* task : platform().Pending()) {
        if (!platform().IsPending(task)) continue;
        pollfd readable = {task->value, POLLIN, 0};
        if (task->kind == TaskKind::kRead && poll(&readable, 1, 0) != 1) continue;
        platform().Run(task);
      }
    }
  }

  // The paths that the server was told, of all that it has been sent.
  static std::vector<std::string> ToldPaths(const Peer& server) {
    std::vector<std::string> paths;
    while (!server.IsQuiet()) {
      const Frame frame = server.Receive();
      if (frame.type() != NC_DM_MSG_TYPE_REG) continue;
      BodyReader body(frame.body);
      body.Int32();
      paths.push_back(body.Text());
    }
    return paths;
  }
};

TEST_P(FailingSchedulingsTest, LosesNothing) {
  platform().FailEvery(GetParam());
  ASSERT_EQ(Init(RegisterModel), 0);
  for (int life = 0; life < 20; life++) {
    const Server listener(dir());
    RunSome();
    ASSERT_TRUE(listener.HasConnection()) << "life " << life;
    Peer server = listener.Accept();
    RunSome();
    EXPECT_THAT(ToldPaths(server), testing::IsSupersetOf({"sys.a", "sys.b", "t.{i}.name"}));

    ASSERT_EQ(nc_dm_agent_reg(const_cast<char*>("t.1.")), 0);
    server.Send(NC_DM_MSG_TYPE_EDIT, Body().Int32(2), 100 + life);
    RunSome();
    const Frame answer = server.Receive();
    EXPECT_EQ(answer.type(), NC_DM_MSG_TYPE_EDIT_RSP);
    EXPECT_EQ(answer.head.sid, 100 + life);
    EXPECT_EQ(PendingTexts().size(), 0u);
    server.Close();
  }
}

INSTANTIATE_TEST_SUITE_P(EveryNth, FailingSchedulingsTest, testing::Values(2, 3, 4, 5, 7, 11));

}  // namespace
}  // namespace ncdm_test
