#include "yang/generator/identifiers.h"

#include <gtest/gtest.h>

namespace ncdm::yang {
namespace {

TEST(IdentifierTest, ReplacesWhatCDoesNotKnow) {
  EXPECT_EQ(Identifier("tagged-port"), "tagged_port");
  EXPECT_EQ(Identifier("a.b"), "a_b");
  EXPECT_EQ(Identifier("_x"), "x_x");
}

TEST(IdentifierTest, AvoidsTheKeywordsOfBothLanguages) {
  EXPECT_EQ(Identifier("class"), "class_");
  EXPECT_EQ(Identifier("restrict"), "restrict_");
  EXPECT_EQ(Identifier("classes"), "classes");
}

TEST(ConstantTest, IsInCapitals) {
  EXPECT_EQ(Constant("with blank + sign"), "WITH_BLANK___SIGN");
  EXPECT_EQ(Constant("ä"), "__");
}

TEST(UniqueNamesTest, NumbersWhatComesAgain) {
  UniqueNames names;
  EXPECT_EQ(names.Unique("a"), "a");
  EXPECT_EQ(names.Unique("a"), "a_2");
  EXPECT_EQ(names.Unique("a_2"), "a_2_2");
  EXPECT_EQ(names.Unique("a"), "a_3");
}

}  // namespace
}  // namespace ncdm::yang
