// Leaves that are written with ids or ranges of ids.

#include <errno.h>

#include <limits>

#include "netconf_dm_agent/registration_fixture.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RangeRegistrationTest : public RegistrationTest {
 protected:
  // The bounds as "low high"; "no range".
  static std::string Bounds(std::string component) {
    nc_int64 bounds[2] = {-99, -99};
    if (!nc_dm_agent_found_insts(component.data(), bounds)) return "no range";
    return std::to_string(bounds[0]) + " " + std::to_string(bounds[1]);
  }

  static std::vector<std::string> InstancePaths() {
    std::vector<std::string> paths;
    for (const auto& record : nc::Records<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
      if (record.type == NC_DM_MSG_TYPE_REG_OBJ) paths.push_back(record.name);
    }
    return paths;
  }
};

// ---- Recognition ----

TEST_F(RangeRegistrationTest, RecognisesRanges) {
  EXPECT_EQ(Bounds("{1-3}"), "1 3");
  EXPECT_EQ(Bounds("{0-0}"), "0 0");
  EXPECT_EQ(Bounds("{3-1}"), "3 1");
  EXPECT_EQ(Bounds("{0003-0012}"), "3 12");
  EXPECT_EQ(Bounds("{-3}"), "0 3") << "a missing bound is 0";
  EXPECT_EQ(Bounds("{3-}"), "3 0");
  EXPECT_EQ(Bounds("eth{1-3}x"), "1 3");
  EXPECT_EQ(Bounds("{i}"), "no range");
  EXPECT_EQ(Bounds("1-3"), "no range");
  EXPECT_EQ(Bounds("{1-3"), "no range");
  EXPECT_EQ(Bounds("1-3}"), "no range");
  EXPECT_EQ(Bounds("{13}"), "no range");
  EXPECT_EQ(Bounds("a-b{1-3}"), "no range") << "the first hyphen stands before the brace";
  EXPECT_EQ(Bounds("}1-3{"), "no range");
  EXPECT_EQ(Bounds("{1}-3"), "no range");
  EXPECT_EQ(Bounds(""), "no range");
  EXPECT_FALSE(nc_dm_agent_found_insts(nullptr, nullptr));
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(RangeRegistrationTest, DoesNotTake34AsABound) {
  errno = ENOENT;
  EXPECT_EQ(Bounds("{34-40}"), "no range");
  EXPECT_THAT(LogLines(),
              ElementsAre("E strtoul failed: 34, strerr: No such file or directory!\n"));
  log().Clear();
  EXPECT_EQ(Bounds("{1-034}"), "no range");
  EXPECT_THAT(LogLines(),
              ElementsAre("E strtoul failed: 034, strerr: No such file or directory!\n"));
  EXPECT_EQ(Bounds("{33-35}"), "33 35");
  EXPECT_EQ(Bounds("{1-340}"), "1 340");
}

TEST_F(RangeRegistrationTest, BoundsTheTextOfABound) {
  const std::string zeros31 = std::string(30, '0') + "7";
  EXPECT_EQ(Bounds("{" + zeros31 + "-8}"), "7 8");
  EXPECT_EQ(Bounds("{1-" + zeros31 + "}"), "1 7");
  EXPECT_EQ(Bounds("{0" + zeros31 + "-8}"), "no range");
  EXPECT_EQ(Bounds("{1-0" + zeros31 + "}"), "no range");
}

TEST_F(RangeRegistrationTest, TakesNumbersOutOfRangeAsTheLargest) {
  errno = 0;
  const std::string largest = std::to_string(std::numeric_limits<nc_int64>::max());
  EXPECT_EQ(Bounds("{1-9223372036854775807}"), "1 " + largest);
  EXPECT_EQ(Bounds("{1-9223372036854775808}"), "1 " + largest);
  EXPECT_EQ(Bounds("{1-99999999999999999999999}"), "1 " + largest);
  EXPECT_EQ(Bounds("{5--3}"), "5 -3");
  EXPECT_EQ(errno, 0) << "a refused number must not refuse the next";
}

// ---- Registration ----

TEST_F(RangeRegistrationTest, RegistersTheEntriesOfARange) {
  EXPECT_EQ(MulReg("a.{1-3}.b", 2), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.{i}.b 2", "REG_OBJ a.1. src=0",
                                          "REG_OBJ a.2. src=0", "REG_OBJ a.3. src=0"));
  EXPECT_EQ(NodeAt("a")->node_type, NC_DM_NODE_TYPE_MULT_MODE);
  EXPECT_EQ(NodeAt("a.b")->flag, 2);
  EXPECT_THAT(LogLines(), Contains("I A new data mode path register to server.\n"));
}

