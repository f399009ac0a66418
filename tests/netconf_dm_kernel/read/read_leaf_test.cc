// The value of one leaf: read into a list of values, alone as a text, or given by the caller.

#include <string.h>
#include <time.h>

#include "netconf_dm_kernel/read/read_fixture.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class ReadLeafTest : public ReadTest {};
class ReadLeafShortMemoryTest : public ShortMemoryReadTest {};

TEST_F(ReadLeafTest, AppendsPathValueAndSource) {
  app.Register({.path = "a.b", .type = NC_DM_VAL_TYPE_INT, .callbacks = kGet});
  app.On(Callback::kGet, "b", Object<int32_t>(-7));
  NodeAt("a.b")->src = NC_DM_NODE_SRC_CLI;
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(Read("a.b", "a.3.b"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=-7@2", "a.3.b=-7@2"));
  EXPECT_EQ(values.cnt(), 2);
  EXPECT_THAT(LogLines(), Contains("I Get node 'b' value.\n"));
}

TEST_F(ReadLeafTest, RefusesNullArguments) {
  RegisterReadable({"a.b"});
  nc_dm_id_array_t ids = {};
  nc_dm_path_nodes_t path = PathOf("a.b");
  nc_dm_agent_node_t* leaf = NodeAt("a.b");
  log().Clear();
  EXPECT_EQ(nc_dm_agent_get_node_val(nullptr, leaf, &ids, &path), -3);
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), nullptr, &ids, &path), -3);
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), leaf, nullptr, &path), -3);
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), leaf, &ids, nullptr), -3);
  const char* line = "E Input parameter is invalid.\n";
  EXPECT_THAT(LogLines(), ElementsAre(line, line, line, line));
  EXPECT_THAT(app.calls(), IsEmpty());
}

TEST_F(ReadLeafTest, HandsAClearedBufferToEachCall) {
  app.Register({.path = "a.b", .callbacks = kGet});
  int dirty = 0;
  app.On(Callback::kGet, "b", [&](const ModelCall& call) {
    for (int i = 0; i < NC_DM_VALUE_BUF_SIZE; ++i) dirty += call.buffer[i] != 0;
    memset(call.buffer, 'x', 255);
    return 0;
  });
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(ReadAlone("a.b"), std::string(255, 'x'));
  EXPECT_EQ(ReadAlone("a.b"), std::string(255, 'x'));
  EXPECT_EQ(dirty, 0);
}

TEST_F(ReadLeafTest, TellsAMissingObjectFromAnotherFailure) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", -7);
  EXPECT_EQ(Read("a.b", "a.b"), -7);
  EXPECT_THAT(
      ErrorLines(),
      ElementsAre("Failed to get val from app, some object non-existent, leaf node 'b'!\n"));
  log().Clear();
  for (const int result : {-1, -6, -8, 1, 7}) {
    app.On(Callback::kGet, "b", result);
    EXPECT_EQ(Read("a.b", "a.b"), result);
  }
  EXPECT_EQ(log().Count(kErrorPrefix, "Failed to get val from app, node 'b'!\n"), 5);
  EXPECT_THAT(values.Texts(), IsEmpty());
}

TEST_F(ReadLeafTest, NeedsAGetCallback) {
  app.Register({.path = "a.b"});
  EXPECT_EQ(Read("a.b", "a.b"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("Node 'b' has no get-value method!\n"));
}

TEST_F(ReadLeafTest, TakesTextsUpTo255Characters) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", Text(std::string(255, 'x')));
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(ReadAlone("a.b"), std::string(255, 'x'));
  EXPECT_THAT(ErrorLines(), IsEmpty());

  app.On(Callback::kGet, "b", Text(std::string(256, 'x')));
  EXPECT_EQ(Read("a.b", "a.b"), -1);
  EXPECT_THAT(ErrorLines(), ElementsAre("The length of dm val is too long.\n"));
  log().Clear();
  EXPECT_EQ(ReadAlone("a.b"), "(null)");
  EXPECT_THAT(ErrorLines(), ElementsAre("The length of dm val is too long!\n"));
}

