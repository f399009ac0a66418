#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/host_bytes.h"
#include "support/log_lines.h"

namespace {

using ncdm_test::DebugMask;
using ncdm_test::ErrorLines;
using ncdm_test::FailingAlloc;
using ncdm_test::HostInt;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Misfit(int len, int end) {
  return "The message error len=" + std::to_string(len) + ", decode len=" + std::to_string(end) +
         "!\n";
}

struct FreeText {
  void operator()(char* text) const { free(text); }
};

// A body in a buffer of exactly its size, so that the address sanitizer sees a byte too far.
class CodecTest : public testing::Test {
 protected:
  char* Body(const std::string& bytes) {
    body_.assign(bytes.begin(), bytes.end());
    body_.shrink_to_fit();
    return body_.data();
  }
  nc_int32 length() const { return static_cast<nc_int32>(body_.size()); }

  DebugMask mask_;
  std::vector<char> body_;
};

using namespace std::string_literals;

TEST_F(CodecTest, Int32IsCopiedAsItStandsInMemory) {
  char buf[] = "........";
  int offset = 2;
  nc_dm_put_int32(buf, &offset, 0x01020304);
  EXPECT_EQ(offset, 6);
  EXPECT_EQ(std::string(buf, 8), ".." + HostInt("\4\3\2\1") + "..");
}

TEST_F(CodecTest, Int64IsCopiedAsItStandsInMemory) {
  char buf[] = "..........";
  int offset = 1;
  nc_dm_put_int64(buf, &offset, -2);
  EXPECT_EQ(offset, 9);
  EXPECT_EQ(std::string(buf, 10), "." + HostInt("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF") + ".");
}

TEST_F(CodecTest, StringStandsBehindItsLengthAndTheNextFieldBehindIt) {
  char text[] = "eth0";
  char buf[16];
  memset(buf, '.', sizeof(buf));
  int offset = 0;
  nc_dm_lv_str(buf, &offset, text, 4);
  EXPECT_EQ(offset, 8);
  EXPECT_EQ(std::string(buf, 10), HostInt("\4\0\0\0"s) + "eth0\0."s);
  nc_dm_put_int32(buf, &offset, 7);
  EXPECT_EQ(std::string(buf, 13), HostInt("\4\0\0\0"s) + "eth0" + HostInt("\7\0\0\0"s) + ".");
}

TEST_F(CodecTest, EmptyStringIsALengthOfZero) {
  char text[] = "";
  char buf[] = "......";
  int offset = 0;
  nc_dm_lv_str(buf, &offset, text, 0);
  EXPECT_EQ(offset, 4);
  EXPECT_EQ(std::string(buf, 6), "\0\0\0\0\0."s);
}

TEST_F(CodecTest, StringLongerThanAnnouncedIsCutAndStaysConsistent) {
  char text[] = "eth0";
  char buf[10];
  int offset = 0;
  nc_dm_lv_str(buf, &offset, text, 3);
  EXPECT_EQ(offset, 7);
  EXPECT_EQ(std::string(buf, 8), HostInt("\3\0\0\0"s) + "eth\0"s);
}

TEST_F(CodecTest, NullStringAndNegativeLengthAreEmpty) {
  char text[] = "eth0";
  char buf[16];
  int offset = 0;
  nc_dm_lv_str(buf, &offset, nullptr, 4);
  nc_dm_lv_str(buf, &offset, text, -1);
  EXPECT_EQ(offset, 8);
  EXPECT_EQ(std::string(buf, 8), std::string(8, '\0'));
}

TEST_F(CodecTest, Int32EndsExactlyAtTheBodysEnd) {
  char* body = Body(".." + HostInt("\4\3\2\1"));
  nc_int32 value = 0;
  nc_int32 position = 2;
  EXPECT_EQ(nc_dm_decode_int32(&value, &position, body, 6), 0);
  EXPECT_EQ(value, 0x01020304);
  EXPECT_EQ(position, 6);
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(CodecTest, Int32OneByteBeyondTheBodyIsRefused) {
  char* body = Body(".....");
  nc_int32 value = 11;
  nc_int32 position = 2;
  EXPECT_EQ(nc_dm_decode_int32(&value, &position, body, 5), -1);
  EXPECT_EQ(value, 11);
  EXPECT_EQ(position, 2);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(5, 6)));
}

TEST_F(CodecTest, Int64EndsExactlyAtTheBodysEnd) {
  char* body = Body(HostInt("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF"));
  nc_int64 value = 0;
  nc_int32 position = 0;
  EXPECT_EQ(nc_dm_decode_int64(&value, &position, body, 8), 0);
  EXPECT_EQ(value, -2);
  EXPECT_EQ(position, 8);
}

TEST_F(CodecTest, Int64OneByteBeyondTheBodyIsRefused) {
  char* body = Body(".......");
  nc_int64 value = 11;
  nc_int32 position = 0;
  EXPECT_EQ(nc_dm_decode_int64(&value, &position, body, 7), -1);
  EXPECT_EQ(value, 11);
  EXPECT_EQ(position, 0);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(7, 8)));
}

