#include "server/netconf/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace ncdm::netconf {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;
using Words = std::vector<std::string>;

const Words kAll = {"--root",    "/r",        "--port",
                    "8300",      "--address", "127.0.0.1",
                    "--hostkey", "/h",        "--authorized-keys",
                    "/a",        "--yang",    "/y"};

ProgramOptions Parse(const Words& words) {
  std::vector<const char*> argv{"ncdm-netconf"};
  std::ranges::transform(words, std::back_inserter(argv), &std::string::c_str);
  return ParseOptions(static_cast<int>(argv.size()), argv.data());
}

Words With(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

TEST(OptionsTest, EachOptionIsTaken) {
  const ProgramOptions options = Parse(With(kAll, {"--user", "admin", "--hostkey", "/i"}));
  EXPECT_EQ(options.root, "/r");
  EXPECT_EQ(options.port, 8300);
  EXPECT_EQ(options.address, "127.0.0.1");
  EXPECT_THAT(options.host_keys, ElementsAre("/h", "/i"));
  EXPECT_EQ(options.authorized_keys, "/a");
  EXPECT_EQ(options.yang, "/y");
  EXPECT_EQ(options.user, "admin");
  EXPECT_EQ(Parse(kAll).user, "");
}

TEST(OptionsTest, MissingOptionIsNamedInOneLine) {
  for (std::size_t i = 0; i < kAll.size(); i += 2) {
    Words words = kAll;
    words.erase(words.begin() + static_cast<long>(i), words.begin() + static_cast<long>(i) + 2);
    EXPECT_THAT([&] { Parse(words); },
                ThrowsMessage<UsageError>(AllOf(HasSubstr(kAll[i]), Not(HasSubstr("\n")))));
  }
}

TEST(OptionsTest, UnknownOptionsAndWrongValuesAreRefused) {
  EXPECT_THAT([] { Parse(With(kAll, {"--nonsense"})); },
              ThrowsMessage<UsageError>(HasSubstr("--nonsense")));
  for (const char* port : {"65536", "-1", "http", ""}) {
    Words words = kAll;
    words[3] = port;
    EXPECT_THROW(Parse(words), UsageError) << port;
  }
}

TEST(OptionsTest, EmptyValueIsRefusedWithTheOptionsName) {
  for (std::size_t i = 0; i < kAll.size(); i += 2) {
    Words words = kAll;
    words[i + 1] = "";
    EXPECT_THAT([&] { Parse(words); }, ThrowsMessage<UsageError>(HasSubstr(kAll[i])));
  }
}

TEST(OptionsTest, HelpNeedsNothingElse) {
  EXPECT_THAT(Parse({"--help"}).notice, HasSubstr("--authorized-keys"));
}

TEST(OptionsTest, VersionNeedsNothingElse) {
  EXPECT_THAT(Parse({"--version"}).notice,
              testing::MatchesRegex("ncdm-netconf [0-9]+\\.[0-9]+.*\n"));
}

}  // namespace
}  // namespace ncdm::netconf
