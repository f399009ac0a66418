#include "server/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server/request.h"
#include "tests/server/fake_agent.h"

namespace ncdm::server {
namespace {

using ncdm_test::I32;
using ncdm_test::I64;
using ncdm_test::Lv;

Frame MakeFrame(std::int32_t type, std::int32_t sid, std::int32_t flag, std::int32_t entry_cnt,
                std::string body) {
  Frame frame;
  frame.head.type = type;
  frame.head.sid = sid;
  frame.head.flag = flag;
  frame.head.entry_cnt = entry_cnt;
  frame.body = std::move(body);
  return frame;
}

std::string FromAgent(const Frame& frame) { return RenderFrame(Direction::kFromAgent, frame); }

std::vector<std::string> ToAgent(const Request& request) {
  std::vector<std::string> lines;
  for (const Frame& frame : request.frames) {
    lines.push_back(RenderFrame(Direction::kToAgent, frame));
  }
  return lines;
}

TEST(TraceTest, Announcements) {
  EXPECT_EQ(FromAgent(MakeFrame(4, -1, 1, 0, I32(128) + Lv("demo"))),
            "< REG_NAME sid=-1 \"demo\" attr=128(restart)");
  EXPECT_EQ(FromAgent(MakeFrame(2, -1, 1, 0, I32(17) + Lv("a.{i}.b"))),
            "< REG sid=-1 \"a.{i}.b\" attr=17(key,slot)");
  EXPECT_EQ(FromAgent(MakeFrame(9, -1, 1, 0, I32(0) + Lv("a"))), "< UNREG sid=-1 \"a\" attr=0");
  EXPECT_EQ(FromAgent(MakeFrame(6, -1, 0, 0, I32(1) + Lv("m") + Lv("2024"))),
            "< REG_YANG_ATTR sid=-1 \"m\" revision=\"2024\"");
  EXPECT_EQ(FromAgent(MakeFrame(8, -1, 0, 0, "")), "< REG_CPLT sid=-1");
  EXPECT_EQ(FromAgent(MakeFrame(21, 0, 0, 0, "")), "< UNREG_CLIENT sid=0");
}

TEST(TraceTest, Answers) {
  EXPECT_EQ(FromAgent(MakeFrame(1, 5, 0, 0, I32(-10) + Lv("a"))),
            "< FAULT sid=5 DATA_MISSING \"a\"");
  EXPECT_EQ(FromAgent(MakeFrame(14, 5, 0, 0, I32(3) + I64(7) + I32(0))),
            "< EDIT_RSP sid=5 answer inst=7 status=0");
  EXPECT_EQ(FromAgent(MakeFrame(18, 5, 0, 2, I32(9) + Lv("a") + Lv("1") + Lv("b") + Lv("x\ny"))),
            "< FILTER_RSP sid=5 segment entries=2: \"a\"=\"1\", \"b\"=\"x\\ny\"");
  EXPECT_EQ(FromAgent(MakeFrame(18, 5, 0, 0, I32(10))), "< FILTER_RSP sid=5 end");
  EXPECT_EQ(FromAgent(MakeFrame(18, 5, 3, 0, I32(4) + Lv("a") + Lv("1"))),
            "< FILTER_RSP sid=5 single \"a\"=\"1\"");
  EXPECT_EQ(FromAgent(MakeFrame(24, 5, 4, 2, I32(9) + I32(1) + I64(3) + I32(2) + I64(3) + I64(7))),
            "< GETID_RSP sid=5 segment entries=2: [3], [3, 7]");
  EXPECT_EQ(FromAgent(MakeFrame(24, 5, 4, 0, I32(10) + I32(1) + I32(1) + I64(3))),
            "< GETID_RSP sid=5 end entries=1: [3]");
}

TEST(TraceTest, Requests) {
  EditElement key;
  key.name = "a.b.k";
  key.value = "v";
  key.ids = {3};
  key.key = 1;
  key.operation = Operation::kCreate;
  EditElement leaf;
  leaf.name = "a.b.c";
  leaf.operation = Operation::kNone;
  leaf.default_operation = DefaultOperation::kNone;
  leaf.error_option = ErrorOption::kContinue;
  leaf.test_option = 2;
  EXPECT_THAT(
      ToAgent(EditEntry({key, leaf}, false, NC_DM_DATASTORE_SDN)),
      testing::ElementsAre("> EDIT sid=0 ds=sdn entry entries=2: create key \"a.b.k\"=\"v\" [3], "
                           "none \"a.b.c\" default-operation=none error-option=continue-on-error "
                           "test-option=2",
                           "> EDIT sid=0 ds=sdn entry-end"));
  EXPECT_THAT(ToAgent(ReadValues({{.name = "a", .ids = {1, 2}}})),
              testing::ElementsAre("> FILTER sid=0 ds=running segment entries=1: \"a\" [1, 2]",
                                   "> FILTER sid=0 ds=running end"));
  EXPECT_THAT(ToAgent(ReadOne({.name = "a", .value = "v", .ids = {5}})),
              testing::ElementsAre("> FILTER sid=0 ds=running single \"a\"=\"v\" [5]"));
  EXPECT_THAT(ToAgent(FindIds({{.name = "a", .value = "v"}})),
              testing::ElementsAre("> GETID sid=0 ds=running segment entries=1: \"a\"=\"v\"",
                                   "> GETID sid=0 ds=running end"));
  EXPECT_THAT(ToAgent(Commit()), testing::ElementsAre("> EDIT sid=0 ds=running commit"));
  EXPECT_THAT(ToAgent(SwitchDebug(9, true)),
              testing::ElementsAre("> DBG sid=0 ds=running on 9(error,packet)"));
  EXPECT_THAT(ToAgent(ShowTree()), testing::ElementsAre("> SHOW sid=0 ds=running"));
}

TEST(TraceTest, ServersAnswers) {
  EXPECT_EQ(RenderFrame(Direction::kToAgent, RegistrationAnswer(0)), "> REG_RSP sid=0 OK");
  EXPECT_EQ(RenderFrame(Direction::kToAgent, RegistrationAnswer(-7, "a")),
            "> REG_RSP sid=0 OP_FAILED \"a\"");
  EXPECT_EQ(RenderFrame(Direction::kToAgent, UnregistrationAnswer()), "> UNREG_CLIENT_RSP sid=0");
}

TEST(TraceTest, MalformedBodiesShowWhatTheyHold) {
  EXPECT_EQ(FromAgent(MakeFrame(14, 5, 0, 0, I32(3) + "abc")),
            "< EDIT_RSP sid=5 answer (malformed: a field of 8 bytes at offset 4 exceeds the body "
            "of 7 bytes; 61 62 63)");
  EXPECT_EQ(FromAgent(MakeFrame(8, -1, 0, 0, "ab")),
            "< REG_CPLT sid=-1 (malformed: 2 spare bytes behind the last field; 61 62)");
}

TEST(TraceTest, LongDumpsAreCut) {
  EXPECT_THAT(RenderBytes(Direction::kToAgent, std::string(64, 'a')),
              testing::AllOf(testing::StartsWith("> 64 bytes: 61 61"), testing::EndsWith("61")));
  EXPECT_THAT(RenderBytes(Direction::kToAgent, std::string(65, 'a')), testing::EndsWith("61 ..."));
  EXPECT_EQ(RenderBytes(Direction::kFromAgent, "a"), "< 1 bytes: 61");
}

TEST(TraceTest, NoBodyOfAnyTypeBreaksTheLine) {
  for (std::int32_t type = 1; type < NC_DM_MSG_TYPE_MAX; ++type) {
    for (std::size_t length = 0; length <= 40; ++length) {
      const std::string line =
          FromAgent(MakeFrame(type, 1, 7, 1000000, std::string(length, '\x09')));
      EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    }
  }
}

}  // namespace
}  // namespace ncdm::server
