// A long random stream of requests over the socket, beside a plain model of what the answers and
// the data should be.
//
// NCDM_RANDOM_REQUESTS gives another number of requests a seed, NCDM_RANDOM_SEED another seed.

#include <cstdlib>

#include "model_device.h"
#include "random_requests.h"
#include "support/repeats.h"

namespace ncdm_test {
namespace {

using ncdm::server::Answer;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRequests = 4000;
#else
constexpr int kRequests = 20000;
#endif
constexpr int kRequestsBetweenComparisons = 250;
constexpr int kRequestsBetweenLosses = 1000;

int NumberFrom(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : std::atoi(text);
}

class RandomModelTest : public ModelDevice, public testing::TestWithParam<unsigned> {};

TEST_P(RandomModelTest, AgreesWithTheModel) {
  const auto seed =
      static_cast<unsigned>(NumberFrom("NCDM_RANDOM_SEED", static_cast<int>(GetParam())));
  const int requests = NumberFrom("NCDM_RANDOM_REQUESTS", Repeats(kRequests));
  SCOPED_TRACE("seed " + std::to_string(seed));
  Put();
  ASSERT_NO_FATAL_FAILURE(Start());
  CompareEverything();

  RandomRequests random(seed, &model());
  int succeeded = 0;
  for (int i = 0; i < requests; ++i) {
    const ModelRequest request = random.Next();
    Answer answer;
    ASSERT_EQ(Check(request, &answer), "") << "request " << i << ": " << request.Text();
    succeeded += answer.ok() ? 1 : 0;
    if (i % kRequestsBetweenComparisons == 0) CompareEverything();
    ASSERT_FALSE(HasFailure()) << "after request " << i << ": " << request.Text();
    // A connection that is lost changes nothing of all this.
    if (i % kRequestsBetweenLosses == kRequestsBetweenLosses - 1) {
      ASSERT_NO_FATAL_FAILURE(device().Reconnect());
    }
  }
  CompareEverything();
  // The stream is worth something only when it is neither all right nor all wrong.
  EXPECT_GT(succeeded, requests / 3);
  EXPECT_LT(succeeded, requests * 9 / 10);
}

INSTANTIATE_TEST_SUITE_P(Seed, RandomModelTest, testing::Range(1U, 11U));

}  // namespace
}  // namespace ncdm_test
