// Dotted paths: taken apart, checked, and joined again.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "netconf_dm_util.h"
#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kFormError = "The form of dm's path is error!\n";
constexpr const char* kTooLong = "The length of node is too long!\n";
constexpr const char* kTooDeep = "The depth of path is too deep!\n";
constexpr const char* kInvalid = "Input parameter is invalid!\n";

std::string Repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

class PathTest : public testing::Test {
 protected:
  int Parse(std::string path, bool getinst) {
    LogCapture::Get().Clear();
    nodes_ = {};
    return nc_dm_parse(path.data(), &nodes_, getinst);
  }
  int ParseNames(const std::string& path) { return Parse(path, false); }
  int ParseInstance(const std::string& path) { return Parse(path, true); }

  std::vector<std::string> Names() const {
    return {nodes_.nodes, nodes_.nodes + nodes_.total_node};
  }
  std::vector<nc_int64> Ids() const {
    return {nodes_.instances, nodes_.instances + nodes_.total_node};
  }

  const DebugMask mask_;
  nc_dm_path_nodes_t nodes_ = {};
};

TEST_F(PathTest, SplitsAtTheDots) {
  EXPECT_EQ(ParseNames("a.b.{i}.c"), 0);
  EXPECT_THAT(Names(), ElementsAre("a", "b", "{i}", "c"));
  EXPECT_THAT(Ids(), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(nodes_.match_cnt, 0);
  EXPECT_EQ(ParseNames("a"), 0);
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_EQ(ParseNames(" a . b"), 0);
  EXPECT_THAT(Names(), ElementsAre(" a ", " b"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(PathTest, IgnoresOneDotAtTheEnd) {
  EXPECT_EQ(ParseNames("a.b."), 0);
  EXPECT_THAT(Names(), ElementsAre("a", "b"));
  EXPECT_EQ(ParseInstance("a.3."), 0);
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_THAT(Ids(), ElementsAre(3));
}

TEST_F(PathTest, RefusesEmptyComponents) {
  for (const char* path : {"", ".", ".a", "a..b", "a.b..", "..", "a.."}) {
    for (const bool getinst : {false, true}) {
      EXPECT_EQ(Parse(path, getinst), NC_DM_FAULT_CODE_PARSE) << path;
      EXPECT_THAT(ErrorLines(), ElementsAre(kFormError)) << path;
    }
  }
}

TEST_F(PathTest, KeepsWhatStandsBeforeAFailure) {
  EXPECT_EQ(ParseNames("a.b..c"), -4);
  EXPECT_THAT(Names(), ElementsAre("a", "b"));
}

TEST_F(PathTest, TakesNamesOf64Characters) {
  const std::string longest(64, 'n');
  EXPECT_EQ(ParseNames("a." + longest + ".b"), 0);
  EXPECT_THAT(Names(), ElementsAre("a", longest, "b"));
  EXPECT_EQ(ParseNames(longest), 0);
  EXPECT_THAT(Names(), ElementsAre(longest));
  for (const std::string& path : {longest + "n", "a." + longest + "n.b", longest + "n."}) {
    EXPECT_EQ(ParseNames(path), -4) << path;
    EXPECT_THAT(ErrorLines(), ElementsAre(kTooLong)) << path;
  }
}

TEST_F(PathTest, Takes16Names) {
  const std::string deepest = Repeated("n.", 16);
  EXPECT_EQ(ParseNames(deepest), 0);
  EXPECT_EQ(nodes_.total_node, 16);
  EXPECT_EQ(ParseNames(deepest.substr(0, deepest.size() - 1)), 0);
  EXPECT_EQ(nodes_.total_node, 16);
  for (const std::string& path : {deepest + "n", deepest + "n.", deepest + "5", deepest + "n.n"}) {
    for (const bool getinst : {false, true}) {
      EXPECT_EQ(Parse(path, getinst), -4) << path;
      EXPECT_THAT(ErrorLines(), ElementsAre(kTooDeep)) << path;
    }
  }
}

TEST_F(PathTest, FindsATooLongNameBeforeATooDeepOne) {
  EXPECT_EQ(ParseNames(Repeated("n.", 16) + std::string(65, 'x')), -4);
  EXPECT_THAT(ErrorLines(), ElementsAre(kTooLong));
}

TEST_F(PathTest, NumbersAreIdsOfInstancePathsAlone) {
  EXPECT_EQ(ParseInstance("a.b.3.c.5"), 0);
  EXPECT_THAT(Names(), ElementsAre("a", "b", "c"));
  EXPECT_THAT(Ids(), ElementsAre(0, 3, 5));
  EXPECT_EQ(ParseNames("a.b.3.c.5"), 0);
  EXPECT_THAT(Names(), ElementsAre("a", "b", "3", "c", "5"));
  EXPECT_THAT(Ids(), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(PathTest, NumbersDoNotCountForTheDepth) {
  EXPECT_EQ(ParseInstance(Repeated("n.7.", 15) + "last"), 0);
  EXPECT_EQ(nodes_.total_node, 16);
  EXPECT_EQ(nodes_.instances[14], 7);
  EXPECT_EQ(nodes_.instances[15], 0);
}

TEST_F(PathTest, MarkersAndWhatIsNoNumberAreNames) {
  EXPECT_EQ(ParseInstance("a.{i}.01.+1.c"), 0);
  EXPECT_THAT(Names(), ElementsAre("a", "{i}", "01", "+1", "c"));
}

TEST_F(PathTest, TheLastOfSeveralNumbersIsTheId) {
  EXPECT_EQ(ParseInstance("a.1.2"), 0);
  EXPECT_THAT(Names(), ElementsAre("a"));
  EXPECT_THAT(Ids(), ElementsAre(2));
  EXPECT_EQ(ParseInstance("a.1.0.b"), 0);
  EXPECT_THAT(Ids(), ElementsAre(0, 0));
}

TEST_F(PathTest, IdsAre64BitsWide) {
  const struct {
    const char* number;
    nc_int64 id;
  } cases[] = {{"-5", -5},
               {" 5 ", 5},
               {"\t-5\r", -5},
               {"-", 0},
               {"-0", 0},
               {"-07", -7},
               {"9223372036854775807", INT64_MAX},
               {"9223372036854775808", INT64_MIN},
               {"18446744073709551615", -1},
               {"18446744073709551616", -1},
               {"-18446744073709551616", -1},
               {"99999999999999999999", -1}};
  for (const auto& [number, id] : cases) {
    EXPECT_EQ(ParseInstance(std::string("a.") + number + ".b"), 0) << number;
    EXPECT_THAT(Names(), ElementsAre("a", "b")) << number;
    EXPECT_EQ(nodes_.instances[0], id) << number;
  }
  EXPECT_EQ(ParseInstance("a." + std::string(64, '9')), 0);
  EXPECT_EQ(nodes_.instances[0], -1);
  EXPECT_EQ(ParseInstance("a." + std::string(65, '9')), -4);
  EXPECT_THAT(ErrorLines(), ElementsAre(kTooLong));
}

TEST_F(PathTest, ANumberLeavesNothingOfItsTextBehind) {
  EXPECT_EQ(ParseInstance("a.1234567890"), 0);
  const char nothing[NC_DM_MAX_NAME_LEN + 1] = {};
  EXPECT_EQ(memcmp(nodes_.nodes[1], nothing, sizeof(nothing)), 0);
}

TEST_F(PathTest, ANumberInFrontBelongsToNoName) {
  for (const char* path : {"3", "3.a", "-.a", " 1 .a.2"}) {
    EXPECT_EQ(ParseInstance(path), -4) << path;
    EXPECT_THAT(ErrorLines(), ElementsAre(kFormError)) << path;
    EXPECT_EQ(nodes_.total_node, 0) << path;
  }
  EXPECT_EQ(ParseNames("3.a"), 0);
}

TEST_F(PathTest, OnlyTheCountOfTheRecordIsReset) {
  nodes_.total_node = 9;
  nodes_.match_cnt = 4;
  nodes_.instances[0] = 11;
  char path[] = "a";
  EXPECT_EQ(nc_dm_parse(path, &nodes_, true), 0);
  EXPECT_EQ(nodes_.total_node, 1);
  EXPECT_EQ(nodes_.match_cnt, 4);
  EXPECT_EQ(nodes_.instances[0], 11);
}

TEST_F(PathTest, RefusesNull) {
  char path[] = "a";
  nodes_.total_node = 9;
  EXPECT_EQ(nc_dm_parse(nullptr, &nodes_, false), -1);
  EXPECT_EQ(nc_dm_parse(path, nullptr, false), -1);
  EXPECT_EQ(nodes_.total_node, 9);
  EXPECT_THAT(ErrorLines(), ElementsAre(kInvalid, kInvalid));
}

TEST_F(PathTest, RootIsTheFirstName) {
  ASSERT_EQ(ParseNames("Device.a"), 0);
  EXPECT_TRUE(nc_dm_check_root("Device", &nodes_));
  EXPECT_THAT(ErrorLines(), IsEmpty());
  EXPECT_FALSE(nc_dm_check_root("device", &nodes_));
  EXPECT_FALSE(nc_dm_check_root("Devic", &nodes_));
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The first node must be device, but your first node is \"Device\"!\n",
                          "The first node must be Devic, but your first node is \"Device\"!\n"));
  EXPECT_FALSE(nc_dm_check_root(nullptr, &nodes_));
  EXPECT_FALSE(nc_dm_check_root("Device", nullptr));
}

TEST_F(PathTest, NamesFollowTheCharacterRules) {
  for (const char* name :
       {"ip-address", "{i}", "{1-3}", "_x1", "1st", "a-", "a_b", "Z", "}", "9"}) {
    EXPECT_TRUE(nc_dm_check_c_naming(name)) << name;
  }
  for (const char* name : {"", "a b", "a.b", "-x", "x/y", "-", "a:b", "\xC3\xA9", "a\xC3\xA9", " a",
                           "a\n", "@", "[", "`", "|", "~", "/", ":"}) {
    EXPECT_FALSE(nc_dm_check_c_naming(name)) << name;
  }
  EXPECT_FALSE(nc_dm_check_c_naming(nullptr));
}

TEST_F(PathTest, EveryCharacterIsEitherAllowedOrNot) {
  const std::string first = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_{}";
  for (int c = 1; c < 256; ++c) {
    const std::string character(1, static_cast<char>(c));
    const bool may_start = first.find(character) != std::string::npos;
    EXPECT_EQ(nc_dm_check_c_naming(character.c_str()), may_start) << c;
    EXPECT_EQ(nc_dm_check_c_naming(("a" + character).c_str()), may_start || character == "-") << c;
  }
}

TEST_F(PathTest, APathIsCheckedNameByName) {
  ASSERT_EQ(ParseNames("a.b-c.{i}.d"), 0);
  EXPECT_TRUE(nc_dm_check_param_name(&nodes_));
  for (const char* path : {"a.b-c.{i}.-d", "/.b", "a.b c.d"}) {
    ASSERT_EQ(ParseNames(path), 0);
    EXPECT_FALSE(nc_dm_check_param_name(&nodes_)) << path;
  }
  nodes_ = {};
  EXPECT_TRUE(nc_dm_check_param_name(&nodes_));
  EXPECT_FALSE(nc_dm_check_param_name(nullptr));
  std::fill_n(&nodes_.nodes[0][0], sizeof(nodes_.nodes), 'a');
  nodes_.total_node = 17;
  EXPECT_FALSE(nc_dm_check_param_name(&nodes_));
}

// A joined path, or "<refused>".
std::string Text(int result, char* joined) {
  if (result != 0) {
    EXPECT_EQ(result, -1);
    EXPECT_EQ(joined, nullptr);
    return "<refused>";
  }
  EXPECT_NE(joined, nullptr);
  std::string text = joined == nullptr ? "<null>" : joined;
  free(joined);
  return text;
}

class JoinTest : public PathTest {
 protected:
  std::string Leaf() { return Join(true); }
  std::string Object() { return Join(false); }
  std::string Schema(int node_cnt, bool is_leaf) {
    char* joined = nullptr;
    const int result = nc_dm_agent_comb_reg_path_name(&joined, &nodes_, node_cnt, is_leaf);
    return Text(result, joined);
  }

 private:
  std::string Join(bool is_leaf) {
    char* joined = nullptr;
    const int result = nc_dm_agent_comb_path_name(&joined, &nodes_, is_leaf);
    return Text(result, joined);
  }
};

TEST_F(JoinTest, WritesTheIdsBehindTheirNames) {
  ASSERT_EQ(ParseInstance("a.b.3.c"), 0);
  EXPECT_EQ(Leaf(), "a.b.3.c");
  EXPECT_EQ(Object(), "a.b.3.c.");
  ASSERT_EQ(ParseInstance("a.b.3.c.7"), 0);
  EXPECT_EQ(Leaf(), "a.b.3.c.7");
  EXPECT_EQ(Object(), "a.b.3.c.7.");
}

TEST_F(JoinTest, WritesNoIdOfZero) {
  ASSERT_EQ(ParseInstance("a.0.b.0"), 0);
  EXPECT_EQ(Leaf(), "a.b");
  EXPECT_EQ(Object(), "a.b.");
}

TEST_F(JoinTest, WritesIdsSigned) {
  ASSERT_EQ(ParseInstance("a.9223372036854775808.b.-5"), 0);
  EXPECT_EQ(Leaf(), "a.-9223372036854775808.b.-5");
  ASSERT_EQ(ParseInstance("a.9223372036854775807"), 0);
  EXPECT_EQ(Object(), "a.9223372036854775807.");
}

TEST_F(JoinTest, JoinsNothingToNothing) {
  EXPECT_EQ(Leaf(), "");
  EXPECT_EQ(Object(), "");
}

TEST_F(JoinTest, TakesPathsOf256Characters) {
  const std::string name(63, 'n');
  ASSERT_EQ(ParseNames(name + "." + name + "." + name + "." + name), 0);
  EXPECT_EQ(Leaf().size(), 255u);
  EXPECT_EQ(Object().size(), 256u);
  ASSERT_EQ(ParseNames(name + "." + name + "." + name + "." + name + "n"), 0);
  EXPECT_EQ(Leaf().size(), 256u);
  EXPECT_EQ(Object(), "<refused>");
  nodes_.instances[3] = 1;
  EXPECT_EQ(Leaf(), "<refused>");
  ASSERT_EQ(ParseNames(Repeated(std::string(64, 'n') + ".", 16)), 0);
  std::fill(std::begin(nodes_.instances), std::end(nodes_.instances), INT64_MIN);
  LogCapture::Get().Clear();
  EXPECT_EQ(Leaf(), "<refused>");
  EXPECT_THAT(ErrorLines(), ElementsAre("The length of path is too long!\n"));
}

TEST_F(JoinTest, TheBufferHas257ClearedCharacters) {
  ASSERT_EQ(ParseNames("a"), 0);
  char* joined = nullptr;
  ASSERT_EQ(nc_dm_agent_comb_path_name(&joined, &nodes_, true), 0);
  EXPECT_EQ(joined[0], 'a');
  EXPECT_TRUE(std::all_of(joined + 1, joined + 257, [](char c) { return c == '\0'; }));
  free(joined);
}

TEST_F(JoinTest, RefusesNull) {
  char* joined = nullptr;
  EXPECT_EQ(nc_dm_agent_comb_path_name(nullptr, &nodes_, true), -1);
  EXPECT_EQ(nc_dm_agent_comb_path_name(&joined, nullptr, true), -1);
  EXPECT_EQ(nc_dm_agent_comb_reg_path_name(nullptr, &nodes_, 1, true), -1);
  EXPECT_EQ(nc_dm_agent_comb_reg_path_name(&joined, nullptr, 1, true), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre(kInvalid, kInvalid, kInvalid, kInvalid));
}

TEST_F(JoinTest, RefusesARecordThatIsTooDeep) {
  nodes_.total_node = 17;
  EXPECT_EQ(Leaf(), "<refused>");
  EXPECT_EQ(Schema(17, true), "<refused>");
  EXPECT_THAT(ErrorLines(), ElementsAre(kInvalid, kInvalid));
}

TEST_F(JoinTest, ASchemaPathHasNoIds) {
  ASSERT_EQ(ParseInstance("a.b.3.c"), 0);
  EXPECT_EQ(Schema(3, true), "a.b.c");
  EXPECT_EQ(Schema(3, false), "a.b.c.");
}

TEST_F(JoinTest, ASchemaPathMayBeAPrefix) {
  ASSERT_EQ(ParseNames("a.bb.{i}.c"), 0);
  EXPECT_EQ(Schema(4, true), "a.bb.{i}.c");
  EXPECT_EQ(Schema(2, true), "a.bb");
  EXPECT_EQ(Schema(1, false), "a.");
  EXPECT_EQ(Schema(0, true), "");
  EXPECT_EQ(Schema(0, false), "");
  EXPECT_EQ(Schema(-1, false), "");
}

TEST_F(JoinTest, ASchemaPathMayBeLongerThan256) {
  const std::string longest = Repeated(std::string(64, 'n') + ".", 16);
  ASSERT_EQ(ParseNames(longest), 0);
  EXPECT_EQ(Schema(16, false), longest);
  EXPECT_EQ(Schema(16, true), longest.substr(0, longest.size() - 1));
}

TEST_F(JoinTest, ReportsShortMemory) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  ASSERT_EQ(ParseNames("a.b"), 0);
  char* joined = nullptr;
  int result = 0;
  {
    const FailingAlloc failing(0);
    result = nc_dm_agent_comb_path_name(&joined, &nodes_, true);
  }
  EXPECT_EQ(Text(result, joined), "<refused>");
  {
    const FailingAlloc failing(0);
    result = nc_dm_agent_comb_reg_path_name(&joined, &nodes_, 2, true);
  }
  EXPECT_EQ(Text(result, joined), "<refused>");
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc for path_name!\n",
                                        "Failed to malloc for (*path_name)!\n"));
}

}  // namespace
}  // namespace ncdm_test