TEST_F(ReadLeafTest, RefusesABufferWithoutAnEnd) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", [](const ModelCall& call) {
    memset(call.buffer, 'x', NC_DM_VALUE_BUF_SIZE);
    return 0;
  });
  EXPECT_EQ(Read("a.b", "a.b"), -1);
  EXPECT_EQ(ReadAlone("a.b"), "(null)");
}

TEST_F(ReadLeafTest, TakesATextWithSomethingFarBehindItsEnd) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.On(Callback::kGet, "b", [](const ModelCall& call) {
    memcpy(call.buffer, "up", 3);
    memset(call.buffer + 250, 'x', NC_DM_VALUE_BUF_SIZE - 250);
    return 0;
  });
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(ReadAlone("a.b"), "up");
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=up"));
}

TEST_F(ReadLeafTest, ReadsEveryType) {
  struct Case {
    nc_dm_val_type_t type;
    Answer answer;
    std::string text;
  };
  tm time = {};
  time.tm_year = 2024;
  time.tm_mon = 5;
  time.tm_mday = 6;
  const Case cases[] = {
      {NC_DM_VAL_TYPE_BOOL, Object<char>(1), "true"},
      {NC_DM_VAL_TYPE_SHORT, Object<int16_t>(-32768), "-32768"},
      {NC_DM_VAL_TYPE_USHORT, Object<uint16_t>(65535), "65535"},
      {NC_DM_VAL_TYPE_INT, Object<int32_t>(-5), "-5"},
      {NC_DM_VAL_TYPE_UINT, Object<uint32_t>(4294967295), "4294967295"},
      {NC_DM_VAL_TYPE_LONG, Object<int32_t>(-6), "-6"},
      {NC_DM_VAL_TYPE_ULONG, Object<uint32_t>(6), "6"},
      {NC_DM_VAL_TYPE_LONGLONG, Object<int64_t>(-1), "-1"},
      {NC_DM_VAL_TYPE_ULONGLONG, Object<uint64_t>(UINT64_MAX), "18446744073709551615"},
      {NC_DM_VAL_TYPE_STRING, Text("eth 0"), "eth 0"},
      {NC_DM_VAL_TYPE_STRING, Text(""), ""},
      {NC_DM_VAL_TYPE_DATATIME, Object(time), "2024-05-06T00:00:00"},
      {NC_DM_VAL_TYPE_BASE64, Text("YQ=="), "YQ=="},
      {NC_DM_VAL_TYPE_ANYSIMPLETYPE, Text("x"), "x"},
  };
  app.Register({.path = "a.b", .callbacks = kGet});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    NodeAt("a.b")->val_type = c.type;
    app.On(Callback::kGet, "b", c.answer);
    Values one;
    nc_dm_id_array_t ids = {};
    nc_dm_path_nodes_t path = PathOf("a.b");
    EXPECT_EQ(nc_dm_agent_get_node_val(one.get(), NodeAt("a.b"), &ids, &path), 0);
    EXPECT_THAT(one.Texts(), ElementsAre("a.b=" + c.text));
    EXPECT_EQ(ReadAlone("a.b"), c.text);
  }
}

TEST_F(ReadLeafTest, GivesAnEntryWithoutValueForATypeWithoutValues) {
  app.Register({.path = "a.b", .type = NC_DM_VAL_TYPE_UNKNOWN, .callbacks = kGet});
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=(null)"));
  EXPECT_EQ(ReadAlone("a.b"), "(null)");
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(ReadLeafTest, RefusesAPathTooLongToJoin) {
  RegisterReadable({"a.b"});
  nc_dm_path_nodes_t path = {};
  path.total_node = 4;
  for (int i = 0; i < 4; ++i) memset(path.nodes[i], 'x', 63);  // 255 characters with the dots
  nc_dm_id_array_t ids = {};
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), NodeAt("a.b"), &ids, &path), 0);
  path.nodes[3][63] = 'x';  // 256
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), NodeAt("a.b"), &ids, &path), 0);
  path.nodes[2][63] = 'x';  // 257
  EXPECT_EQ(nc_dm_agent_get_node_val(values.get(), NodeAt("a.b"), &ids, &path), -1);
  char value[] = "v";
  EXPECT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, &path), -1);
  EXPECT_EQ(values.cnt(), 2);
}

