#include "server/console/line_source.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <sstream>

namespace ncdm::console {
namespace {

TEST(LineSourceTest, Expressions) {
  ExpressionSource source({"one", "two"});
  EXPECT_EQ(source.Next(), "one");
  EXPECT_EQ(source.Place(), "-e 1");
  EXPECT_EQ(source.Next(), "two");
  EXPECT_EQ(source.Place(), "-e 2");
  EXPECT_FALSE(source.Next());
}

TEST(LineSourceTest, File) {
  FileSource source(std::make_unique<std::istringstream>("one\n\nthree"), "f");
  EXPECT_EQ(source.Next(), "one");
  EXPECT_EQ(source.Next(), "");
  EXPECT_EQ(source.Next(), "three");
  EXPECT_EQ(source.Place(), "f:3");
  EXPECT_FALSE(source.Next());
}

class DescriptorSourceTest : public testing::Test {
 protected:
  DescriptorSourceTest() { EXPECT_EQ(pipe(ends_.data()), 0); }
  ~DescriptorSourceTest() override {
    close(ends_[0]);
    CloseInput();
  }

  void Write(std::string_view text) {
    EXPECT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  void CloseInput() {
    if (ends_[1] >= 0) {
      close(ends_[1]);
      ends_[1] = -1;
    }
  }

  std::array<int, 2> ends_{};
};

TEST_F(DescriptorSourceTest, LinesArriveInPieces) {
  int waits = 0;
  DescriptorSource source(ends_[0], "input", [&](int) {
    const char* pieces[] = {"o", "ne\ntw", "o\nlast"};
    if (waits < 3) {
      Write(pieces[waits]);
    } else {
      CloseInput();
    }
    ++waits;
    return WaitResult::kReady;
  });
  EXPECT_EQ(source.Next(), "one");
  EXPECT_EQ(waits, 2);
  EXPECT_EQ(source.Next(), "two");
  EXPECT_EQ(source.Place(), "input:2");
  EXPECT_EQ(source.Next(), "last");  // without a line end
  EXPECT_FALSE(source.Next());
  EXPECT_FALSE(source.Next());
}

TEST_F(DescriptorSourceTest, EndsWhenWaitingEnds) {
  DescriptorSource source(ends_[0], "input", [](int) { return WaitResult::kEnd; });
  Write("half a line");
  EXPECT_FALSE(source.Next());
}

}  // namespace
}  // namespace ncdm::console
