#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <climits>
#include <string>
#include <vector>

#include "netconf_dm_kernel.h"
#include "support/debug_mask.h"
#include "support/host_bytes.h"
#include "support/log_lines.h"

namespace {

using ncdm_test::DebugMask;
using ncdm_test::ErrorLines;
using ncdm_test::PacketLines;
using testing::ElementsAre;
using testing::IsEmpty;

// The digits that an integer has here, from those with the least significant byte first.
std::string Int(const std::string& digits) { return ncdm_test::HostIntDigits(digits); }

// An outgoing message in the buffer of its sender.
class EncodeTest : public testing::Test {
 protected:
  void SetUp() override { message_ = nc_dm_agent_init_out_msg(buffer_, sizeof(buffer_)); }

  // Head and body in hexadecimal; the head field by field, each with its least significant byte
  // first.
  std::string Head() const {
    std::string text;
    for (size_t at = 0; at < 24; at += 4) text += (at > 0 ? " " : "") + Int(Hex(at, 4));
    return text;
  }
  std::string BodyBytes() const { return Hex(24, static_cast<size_t>(message_->head.len)); }
  // Is the buffer behind the body still zero, but for the terminator of a text that ends it.
  bool ClearBehindBody() const {
    for (size_t i = 24 + static_cast<size_t>(message_->head.len); i < sizeof(buffer_); ++i) {
      if (buffer_[i] != 0) return false;
    }
    return true;
  }

  std::string Hex(size_t begin, size_t size) const {
    std::string text;
    for (size_t i = 0; i < size; ++i) {
      char digits[3];
      snprintf(digits, sizeof(digits), "%02x",
               static_cast<unsigned>(static_cast<unsigned char>(buffer_[begin + i])));
      text += digits;
    }
    return text;
  }

  void ExpectUntouched() {
    EXPECT_EQ(Head(), "00000000 00000000 00000000 00000000 00000000 00000000");
    EXPECT_TRUE(ClearBehindBody());
  }

