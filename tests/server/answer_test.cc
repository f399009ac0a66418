#include "server/answer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/server/fake_agent.h"

namespace ncdm::server {
namespace {

using ncdm_test::I32;
using ncdm_test::I64;
using ncdm_test::Lv;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

Frame MakeFrame(std::int32_t type, std::string body, std::int32_t entry_cnt = 0,
                std::int32_t flag = 0) {
  Frame frame;
  frame.head.type = type;
  frame.head.entry_cnt = entry_cnt;
  frame.head.flag = flag;
  frame.body = std::move(body);
  return frame;
}

Frame Values(const std::vector<std::pair<std::string, std::string>>& values) {
  std::string body = I32(9);
  for (const auto& [path, value] : values) {
    body += Lv(path) + Lv(value);
  }
  return MakeFrame(18, body, static_cast<std::int32_t>(values.size()));
}

TEST(AnswerTest, Fault) {
  const Fault fault = DecodeFault(MakeFrame(1, I32(-10) + Lv("interface")));
  EXPECT_EQ(fault.code, -10);
  EXPECT_EQ(fault.path, "interface");
  EXPECT_THROW(DecodeFault(MakeFrame(1, I32(-10))), ProtocolError);
  EXPECT_THROW(DecodeFault(MakeFrame(1, I32(-10) + Lv("x") + "y")), ProtocolError);
}

TEST(AnswerTest, Announcements) {
  const Announcement named = DecodeAnnouncement(MakeFrame(2, I32(17) + Lv("a.{i}.b"), 0, 1));
  EXPECT_EQ(named.attributes, 17);
  EXPECT_EQ(named.name, "a.{i}.b");
  EXPECT_FALSE(DecodeAnnouncement(MakeFrame(2, I32(17))).name);
  EXPECT_THROW(DecodeAnnouncement(MakeFrame(2, I32(17) + Lv("a"))), ProtocolError);
  EXPECT_THROW(DecodeAnnouncement(MakeFrame(2, I32(17), 0, 1)), ProtocolError);

  const YangAnnouncement yang =
      DecodeYangAnnouncement(MakeFrame(6, I32(1) + Lv("module") + Lv("2024-01-01")));
  EXPECT_EQ(yang.type, NC_DM_YANG_ATTR_REVISION);
  EXPECT_EQ(yang.module, "module");
  EXPECT_EQ(yang.value, "2024-01-01");
}

TEST(AnswerAssemblerTest, EditIsOneMessage) {
  AnswerAssembler assembler(AnswerKind::kEdit);
  EXPECT_TRUE(assembler.Accept(MakeFrame(14, I32(3) + I64(1LL << 40) + I32(5))));
  EXPECT_TRUE(assembler.answer().ok());
  EXPECT_EQ(assembler.answer().instance, 1LL << 40);
  EXPECT_EQ(assembler.answer().status, 5);
  EXPECT_EQ(assembler.answer().messages, 1U);
}

TEST(AnswerAssemblerTest, ValuesComeInSegmentsUntilTheClosingMessage) {
  AnswerAssembler assembler(AnswerKind::kValues);
  EXPECT_FALSE(assembler.Accept(Values({{"a", "1"}, {"b", ""}})));
  EXPECT_FALSE(assembler.Accept(Values({})));
  EXPECT_FALSE(assembler.Accept(Values({{"c", "3"}})));
  EXPECT_TRUE(assembler.Accept(MakeFrame(18, I32(10))));
  EXPECT_THAT(assembler.answer().values,
              ElementsAre(Value{"a", "1"}, Value{"b", ""}, Value{"c", "3"}));
  EXPECT_EQ(assembler.answer().messages, 4U);
}

TEST(AnswerAssemblerTest, ClosingMessageMayCarryAFlaggedValue) {
  AnswerAssembler assembler(AnswerKind::kValues);
  EXPECT_TRUE(assembler.Accept(MakeFrame(18, I32(10) + Lv("a") + Lv("1"), 0, 3)));
  EXPECT_THAT(assembler.answer().values, ElementsAre(Value{"a", "1"}));
}

TEST(AnswerAssemblerTest, IdsAreCountedByTheHeadInSegmentsAndByTheBodyOtherwise) {
  AnswerAssembler assembler(AnswerKind::kIds);
  EXPECT_FALSE(assembler.Accept(
      MakeFrame(24, I32(9) + I32(2) + I64(1) + I64(2) + I32(0), 2, NC_DM_MSG_FLAG_IDS)));
  EXPECT_TRUE(
      assembler.Accept(MakeFrame(24, I32(10) + I32(1) + I32(1) + I64(7), 0, NC_DM_MSG_FLAG_IDS)));
  EXPECT_THAT(assembler.answer().ids, ElementsAre(Ids{1, 2}, Ids{}, Ids{7}));
}

TEST(AnswerAssemblerTest, PlainClosingMessageOfIdsHasNone) {
  AnswerAssembler assembler(AnswerKind::kIds);
  EXPECT_TRUE(assembler.Accept(MakeFrame(24, I32(10))));
  EXPECT_TRUE(assembler.answer().ids.empty());
}

TEST(AnswerAssemblerTest, FaultEndsTheAnswer) {
  AnswerAssembler assembler(AnswerKind::kValues);
  EXPECT_FALSE(assembler.Accept(Values({{"a", "1"}})));
  EXPECT_TRUE(assembler.Accept(MakeFrame(1, I32(-10) + Lv("a"))));
  EXPECT_EQ(assembler.answer().outcome, Outcome::kFault);
  EXPECT_EQ(assembler.answer().fault.code, NC_DM_FAULT_CODE_DATA_MISSING);
  EXPECT_EQ(assembler.answer().error, "fault DATA_MISSING: a");
}

TEST(AnswerAssemblerTest, FirstOfTwoFaultsIsTheCause) {
  AnswerAssembler assembler(AnswerKind::kEdit);
  assembler.NoteFault(MakeFrame(1, I32(-4) + Lv("")));
  EXPECT_TRUE(assembler.Accept(MakeFrame(1, I32(-7) + Lv("x"))));
  EXPECT_EQ(assembler.answer().fault.code, NC_DM_FAULT_CODE_PARSE);
  EXPECT_EQ(assembler.answer().error, "fault PARSE");
}

TEST(AnswerAssemblerTest, FaultOfAnEarlierMessageOutlivesTheAnswer) {
  AnswerAssembler assembler(AnswerKind::kEdit);
  assembler.NoteFault(MakeFrame(1, I32(-4) + Lv("")));
  EXPECT_TRUE(assembler.Accept(MakeFrame(14, I32(3) + I64(0) + I32(0))));
  EXPECT_EQ(assembler.answer().outcome, Outcome::kFault);
}

TEST(AnswerAssemblerTest, AnswerOfAnotherKindIsAnError) {
  AnswerAssembler assembler(AnswerKind::kEdit);
  EXPECT_THAT([&] { assembler.Accept(MakeFrame(18, I32(10))); },
              ThrowsMessage<ProtocolError>("an answer of type FILTER_RSP where EDIT_RSP was due"));
}

TEST(AnswerAssemblerTest, BodiesThatDoNotMatchTheirHeadAreErrors) {
  const auto accept = [](AnswerKind kind, const Frame& frame) {
    return [=] { AnswerAssembler(kind).Accept(frame); };
  };
  EXPECT_THAT(accept(AnswerKind::kEdit, MakeFrame(14, I32(3) + I64(0))),
              ThrowsMessage<ProtocolError>(HasSubstr("exceeds the body")));
  EXPECT_THAT(accept(AnswerKind::kEdit, MakeFrame(14, I32(3) + I64(0) + I32(0) + "x")),
              ThrowsMessage<ProtocolError>(HasSubstr("spare bytes")));
  EXPECT_THAT(accept(AnswerKind::kValues, MakeFrame(18, I32(9) + Lv("a") + Lv("1"), 2)),
              ThrowsMessage<ProtocolError>(HasSubstr("exceeds the body")));
  EXPECT_THAT(accept(AnswerKind::kValues, MakeFrame(18, I32(9) + Lv("a") + Lv("1"), 0)),
              ThrowsMessage<ProtocolError>(HasSubstr("spare bytes")));
  EXPECT_THAT(accept(AnswerKind::kValues, MakeFrame(18, I32(9) + Lv("a"), 1000000)),
              ThrowsMessage<ProtocolError>("impossible entry count 1000000"));
  EXPECT_THAT(accept(AnswerKind::kValues, MakeFrame(18, I32(9), -1)),
              ThrowsMessage<ProtocolError>("impossible entry count -1"));
  EXPECT_THAT(accept(AnswerKind::kIds, MakeFrame(24, I32(9) + I32(17), 1, 4)),
              ThrowsMessage<ProtocolError>("impossible count of instance ids 17"));
  EXPECT_THAT(accept(AnswerKind::kIds, MakeFrame(24, I32(9) + I32(-1), 1, 4)),
              ThrowsMessage<ProtocolError>("impossible count of instance ids -1"));
  EXPECT_THAT(accept(AnswerKind::kIds, MakeFrame(24, I32(10) + I32(-1), 0, 4)),
              ThrowsMessage<ProtocolError>("impossible entry count -1"));
}

TEST(AnswerAssemblerTest, SixteenIdsAreTaken) {
  std::string body = I32(9) + I32(16);
  for (int i = 1; i <= 16; ++i) {
    body += I64(i);
  }
  AnswerAssembler assembler(AnswerKind::kIds);
  assembler.Accept(MakeFrame(24, body, 1, 4));
  ASSERT_EQ(assembler.answer().ids.size(), 1U);
  EXPECT_EQ(assembler.answer().ids[0].size(), 16U);
}

// ---- What is not asked for, and too much ----

Frame IdArrays(const std::vector<Ids>& arrays) {
  std::string body = I32(9);
  for (const Ids& ids : arrays) {
    body += I32(static_cast<std::int32_t>(ids.size()));
    for (const std::int64_t id : ids) {
      body += I64(id);
    }
  }
  return MakeFrame(24, body, static_cast<std::int32_t>(arrays.size()), 4);
}

TEST(AnswerAssemblerTest, InstancesOutsideTheIdsAskedForAreDropped) {
  const std::vector<Ids> prefixes =
      FindIds({{.name = "fw.zone.rule.seq", .value = "20", .ids = {2}}}).id_prefixes;
  AnswerAssembler assembler(AnswerKind::kIds, prefixes);
  EXPECT_FALSE(assembler.Accept(IdArrays({{1, 20}, {2, 7}, {2}, {}, {20, 2}})));
  EXPECT_TRUE(assembler.Accept(MakeFrame(24, I32(10))));
  EXPECT_THAT(assembler.answer().ids, ElementsAre(Ids{2, 7}, Ids{2}));
}

TEST(AnswerAssemblerTest, InstancesLieWithinTheIdsOfEachElement) {
  const auto kept = [](const std::vector<ReadElement>& elements) {
    AnswerAssembler assembler(AnswerKind::kIds, FindIds(elements).id_prefixes);
    assembler.Accept(IdArrays({{1}, {2}, {2, 3}, {2, 3, 4}}));
    return assembler.answer().ids.size();
  };
  EXPECT_EQ(kept({{.name = "a"}}), 4U);
  EXPECT_EQ(kept({{.name = "a"}, {.name = "b", .ids = {2}}}), 3U);
  EXPECT_EQ(kept({{.name = "a", .ids = {2, 3}}, {.name = "b", .ids = {2}}, {.name = "c"}}), 2U);
  EXPECT_EQ(kept({{.name = "a", .ids = {2}}, {.name = "b", .ids = {1}}, {.name = "c"}}), 0U);
}

TEST(AnswerAssemblerTest, AnAnswerHasALimit) {
  constexpr std::size_t kLimit = 100000;
  AnswerAssembler assembler(AnswerKind::kValues, {}, kLimit);
  const Frame segment = Values({{"a.b", std::string(1000, 'x')}});
  std::size_t taken = 0;
  const auto flood = [&] {
    for (; taken < 1000; ++taken) {
      assembler.Accept(segment);
    }
  };
  EXPECT_THAT(flood, ThrowsMessage<ProtocolError>("an answer that takes more than 100000 bytes"));
  EXPECT_GT(taken, 50U);
  EXPECT_LT(taken, 100U);
}

// What little there is in the smallest array counts as well.
TEST(AnswerAssemblerTest, EmptyArraysReachTheLimitToo) {
  AnswerAssembler assembler(AnswerKind::kIds, {}, 100000);
  const Frame segment = IdArrays(std::vector<Ids>(1000));
  EXPECT_FALSE(assembler.Accept(segment));
  EXPECT_THROW(
      {
        for (int i = 0; i < 5; ++i) {
          assembler.Accept(segment);
        }
      },
      ProtocolError);
}

TEST(AnswerAssemblerTest, WhatNobodyWantsIsNotKept) {
  AnswerAssembler assembler(AnswerKind::kValues, {}, 100000);
  const Frame segment = Values({{"a.b", std::string(1000, 'x')}});
  assembler.Accept(segment);
  assembler.Discard();
  for (int i = 0; i < 1000; ++i) {
    EXPECT_FALSE(assembler.Accept(segment));
  }
  EXPECT_TRUE(assembler.answer().values.empty());
  EXPECT_TRUE(assembler.Accept(MakeFrame(18, I32(10))));
}

}  // namespace
}  // namespace ncdm::server
