// Files that are replaced as a whole.
#include <fstream>
#include <iterator>

#include "gtest/gtest.h"
#include "ncdm_model.h"
#include "tests/support/temp_dir.h"

namespace ncdm::model {
namespace {

std::string ContentOf(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(WholeFileTest, TheNewContentTakesTheOldOnesPlaceAndNoDraftStays) {
  const ncdm_test::TempDir folder;
  const std::string file = folder.path() + "/file";
  char error[256] = "";
  ASSERT_EQ(ncdm_file_write(file.c_str(), "a long first content", error, sizeof error), 0);
  ASSERT_EQ(ncdm_file_write(file.c_str(), "new", error, sizeof error), 0);
  EXPECT_STREQ(error, "");
  EXPECT_EQ(ContentOf(file), "new");
  EXPECT_FALSE(std::ifstream(file + ".new").is_open());
}

TEST(WholeFileTest, WhatCannotBeWrittenStaysAsItWas) {
  const ncdm_test::TempDir folder;
  char error[256] = "";
  // A folder cannot be replaced by a file.
  EXPECT_EQ(ncdm_file_write(folder.path().c_str(), "new", error, sizeof error), -1);
  EXPECT_NE(std::string(error).find(folder.path() + ": "), std::string::npos) << error;
  EXPECT_FALSE(std::ifstream(folder.path() + ".new").is_open());
}

}  // namespace
}  // namespace ncdm::model
