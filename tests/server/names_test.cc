#include "server/names.h"

#include <gtest/gtest.h>

namespace ncdm::server {
namespace {

TEST(NamesTest, EveryMessageTypeHasAName) {
  for (std::int32_t type = NC_DM_MSG_TYPE_FAULT; type < NC_DM_MSG_TYPE_MAX; ++type) {
    EXPECT_NE(MessageTypeName(type), std::to_string(type));
  }
  EXPECT_EQ(MessageTypeName(18), "FILTER_RSP");
  EXPECT_EQ(MessageTypeName(27), "27");
}

TEST(NamesTest, EveryFaultCodeHasAName) {
  for (std::int32_t code = 0; code >= -13; --code) {
    EXPECT_NE(FaultCodeName(code), std::to_string(code));
  }
  EXPECT_EQ(FaultCodeName(-10), "DATA_MISSING");
  EXPECT_EQ(FaultCodeName(-14), "-14");
}

TEST(NamesTest, FaultsWithAndWithoutPath) {
  EXPECT_EQ(RenderFault(-12, "a.b"), "fault BAD_ELEM: a.b");
  EXPECT_EQ(RenderFault(-7, ""), "fault OP_FAILED");
}

TEST(NamesTest, NamesAreReadBack) {
  for (std::int32_t datastore = NC_DM_DATASTORE_CONFIG; datastore <= NC_DM_DATASTORE_SDN;
       ++datastore) {
    EXPECT_EQ(DatastoreFromName(DatastoreName(datastore)), datastore);
  }
  for (std::int32_t operation = 0; operation <= 5; ++operation) {
    EXPECT_EQ(OperationFromName(OperationName(operation)), static_cast<Operation>(operation));
  }
  for (std::int32_t operation = 1; operation <= 3; ++operation) {
    EXPECT_EQ(DefaultOperationFromName(DefaultOperationName(operation)),
              static_cast<DefaultOperation>(operation));
    EXPECT_EQ(ErrorOptionFromName(ErrorOptionName(operation)), static_cast<ErrorOption>(operation));
  }
  EXPECT_FALSE(DatastoreFromName("RUNNING"));
  EXPECT_FALSE(OperationFromName(""));
  EXPECT_FALSE(DefaultOperationFromName("create"));
  EXPECT_FALSE(ErrorOptionFromName("continue"));
}

TEST(NamesTest, BitsAreListedAndTheRestIsANumber) {
  EXPECT_EQ(PathAttributeNames(17), "key,slot");
  EXPECT_EQ(PathAttributeNames(2 | 4), "settable-key,leaf-list");
  EXPECT_EQ(PathAttributeNames(0), "");
  EXPECT_EQ(PathAttributeNames(1 | 256), "key,256");
  EXPECT_EQ(DebugBitNames(0x1b), "error,info,packet,timing");
}

TEST(NamesTest, DebugBitsAreNumbersOrNames) {
  EXPECT_EQ(DebugBitsFromText("27"), 27);
  EXPECT_EQ(DebugBitsFromText("0x1F"), 31);
  EXPECT_EQ(DebugBitsFromText("error"), 1);
  EXPECT_EQ(DebugBitsFromText("timing,error,packet"), 25);
  for (const char* wrong : {"", "errors", "error,", ",error", "12x", "0x", "99999999999"}) {
    EXPECT_FALSE(DebugBitsFromText(wrong)) << wrong;
  }
}

TEST(NamesTest, ARefusalWithoutAReasonIsNoSuccess) {
  EXPECT_EQ(RenderFault(0, ""), "refused, without a reason");
  EXPECT_EQ(RenderFault(0, "a.b"), "refused, without a reason: a.b");
}

TEST(NamesTest, Ids) {
  EXPECT_EQ(RenderIds({}), "[]");
  EXPECT_EQ(RenderIds({3, -7}), "[3, -7]");
}

}  // namespace
}  // namespace ncdm::server