TEST_F(ReadLeafTest, ShowsTheSdnDatastoreItsOwnLeavesAlone) {
  RegisterReadable({"a.b", "a.c", "a.d"});
  NodeAt("a.b")->src = NC_DM_NODE_SRC_SDN;
  NodeAt("a.c")->src = NC_DM_NODE_SRC_CLI;
  info().curr_dstype = NC_DM_DATASTORE_SDN;
  log().Clear();
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(Read("a.c", "a.c"), 0);
  EXPECT_EQ(Read("a.d", "a.d"), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.b=-@1"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("get b ids=[]"));
  EXPECT_THAT(LogLines(), ElementsAre("I Get node 'b' value.\n",
                                      "I The node 'c' isn't created by netconf client, ignore.\n",
                                      "I The node 'd' isn't created by netconf client, ignore.\n"));
  EXPECT_EQ(ReadAlone("a.c"), "-") << "the single form knows no datastore";
}

TEST_F(ReadLeafTest, TimesGetOnRequest) {
  RegisterReadable({"a.b"});
  info().get_time = 0;
  EXPECT_EQ(Read("a.b", "a.b"), 0);
  EXPECT_EQ(info().get_time, 0);
  app.On(Callback::kGet, "b", [](const ModelCall&) {
    const timespec pause = {0, 2000000};
    nanosleep(&pause, nullptr);
    return 0;
  });
  {
    const DebugMask timing(NC_DM_DBG_TIMING);
    EXPECT_EQ(Read("a.b", "a.b"), 0);
    EXPECT_GE(info().get_time, 0.002);
    const double once = info().get_time;
    ReadAlone("a.b");
    EXPECT_EQ(info().get_time, once) << "the single form is not timed";
    EXPECT_EQ(Read("a.b", "a.b"), 0);
    EXPECT_GE(info().get_time, once + 0.002);
  }
  info().get_time = 0;
}

TEST_F(ReadLeafTest, ReadsOneLeafAsText) {
  RegisterReadable({"a.b"});
  log().Clear();
  EXPECT_EQ(ReadAlone("a.b"), "-");
  EXPECT_THAT(LogLines(), ElementsAre("I Get node 'b' value.\n"));
}

TEST_F(ReadLeafTest, ReadsNoLeafAsTextOnFailure) {
  app.Register({.path = "a.b", .callbacks = kGet});
  app.Register({.path = "a.c"});
  nc_dm_id_array_t ids = {};
  log().Clear();
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(nullptr, &ids), nullptr);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.b"), nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.c"), &ids), nullptr);
  app.On(Callback::kGet, "b", -7);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.b"), &ids), nullptr);
  app.On(Callback::kGet, "b", -1);
  EXPECT_EQ(nc_dm_agent_get_node_srlz_val(NodeAt("a.b"), &ids), nullptr);
  EXPECT_THAT(
      LogLines(),
      ElementsAre("E The node input is null!\n", "E The id array input is null!\n",
                  "I Get node 'c' value.\n", "E Node 'c' has no get-value method!\n",
                  "I Get node 'b' value.\n",
                  "E Failed to get val from app, some object non-existent, leaf node 'b'!\n",
                  "I Get node 'b' value.\n", "E Failed to get val from app, node 'b'!\n"));
}

// The texts of an element are part of its memory or are owned, each for itself.
void Exchange(char** text, const char* other) {
  free(*text);
  *text = other != nullptr ? nc_dm_copy_str(other) : nullptr;
}

TEST_F(ReadLeafTest, TheTextsOfAnElementMayBeFreedSingly) {
  nc_dm_path_nodes_t nodes = PathOf("a.b");
  char value[] = "v";
  ASSERT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, &nodes), 0);
  for (auto& node : nc::Records<nc_dm_val_node_t>(&values.get()->head)) {
    free(node.val_entry.dm_val);
    node.val_entry.dm_val = nullptr;
    free(node.val_entry.dm_name);
    node.val_entry.dm_name = nc_dm_copy_str("another");
  }
  EXPECT_EQ(nc_dm_agent_free_val_list(values.get()), 0);
}

