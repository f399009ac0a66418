// What decoding tests share: a body cut at every length, and memory that ends at every allocation.
#ifndef TESTS_NETCONF_DM_STUB_DECODE_FIXTURE_H_
#define TESTS_NETCONF_DM_STUB_DECODE_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <span>
#include <string>

#include "message.h"
#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"

namespace ncdm_test {

// Where a field of a body ends, and the last message when the body is cut within it.
struct Field {
  size_t end;
  const char* failure;
};

class DecodeTest : public testing::Test {
 protected:
  static void Forget() { LogCapture::Get().Clear(); }

  // Decodes each piece of `body`. `decode` looks at the result and at what was decoded.
  template <typename Decode>
  static void ExpectEachCutToFail(const Body& body, std::span<const Field> fields, Decode decode) {
    ASSERT_EQ(body.size(), fields.back().end);
    size_t cut = 0;
    for (const auto& [end, failure] : fields) {
      for (; cut < end; ++cut) {
        SCOPED_TRACE(cut);
        Forget();
        decode(body.Cut(cut));
        ASSERT_THAT(ErrorLines(), testing::Not(testing::IsEmpty()));
        EXPECT_EQ(ErrorLines().back(), failure);
      }
    }
  }

  // Decodes a message of one entry into a `List`, with each of the allocations failing in turn.
  template <typename List, typename Decode>
  static void ExpectEachAllocationToFail(const Message& message, Decode decode,
                                         std::span<const char* const> failures) {
    const DebugMask errors_alone(NC_DM_DBG_ERROR);
    const auto allocations = static_cast<int>(failures.size());
    for (int successes = 0; successes <= allocations; ++successes) {
      Forget();
      List list;
      int result = 0;
      bool failed = false;
      {
        const FailingAlloc failing(successes);
        result = decode(message.get(), &list.list);
        failed = FailingAlloc::HasFailed();
      }
      EXPECT_EQ(failed, successes < allocations);
      EXPECT_EQ(result, failed ? -1 : 0);
      EXPECT_EQ(list.size(), failed ? 0u : 1u);
      if (failed) {
        EXPECT_EQ(ErrorLines().back(), failures[static_cast<size_t>(successes)]);
      }
    }
    ExpectNothingLeft<List>(message, decode, allocations);
  }

 private:
  template <typename List, typename Decode>
  static void ExpectNothingLeft(const Message& message, Decode decode, int allocations) {
    const DebugMask silence(0);  // logging would be counted, too
    for (int successes = 0; successes < allocations; ++successes) {
      List list;
      const int before = FailingAlloc::Live();
      int after = 0;
      {
        const FailingAlloc failing(successes);
        decode(message.get(), &list.list);
        after = FailingAlloc::Live();
      }
      EXPECT_EQ(after, before) << successes;
    }
  }

  DebugMask mask_;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_STUB_DECODE_FIXTURE_H_
