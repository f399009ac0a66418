// The packet type, and the short messages: answers to registrations, faults, debug switches.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "message.h"
#include "support/debug_mask.h"
#include "support/log_lines.h"

namespace {

using ncdm_test::Body;
using ncdm_test::DebugMask;
using ncdm_test::ErrorLines;
using ncdm_test::Message;
using ncdm_test::PacketLines;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Misfit(size_t len, size_t end) {
  return "The message error len=" + std::to_string(len) + ", decode len=" + std::to_string(end) +
         "!\n";
}

class DecodeTest : public testing::Test {
 protected:
  void Forget() { ncdm_test::LogCapture::Get().Clear(); }

  DebugMask mask_;
};

TEST_F(DecodeTest, PacketTypeIsTheFirstField) {
  EXPECT_EQ(nc_dm_agent_decode_pkt_type(Message(Body().Int32(9).Int32(4)).get()), 9);
  EXPECT_EQ(nc_dm_agent_decode_pkt_type(Message(Body().Int32(0)).get()), 0);
  EXPECT_EQ(nc_dm_agent_decode_pkt_type(Message(Body().Int32(-5)).get()), -5);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(DecodeTest, PacketTypeThatIsCutIsRefused) {
  for (size_t cut = 0; cut < 4; ++cut) {
    Forget();
    EXPECT_EQ(nc_dm_agent_decode_pkt_type(Message(Body().Int32(9).Cut(cut)).get()), -1);
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Misfit(cut, 4), "Failed to decode message packet type field!\n"));
  }
}

TEST_F(DecodeTest, NegativeBodyLengthHoldsNothing) {
  const Message message(Body().Int32(9));
  message->head.len = -4;
  EXPECT_EQ(nc_dm_agent_decode_pkt_type(message.get()), -1);
}

TEST_F(DecodeTest, RegistrationAnswer) {
  const Message message(Body().Int32(-7).Text("a.b"), NC_DM_MSG_FLAG_NAME);
  nc_dm_stub_reg_rsp_t rsp = {};
  EXPECT_EQ(nc_dm_agent_decode_reg_rsp(message.get(), &rsp), 0);
  EXPECT_EQ(rsp.fault_code, -7);
  EXPECT_STREQ(rsp.name, "a.b");
  EXPECT_THAT(PacketLines(), ElementsAre("reg_rsp->name=a.b\n"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
  nc_dm_agent_free_reg_rsp(&rsp);
}

TEST_F(DecodeTest, RegistrationAnswerWithoutName) {
  nc_dm_stub_reg_rsp_t rsp = {};
  EXPECT_EQ(nc_dm_agent_decode_reg_rsp(Message(Body().Int32(0)).get(), &rsp), 0);
  EXPECT_EQ(rsp.fault_code, 0);
  EXPECT_EQ(rsp.name, nullptr);
  EXPECT_THAT(PacketLines(), IsEmpty());
}

TEST_F(DecodeTest, RegistrationAnswerThatIsCutIsRefused) {
  const Body body = Body().Int32(-7).Text("a.b");
  for (size_t cut = 0; cut < body.size(); ++cut) {
    Forget();
    const Message message(body.Cut(cut), NC_DM_MSG_FLAG_NAME);
    nc_dm_stub_reg_rsp_t rsp = {};
    EXPECT_EQ(nc_dm_agent_decode_reg_rsp(message.get(), &rsp), -1);
    EXPECT_EQ(rsp.name, nullptr);
    if (cut < 4) {
      EXPECT_THAT(ErrorLines(),
                  ElementsAre(Misfit(cut, 4), "Failed to decode message fault code field!\n"));
    } else {
      EXPECT_THAT(ErrorLines(),
                  ElementsAre(Misfit(cut, cut < 8 ? 8 : 11), "Failed to decode msg!\n"));
    }
  }
}

TEST_F(DecodeTest, RegistrationAnswerWithASpareByteIsRefusedAndReleased) {
  const Body exact = Body().Int32(-7).Text("a.b");
  const Body spare = Body(exact).Text("").Cut(exact.size() + 1);
  nc_dm_stub_reg_rsp_t rsp = {};
  EXPECT_EQ(nc_dm_agent_decode_reg_rsp(Message(spare, NC_DM_MSG_FLAG_NAME).get(), &rsp), -1);
  EXPECT_EQ(rsp.name, nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(12, 11)));

  // A name that the flag does not announce is spare, too.
  Forget();
  EXPECT_EQ(nc_dm_agent_decode_reg_rsp(Message(exact).get(), &rsp), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(11, 4)));
}