TEST_F(ReadLeafTest, ReleasesElementsWhoseTextsWereExchanged) {
  for (const char* path : {"a", "ab", "abc", "abcd"}) {
    for (const char* given : {"", "1", "12", "123"}) {
      nc_dm_path_nodes_t nodes = PathOf(path);
      std::string value = given;
      ASSERT_EQ(nc_dm_agent_add_path_reslist(values.get(), value.data(), &nodes), 0);
    }
  }
  int number = 0;
  for (auto& node : nc::Records<nc_dm_val_node_t>(&values.get()->head)) {
    EXPECT_STREQ(node.val_entry.dm_val, std::string("123", number % 4).c_str());
    if ((number & 1) != 0) Exchange(&node.val_entry.dm_name, "another");
    if ((number & 2) != 0) Exchange(&node.val_entry.dm_val, "other");
    if (number == 12) Exchange(&node.val_entry.dm_name, nullptr);
    if (number == 13) Exchange(&node.val_entry.dm_val, nullptr);
    ++number;
  }
  EXPECT_EQ(number, 16);
  EXPECT_EQ(nc_dm_agent_free_val_list(values.get()), 0);
  EXPECT_EQ(values.cnt(), 0);
}

TEST_F(ReadLeafTest, AppendsAGivenValue) {
  nc_dm_path_nodes_t path = PathOf("a.3.b");
  char value[] = "given";
  EXPECT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, &path), 0);
  EXPECT_THAT(values.Texts(), ElementsAre("a.3.b=given"));
  EXPECT_EQ(values.cnt(), 1);
  EXPECT_EQ(nc_dm_agent_add_path_reslist(values.get(), value, nullptr), -1);
  EXPECT_EQ(values.cnt(), 1);
}

// ---- Short memory ----

// The errors of a call whose allocation behind `successes` fails.
template <typename Call>
std::vector<std::string> Failing(int successes, int expected, Call call) {
  const DebugMask errors(NC_DM_DBG_ERROR);
  LogCapture::Get().Clear();
  int result;
  int outstanding;
  {
    const FailingAlloc failing(successes);
    result = call();
    outstanding = FailingAlloc::Outstanding();
  }
  EXPECT_EQ(result, expected);
  if (LogLines().empty()) {
    EXPECT_EQ(outstanding, 0);  // the log keeps what it was given
  }
  return LogLines();
}

TEST_F(ReadLeafShortMemoryTest, NamesWhatItIsTooShortFor) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  nc_dm_agent_node_t* leaf = NodeAt("a.x");
  nc_dm_path_nodes_t path = PathOf("a.x");
  nc_dm_id_array_t ids = {};
  char value[] = "v";
  const auto get = [&] { return nc_dm_agent_get_node_val(values.get(), leaf, &ids, &path); };
  EXPECT_THAT(Failing(0, -1, get), ElementsAre("E Failed to malloc for val_node!\n"));
  EXPECT_THAT(Failing(1, -1, get), IsEmpty());
  EXPECT_THAT(Failing(2, -1, get), ElementsAre("E Failed to malloc for path_name!\n"));
  const auto add = [&] { return nc_dm_agent_add_path_reslist(values.get(), value, &path); };
  EXPECT_THAT(Failing(0, -1, add), ElementsAre("E Failed to malloc for val_node!\n"));
  EXPECT_THAT(Failing(1, -1, add), ElementsAre("E Failed to malloc for value of val_node!\n"));
  EXPECT_THAT(Failing(2, -1, add), ElementsAre("E Failed to malloc for path_name!\n"));
  const auto alone = [&] {
    char* text = nc_dm_agent_get_node_srlz_val(leaf, &ids);
    free(text);
    return text != nullptr ? 0 : -1;
  };
  EXPECT_THAT(Failing(0, -1, alone), ElementsAre("E Failed to serialize the node value!\n"));
  EXPECT_EQ(values.cnt(), 0);
}

}  // namespace
}  // namespace ncdm_test
