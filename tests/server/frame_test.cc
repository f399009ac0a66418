#include "server/frame.h"

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

Frame SampleFrame() {
  Frame frame;
  frame.head = {.type = NC_DM_MSG_TYPE_EDIT_RSP,
                .sid = 7,
                .flag = 1,
                .entry_cnt = 2,
                .ds_type = 3,
                .len = 999};
  frame.body = "body";
  return frame;
}

TEST(FrameTest, HeadIsSixNumbersAndLengthIsTheBodys) {
  EXPECT_EQ(EncodeFrame(SampleFrame()),
            I32(14) + I32(7) + I32(1) + I32(2) + I32(3) + I32(4) + "body");
}

TEST(FrameTest, BodyFieldsFollowEachOtherWithoutPadding) {
  EXPECT_EQ(BodyWriter().Int32(-2).Text("abc").Int64(1LL << 40).Text("").Take(),
            std::string("\xfe\xff\xff\xff\x03\0\0\0abc\0\0\0\0\0\x01\0\0\0\0\0\0", 23));
}

TEST(FrameTest, BodyReaderReadsWhatStandsThere) {
  const std::string body = I32(-2) + Lv("abc") + I64(-(1LL << 40)) + Lv("");
  BodyReader reader(body);
  EXPECT_EQ(reader.Int32(), -2);
  EXPECT_EQ(reader.Text(), "abc");
  EXPECT_EQ(reader.Int64(), -(1LL << 40));
  EXPECT_FALSE(reader.at_end());
  EXPECT_EQ(reader.Text(), "");
  EXPECT_TRUE(reader.at_end());
  EXPECT_NO_THROW(reader.ExpectEnd());
}

TEST(FrameTest, TextThatEndsWithTheBodyFitsAndOneByteMoreDoesNot) {
  EXPECT_EQ(BodyReader(I32(3) + "abc").Text(), "abc");
  EXPECT_THROW(BodyReader(I32(4) + "abc").Text(), ProtocolError);
}

TEST(FrameTest, FieldsThatDoNotFitAreErrors) {
  EXPECT_THAT(
      [] { BodyReader("abc").Int32(); },
      ThrowsMessage<ProtocolError>("a field of 4 bytes at offset 0 exceeds the body of 3 bytes"));
  EXPECT_THROW(BodyReader("1234567").Int64(), ProtocolError);
  EXPECT_THAT([] { BodyReader(I32(-1) + "abc").Text(); },
              ThrowsMessage<ProtocolError>("negative text length -1"));
  EXPECT_THAT([] { BodyReader("ab").ExpectEnd(); },
              ThrowsMessage<ProtocolError>("2 spare bytes behind the last field"));
}

TEST(FrameReaderTest, FindsTheSameFramesWhereverTheStreamIsSplit) {
  const std::string stream = RawFrame(14, 1, 0, 0, 0, "first") + RawFrame(8, -1, 0, 0, 0, "") +
                             RawFrame(1, 2, 0, 0, 0, "last one");
  for (std::size_t split = 0; split <= stream.size(); ++split) {
    FrameReader reader;
    std::vector<std::string> bodies;
    const auto take = [&] {
      while (auto frame = reader.Next()) {
        bodies.push_back(frame->body);
      }
    };
    reader.Feed(stream.substr(0, split));
    take();
    reader.Feed(stream.substr(split));
    take();
    EXPECT_THAT(bodies, testing::ElementsAre("first", "", "last one")) << "split at " << split;
    EXPECT_EQ(reader.pending(), 0U);
  }
}

TEST(FrameReaderTest, TakesSingleBytes) {
  const std::string stream = RawFrame(14, 1, 0, 0, 0, "first") + RawFrame(1, 2, 0, 5, 0, "last");
  FrameReader reader;
  std::vector<Frame> frames;
  for (std::size_t i = 0; i < stream.size(); ++i) {
    reader.Feed(stream.substr(i, 1));
    while (auto frame = reader.Next()) {
      frames.push_back(*frame);
    }
  }
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0].body, "first");
  EXPECT_EQ(frames[1].head.type, 1);
  EXPECT_EQ(frames[1].head.sid, 2);
  EXPECT_EQ(frames[1].head.entry_cnt, 5);
}

TEST(FrameReaderTest, KnowsWhetherAFrameIsCutShort) {
  FrameReader reader;
  EXPECT_EQ(reader.pending(), 0U);
  reader.Feed(RawFrame(14, 1, 0, 0, 0, "body").substr(0, 25));
  EXPECT_FALSE(reader.Next());
  EXPECT_EQ(reader.pending(), 25U);
}

TEST(FrameReaderTest, RefusesTypesOutsideTheProtocol) {
  for (const std::int32_t type : {0, 27, -1}) {
    FrameReader reader;
    reader.Feed(RawFrame(type, 0, 0, 0, 0, ""));
    EXPECT_THAT([&] { reader.Next(); },
                ThrowsMessage<ProtocolError>(HasSubstr("unknown message type")))
        << type;
  }
  for (const std::int32_t type : {1, 26}) {
    FrameReader reader;
    reader.Feed(RawFrame(type, 0, 0, 0, 0, ""));
    EXPECT_TRUE(reader.Next()) << type;
  }
}

std::string HeadWithLength(std::int32_t length) {
  return I32(1) + I32(0) + I32(0) + I32(0) + I32(0) + I32(length);
}

TEST(FrameReaderTest, RefusesImpossibleLengths) {
  const auto largest = static_cast<std::int32_t>(kMaxAnswerBody);
  for (const std::int32_t length : {-1, largest + 1}) {
    FrameReader reader;
    reader.Feed(HeadWithLength(length));
    EXPECT_THAT([&] { reader.Next(); },
                ThrowsMessage<ProtocolError>("impossible body length " + std::to_string(length)));
  }
  FrameReader reader;
  reader.Feed(HeadWithLength(largest));
  EXPECT_FALSE(reader.Next());
  reader.Feed(std::string(kMaxAnswerBody, 'x'));
  EXPECT_TRUE(reader.Next());
}

}  // namespace
}  // namespace ncdm::server
