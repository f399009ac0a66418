// The pseudo-random number.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "netconf_dm_util.h"

namespace ncdm_test {
namespace {

TEST(RandTest, SeedsTheGeneratorWithTheProcessorClock) {
  const clock_t before = clock();
  const int number = nc_dm_rand();
  const clock_t after = clock();
  bool is_seeded = false;
  for (clock_t seed = before; seed <= after && !is_seeded; ++seed) {
    srandom(static_cast<unsigned>(seed));
    is_seeded = random() == number;
  }
  EXPECT_TRUE(is_seeded);
}

}  // namespace
}  // namespace ncdm_test
