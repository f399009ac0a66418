#include "yang/generator/pattern_translation.h"

#include <gtest/gtest.h>

#include "ncdm_model.h"

namespace ncdm::yang {
namespace {

// True if the pattern, as an application matches it, accepts the text.
bool Accepts(const std::string& pattern, const std::string& text) {
  const auto translated = ForPcre2(pattern);
  EXPECT_TRUE(translated) << pattern;
  if (!translated) return false;
  ncdm_pattern_t compiled = {translated->c_str(), false, nullptr};
  const bool accepts = ncdm_pattern_matches(&compiled, text.c_str());
  ncdm_pattern_release(&compiled);
  return accepts;
}

TEST(PatternTest, MatchesTheWholeText) {
  EXPECT_TRUE(Accepts("a|b", "b"));
  EXPECT_FALSE(Accepts("a|b", "ab"));
  EXPECT_FALSE(Accepts("a", "a\n"));
  EXPECT_TRUE(Accepts("", ""));
}

TEST(PatternTest, AnchorsArePlainCharacters) {
  EXPECT_TRUE(Accepts("^a$", "^a$"));
  EXPECT_FALSE(Accepts("^a$", "a"));
  EXPECT_TRUE(Accepts("[^a]", "b"));
  EXPECT_FALSE(Accepts("[^a]", "a"));
  EXPECT_TRUE(Accepts("[$^]+", "^$"));
}

TEST(PatternTest, KnowsNamesOfXmlAndBlocks) {
  EXPECT_TRUE(Accepts("\\i\\c*", "a-1"));
  EXPECT_FALSE(Accepts("\\i\\c*", "1a"));
  EXPECT_TRUE(Accepts("[\\i-]+", "a-b"));
  EXPECT_TRUE(Accepts("\\p{IsBasicLatin}*", "abc"));
  EXPECT_FALSE(Accepts("\\p{IsBasicLatin}*", "ä"));
  EXPECT_TRUE(Accepts("\\P{IsBasicLatin}", "ä"));
  EXPECT_TRUE(Accepts("[\\p{IsGreek}a]+", "αa"));
  EXPECT_TRUE(Accepts("\\p{L}+", "äöü"));
}

TEST(PatternTest, SaysWhatItCannot) {
  EXPECT_FALSE(ForPcre2("[a-z-[aeiou]]"));
  EXPECT_FALSE(ForPcre2("\\p{IsNoSuchBlock}"));
  EXPECT_FALSE(ForPcre2("(a"));
  EXPECT_FALSE(ForPcre2("a\\"));
}

}  // namespace
}  // namespace ncdm::yang
