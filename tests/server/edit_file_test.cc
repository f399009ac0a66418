#include "server/console/edit_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "server/console/error.h"

namespace ncdm::console {
namespace {

using server::Operation;
using testing::ThrowsMessage;

std::vector<FileEdit> Read(const std::string& text) {
  std::istringstream file(text);
  return ReadEditFile(file, "f");
}

TEST(EditFileTest, LinesAreOperationPathAndValue) {
  const auto edits = Read(
      "# a comment\n"
      "\n"
      "merge a.b \"the value\"\n"
      "delete c.3.d\n"
      "- e 5");
  ASSERT_EQ(edits.size(), 3U);
  EXPECT_EQ(edits[0].line, 3);
  EXPECT_EQ(edits[0].operation, Operation::kMerge);
  EXPECT_EQ(edits[0].path, "a.b");
  EXPECT_EQ(edits[0].value, "the value");
  EXPECT_EQ(edits[1].operation, Operation::kDelete);
  EXPECT_FALSE(edits[1].value);
  EXPECT_EQ(edits[2].line, 5);
  EXPECT_EQ(edits[2].operation, Operation::kNone);
}

TEST(EditFileTest, EmptyFilesHoldNothing) { EXPECT_TRUE(Read("\n# only this\n").empty()); }

TEST(EditFileTest, RefusalsNameTheLine) {
  EXPECT_THAT([] { Read("merge a 1\nput a 2\n"); },
              ThrowsMessage<CommandError>("f:2: there is no operation 'put': it is merge, "
                                          "replace, create, delete, remove or -"));
  EXPECT_THAT([] { Read("none a 2\n"); },
              ThrowsMessage<CommandError>(testing::StartsWith("f:1: there is no operation")));
  EXPECT_THAT([] { Read("merge\n"); },
              ThrowsMessage<CommandError>("f:1: a line is OPERATION PATH [VALUE]"));
  EXPECT_THAT([] { Read("merge a b c\n"); },
              ThrowsMessage<CommandError>("f:1: a line is OPERATION PATH [VALUE]"));
  EXPECT_THAT([] { Read("merge 'a\n"); },
              ThrowsMessage<CommandError>("f:1: a quote is not closed: '"));
}

}  // namespace
}  // namespace ncdm::console
