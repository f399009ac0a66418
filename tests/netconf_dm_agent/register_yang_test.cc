// Attributes of YANG modules.

#include <string.h>

#include <thread>

#include "netconf_dm_agent/registration_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kModuleName = NC_DM_YANG_ATTR_MODULE_NAME;
constexpr auto kRevision = NC_DM_YANG_ATTR_REVISION;

class YangAttrTest : public RegistrationTest {
 protected:
  // "module kind value", in order.
  static std::vector<std::string> Recorded() {
    std::vector<std::string> texts;
    for (const auto& attr : nc::Records<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
      texts.push_back(std::string(attr.module_name) + " " + std::to_string(attr.type) + " " +
                      (attr.attr != nullptr ? attr.attr : "(null)"));
    }
    return texts;
  }
};

TEST_F(YangAttrTest, RecordsAndQueuesAnAttribute) {
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kModuleName, "if"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "2024-01-01"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("ip", kModuleName, "ip"), 0);
  EXPECT_THAT(Recorded(), ElementsAre("if 0 if", "if 1 2024-01-01", "ip 0 ip"));
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 0 if", "YANG if 1 2024-01-01", "YANG ip 0 ip"));
  EXPECT_THAT(LogLines(), ElementsAre("I Add yang module[if] to register list.\n",
                                      "I Add yang module[if] to register list.\n",
                                      "I Add yang module[ip] to register list.\n"));
}

TEST_F(YangAttrTest, ReplacesAValueAndQueuesItOnceWhileItWaits) {
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "1"), 0);
  EXPECT_EQ(ModeReg("a.b"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "1"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "2"), 0);
  EXPECT_THAT(Recorded(), ElementsAre("if 1 2"));
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 1 2", "REG a.b 0"));
}

TEST_F(YangAttrTest, AnUnchangedAttributeThatWaitsNoMoreIsQueuedAgain) {
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "1"), 0);
  FreePendingRecords();
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "1"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 1 1"));
}

TEST_F(YangAttrTest, OtherModulesAndKindsWaitBesideIt) {
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "1"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kModuleName, "if"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("ip", kRevision, "1"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "2"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 1 2", "YANG if 0 if", "YANG ip 1 1"));
}

TEST_F(YangAttrTest, FillsAnAttributeWithoutValue) {
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "1"), 0);
  nc_dm_yang_attr_t* attr = nc_dm_agent_get_yang_attr("if", kRevision);
  ASSERT_NE(attr, nullptr);
  free(attr->attr);
  attr->attr = nullptr;
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "2"), 0);
  EXPECT_THAT(Recorded(), ElementsAre("if 1 2"));
}

TEST_F(YangAttrTest, FindsTheAttributeOfAModuleAndKind) {
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kModuleName, "if"), 0);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("ip", kModuleName, "ip"), 0);
  ASSERT_NE(nc_dm_agent_get_yang_attr("ip", kModuleName), nullptr);
  EXPECT_STREQ(nc_dm_agent_get_yang_attr("ip", kModuleName)->module_name, "ip");
  EXPECT_EQ(nc_dm_agent_get_yang_attr("ip", kRevision), nullptr);
  EXPECT_EQ(nc_dm_agent_get_yang_attr("i", kModuleName), nullptr);
  EXPECT_EQ(nc_dm_agent_get_yang_attr(nullptr, kModuleName), nullptr);
}

TEST_F(YangAttrTest, ChecksInOrder) {
  info().agent_init = false;
  info().agent_tree_init = false;
  EXPECT_EQ(nc_dm_agent_yang_attr_reg(nullptr, kModuleName, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kModuleName, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kModuleName, "if"), -1);
  info().agent_init = true;
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kModuleName, "if"), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre("E Input yang name is null!\n", "E Input yang attribute value is null!\n",
                          "E Dm client hasn't bean initialized!\n",
                          "E Dm tree hasn't bean initialized!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_THAT(Recorded(), IsEmpty());
}

TEST_F(YangAttrTest, DoesNotHoldTheTreeWhileItWaitsForTheList) {
  // As the registration task does: the list first, then the tree. A producer that held the tree
  // while it waits for the list would stop both for ever.
  pthread_mutex_lock(&g_nc_dm_reg_list.list_mutex);
  std::thread producer([] { nc_dm_agent_yang_attr_reg("if", kModuleName, "if"); });
  // Wait until the attribute stands in the tree: from then on the producer waits for the list.
  bool recorded = false;
  while (!recorded) {
    pthread_mutex_lock(&g_nc_agent_dm.dm_mutex);
    recorded = nc_dm_agent_get_yang_attr("if", kModuleName) != nullptr;
    pthread_mutex_unlock(&g_nc_agent_dm.dm_mutex);
    std::this_thread::yield();
  }
  EXPECT_THAT(PendingTexts(), IsEmpty());
  pthread_mutex_unlock(&g_nc_dm_reg_list.list_mutex);
  producer.join();
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 0 if"));
}

TEST_F(YangAttrTest, KeepsWhatItHasWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  const auto failing = [](int successes, const char* value) {
    LogCapture::Get().Clear();
    const FailingAlloc fail(successes);
    return nc_dm_agent_yang_attr_reg("if", kRevision, value);
  };
  const DebugMask errors(NC_DM_DBG_ERROR);
  for (int successes = 0; successes < 3; ++successes) {
    EXPECT_EQ(failing(successes, "1"), -1);
    EXPECT_THAT(Recorded(), IsEmpty());
    EXPECT_THAT(LogLines(), ElementsAre("E Failed to malloc yang_attr!\n"));
  }
  EXPECT_EQ(nc_dm_agent_yang_attr_reg("if", kRevision, "1"), 0);
  EXPECT_EQ(failing(0, "2"), -1);
  EXPECT_THAT(Recorded(), ElementsAre("if 1 1"));
  EXPECT_EQ(failing(1, "2"), 0) << "that it is not queued does not count";
  EXPECT_THAT(Recorded(), ElementsAre("if 1 2"));
  EXPECT_THAT(PendingTexts(), ElementsAre("YANG if 1 1"));
}

}  // namespace
}  // namespace ncdm_test