TEST_F(CodecTest, PositionsAndLengthsAtTheEdgeOfAnIntegerAreRefused) {
  char* body = Body("....");
  nc_int32 value = 0;
  nc_int32 position = INT_MAX;
  EXPECT_EQ(nc_dm_decode_int32(&value, &position, body, INT_MAX), -1);
  EXPECT_EQ(position, INT_MAX);
  position = -4;
  EXPECT_EQ(nc_dm_decode_int32(&value, &position, body, 4), -1);
  EXPECT_EQ(position, -4);
  position = 0;
  EXPECT_EQ(nc_dm_decode_int32(&value, &position, body, -1), -1);
  EXPECT_EQ(position, 0);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(INT_MAX, INT_MAX), Misfit(4, 0), Misfit(-1, 4)));
}

TEST_F(CodecTest, BareStringIsCopiedAndTerminated) {
  char* body = Body(".eth0");
  char* text = nullptr;
  nc_int32 position = 1;
  ASSERT_EQ(nc_dm_decode_str(&text, &position, 4, body, length()), 0);
  const std::unique_ptr<char, FreeText> owner(text);
  EXPECT_STREQ(text, "eth0");
  EXPECT_EQ(position, 5);
}

TEST_F(CodecTest, BareStringThatDoesNotFitIsRefused) {
  char* body = Body(".eth0");
  char* text = nullptr;
  nc_int32 position = 1;
  EXPECT_EQ(nc_dm_decode_str(&text, &position, 5, body, length()), -1);
  EXPECT_EQ(nc_dm_decode_str(&text, &position, -1, body, length()), -1);
  EXPECT_EQ(nc_dm_decode_str(&text, &position, INT_MAX, body, length()), -1);
  EXPECT_EQ(nc_dm_decode_str(&text, &position, INT_MIN, body, length()), -1);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(position, 1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre(Misfit(5, 6), Misfit(5, 0), Misfit(5, INT_MAX), Misfit(5, INT_MIN + 1)));
}

TEST_F(CodecTest, LengthPrefixedStringEndsExactlyAtTheBodysEnd) {
  char* body = Body(HostInt("\4\0\0\0"s) + "eth0");
  char* text = nullptr;
  nc_int32 position = 0;
  ASSERT_EQ(nc_dm_decode_lv(&text, &position, body, length()), 0);
  const std::unique_ptr<char, FreeText> owner(text);
  EXPECT_STREQ(text, "eth0");
  EXPECT_EQ(position, 8);
}

TEST_F(CodecTest, LengthPrefixedStringOneByteBeyondTheBodyIsRefusedBehindItsLength) {
  char* body = Body(HostInt("\5\0\0\0"s) + "eth0");
  char* text = nullptr;
  nc_int32 position = 0;
  EXPECT_EQ(nc_dm_decode_lv(&text, &position, body, length()), -1);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(position, 4);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(8, 9)));
}

TEST_F(CodecTest, LengthThatIsCutItselfIsRefusedBeforeIt) {
  char* body = Body("\4\0\0"s);
  char* text = nullptr;
  nc_int32 position = 0;
  EXPECT_EQ(nc_dm_decode_lv(&text, &position, body, length()), -1);
  EXPECT_EQ(position, 0);
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(3, 4)));
}

TEST_F(CodecTest, EmptyLengthPrefixedStringIsAnAllocatedEmptyText) {
  char* body = Body("\0\0\0\0"s);
  char* text = nullptr;
  nc_int32 position = 0;
  ASSERT_EQ(nc_dm_decode_lv(&text, &position, body, length()), 0);
  const std::unique_ptr<char, FreeText> owner(text);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(position, 4);
}

TEST_F(CodecTest, LengthsThatNoBodyHasAreRefused) {
  for (const auto& [bytes, end] :
       {std::pair("\xFF\xFF\xFF\xFF"s, 3), std::pair("\xFF\xFF\xFF\x7F"s, INT_MAX),
        std::pair("\0\0\0\x80"s, INT_MIN + 4)}) {
    char* body = Body(HostInt(bytes) + "eth0");
    char* text = nullptr;
    nc_int32 position = 0;
    ncdm_test::LogCapture::Get().Clear();
    EXPECT_EQ(nc_dm_decode_lv(&text, &position, body, length()), -1);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(position, 4);
    EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(8, end)));
  }
}

TEST_F(CodecTest, StringWithoutMemoryIsRefused) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char* body = Body(HostInt("\4\0\0\0"s) + "eth0");
  char* text = nullptr;
  nc_int32 position = 0;
  int result = 0;
  {
    const FailingAlloc failing(0);
    result = nc_dm_decode_lv(&text, &position, body, length());
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(position, 4);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc for *data!\n"));
}

