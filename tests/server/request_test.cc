#include "server/request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/server/fake_agent.h"

namespace ncdm::server {
namespace {

using ncdm_test::I32;
using ncdm_test::I64;
using ncdm_test::Lv;
using ncdm_test::RawFrame;
using testing::HasSubstr;
using testing::ThrowsMessage;

std::vector<std::string> Bytes(const Request& request) {
  std::vector<std::string> bytes;
  for (const Frame& frame : request.frames) {
    bytes.push_back(EncodeFrame(frame));
  }
  return bytes;
}

EditElement Key() {
  EditElement element;
  element.name = "a.b.k";
  element.value = "v";
  element.ids = {3, 1LL << 33};
  element.key = 2;
  element.operation = Operation::kCreate;
  element.default_operation = DefaultOperation::kNone;
  element.error_option = ErrorOption::kContinue;
  element.test_option = 7;
  return element;
}

TEST(RequestTest, EntryEditCollectsAndExecutes) {
  EditElement leaf;
  leaf.name = "a.b.c";
  leaf.operation = Operation::kDelete;
  const Request request = EditEntry({Key(), leaf}, false, NC_DM_DATASTORE_SDN);
  EXPECT_EQ(request.answer, AnswerKind::kEdit);
  const std::string body = I32(5) +                                               //
                           I32(2) + I32(3) + I32(3) + I32(2) + I32(7) + I32(1) +  // the key
                           Lv("a.b.k") + Lv("v") + I32(2) + I64(3) + I64(1LL << 33) + I32(0) +
                           I32(4) + I32(0) + I32(0) + I32(0) + I32(0) +  // the leaf
                           Lv("a.b.c") + I32(0);
  EXPECT_THAT(Bytes(request), testing::ElementsAre(RawFrame(13, 0, 0, 2, 6, body),
                                                   RawFrame(13, 0, 0, 0, 6, I32(6))));
}

TEST(RequestTest, EntryEditAsCommandHasOtherPacketTypes) {
  const Request request = EditEntry({Key()}, true);
  ASSERT_EQ(request.frames.size(), 2U);
  EXPECT_EQ(request.frames[0].body.substr(0, 4), I32(7));
  EXPECT_EQ(request.frames[1].body, I32(8));
  EXPECT_EQ(request.frames[0].head.ds_type, NC_DM_DATASTORE_RUNNING);
}

TEST(RequestTest, SubtreeEditIsSegmentAndEnd) {
  const Request request = EditSubtree({Key()});
  ASSERT_EQ(request.frames.size(), 2U);
  EXPECT_EQ(request.frames[0].body.substr(0, 4), I32(9));
  EXPECT_EQ(request.frames[1].body, I32(10));
  EXPECT_EQ(request.answer, AnswerKind::kEdit);
}

TEST(RequestTest, ReadCollectsAndExecutes) {
  const Request request = ReadValues({{.name = "a.b", .ids = {9}}, {.name = "c", .value = "x"}});
  EXPECT_EQ(request.answer, AnswerKind::kValues);
  const std::string body =
      I32(9) + I32(0) + Lv("a.b") + I32(1) + I64(9) + I32(1) + Lv("c") + Lv("x") + I32(0);
  EXPECT_THAT(Bytes(request), testing::ElementsAre(RawFrame(17, 0, 0, 2, 3, body),
                                                   RawFrame(17, 0, 0, 0, 3, I32(10))));
}

TEST(RequestTest, LookupIsTheSameUnderItsOwnType) {
  const Request request = FindIds({{.name = "a.b", .value = "x", .ids = {9}}});
  EXPECT_EQ(request.answer, AnswerKind::kIds);
  const std::string body = I32(9) + I32(1) + Lv("a.b") + Lv("x") + I32(1) + I64(9);
  EXPECT_THAT(Bytes(request), testing::ElementsAre(RawFrame(23, 0, 0, 1, 3, body),
                                                   RawFrame(23, 0, 0, 0, 3, I32(10))));
}

TEST(RequestTest, SingleReadAnnouncesItsFieldsInTheHead) {
  EXPECT_THAT(Bytes(ReadOne({.name = "a"})),
              testing::ElementsAre(RawFrame(17, 0, 1, 0, 3, I32(4) + Lv("a"))));
  EXPECT_THAT(
      Bytes(ReadOne({.name = "a", .value = "v", .ids = {5}}, NC_DM_DATASTORE_CANDIDATE)),
      testing::ElementsAre(RawFrame(17, 0, 7, 0, 5, I32(4) + Lv("a") + Lv("v") + I32(1) + I64(5))));
}

TEST(RequestTest, NoElementsLeaveTheExecutingMessageAlone) {
  EXPECT_THAT(Bytes(ReadValues({})), testing::ElementsAre(RawFrame(17, 0, 0, 0, 3, I32(10))));
  EXPECT_THAT(Bytes(EditSubtree({})), testing::ElementsAre(RawFrame(13, 0, 0, 0, 3, I32(10))));
}

TEST(RequestTest, ShortMessages) {
  EXPECT_THAT(Bytes(Commit()), testing::ElementsAre(RawFrame(13, 0, 0, 0, 3, I32(11))));
  EXPECT_THAT(Bytes(ShowTree()), testing::ElementsAre(RawFrame(26, 0, 0, 0, 3, "")));
  EXPECT_THAT(Bytes(SwitchDebug(9, true)),
              testing::ElementsAre(RawFrame(25, 0, 0, 0, 3, I32(9) + I32(1))));
  EXPECT_THAT(Bytes(SwitchDebug(9, false)),
              testing::ElementsAre(RawFrame(25, 0, 0, 0, 3, I32(9) + I32(0))));
  EXPECT_EQ(Commit().answer, AnswerKind::kNothing);
  EXPECT_EQ(ShowTree().answer, AnswerKind::kNothing);
}

TEST(RequestTest, ConfirmationIsAnEmptyLookupBehindTheRequest) {
  const Request request = Confirmed(Commit());
  EXPECT_EQ(request.answer, AnswerKind::kIds);
  EXPECT_THAT(Bytes(request), testing::ElementsAre(RawFrame(13, 0, 0, 0, 3, I32(11)),
                                                   RawFrame(23, 0, 0, 0, 3, I32(10))));
  EXPECT_THAT(Bytes(Barrier()), testing::ElementsAre(RawFrame(23, 0, 0, 0, 3, I32(10))));
}

TEST(RequestTest, AnswersToAnnouncements) {
  EXPECT_EQ(EncodeFrame(RegistrationAnswer(0)), RawFrame(3, 0, 0, 0, 0, I32(0)));
  EXPECT_EQ(EncodeFrame(RegistrationAnswer(-7, "a.b")),
            RawFrame(3, 0, 1, 0, 0, I32(-7) + Lv("a.b")));
  EXPECT_EQ(EncodeFrame(UnregistrationAnswer()), RawFrame(22, 0, 0, 0, 0, ""));
}

// ---- Splitting ----

// An element that takes `size` bytes.
ReadElement ReadOfSize(std::size_t size) {
  ReadElement element{.name = "n", .value = ""};
  element.value->assign(size - EncodedSize(element), 'x');
  EXPECT_EQ(EncodedSize(element), size);
  return element;
}

TEST(RequestTest, OneElementMayFillABody) {
  const Request request = ReadValues({ReadOfSize(2532)});
  ASSERT_EQ(request.frames.size(), 2U);
  EXPECT_EQ(request.frames[0].body.size(), 2536U);
  EXPECT_THAT([] { ReadValues({ReadOfSize(2533)}); },
              ThrowsMessage<RequestError>(
                  "'n' needs 2533 bytes, more than the 2532 that one message carries"));
  EXPECT_THROW(ReadOne(ReadOfSize(2533)), RequestError);
}

TEST(RequestTest, ElementsThatJustFitShareAMessage) {
  const Request together = FindIds({ReadOfSize(1000), ReadOfSize(1532)});
  ASSERT_EQ(together.frames.size(), 2U);
  EXPECT_EQ(together.frames[0].head.entry_cnt, 2);
  EXPECT_EQ(together.frames[0].body.size(), 2536U);

  const Request apart = FindIds({ReadOfSize(1000), ReadOfSize(1533)});
  ASSERT_EQ(apart.frames.size(), 3U);
  EXPECT_EQ(apart.frames[0].head.entry_cnt, 1);
  EXPECT_EQ(apart.frames[0].body.size(), 1004U);
  EXPECT_EQ(apart.frames[1].head.entry_cnt, 1);
  EXPECT_EQ(apart.frames[1].body.substr(0, 4), I32(9));
  EXPECT_EQ(apart.frames[2].body, I32(10));
}

TEST(RequestTest, ManyEditsAreSplitAndNoneIsLost) {
  std::vector<EditElement> elements(200, Key());
  const Request request = EditEntry(elements);
  std::int32_t count = 0;
  for (const Frame& frame : request.frames) {
    EXPECT_LE(frame.body.size(), kMaxRequestBody);
    EXPECT_EQ(frame.body.size(),
              4 + static_cast<std::size_t>(frame.head.entry_cnt) * EncodedSize(elements.front()));
    count += frame.head.entry_cnt;
  }
  EXPECT_EQ(count, 200);
  EXPECT_GT(request.frames.size(), 3U);
}

TEST(RequestTest, SixteenIdsAreSentAndSeventeenRefused) {
  EXPECT_NO_THROW(ReadValues({{.name = "a", .ids = Ids(16, 1)}}));
  EXPECT_THAT([] { ReadValues({{.name = "a", .ids = Ids(17, 1)}}); },
              ThrowsMessage<RequestError>(HasSubstr("'a' has 17 instance ids")));
}

}  // namespace
}  // namespace ncdm::server