  DebugMask mask_;
  alignas(nc_dm_msg_t) char buffer_[NC_DM_SEND_BUF_SIZE];
  nc_dm_msg_t* message_ = nullptr;
};

char kEth0[] = "eth0";
char kPath[] = "a.b";
char kEmpty[] = "";

nc_dm_stub_reg_t Registration(int attr, char* name) {
  nc_dm_stub_reg_t reg = {};
  reg.attr = attr;
  reg.name = name;
  return reg;
}

TEST_F(EncodeTest, ClientName) {
  nc_dm_stub_reg_t reg = Registration(128, kEth0);
  EXPECT_EQ(nc_dm_agent_encode_reg_name(message_, &reg), 0);
  EXPECT_EQ(Head(), "04000000 00000000 01000000 00000000 00000000 0c000000");
  EXPECT_EQ(BodyBytes(), Int("80000000") + Int("04000000") + "65746830");
  EXPECT_TRUE(ClearBehindBody());
}

TEST_F(EncodeTest, ClientWithoutName) {
  nc_dm_stub_reg_t reg = Registration(0, nullptr);
  EXPECT_EQ(nc_dm_agent_encode_reg_name(message_, &reg), 0);
  EXPECT_EQ(Head(), "04000000 00000000 00000000 00000000 00000000 04000000");
  EXPECT_EQ(BodyBytes(), Int("00000000"));
}

TEST_F(EncodeTest, EmptyNameIsPresent) {
  nc_dm_stub_reg_t reg = Registration(0, kEmpty);
  EXPECT_EQ(nc_dm_agent_encode_reg_name(message_, &reg), 0);
  EXPECT_EQ(Head(), "04000000 00000000 01000000 00000000 00000000 08000000");
  EXPECT_EQ(BodyBytes(), Int("00000000") + Int("00000000"));
}

TEST_F(EncodeTest, Path) {
  nc_dm_stub_reg_t reg = Registration(18, kPath);
  EXPECT_EQ(nc_dm_agent_encode_reg(message_, &reg), 0);
  EXPECT_EQ(Head(), "02000000 00000000 01000000 00000000 00000000 0b000000");
  EXPECT_EQ(BodyBytes(), Int("12000000") + Int("03000000") + "612e62");
}

TEST_F(EncodeTest, NoPath) {
  nc_dm_stub_reg_t reg = Registration(18, nullptr);
  EXPECT_EQ(nc_dm_agent_encode_reg(message_, &reg), 0);
  EXPECT_EQ(Head(), "02000000 00000000 00000000 00000000 00000000 04000000");
}

TEST_F(EncodeTest, PathToForget) {
  nc_dm_stub_reg_t reg = Registration(-1, kPath);
  EXPECT_EQ(nc_dm_agent_encode_unreg(message_, &reg), 0);
  EXPECT_EQ(Head(), "09000000 00000000 01000000 00000000 00000000 0b000000");
  EXPECT_EQ(BodyBytes(), Int("ffffffff") + Int("03000000") + "612e62");
}

TEST_F(EncodeTest, CallersSidIsKept) {
  message_->head.sid = -1;
  nc_dm_stub_reg_t reg = Registration(0, kPath);
  EXPECT_EQ(nc_dm_agent_encode_reg(message_, &reg), 0);
  EXPECT_EQ(Head(), "02000000 ffffffff 01000000 00000000 00000000 0b000000");
}

TEST_F(EncodeTest, YangAttribute) {
  nc_dm_yang_attr_t attr = {};
  attr.type = NC_DM_YANG_ATTR_REVISION;
  attr.module_name = kEth0;
  attr.attr = kPath;
  EXPECT_EQ(nc_dm_agent_encode_reg_yang_attr(message_, &attr), 0);
  EXPECT_EQ(Head(), "06000000 00000000 00000000 00000000 00000000 13000000");
  EXPECT_EQ(BodyBytes(),
            Int("01000000") + Int("04000000") + "65746830" + Int("03000000") + "612e62");
}

TEST_F(EncodeTest, YangAttributeWithoutTexts) {
  nc_dm_yang_attr_t attr = {};
  EXPECT_EQ(nc_dm_agent_encode_reg_yang_attr(message_, &attr), 0);
  EXPECT_EQ(Head(), "06000000 00000000 00000000 00000000 00000000 0c000000");
  EXPECT_EQ(BodyBytes(), Int("00000000") + Int("00000000") + Int("00000000"));
}

TEST_F(EncodeTest, UnknownYangAttributeIsRefused) {
  for (const int type : {2, -1, INT_MAX}) {
    nc_dm_yang_attr_t attr = {};
    memcpy(&attr.type, &type, sizeof(type));
    attr.module_name = kEth0;
    attr.attr = kPath;
    ncdm_test::LogCapture::Get().Clear();
    EXPECT_EQ(nc_dm_agent_encode_reg_yang_attr(message_, &attr), -1);
    EXPECT_THAT(ErrorLines(), ElementsAre("Input unknown yang attribute type!\n"));
    ExpectUntouched();
  }
}

TEST_F(EncodeTest, RegistrationComplete) {
  EXPECT_EQ(nc_dm_agent_encode_reg_cplt(message_), 0);
  EXPECT_EQ(Head(), "08000000 00000000 00000000 00000000 00000000 00000000");
  EXPECT_TRUE(ClearBehindBody());
}

TEST_F(EncodeTest, Fault) {
  nc_dm_fault_t fault = {};
  fault.fault_code = NC_DM_FAULT_CODE_OP_FAILED;
  snprintf(fault.path, sizeof(fault.path), "a.b");
  EXPECT_EQ(nc_dm_agent_encode_fault(message_, &fault), 0);
  EXPECT_EQ(Head(), "01000000 00000000 00000000 00000000 00000000 0b000000");
  EXPECT_EQ(BodyBytes(), Int("f9ffffff") + Int("03000000") + "612e62");
}

TEST_F(EncodeTest, FaultCodeIsAnyNumber) {
  const int code = 1000;
  nc_dm_fault_t fault = {};
  memcpy(&fault.fault_code, &code, sizeof(code));
  EXPECT_EQ(nc_dm_agent_encode_fault(message_, &fault), 0);
  EXPECT_EQ(BodyBytes(), Int("e8030000") + Int("00000000"));
}

TEST_F(EncodeTest, FaultWithoutAPathHasAnEmptyOne) {
  nc_dm_fault_t fault = {};
  EXPECT_EQ(nc_dm_agent_encode_fault(message_, &fault), 0);
  EXPECT_EQ(Head(), "01000000 00000000 00000000 00000000 00000000 08000000");
  EXPECT_EQ(BodyBytes(), Int("00000000") + Int("00000000"));
}

TEST_F(EncodeTest, FaultPathEndsAt256) {
  nc_dm_fault_t fault = {};
  memset(fault.path, 'p', sizeof(fault.path));  // no terminator
  EXPECT_EQ(nc_dm_agent_encode_fault(message_, &fault), 0);
  EXPECT_EQ(message_->head.len, 264);
  EXPECT_EQ(BodyBytes().substr(0, 20), Int("00000000") + Int("00010000") + "7070");
  EXPECT_TRUE(ClearBehindBody());
}

TEST_F(EncodeTest, EditAnswer) {
  nc_dm_stub_edit_rsp_t rsp = {.pkt_type = 3, .inst = 0x0102030405060708, .status = -7};
  EXPECT_EQ(nc_dm_agent_encode_edit_rsp(message_, &rsp), 0);
  EXPECT_EQ(Head(), "0e000000 00000000 00000000 00000000 00000000 10000000");
  EXPECT_EQ(BodyBytes(), Int("03000000") + Int("0807060504030201") + Int("f9ffffff"));
}

TEST_F(EncodeTest, EditAnswerIsTraced) {
  nc_dm_stub_edit_rsp_t rsp = {.pkt_type = 3, .inst = 12, .status = 1};
  EXPECT_EQ(nc_dm_agent_encode_edit_rsp(message_, &rsp), 0);
  EXPECT_THAT(PacketLines(), ElementsAre("instance=12\n", "status=1\n"));
}

TEST_F(EncodeTest, FilterAnswer) {
  nc_dm_stub_filter_rsp_t rsp = {.pkt_type = 9, .name = kPath, .val = kEth0};
  EXPECT_EQ(nc_dm_agent_encode_filter_rsp(message_, &rsp), 0);
  EXPECT_EQ(Head(), "12000000 00000000 03000000 00000000 00000000 13000000");
  EXPECT_EQ(BodyBytes(),
            Int("09000000") + Int("03000000") + "612e62" + Int("04000000") + "65746830");
  EXPECT_THAT(PacketLines(), ElementsAre("dm_name:a.b.\n", "dm_value:eth0.\n"));
}

TEST_F(EncodeTest, FilterAnswerWithOneOfBoth) {
  nc_dm_stub_filter_rsp_t rsp = {.pkt_type = 9, .name = kPath, .val = nullptr};
  EXPECT_EQ(nc_dm_agent_encode_filter_rsp(message_, &rsp), 0);
  EXPECT_EQ(Head(), "12000000 00000000 01000000 00000000 00000000 0b000000");
  EXPECT_EQ(BodyBytes(), Int("09000000") + Int("03000000") + "612e62");

  SetUp();
  rsp = {.pkt_type = 9, .name = nullptr, .val = kEmpty};
  EXPECT_EQ(nc_dm_agent_encode_filter_rsp(message_, &rsp), 0);
  EXPECT_EQ(Head(), "12000000 00000000 02000000 00000000 00000000 08000000");
  EXPECT_EQ(BodyBytes(), Int("09000000") + Int("00000000"));
}

TEST_F(EncodeTest, ClosingAnswersAreThePacketTypeAlone) {
  nc_dm_stub_filter_rsp_t filter = {.pkt_type = 10, .name = nullptr, .val = nullptr};
  EXPECT_EQ(nc_dm_agent_encode_filter_rsp(message_, &filter), 0);
  EXPECT_EQ(Head(), "12000000 00000000 00000000 00000000 00000000 04000000");
  EXPECT_EQ(BodyBytes(), Int("0a000000"));
  EXPECT_THAT(PacketLines(), IsEmpty());

  SetUp();
  nc_dm_stub_getid_rsp_t getid = {.pkt_type = 10, .id_array_list = nullptr};
  EXPECT_EQ(nc_dm_agent_encode_getid_rsp(message_, &getid), 0);
  EXPECT_EQ(Head(), "18000000 00000000 00000000 00000000 00000000 04000000");
  EXPECT_EQ(BodyBytes(), Int("0a000000"));
}

// A list of id arrays on the stack.
class IdArrays {
 public:
  explicit IdArrays(std::vector<nc_dm_id_array_node_t> nodes) : nodes_(std::move(nodes)) {
    list.head = {&list.head, &list.head};
    for (auto& node : nodes_) {
      node.lst = {&list.head, list.head.prev};
      list.head.prev->next = &node.lst;
      list.head.prev = &node.lst;
      ++list.cnt;
    }
  }

