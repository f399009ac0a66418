// Choices: what one case's node ends.
#include "tests/yang/model_fixture.h"

namespace ncdm::model {
namespace {

constexpr char kPort[] = "values.tcp-port";
constexpr char kPath[] = "values.socket.path";
constexpr char kPeer[] = "values.socket.inside.peer.{i}.name";
constexpr char kAddress[] = "values.address";

class CaseTest : public ModelTest {
 protected:
  static void SetUpNodes() {
    ASSERT_EQ(Set(kPath, {}, "p"), 0);
    ASSERT_EQ(Create(kPeer, {}, "one"), 1);
    ASSERT_EQ(Create(kPeer, {}, "two"), 2);
    ASSERT_EQ(Create(kAddress, {}, "a"), 1);
  }
};

TEST_F(CaseTest, LeavesOfOtherCasesInTheRecordEnd) {
  ASSERT_EQ(Set(kPort, {}, "1"), 0);
  ASSERT_EQ(Set("values.keep-alive", {}, "true"), 0);
  ASSERT_EQ(Set("values.pipe", {}, "p"), 0);
  EXPECT_EQ(Get(kPort, {}), "absent");
  EXPECT_EQ(Get("values.keep-alive", {}), "absent");
  EXPECT_EQ(Get("values.pipe", {}), "p");
}

TEST_F(CaseTest, NodesOfOneCaseStandTogether) {
  SetUpNodes();
  EXPECT_EQ(Get(kPath, {}), "p");
  EXPECT_EQ(Get(kPeer, {1}), "one");
  EXPECT_EQ(Get(kAddress, {1}), "a");
}

TEST_F(CaseTest, ALeafEndsContainersListsAndLeafListsOfOtherCases) {
  SetUpNodes();
  ASSERT_EQ(Set(kPort, {}, "1"), 0);
  EXPECT_EQ(Get(kPath, {}), "absent");
  EXPECT_EQ(Get(kPeer, {1}), "absent");
  EXPECT_EQ(Get(kPeer, {2}), "absent");
  EXPECT_EQ(Get(kAddress, {1}), "absent");
  EXPECT_EQ(Get(kPort, {}), "1");
}

TEST_F(CaseTest, AnEntryOrALeafInAContainerEndsTheLeavesOfOtherCases) {
  for (const auto& choose :
       {+[] { return Create(kPeer, {}, "one"); }, +[] { return Create(kAddress, {}, "a"); },
        +[] { return 1 + Set(kPath, {}, "p"); }}) {
    ASSERT_EQ(Set(kPort, {}, "1"), 0);
    ASSERT_EQ(choose(), 1);
    EXPECT_EQ(Get(kPort, {}), "absent");
  }
}

TEST_F(CaseTest, AnUnsetLeafEndsNothing) {
  SetUpNodes();
  ASSERT_EQ(Remove("values.text", {}) < 0, true);  // mandatory
  ASSERT_EQ(Remove(kPort, {}), 0);
  ASSERT_EQ(Set("values.uint16", {}, "5"), 0);
  EXPECT_EQ(Get(kPath, {}), "p");
  EXPECT_EQ(Get(kPeer, {1}), "one");
}

TEST_F(CaseTest, WhatTheApplicationKeepsRefusesTheOtherCase) {
  SetUpNodes();
  every_type_values_socket_operations.apply =
      [](const nc_dm_id_array_t*, const every_type_values_socket_t*,
         every_type_values_socket_t* record) -> nc_int64 { return record->has.path ? 0 : -1; };
  EXPECT_LT(Set(kPort, {}, "1"), 0);
  every_type_values_socket_operations = {};
  EXPECT_EQ(Get(kPort, {}), "absent");
  EXPECT_EQ(Get(kPath, {}), "p");
}

}  // namespace
}  // namespace ncdm::model
