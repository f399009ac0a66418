// Leaves a descriptor open, for which the test program has to fail.

#include <gtest/gtest.h>
#include <unistd.h>

TEST(DescriptorLeak, IsReported) { EXPECT_GE(dup(STDIN_FILENO), 0); }