TEST_F(DecodeTest, Fault) {
  nc_dm_fault_t fault = {};
  memset(fault.path, 'x', sizeof(fault.path));
  EXPECT_EQ(nc_dm_agent_decode_fault(Message(Body().Int32(-7).Text("a.b")).get(), &fault), 0);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_OP_FAILED);
  EXPECT_STREQ(fault.path, "a.b");
  EXPECT_EQ(nc_dm_agent_decode_fault(Message(Body().Int32(0).Text("")).get(), &fault), 0);
  EXPECT_EQ(fault.fault_code, NC_DM_FAULT_CODE_OK);
  EXPECT_STREQ(fault.path, "");
}

TEST_F(DecodeTest, FaultCodeIsAnyNumber) {
  nc_dm_fault_t fault = {};
  EXPECT_EQ(nc_dm_agent_decode_fault(Message(Body().Int32(1000).Text("")).get(), &fault), 0);
  int code = 0;
  memcpy(&code, &fault.fault_code, sizeof(code));
  EXPECT_EQ(code, 1000);
}

TEST_F(DecodeTest, FaultPathTakes256CharactersAndNoMore) {
  nc_dm_fault_t fault = {};
  const std::string longest(256, 'p');
  EXPECT_EQ(nc_dm_agent_decode_fault(Message(Body().Int32(-7).Text(longest)).get(), &fault), 0);
  EXPECT_EQ(fault.path, longest);
  EXPECT_EQ(nc_dm_agent_decode_fault(Message(Body().Int32(-7).Text(longest + "q")).get(), &fault),
            -1);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(265, 265), "Failed to decode msg!\n"));
}

TEST_F(DecodeTest, FaultThatIsCutOrTooLongIsRefused) {
  const Body body = Body().Int32(-7).Text("a.b");
  for (size_t cut = 0; cut < body.size(); ++cut) {
    Forget();
    nc_dm_fault_t fault = {};
    EXPECT_EQ(nc_dm_agent_decode_fault(Message(body.Cut(cut)).get(), &fault), -1);
    EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(cut, cut < 4 ? 4 : (cut < 8 ? 8 : 11)),
                                          cut < 4 ? "Failed to decode message fault code field!\n"
                                                  : "Failed to decode msg!\n"));
  }
  Forget();
  nc_dm_fault_t fault = {};
  EXPECT_EQ(nc_dm_agent_decode_fault(Message(Body(body).Int32(0)).get(), &fault), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(15, 11)));
}

TEST_F(DecodeTest, DebugSwitch) {
  nc_dm_stub_dbg_t dbg = {};
  EXPECT_EQ(nc_dm_agent_decode_dbg(Message(Body().Int32(16).Int32(1)).get(), &dbg), 0);
  EXPECT_EQ(dbg.type, 16);
  EXPECT_EQ(dbg.op, 1);
  EXPECT_THAT(PacketLines(), ElementsAre("The dbg->type=16\n", "The dbg->op=1\n"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(DecodeTest, DebugSwitchThatIsCutIsRefused) {
  const Body body = Body().Int32(16).Int32(1);
  for (size_t cut = 0; cut < body.size(); ++cut) {
    Forget();
    nc_dm_stub_dbg_t dbg = {};
    EXPECT_EQ(nc_dm_agent_decode_dbg(Message(body.Cut(cut)).get(), &dbg), -1);
    EXPECT_THAT(ErrorLines(),
                ElementsAre(Misfit(cut, cut < 4 ? 4 : 8),
                            cut < 4 ? "Failed to decode message debug type field!\n"
                                    : "Failed to decode message debug operation field!\n"));
  }
}

TEST_F(DecodeTest, NullIsRefused) {
  const Message message(Body().Int32(9));
  nc_dm_stub_reg_rsp_t rsp = {};
  nc_dm_fault_t fault = {};
  nc_dm_stub_dbg_t dbg = {};
  EXPECT_EQ(nc_dm_agent_decode_pkt_type(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_decode_reg_rsp(nullptr, &rsp), -1);
  EXPECT_EQ(nc_dm_agent_decode_reg_rsp(message.get(), nullptr), -1);
  EXPECT_EQ(nc_dm_agent_decode_fault(nullptr, &fault), -1);
  EXPECT_EQ(nc_dm_agent_decode_fault(message.get(), nullptr), -1);
  EXPECT_EQ(nc_dm_agent_decode_dbg(nullptr, &dbg), -1);
  EXPECT_EQ(nc_dm_agent_decode_dbg(message.get(), nullptr), -1);
  EXPECT_EQ(ErrorLines(), std::vector<std::string>(7, "Input parameter is invalid!\n"));
}

}  // namespace