TEST_F(RangeRegistrationTest, RegistersRangesInRanges) {
  EXPECT_EQ(MulReg("a.{1-2}.b.{5-6}.c"), 0);
  EXPECT_THAT(PendingTexts().front(), "REG a.{i}.b.{i}.c 0");
  EXPECT_THAT(InstancePaths(),
              ElementsAre("a.1.", "a.1.b.5.", "a.1.b.6.", "a.2.", "a.2.b.5.", "a.2.b.6."));
  FreePendingRecords();
  EXPECT_EQ(MulReg("x.a.{1-1}.b.{2-2}.c.{3-4}.d.e"), 0);
  EXPECT_THAT(InstancePaths(),
              ElementsAre("x.a.1.", "x.a.1.b.2.", "x.a.1.b.2.c.3.", "x.a.1.b.2.c.4."));
  EXPECT_NE(NodeAt("x.a.b.c.d.e"), nullptr);
}

TEST_F(RangeRegistrationTest, AppliesWhatItQueued) {
  EXPECT_EQ(MulReg("r.a.{1-2}.b.{5-6}.c"), 0);
  FreePendingRecord(
      nc::RecordOf<nc_dm_stub_reg_t, &nc_dm_stub_reg_t::list>(g_nc_dm_reg_list.reg_list.next));
  for (int i = 0; i < 6; ++i) EXPECT_EQ(ApplyFirstPending(), 0);
  EXPECT_NE(NodeAt("r.a.1.b.6.c"), nullptr);
  EXPECT_NE(NodeAt("r.a.2.b.5.c"), nullptr);
  EXPECT_EQ(g_nc_agent_dm.total_mobject, 6u);
}