TEST_F(CodecTest, StringIntoABufferIsNotTerminated) {
  char* body = Body(HostInt("\4\0\0\0"s) + "eth0");
  char path[NC_DM_MAX_PATH_LEN + 1];
  memset(path, '.', sizeof(path));
  nc_int32 position = 0;
  EXPECT_EQ(nc_dm_decode_lv_non(path, &position, body, length()), 0);
  EXPECT_EQ(std::string(path, 5), "eth0.");
  EXPECT_EQ(position, 8);
}

TEST_F(CodecTest, StringIntoABufferTakesAPathsLengthAndNoMore) {
  std::vector<char> path(NC_DM_MAX_PATH_LEN + 1);
  char* body = Body(HostInt("\0\1\0\0"s) + std::string(256, 'p'));
  nc_int32 position = 0;
  EXPECT_EQ(nc_dm_decode_lv_non(path.data(), &position, body, length()), 0);
  EXPECT_EQ(std::string(path.data()), std::string(256, 'p'));
  EXPECT_EQ(position, 260);

  body = Body(HostInt("\1\1\0\0"s) + std::string(257, 'q'));
  position = 0;
  EXPECT_EQ(nc_dm_decode_lv_non(path.data(), &position, body, length()), -1);
  EXPECT_EQ(position, 4);
  EXPECT_EQ(std::string(path.data()), std::string(256, 'p'));
  EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(261, 261)));
}

TEST_F(CodecTest, StringIntoABufferThatDoesNotFitTheBodyIsLoggedOnce) {
  char path[NC_DM_MAX_PATH_LEN + 1] = {};
  for (const auto& [bytes, position_after, end] :
       {std::tuple("\0\0\0"s, 0, 4), std::tuple(HostInt("\2\0\0\0"s) + "p", 4, 6),
        std::tuple("\xFF\xFF\xFF\xFF"s, 4, 3),
        std::tuple(HostInt("\xFF\xFF\xFF\x7F"), 4, INT_MAX)}) {
    char* body = Body(bytes);
    nc_int32 position = 0;
    ncdm_test::LogCapture::Get().Clear();
    EXPECT_EQ(nc_dm_decode_lv_non(path, &position, body, length()), -1);
    EXPECT_EQ(position, position_after);
    EXPECT_STREQ(path, "");
    EXPECT_THAT(ErrorLines(), ElementsAre(Misfit(length(), end)));
  }
}

TEST_F(CodecTest, Int32IsReadAtAnyAlignment) {
  const char* bytes = Body("." + HostInt("\4\3\2\1"));
  EXPECT_EQ(get_int32(bytes + 1), 0x01020304);
}

TEST_F(CodecTest, CopyOfAText) {
  const char* original = "eth0";
  const std::unique_ptr<char, FreeText> copy(nc_dm_copy_str(original));
  EXPECT_STREQ(copy.get(), "eth0");
  EXPECT_NE(copy.get(), original);
  const std::unique_ptr<char, FreeText> empty(nc_dm_copy_str(""));
  EXPECT_STREQ(empty.get(), "");
  EXPECT_EQ(nc_dm_copy_str(nullptr), nullptr);
}

TEST_F(CodecTest, CopyWithoutMemoryIsNull) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char* copy = nullptr;
  {
    const FailingAlloc failing(0);
    copy = nc_dm_copy_str("eth0");
  }
  EXPECT_EQ(copy, nullptr);
}

TEST_F(CodecTest, OutgoingMessageIsTheZeroedBuffer) {
  alignas(nc_dm_msg_t) char buf[33];
  memset(buf, '.', sizeof(buf));
  EXPECT_EQ(static_cast<void*>(nc_dm_agent_init_out_msg(buf, 32)), buf);
  EXPECT_EQ(std::string(buf, 33), std::string(32, '\0') + ".");
}

TEST_F(CodecTest, OutgoingMessageNeedsABuffer) {
  alignas(nc_dm_msg_t) char buf[NC_DM_MSG_HEAD_SIZE] = {'.'};
  EXPECT_EQ(nc_dm_agent_init_out_msg(nullptr, 32), nullptr);
  EXPECT_EQ(nc_dm_agent_init_out_msg(buf, 0), nullptr);
  EXPECT_EQ(nc_dm_agent_init_out_msg(buf, -1), nullptr);
  EXPECT_EQ(buf[0], '.');
  EXPECT_NE(nc_dm_agent_init_out_msg(buf, 1), nullptr);
  EXPECT_EQ(buf[0], '\0');
}

TEST_F(CodecTest, HeadIsTwentyFourBytes) {
  EXPECT_EQ(sizeof(nc_dm_msg_head_t), size_t{NC_DM_MSG_HEAD_SIZE});
  EXPECT_EQ(offsetof(nc_dm_msg_t, buf), size_t{NC_DM_MSG_HEAD_SIZE});
}

}  // namespace