  nc_dm_list_t list = {};

 private:
  std::vector<nc_dm_id_array_node_t> nodes_;
};

nc_dm_id_array_node_t Ids(std::initializer_list<nc_int64> ids) {
  nc_dm_id_array_node_t node = {};
  for (const nc_int64 id : ids) node.id_array.id[node.id_array.cnt++] = id;
  return node;
}

TEST_F(EncodeTest, GetidAnswer) {
  IdArrays arrays({Ids({1, -2}), Ids({}), Ids({3})});
  nc_dm_stub_getid_rsp_t rsp = {.pkt_type = 9, .id_array_list = &arrays.list};
  EXPECT_EQ(nc_dm_agent_encode_getid_rsp(message_, &rsp), 0);
  EXPECT_EQ(Head(), "18000000 00000000 04000000 00000000 00000000 2c000000");
  EXPECT_EQ(BodyBytes(), Int("09000000") + Int("03000000") + Int("02000000") +
                             Int("0100000000000000") + Int("feffffffffffffff") + Int("00000000") +
                             Int("01000000") + Int("0300000000000000"));
}

TEST_F(EncodeTest, GetidAnswerWithAnEmptyList) {
  IdArrays arrays({});
  nc_dm_stub_getid_rsp_t rsp = {.pkt_type = 9, .id_array_list = &arrays.list};
  EXPECT_EQ(nc_dm_agent_encode_getid_rsp(message_, &rsp), 0);
  EXPECT_EQ(Head(), "18000000 00000000 04000000 00000000 00000000 08000000");
  EXPECT_EQ(BodyBytes(), Int("09000000") + Int("00000000"));
}

TEST_F(EncodeTest, GetidAnswerTakesNoMoreIdsThanAnArrayHas) {
  nc_dm_id_array_node_t wild = Ids({1});
  wild.id_array.cnt = 17;
  nc_dm_id_array_node_t negative = Ids({1});
  negative.id_array.cnt = -1;
  IdArrays arrays({wild, negative});
  nc_dm_stub_getid_rsp_t rsp = {.pkt_type = 9, .id_array_list = &arrays.list};
  EXPECT_EQ(nc_dm_agent_encode_getid_rsp(message_, &rsp), 0);
  EXPECT_EQ(message_->head.len, 8 + 4 + 16 * 8 + 4);
  EXPECT_EQ(BodyBytes().substr(16, 8), Int("10000000"));
  EXPECT_EQ(BodyBytes().substr(size_t{2} * (8 + 4 + 16 * 8)), "00000000");
}

TEST_F(EncodeTest, NullMessages) {
  nc_dm_stub_reg_t reg = {};
  nc_dm_yang_attr_t attr = {};
  nc_dm_fault_t fault = {};
  EXPECT_EQ(nc_dm_agent_encode_reg_name(nullptr, &reg), -1);
  EXPECT_EQ(nc_dm_agent_encode_reg(nullptr, &reg), -1);
  EXPECT_EQ(nc_dm_agent_encode_unreg(nullptr, &reg), -1);
  EXPECT_EQ(nc_dm_agent_encode_reg_yang_attr(nullptr, &attr), -1);
  EXPECT_EQ(nc_dm_agent_encode_reg_cplt(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_fault(nullptr, &fault), -1);
  EXPECT_EQ(ErrorLines(), std::vector<std::string>(6, "Input parameter dm_msg is invalid!\n"));
}

TEST_F(EncodeTest, NullMessagesOfAnswers) {
  nc_dm_stub_edit_rsp_t edit = {};
  nc_dm_stub_filter_rsp_t filter = {};
  nc_dm_stub_getid_rsp_t getid = {};
  EXPECT_EQ(nc_dm_agent_encode_edit_rsp(nullptr, &edit), -1);
  EXPECT_EQ(nc_dm_agent_encode_filter_rsp(nullptr, &filter), -1);
  EXPECT_EQ(nc_dm_agent_encode_getid_rsp(nullptr, &getid), -1);
  EXPECT_EQ(ErrorLines(), std::vector<std::string>(3, "Input parameter is invalid!\n"));
}

TEST_F(EncodeTest, NullRecords) {
  EXPECT_EQ(nc_dm_agent_encode_reg_name(message_, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_reg(message_, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_unreg(message_, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_reg_yang_attr(message_, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_fault(message_, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_edit_rsp(message_, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_filter_rsp(message_, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_encode_getid_rsp(message_, nullptr), -1);
  EXPECT_THAT(
      ErrorLines(),
      ElementsAre("Input parameter name is invalid!\n", "Input parameter name is invalid!\n",
                  "Input parameter name is invalid!\n", "Input parameter yang_attr is invalid!\n",
                  "Input parameter reg is invalid!\n", "Input parameter is invalid!\n",
                  "Input parameter is invalid!\n", "Input parameter is invalid!\n"));
  ExpectUntouched();
}

}  // namespace