TEST_F(RangeRegistrationTest, RegistersANumberAsAnEntry) {
  EXPECT_EQ(MulReg("a.7.b"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.{i}.b 0", "REG_OBJ a.7.b src=0"));
  FreePendingRecords();
  EXPECT_EQ(MulReg("x.a.7.b.8.c"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG x.a.{i}.b.{i}.c 0", "REG_OBJ x.a.7.b.8.c src=0"));
}

TEST_F(RangeRegistrationTest, RegistersAPlainPathAsItsOwnInstance) {
  EXPECT_EQ(MulReg("a.b"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.b 0", "REG_OBJ a.b src=0"));
  FreePendingRecords();
  EXPECT_EQ(MulReg("a.c."), 0) << "a dot at the end is ignored";
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.c 0", "REG_OBJ a.c src=0"));
}

TEST_F(RangeRegistrationTest, AnnouncesAKnownLeafNotAgain) {
  EXPECT_EQ(MulReg("a.{1-2}.b"), 0);
  FreePendingRecords();
  log().Clear();
  EXPECT_EQ(MulReg("a.{1-2}.b"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG_OBJ a.1. src=0", "REG_OBJ a.2. src=0"));
  EXPECT_EQ(log().Count(kInfoPrefix, "A new data mode path register to server.\n"), 0);
}

TEST_F(RangeRegistrationTest, QueuesNothingForAnEmptyRange) {
  EXPECT_EQ(MulReg("a.{3-1}.b.{1-2}.c"), 0);
  EXPECT_THAT(PendingTexts(), ElementsAre("REG a.{i}.b.{i}.c 0"));
  FreePendingRecords();
  EXPECT_EQ(MulReg("x.{1-2}.b.{2-1}.c"), 0);
  EXPECT_THAT(InstancePaths(), ElementsAre("x.1.", "x.2."));
}

TEST_F(RangeRegistrationTest, ChecksInOrder) {
  EXPECT_EQ(nc_dm_agent_mul_reg(nullptr, NC_DM_VAL_TYPE_INT, 0, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr),
            -1);
  EXPECT_EQ(MulReg(""), -1);
  EXPECT_EQ(MulReg(std::string(257, 'x')), -1);
  info().agent_init = false;
  info().agent_tree_init = false;
  EXPECT_EQ(MulReg("a.b"), -1);
  info().agent_init = true;
  EXPECT_EQ(MulReg("a.b"), -1);
  EXPECT_THAT(LogLines(),
              ElementsAre("E Input parameter dm_name is invalid!\n", "E Invalid dm_name length!\n",
                          "E Invalid dm_name length!\n", "I Register path:a.b\n",
                          "E Dm client hasn't bean initialized!\n", "I Register path:a.b\n",
                          "E Dm tree hasn't bean initialized!\n"));
  info().agent_tree_init = true;
  EXPECT_EQ(MulReg("a..b"), -4);
  EXPECT_EQ(MulReg("a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p.q"), -4);
}

TEST_F(RangeRegistrationTest, RefusesARangeThatIsNone) {
  EXPECT_EQ(MulReg("a.{34-40}.b"), -1);
  const std::vector<std::string> errors = ErrorLines();
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_THAT(errors[0], HasSubstr("strtoul failed: 34, strerr: "));
  EXPECT_EQ(errors[1], "Register dm name is invalid!\n");
  EXPECT_EQ(errors[2], "Client local dm register unsuccessfully!\n");
  EXPECT_EQ(errors[3], "Failed to register data mode path!\n");
  EXPECT_EQ(MulReg("a.{1-2}.b.{30-34}.c"), -1);
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_EQ(NodeAt("a"), nullptr);
  EXPECT_EQ(MulReg("a.{33-35}.b"), 0);
}

TEST_F(RangeRegistrationTest, RefusesANumberBesideARange) {
  EXPECT_EQ(MulReg("a.{1-2}.b.7.c"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("Register dm name is invalid!\n",
                                        "Client local dm register unsuccessfully!\n",
                                        "Failed to register data mode path!\n"));
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RangeRegistrationTest, RefusesARangeAtTheEnd) {
  EXPECT_EQ(MulReg("a.{1-2}"), -1);
  EXPECT_EQ(MulReg("a.7"), -1);
  EXPECT_EQ(log().Count(kErrorPrefix,
                        "Only leaf type can be register, the path can't be end with '.'!\n"),
            2);
  EXPECT_EQ(MulReg("{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}.{1-1}."
                   "{1-1}.{1-1}.{1-1}"),
            -1)
      << "as many ranges as a path has components";
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RangeRegistrationTest, TakesTheLongestPath) {
  std::string path = "a.{1-2}.";
  while (path.size() + 64 < 256) path += std::string(63, 'x') + ".";
  path += std::string(256 - path.size(), 'y');
  EXPECT_EQ(MulReg(path), 0);
  EXPECT_THAT(InstancePaths(), ElementsAre("a.1.", "a.2."));
  FreePendingRecords();
  // A number of one character becomes a marker of three, so the schema path grows past the limit.
  path = "a.1.";
  while (path.size() + 64 < 256) path += std::string(63, 'x') + ".";
  path += std::string(254 - path.size(), 'y');
  EXPECT_EQ(MulReg(path), 0);
  EXPECT_EQ(MulReg(path + "y"), -1);
  EXPECT_EQ(ErrorLines().back(), "Failed to register data mode path!\n");
}

TEST_F(RangeRegistrationTest, RefusesAstronomicallyManyInstancesBeforeItDoesAnything) {
  for (const char* path :
       {"a.{1-4000000000}.b", "a.{1-1048577}.b", "a.{0-1048576}.b", "a.{1-99999999999999999999}.b",
        "a.{1-2147483647}.b", "a.{2147483648-2147483648}.b", "a.{1-2}.b.{1-600000}.c",
        "a.{1-100000}.b.{1-100000}.c.{1-100000}.d.{1-100000}.e.{1-100000}.f",
        "a.{1-2}.{1-4}.{18446744073709551615-18446744073709551615}.c"}) {
    SCOPED_TRACE(path);
    log().Clear();
    EXPECT_EQ(MulReg(path), -1);
    EXPECT_THAT(ErrorLines(), ElementsAre("The ranges give too many instance paths, at most "
                                          "1048576 are allowed!\n"));
    EXPECT_THAT(PendingTexts(), IsEmpty());
    EXPECT_EQ(NodeAt("a"), nullptr);
  }
}

TEST_F(RangeRegistrationTest, QueuesUpToTheLimit) {
  const DebugMask silent(0);
  EXPECT_EQ(MulReg("a.{1-1024}.b.{1-1023}.c"), 0);
  EXPECT_EQ(InstancePaths().size(), static_cast<size_t>(NC_DM_MAX_RANGE_PATHS));
  FreePendingRecords();
  EXPECT_EQ(MulReg("a.{1-1024}.b.{1-1024}.c"), -1);
  EXPECT_THAT(PendingTexts(), IsEmpty());
}

TEST_F(RangeRegistrationTest, ReachesTheLargestCounter) {
  EXPECT_EQ(MulReg("a.{2147483645-2147483647}.b"), 0);
  EXPECT_THAT(InstancePaths(), ElementsAre("a.2147483645.", "a.2147483646.", "a.2147483647."));
}

// ---- Expansion, called by itself ----

TEST_F(RangeRegistrationTest, ExpandsRanges) {
  char path[336] = {};
  char names[3][NC_DM_MAX_PATH_LEN + 1] = {"a.", "b.", "c"};
  nc_int64 ranges[2][2] = {{1, 2}, {5, 5}};
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, ranges, 0, 2), 0);
  EXPECT_THAT(InstancePaths(), ElementsAre("a.1.", "a.1.b.5.", "a.2.", "a.2.b.5."));
  FreePendingRecords();
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, ranges, 2, 2), 0) << "all ranges are used up";
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, ranges, 1, 0), -1);
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, nullptr, 0, 0), 0);
  EXPECT_THAT(InstancePaths(), ElementsAre("a."));
}

TEST_F(RangeRegistrationTest, ExpandsNothingOfAnImmenseRange) {
  char path[336] = {};
  char names[2][NC_DM_MAX_PATH_LEN + 1] = {"a.", "b"};
  nc_int64 ranges[1][2] = {{1, 4000000000}};
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, ranges, 0, 1), -1);
  EXPECT_THAT(PendingTexts(), IsEmpty());
  EXPECT_STREQ(path, "");
}

