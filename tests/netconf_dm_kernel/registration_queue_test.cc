// The pending registrations, their repetition after a reconnect, and the fault record.

#include <string.h>

#include <thread>

#include "netconf_dm_kernel/query_fixture.h"
#include "support/failing_alloc.h"
#include "support/pending_records.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class RegistrationQueueTest : public QueryTest {
 protected:
  RegistrationQueueTest() {
    EXPECT_THAT(PendingTexts(), IsEmpty());
    info().agent_init = true;
  }
  ~RegistrationQueueTest() override {
    FreePendingRecords();
    FreeYangAttributes();
    info().agent_init = false;
    info().agent_tree_init = true;
  }

  static int QueuePath(const char* path, nc_int32 attr = 0,
                       nc_dm_msg_type_t type = NC_DM_MSG_TYPE_REG) {
    std::string name = path;
    nc_dm_stub_reg_t para = {};
    para.type = type;
    para.attr = attr;
    para.name = name.data();
    return nc_dm_agent_reg_server(&para);
  }

  static void RememberYangAttr(const char* module_name, nc_dm_yang_attr_type_t type,
                               const char* value) {
    auto* attr = static_cast<nc_dm_yang_attr_t*>(calloc(1, sizeof(nc_dm_yang_attr_t)));
    attr->type = type;
    attr->module_name = module_name != nullptr ? strdup(module_name) : nullptr;
    attr->attr = value != nullptr ? strdup(value) : nullptr;
    nc::PushBack(&g_nc_agent_dm.yang_attr_lst, &attr->lst);
  }

  static void DrainFirst() {
    FreePendingRecord(
        nc::RecordOf<nc_dm_stub_reg_t, &nc_dm_stub_reg_t::list>(g_nc_dm_reg_list.reg_list.next));
  }
};

// ---- Queueing ----

