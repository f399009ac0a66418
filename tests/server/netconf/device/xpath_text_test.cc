#include "server/netconf/device/xpath_text.h"

#include <gtest/gtest.h>

namespace ncdm::netconf {
namespace {

std::optional<std::string> Resolve(const std::string& prefix) {
  if (prefix.empty()) {
    return "own";
  }
  return prefix == "a" ? std::optional<std::string>("module-a") : std::nullopt;
}

std::string Rewritten(std::string_view expression, Literals literals = Literals::kAsTheyAre) {
  return WithModuleNames(expression, Resolve, literals).value_or("(none)");
}

TEST(XPathTextTest, PrefixesOfNodesBecomeModuleNames) {
  EXPECT_EQ(Rewritten("/a:b/c[a:d = 'a:e']"), "/module-a:b/own:c[module-a:d = 'a:e']");
  EXPECT_EQ(Rewritten("../a:*"), "../module-a:*");
  EXPECT_EQ(Rewritten("child::a:b | //x"), "child::module-a:b | //own:x");
}

TEST(XPathTextTest, OperatorsFunctionsAndStarsAreNoNames) {
  EXPECT_EQ(Rewritten("count(b) * 2 > 3 and not(and)"), "count(own:b) * 2 > 3 and not(own:and)");
  EXPECT_EQ(Rewritten("b div div"), "own:b div own:div");
  EXPECT_EQ(Rewritten("text() or *"), "text() or *");
}

TEST(XPathTextTest, UnknownPrefixHasNoResult) { EXPECT_EQ(Rewritten("/q:b"), "(none)"); }

TEST(XPathTextTest, LiteralsThatAreNamesCanBeRewritten) {
  EXPECT_EQ(Rewritten("b = 'a:e'", Literals::kToo), "own:b = 'module-a:e'");
  EXPECT_EQ(Rewritten("b = 'q:e' or b = 'a: e'", Literals::kToo),
            "own:b = 'q:e' or own:b = 'a: e'");
}

TEST(XPathTextTest, PlainPathsHaveStepsAndPredicates) {
  const auto steps = PlainPath("/m:b/m:c[m:k='1'][m:l=\"2\"]");
  ASSERT_TRUE(steps.has_value());
  ASSERT_EQ(steps->size(), 2U);
  EXPECT_EQ(steps->back().name, "m:c");
  EXPECT_EQ(steps->back().predicates.size(), 2U);
  EXPECT_EQ(steps->back().predicates.back().second, "2");
}

TEST(XPathTextTest, OtherExpressionsAreNoPlainPaths) {
  for (const char* expression :
       {"//m:b", "m:b", "/m:b[1]", "/m:b/*", "/m:b | /m:c", "/m:b[m:c>'1']", "", "/"}) {
    EXPECT_FALSE(PlainPath(expression).has_value()) << expression;
  }
}

TEST(XPathTextTest, ExpressionsStayBelowTheAncestorThatTheyClimbTo) {
  EXPECT_TRUE(StaysWithin("../b > 1", 1));
  EXPECT_FALSE(StaysWithin("../../b > 1", 1));
  EXPECT_TRUE(StaysWithin("../b = 1 or ../c = 2", 1));
  EXPECT_TRUE(StaysWithin("not(b) or b != 'x'", 0));
  EXPECT_FALSE(StaysWithin("/m/b", 5));
  EXPECT_FALSE(StaysWithin("b = //c", 5));
  EXPECT_FALSE(StaysWithin("ancestor::b", 5));
  EXPECT_FALSE(StaysWithin("deref(b)/../c", 5));
}

}  // namespace
}  // namespace ncdm::netconf