TEST_F(RangeRegistrationTest, ExpandsOnlyWhatFitsThePath) {
  char path[336] = {};
  const std::string start(333, 'x');
  start.copy(path, start.size());
  char names[2][NC_DM_MAX_PATH_LEN + 1] = {"", "b"};
  nc_int64 ranges[1][2] = {{9, 10}};
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, ranges, 0, 1), -1);
  EXPECT_THAT(InstancePaths(), ElementsAre(start + "9.")) << "10 is one character too much";
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to register instance path '" + start + "10'!\n"));
}

TEST_F(RangeRegistrationTest, ReportsWhereExpansionFailed) {
  char path[336] = {};
  char names[3][NC_DM_MAX_PATH_LEN + 1] = {"a.", "b.", "c"};
  nc_int64 ranges[2][2] = {{1, 2}, {5, 6}};
  info().agent_init = false;
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, ranges, 0, 2), -1);
  EXPECT_THAT(ErrorLines(),
              ElementsAre("Dm client hasn't bean initialized!\n", "Failed to create reg_path!\n",
                          "Failed to register instance path 'a.1.'!\n"));
}

TEST_F(RangeRegistrationTest, ReportsTheLevelBelowThatFailed) {
  char path[336] = {};
  const std::string start(330, 'x');
  start.copy(path, start.size());
  char names[3][NC_DM_MAX_PATH_LEN + 1] = {"", "b.", "c"};
  nc_int64 ranges[2][2] = {{9, 9}, {10, 10}};
  EXPECT_EQ(nc_dm_agent_assemble_reg(path, names, ranges, 0, 2), -1);
  EXPECT_THAT(InstancePaths(), ElementsAre(start + "9.")) << "what was queued stays queued";
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to register instance path '" + start + "9.b.'!\n",
                                        "Failed to assemble instance path: 1!\n"));
}

}  // namespace
}  // namespace ncdm_test