TEST_F(RegistrationQueueTest, QueuesACopyAtTheTail) {
  std::string name = "a.b";
  nc_dm_yang_attr_t other = {};
  nc_dm_stub_reg_t para = {};
  para.type = NC_DM_MSG_TYPE_REG;
  para.attr = 17;
  para.src = NC_DM_NODE_SRC_CLI;
  para.name = name.data();
  para.other = &other;
  log().Clear();
  EXPECT_EQ(nc_dm_agent_reg_server(&para), 0);
  EXPECT_THAT(LogLines(), ElementsAre("I Register path[a.b]to server.\n"));
  name = "x.y";
  EXPECT_EQ(QueuePath("a.c", 0, NC_DM_MSG_TYPE_UNREG), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 17", "UNREG a.c"));
  const auto& record = *nc::Records<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list).begin();
  EXPECT_EQ(record.src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(record.other, nullptr);
}

TEST_F(RegistrationQueueTest, QueuesNoInvalidPath) {
  nc_dm_stub_reg_t para = {};
  EXPECT_EQ(nc_dm_agent_reg_server(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_reg_server(&para), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Input parameter para is invalid!\n",
                                      "E Input parameter name is invalid!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RegistrationQueueTest, QueuesNothingBeforeTheStart) {
  info().agent_init = false;
  EXPECT_EQ(QueuePath("a.b"), -1);
  EXPECT_THAT(LogLines(), ElementsAre("I Register path[a.b]to server.\n",
                                      "E Dm client hasn't bean initialized!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RegistrationQueueTest, QueuesACopyOfAYangAttribute) {
  std::string module_name = "if";
  std::string value = "2024-01-01";
  nc_dm_yang_attr_t yang = {};
  yang.type = NC_DM_YANG_ATTR_REVISION;
  yang.module_name = module_name.data();
  yang.attr = value.data();
  EXPECT_EQ(nc_dm_agent_reg_yang_attr_server(&yang), 0);
  module_name = "xx";
  value = "x";
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 1 2024-01-01"));
  EXPECT_THAT(LogLines(), ElementsAre("I Add yang module[if] to register list.\n"));
  EXPECT_EQ(nc::Records<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list).begin()->name, nullptr);
}

TEST_F(RegistrationQueueTest, ChecksAYangAttributeInOrder) {
  char text[] = "if";
  nc_dm_yang_attr_t yang = {};
  info().agent_init = false;
  info().agent_tree_init = false;
  EXPECT_EQ(nc_dm_agent_reg_yang_attr_server(nullptr), -1);
  info().agent_init = true;
  EXPECT_EQ(nc_dm_agent_reg_yang_attr_server(nullptr), -1);
  info().agent_tree_init = true;
  EXPECT_EQ(nc_dm_agent_reg_yang_attr_server(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_reg_yang_attr_server(&yang), -1);
  yang.module_name = text;
  EXPECT_EQ(nc_dm_agent_reg_yang_attr_server(&yang), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Dm client hasn't bean initialized!\n",
                                      "E Dm tree hasn't bean initialized!\n",
                                      "E The input parameter yang is null!\n",
                                      "E The input parameter yang->module_name is null!\n",
                                      "E The input parameter yang->attr is null!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RegistrationQueueTest, HoldsTheListForTheAppendAlone) {
  // A producer waits for who holds the list, and the list is free again behind it.
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  std::thread producer([] { QueuePath("a.b"); });
  EXPECT_THAT(PendingTexts(), IsEmpty());
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  producer.join();
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0"));
  EXPECT_EQ(pthread_mutex_trylock(&g_nc_dm_reg_list.list_mutex), 0);
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
}

// ---- Repetition ----

TEST_F(RegistrationQueueTest, QueuesThePathsOfTheTreeAgain) {
  app.Register({.path = "a.b.{i}.c", .flag = 1, .index = 3});
  app.Register({.path = "a.d"});
  log().Clear();
  EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b.{i}.c 17", "REG a.d 0"));
  EXPECT_THAT(
      LogLines(),
      ElementsAre("I Get all local register trees.\n", "I Get register node 'c'.\n",
                  "I Get register node 'd'.\n", "I Get agent's register paths list successfully.\n",
                  "I Register path[a.b.{i}.c]to server.\n", "I Register path[a.d]to server.\n",
                  "I Get client's register nodes successfully.\n"));
}

TEST_F(RegistrationQueueTest, FailsWithAnEmptyTree) {
  EXPECT_EQ(nc_dm_agent_re_reg_server(), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The register paths list got is empty.\n", "Invaild input parameter!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RegistrationQueueTest, QueuesNothingOfATreeThatCannotBeWalked) {
  app.Register({.path = "a.b"});
  app.Register({.path = "template.y"});
  nc_dm_agent_node_t* node = NodeAt("a");
  for (int depth = 1; depth <= 15; ++depth) {
    node = nc_dm_agent_create_node(node, NodeAt("template"), 0, NC_DM_NODE_TYPE_SINGLE_OBJECT,
                                   NC_DM_NODE_SRC_NONE);
  }
  log().Clear();
  EXPECT_EQ(nc_dm_agent_re_reg_server(), -1);
  const std::vector<std::string> errors = ErrorLines();
  ASSERT_GE(errors.size(), 2u);
  EXPECT_EQ(errors[errors.size() - 2], "Failed to get register paths list.\n");
  EXPECT_EQ(errors.back(), "Invaild input parameter!\n") << "nothing was left to release";
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

// The registration task holds the list while it waits for the tree. Whoever waits for the list must
// have let go of the tree, or both wait for ever.
TEST_F(RegistrationQueueTest, DoesNotHoldTheTreeWhileItWaitsForTheList) {
  app.Register({.path = "a.b"});
  RememberYangAttr("if", NC_DM_YANG_ATTR_MODULE_NAME, "if");
  struct Case {
    int (*repeat)();
    const char* last_line_before;
    const char* queued;
  };
  for (const Case& c :
       {Case{nc_dm_agent_re_reg_server, "Register path[a.b]to server.\n", "REG a.b 0"},
        Case{nc_dm_agent_re_reg_yang_attr_server, "Add yang module[if] to register list.\n",
             "YANG if 0 if"}}) {
    log().Clear();
    pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
    std::thread repetition([&] { EXPECT_EQ(c.repeat(), 0); });
    while (!log().ContainsInfo(c.last_line_before)) std::this_thread::yield();
    pthread_mutex_lock(&g_nc_agent_dm.dm_mutex);
    EXPECT_THAT(PendingTexts(), IsEmpty());
    pthread_mutex_unlock(&g_nc_agent_dm.dm_mutex);
    pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
    repetition.join();
    EXPECT_THAT(PendingTexts(), ElementsAre(c.queued));
    FreePendingRecords();
  }
}

TEST_F(RegistrationQueueTest, FailsWithATreeWithoutLeaves) {
  app.Register({.path = "a.b"});
  nc_dm_agent_unreg_nodes(NodeAt("a.b"));
  EXPECT_EQ(nc_dm_agent_re_reg_server(), -1);
  EXPECT_EQ(ErrorLines().front(), "The register paths list got is empty.\n");
}

TEST_F(RegistrationQueueTest, IgnoresSingleFailures) {
  app.Register({.path = "a.b"});
  info().agent_init = false;
  EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_THAT(ErrorLines(), ElementsAre("Dm client hasn't bean initialized!\n"));
}

TEST_F(RegistrationQueueTest, QueuesARepetitionBehindWhatWaits) {
  app.Register({.path = "a.b"});
  QueuePath("a.b");
  QueuePath("a.x", 0, NC_DM_MSG_TYPE_REG_CPLT);
  EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0", "REG_CPLT", "REG a.b 0"))
      << "what the application queued is no repetition";
}

TEST_F(RegistrationQueueTest, ARepetitionTakesThePlaceOfThePreviousOne) {
  app.Register({.path = "a.b"});
  app.Register({.path = "a.c"});
  RememberYangAttr("if", NC_DM_YANG_ATTR_MODULE_NAME, "if");
  QueuePath("a.b");
  const auto reconnect = [] {
    EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
    EXPECT_EQ(nc_dm_agent_re_reg_yang_attr_server(), 0);
  };
  reconnect();
  QueuePath("a.obj.1.", 0, NC_DM_MSG_TYPE_REG_OBJ);
  for (int i = 0; i < 100; ++i) reconnect();
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0", "REG_OBJ a.obj.1. src=0", "REG a.b 0",
                                          "REG a.c 0", "YANG if 0 if"));
}

TEST_F(RegistrationQueueTest, ARepetitionIsCompleteAfterOneThatWasSentInPart) {
  app.Register({.path = "a.b"});
  app.Register({.path = "a.c"});
  EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
  DrainFirst();
  app.Register({.path = "a.d"});
  EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0", "REG a.c 0", "REG a.d 0"));
}

TEST_F(RegistrationQueueTest, QueuesTheYangAttributesAgain) {
  RememberYangAttr("if", NC_DM_YANG_ATTR_MODULE_NAME, "if");
  RememberYangAttr("if", NC_DM_YANG_ATTR_REVISION, "2024-01-01");
  RememberYangAttr("ip", NC_DM_YANG_ATTR_MODULE_NAME, nullptr);
  RememberYangAttr(nullptr, NC_DM_YANG_ATTR_MODULE_NAME, "x");
  RememberYangAttr("sys", NC_DM_YANG_ATTR_MODULE_NAME, "sys");
  log().Clear();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(nc_dm_agent_re_reg_yang_attr_server(), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 0 if", "YANG if 1 2024-01-01", "YANG sys 0 sys"))
      << "a failure is ignored, and does not keep what is repeated";
  EXPECT_THAT(ErrorLines(), Contains("The input parameter yang->attr is null!\n"));
  EXPECT_THAT(ErrorLines(), Contains("The input parameter yang->module_name is null!\n"));
}

TEST_F(RegistrationQueueTest, ChecksTheStartBeforeTheYangAttributes) {
  RememberYangAttr("if", NC_DM_YANG_ATTR_MODULE_NAME, "if");
  info().agent_init = false;
  EXPECT_EQ(nc_dm_agent_re_reg_yang_attr_server(), -1);
  info().agent_init = true;
  info().agent_tree_init = false;
  EXPECT_EQ(nc_dm_agent_re_reg_yang_attr_server(), -1);
  EXPECT_THAT(LogLines(), ElementsAre("E Dm client hasn't bean initialized!\n",
                                      "E Dm tree hasn't bean initialized!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RegistrationQueueTest, SucceedsWithoutYangAttributes) {
  EXPECT_EQ(nc_dm_agent_re_reg_yang_attr_server(), 0);
  EXPECT_THAT(LogLines(), IsEmpty());
}

// ---- Short memory ----

TEST_F(RegistrationQueueTest, QueuesAllOrNothingOfARecord) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char path[] = "a.b";
  char module_name[] = "if";
  nc_dm_stub_reg_t para = {};
  para.type = NC_DM_MSG_TYPE_REG;
  para.name = path;
  nc_dm_yang_attr_t yang = {};
  yang.module_name = module_name;
  yang.attr = module_name;
  const DebugMask silent(0);
  EXPECT_EQ(WithEachAllocationFailing([&] {
              const int result = nc_dm_agent_reg_server(&para);
              const bool queued = !nc::IsEmpty(&g_nc_dm_reg_list.reg_list);
              if (queued != (result == 0)) abort();
              FreePendingRecords();
            }),
            2);
  EXPECT_EQ(WithEachAllocationFailing([&] {
              const int result = nc_dm_agent_reg_yang_attr_server(&yang);
              const bool queued = !nc::IsEmpty(&g_nc_dm_reg_list.reg_list);
              if (queued != (result == 0)) abort();
              FreePendingRecords();
            }),
            4);
}

TEST_F(RegistrationQueueTest, NamesWhatMemoryWasTooShortFor) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char text[] = "if";
  nc_dm_stub_reg_t para = {};
  para.type = NC_DM_MSG_TYPE_REG;
  para.name = text;
  nc_dm_yang_attr_t yang = {};
  yang.module_name = text;
  yang.attr = text;
  const DebugMask errors(NC_DM_DBG_ERROR);
  const auto failing = [](int successes, auto call) {
    LogCapture::Get().Clear();
    int result;
    {
      const FailingAlloc fail(successes);
      result = call();
    }
    EXPECT_EQ(result, -1);
    return LogLines();
  };
  const auto reg = [&] { return nc_dm_agent_reg_server(&para); };
  const auto reg_yang = [&] { return nc_dm_agent_reg_yang_attr_server(&yang); };
  EXPECT_THAT(failing(0, reg), ElementsAre("E Failed to malloc for reg_node!\n"));
  EXPECT_THAT(failing(1, reg), ElementsAre("E Failed to malloc for reg_node->name!\n"));
  EXPECT_THAT(failing(0, reg_yang), ElementsAre("E Failed to malloc reg_yang!\n"));
  EXPECT_THAT(failing(1, reg_yang), ElementsAre("E Failed to malloc yang_attr!\n"));
  EXPECT_THAT(failing(2, reg_yang), ElementsAre("E Failed to malloc yang_attr!\n"));
  EXPECT_THAT(failing(3, reg_yang), ElementsAre("E Failed to malloc yang_attr!\n"));
}

TEST_F(RegistrationQueueTest, LosesNoQueuedPathWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  app.Register({.path = "a.b"});
  app.Register({.path = "a.c"});
  EXPECT_EQ(nc_dm_agent_re_reg_server(), 0);
  const DebugMask silent(0);
  int result = 0;
  int failures = 0;
  for (int successes = 0;; ++successes) {
    bool failed;
    {
      const FailingAlloc failing(successes);
      result = nc_dm_agent_re_reg_server();
      failed = FailingAlloc::HasFailed();
    }
    if (!failed) break;
    ++failures;
    EXPECT_THAT(PendingTexts(), Contains("REG a.b 0"));
    EXPECT_THAT(PendingTexts(), Contains("REG a.c 0"));
  }
  EXPECT_EQ(result, 0);
  EXPECT_GT(failures, 6);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0", "REG a.c 0"));
}

// ---- The fault ----

TEST(FaultTest, RecordsCodeAndPath) {
  nc_dm_fault_t fault = {};
  char path[] = "a.b";
  nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_BAD_ELEM, path);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_BAD_ELEM);
  EXPECT_STREQ(fault.path, "a.b");
  EXPECT_TRUE(fault.new_fault);
}

TEST(FaultTest, KeepsThePathWithoutAnother) {
  nc_dm_fault_t fault = {};
  char path[] = "a.b";
  nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_BAD_ELEM, path);
  fault.new_fault = false;
  nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_MEM, nullptr);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_MEM);
  EXPECT_STREQ(fault.path, "a.b");
  EXPECT_TRUE(fault.new_fault);
  char shorter[] = "a";
  nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_OK, shorter);
  EXPECT_STREQ(fault.path, "a");
  EXPECT_TRUE(fault.new_fault);
}

TEST(FaultTest, CutsThePathAt256Characters) {
  for (const size_t len : {255, 256, 257, 10000}) {
    SCOPED_TRACE(len);
    nc_dm_fault_t fault = {};
    std::string path(len, 'x');
    nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_MEM, path.data());
    EXPECT_EQ(std::string(fault.path), std::string(std::min<size_t>(len, 256), 'x'));
  }
}

TEST(FaultTest, TakesItsOwnPath) {
  nc_dm_fault_t fault = {};
  char path[] = "a.b";
  nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_MEM, path);
  nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_LINK, fault.path + 2);
  EXPECT_STREQ(fault.path, "b");
}

TEST(FaultTest, IgnoresNull) {
  char path[] = "a";
  nc_dm_agent_set_fault(nullptr, NC_DM_FAULT_CODE_MEM, path);
  EXPECT_THAT(LogLines(), IsEmpty());
}

}  // namespace
}  // namespace ncdm_test
