// Key lists, names of edited leaves, and the way from keys to the entry that they address.

#include <string.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "netconf_dm_kernel/edit/edit_fixture.h"
#include "netconf_dm_kernel/edit/failing_calls.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/failing_alloc.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// ---- Key lists ----

// A key list that frees its keys.
class Keys {
 public:
  Keys() { head_ = {&head_, &head_}; }
  Keys(std::initializer_list<std::pair<const char*, const char*>> keys) : Keys() {
    for (const auto& [name, value] : keys) {
      nc_dm_agent_add_key(const_cast<char*>(name), const_cast<char*>(value), &head_);
    }
  }
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys() { nc_dm_agent_free_key_list(&head_); }

  list_head* get() { return &head_; }
  nc_dm_key_t* first() const { return reinterpret_cast<nc_dm_key_t*>(head_.next); }
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const list_head* link = head_.next; link != &head_; link = link->next) {
      const auto* key = reinterpret_cast<const nc_dm_key_t*>(link);
      texts.push_back(std::string(key->name) + "=" + key->value);
    }
    return texts;
  }

 private:
  list_head head_;
};

class KeyListTest : public EditTest {};

TEST_F(KeyListTest, AddKeyAppendsCopies) {
  Keys keys;
  char name[] = "name";
  char value[] = "eth0";
  nc_dm_agent_add_key(name, value, keys.get());
  name[0] = value[0] = '?';
  nc_dm_agent_add_key(const_cast<char*>(""), const_cast<char*>(""), keys.get());
  EXPECT_THAT(keys.Texts(), ElementsAre("name=eth0", "="));
}

TEST_F(KeyListTest, AddKeyRefusesWhatIsMissing) {
  Keys keys;
  char text[] = "x";
  nc_dm_agent_add_key(nullptr, text, keys.get());
  EXPECT_THAT(Errors(), ElementsAre("The input key name is null!\n"));
  LogCapture::Get().Clear();
  nc_dm_agent_add_key(text, nullptr, keys.get());
  EXPECT_THAT(Errors(), ElementsAre("The input key value is null!\n"));
  LogCapture::Get().Clear();
  nc_dm_agent_add_key(text, text, nullptr);
  EXPECT_THAT(Errors(), ElementsAre("The input key list is null!\n"));
  EXPECT_THAT(keys.Texts(), IsEmpty());
}

TEST_F(KeyListTest, AddKeyWithoutMemoryAddsNothing) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  Keys keys;
  char text[] = "x";
  const char* const messages[] = {"Failed to malloc key!\n", "Failed to malloc key->name!\n",
                                  "Failed to malloc key->value!\n"};
  for (int successes = 0; successes < 3; ++successes) {
    LogCapture::Get().Clear();
    {
      const FailingAlloc failing(successes);
      nc_dm_agent_add_key(text, text, keys.get());
    }
    EXPECT_THAT(Errors(), ElementsAre(messages[successes]));
    EXPECT_THAT(keys.Texts(), IsEmpty());
  }
}

// The copies fail one after the other; a sanitizer sees what would be lost.
TEST_F(KeyListTest, KeyWithoutItsCopiesIsFreed) {
  Keys keys;
  char text[] = "x";
  for (int successes = 0; successes < 2; ++successes) {
    const FailingCall failing(Step::kCopyStr, successes);
    nc_dm_agent_add_key(text, text, keys.get());
    EXPECT_THAT(keys.Texts(), IsEmpty());
  }
  const FailingCall failing(Step::kCopyStr);
  EXPECT_EQ(nc_dm_agent_create_node_key(text, text), nullptr);
  EXPECT_THAT(Errors(),
              ElementsAre("Failed to malloc key->name!\n", "Failed to malloc key->value!\n",
                          "Failed to malloc key->name!\n"));
}

TEST_F(KeyListTest, CreateNodeKeyGivesAnUnlinkedKey) {
  char name[] = "name";
  char value[] = "eth0";
  nc_dm_key_t* key = nc_dm_agent_create_node_key(name, value);
  ASSERT_NE(key, nullptr);
  EXPECT_STREQ(key->name, "name");
  EXPECT_STREQ(key->value, "eth0");
  EXPECT_NE(key->name, name);
  EXPECT_NE(key->value, value);
  free(key->name);
  free(key->value);
  free(key);
}

TEST_F(KeyListTest, CreateNodeKeyRefusesWhatIsMissing) {
  char text[] = "x";
  EXPECT_EQ(nc_dm_agent_create_node_key(nullptr, text), nullptr);
  EXPECT_EQ(nc_dm_agent_create_node_key(text, nullptr), nullptr);
  EXPECT_THAT(Errors(),
              ElementsAre("The key name or value is null!\n", "The key name or value is null!\n"));
}

TEST_F(KeyListTest, FreeKeyListEmptiesIt) {
  Keys keys{{"a", "1"}, {"b", "2"}};
  nc_dm_agent_free_key_list(keys.get());
  EXPECT_THAT(keys.Texts(), IsEmpty());
  EXPECT_THAT(Errors(), IsEmpty());
  nc_dm_agent_free_key_list(nullptr);
  EXPECT_THAT(Errors(), ElementsAre("The input key list is null!\n"));
}

TEST_F(KeyListTest, KeysOfAnEditListInOrder) {
  ModelEdits edits{{.name = "net.vrf.rd", .val = "10", .flag = 2},
                   {.name = "net.vrf.mtu", .val = "1500"},
                   {.name = "net.vrf.name", .val = "red", .flag = 1}};
  edits.WithNames();
  Keys keys;
  nc_dm_agent_cpy_edit_list_keys(edits.get(), keys.get());
  EXPECT_THAT(keys.Texts(), ElementsAre("rd=10", "name=red"));
}

TEST_F(KeyListTest, KeysOfAnEditListStopAtAMissingEdit) {
  ModelEdits edits{{.name = "net.vrf.name", .val = "red", .flag = 1},
                   {.name = "net.vrf.rd", .val = "10", .flag = 1},
                   {.name = "net.vrf.af", .val = "4", .flag = 1}};
  edits.WithNames();
  nc_dm_stub_edit_t* missing = std::exchange(edits.at(1)->edit, nullptr);
  Keys keys;
  nc_dm_agent_cpy_edit_list_keys(edits.get(), keys.get());
  EXPECT_THAT(keys.Texts(), ElementsAre("name=red"));
  EXPECT_THAT(Errors(), ElementsAre("The edit_node->edit is null!\n"));
  edits.at(1)->edit = missing;
}

TEST_F(KeyListTest, KeysOfAnEditListLeaveOutTheIncomplete) {
  ModelEdits edits{{.name = "net.vrf.name", .flag = 1},
                   {.name = "net.vrf.rd", .val = "1", .flag = 1}};
  Keys keys;
  nc_dm_agent_cpy_edit_list_keys(edits.get(), keys.get());  // no names yet
  edits.WithNames();
  nc_dm_agent_cpy_edit_list_keys(edits.get(), keys.get());
  EXPECT_THAT(keys.Texts(), ElementsAre("rd=1"));
  EXPECT_THAT(Errors(),
              ElementsAre("The input key name is null!\n", "The input key name is null!\n",
                          "The input key value is null!\n"));
}

TEST_F(KeyListTest, KeysOfAnEditListRefuseWhatIsMissing) {
  ModelEdits edits;
  Keys keys;
  nc_dm_agent_cpy_edit_list_keys(nullptr, keys.get());
  nc_dm_agent_cpy_edit_list_keys(edits.get(), nullptr);
  EXPECT_THAT(Errors(),
              ElementsAre("The input edit list is null!\n", "The input key list is null!\n"));
}

TEST_F(KeyListTest, ComparisonFollowsTheFirstDifference) {
  Keys asked{{"name", "red"}, {"rd", "10"}};
  const auto compare = [&asked](std::initializer_list<std::pair<const char*, const char*>> input) {
    Keys keys(input);
    return nc_dm_agent_keys_cmp(keys.get(), asked.get());
  };
  EXPECT_EQ(compare({{"name", "red"}, {"rd", "10"}}), 0);
  EXPECT_EQ(compare({{"rd", "10"}, {"name", "red"}}), 0);
  EXPECT_EQ(compare({{"af", "4"}, {"rd", "10"}, {"name", "red"}}), 0);  // one that is not asked for
  EXPECT_EQ(compare({{"name", "ree"}, {"rd", "09"}}), 1);
  EXPECT_EQ(compare({{"name", "rec"}, {"rd", "11"}}), -1);
  EXPECT_EQ(compare({{"name", "red"}, {"rd", "11"}}), 1);
  EXPECT_EQ(compare({{"name", "red"}, {"rd", "1"}}), -1);
  EXPECT_EQ(compare({{"name", "red"}}), 1);  // no such key
  EXPECT_EQ(compare({}), 1);
  EXPECT_EQ(compare({{"name", "blue"}, {"name", "red"}, {"rd", "10"}}), -1);  // the first counts
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(KeyListTest, ComparisonSkipsIncompleteInputAndRefusesIncompleteKeys) {
  Keys asked{{"name", "red"}};
  Keys input{{"name", "x"}, {"name", "red"}};
  char* value = std::exchange(input.first()->value, nullptr);
  EXPECT_EQ(nc_dm_agent_keys_cmp(input.get(), asked.get()), 0);
  input.first()->value = value;
  char* name = std::exchange(input.first()->name, nullptr);
  EXPECT_EQ(nc_dm_agent_keys_cmp(input.get(), asked.get()), 0);
  input.first()->name = name;

  value = std::exchange(asked.first()->value, nullptr);
  EXPECT_EQ(nc_dm_agent_keys_cmp(input.get(), asked.get()), 1);
  asked.first()->value = value;
  name = std::exchange(asked.first()->name, nullptr);
  EXPECT_EQ(nc_dm_agent_keys_cmp(input.get(), asked.get()), 1);
  asked.first()->name = name;
}

TEST_F(KeyListTest, ComparisonRefusesMissingAndEmptyLists) {
  Keys keys{{"name", "red"}};
  Keys none;
  EXPECT_EQ(nc_dm_agent_keys_cmp(nullptr, keys.get()), 1);
  EXPECT_EQ(nc_dm_agent_keys_cmp(keys.get(), nullptr), 1);
  EXPECT_EQ(nc_dm_agent_keys_cmp(keys.get(), none.get()), 1);
  EXPECT_THAT(Errors(),
              ElementsAre("The key_list input is null!\n", "The key_list input is null!\n",
                          "The key_list input is empty!\n"));
}

TEST_F(KeyListTest, ValueOfAKey) {
  Keys keys{{"name", "red"}, {"rd", "10"}, {"rd", "11"}};
  Keys none;
  char rd[] = "rd";
  char mtu[] = "mtu";
  EXPECT_STREQ(nc_dm_agent_get_key_value(rd, keys.get()), "10");
  EXPECT_EQ(nc_dm_agent_get_key_value(mtu, keys.get()), nullptr);
  EXPECT_THAT(Errors(), IsEmpty());
  char* name = std::exchange(keys.first()->name, nullptr);
  EXPECT_STREQ(nc_dm_agent_get_key_value(rd, keys.get()), "10");
  keys.first()->name = name;
  EXPECT_EQ(nc_dm_agent_get_key_value(nullptr, keys.get()), nullptr);
  EXPECT_EQ(nc_dm_agent_get_key_value(rd, nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_get_key_value(rd, none.get()), nullptr);
  EXPECT_THAT(Errors(),
              ElementsAre("The input key_name is null!\n", "The input key_list is null!\n",
                          "The input key_list is empty!\n"));
}

// ---- Names ----

using LastNameTest = EditTest;

TEST_F(LastNameTest, IsTheLastComponentThatIsNoMarker) {
  for (const char* path :
       {"net.vrf.name", "net.vrf.{i}.name", "name", "net.name.", "net.name.{i}"}) {
    ModelEdits edits{{.name = path}};
    ASSERT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(0)), 0) << path;
    EXPECT_STREQ(edits.at(0)->tmpname, "name") << path;
  }
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(LastNameTest, IsKeptOnceItIsThere) {
  ModelEdits edits{{.name = "net.name"}};
  edits.at(0)->tmpname = strdup("kept");
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(0)), 0);
  EXPECT_STREQ(edits.at(0)->tmpname, "kept");
  EXPECT_TRUE(LoggedInfo("The edit_node->tmpname already exist.\n"));
}

TEST_F(LastNameTest, Failures) {
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(nullptr), -1);
  EXPECT_TRUE(LoggedError("The edit_node is null!\n"));

  ModelEdits edits{{.name = "net..name"}, {.name = "{i}"}, {.name = "net.name"}};
  nc_dm_stub_edit_t* edit = std::exchange(edits.at(0)->edit, nullptr);
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(0)), -1);
  EXPECT_TRUE(LoggedError("The edit_node->edit is null!\n"));
  edits.at(0)->edit = edit;

  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(0)), -1);
  EXPECT_TRUE(LoggedError("Failed to parse edit_node->edit: net..name!\n"));
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(1)), -1);
  EXPECT_TRUE(LoggedError("Failed to parse edit_node->edit: {i}!\n"));

  const FailingCall failing(Step::kCopyStr);
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(2)), -1);
  EXPECT_TRUE(LoggedError("Failed to malloc first entry tmp name!\n"));
  EXPECT_EQ(edits.at(2)->tmpname, nullptr);
}

TEST_F(LastNameTest, OfAListIgnoresSingleFailures) {
  ModelEdits edits{
      {.name = ".net", .flag = 1}, {.name = "net.vrf.name", .flag = 1}, {.name = "mtu"}};
  free(std::exchange(edits.at(2)->edit->name, nullptr));
  EXPECT_EQ(nc_dm_agent_parse_edit_list_last_node_name(edits.get()), 0);
  EXPECT_EQ(edits.at(0)->tmpname, nullptr);
  EXPECT_STREQ(edits.at(1)->tmpname, "name");
  EXPECT_EQ(edits.at(2)->tmpname, nullptr);
  EXPECT_TRUE(LoggedError("Failed to parse edit_node->edit: (null)!\n"));

  EXPECT_EQ(nc_dm_agent_parse_edit_list_last_node_name(nullptr), -1);
  EXPECT_TRUE(LoggedError("The edit_list input is null!\n"));
}

// ---- Common ancestors ----

TEST(SameAncestorsTest, AllButTheLastNameMustAgree) {
  const auto same = [](const char* first, const char* second) {
    nc_dm_path_nodes_t a = ParsedPath(first);
    nc_dm_path_nodes_t b = ParsedPath(second);
    return nc_dm_agent_the_same_ancestors(&a, &b);
  };
  EXPECT_EQ(same("a.b.c", "a.b.d"), 2);
  EXPECT_EQ(same("a.b.c", "a.b.c"), 2);
  EXPECT_EQ(same("a.b.c", "a.b.d.e"), 2);
  EXPECT_EQ(same("a.b.c", "a.x.c"), 0);
  EXPECT_EQ(same("a.b.c", "x.b.c"), 0);
  EXPECT_EQ(same("a.b.c", "a"), 0);
  EXPECT_EQ(same("a", "b"), 0);
}

TEST(SameAncestorsTest, NoPathHasNone) {
  nc_dm_path_nodes_t empty = {};
  nc_dm_path_nodes_t path = ParsedPath("a.b");
  EXPECT_EQ(nc_dm_agent_the_same_ancestors(&empty, &path), 0);
  EXPECT_EQ(nc_dm_agent_the_same_ancestors(nullptr, &path), 0);
  EXPECT_EQ(nc_dm_agent_the_same_ancestors(&path, nullptr), 0);
}

// ---- From keys to nodes ----

// net.vrf has two keys and is searched in the tree; net.peer asks the application.
class KeyLookupTest : public EditTest {
 protected:
  KeyLookupTest() {
    app.Register({.path = "net.vrf.{i}.name",
                  .flag = 1,
                  .index = 1,
                  .callbacks = Callback::kGet | Callback::kCreate});
    app.Register({.path = "net.vrf.{i}.rd",
                  .type = NC_DM_VAL_TYPE_UINT,
                  .flag = 2,
                  .index = 2,
                  .callbacks = 0u | Callback::kGet});
    app.Register({.path = "net.vrf.{i}.mtu", .type = NC_DM_VAL_TYPE_INT});
    app.Register({.path = "net.vrf.{i}.target.{i}.value", .flag = 1});
    app.Register({.path = "net.peer.{i}.addr",
                  .flag = 1,
                  .index = 1,
                  .callbacks = Callback::kGet | Callback::kGetAttr});
    app.Register({.path = "net.peer.{i}.port",
                  .type = NC_DM_VAL_TYPE_INT,
                  .flag = 1,
                  .index = 2,
                  .callbacks = 0u | Callback::kGetAttr});
    app.Register({.path = "net.domain.{i}", .flag = 4});
    app.On(Callback::kGet, "name", [this](const ModelCall& call) -> nc_int64 {
      Put(names.at(call.ids.back()), call.buffer);
      return 0;
    });
    app.On(Callback::kGet, "rd", [this](const ModelCall& call) -> nc_int64 {
      memcpy(call.buffer, &rds.at(call.ids.back()), sizeof(uint32_t));
      return 0;
    });
  }

  void AddVrf(nc_int64 id, const char* name, uint32_t rd) {
    AddInstance("net.vrf." + std::to_string(id));
    names[id] = name;
    rds[id] = rd;
  }

  nc_int64 Find(const char* list, std::initializer_list<std::pair<const char*, const char*>> wanted,
                const Ids& outer = {}) {
    Keys keys(wanted);
    nc_dm_id_array_t ids = {};
    for (const nc_int64 id : outer) ids.id[ids.cnt++] = id;
    ids.src = NC_DM_NODE_SRC_SDN;
    return nc_dm_agent_get_node_instid(&ids, NodeAt("net"), NodeAt(std::string("net.") + list),
                                       keys.get());
  }

  std::map<nc_int64, std::string> names;
  std::map<nc_int64, uint32_t> rds;
};

TEST_F(KeyLookupTest, KeyOfAnEntryIsComparedAsText) {
  AddVrf(3, "red", 10);
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.3");
  char rd[] = "rd";
  char ten[] = "10";
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, rd, ten), NodeAt("net.vrf.3.rd"));
  EXPECT_THAT(app.CallTexts(), ElementsAre("get rd ids=[3]"));
  EXPECT_TRUE(LoggedInfo("Current node to match name 'name', input name 'rd'.\n"));
  EXPECT_TRUE(LoggedInfo("Current node to match name 'rd', input name 'rd'.\n"));
  EXPECT_TRUE(LoggedInfo("Current node name 'rd', input name 'rd'.\n"));
  EXPECT_THAT(Errors(), IsEmpty());

  char padded[] = "010";
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, rd, padded), nullptr);
  EXPECT_THAT(Errors(), ElementsAre("Current node value '10', input value '010'!\n"));
}

TEST_F(KeyLookupTest, KeyMatchRefusesWhatIsMissing) {
  AddVrf(3, "red", 10);
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.3");
  char name[] = "name";
  EXPECT_EQ(nc_dm_agent_key_cont_match(nullptr, name, name), nullptr);
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, nullptr, name), nullptr);
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_key_cont_match(NodeAt("net"), name, name), nullptr);
  EXPECT_THAT(Errors(),
              ElementsAre("Invalid arguments inputs.\n", "Invalid arguments inputs.\n",
                          "Invalid arguments inputs.\n", "The node has no key children.\n"));
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(KeyLookupTest, KeyMatchNeedsAReadableKeyOfThatName) {
  AddVrf(3, "red", 10);
  AddInstance("net.peer.1");
  char mtu[] = "mtu";
  char port[] = "port";
  EXPECT_EQ(nc_dm_agent_key_cont_match(NodeAt("net.vrf.3"), mtu, mtu), nullptr);
  EXPECT_EQ(nc_dm_agent_key_cont_match(NodeAt("net.peer.1"), port, port), nullptr);
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(KeyLookupTest, KeyMatchTakesTheFirstReadableKeyOfThatName) {
  AddVrf(3, "red", 10);
  nc_dm_agent_node_t* rd = NodeAt("net.vrf.3.rd");
  nc_dm_agent_node_t* name = NodeAt("net.vrf.3.name");
  char* const rds_name = std::exchange(rd->node_name, name->node_name);
  char text[] = "name";
  char red[] = "red";
  char ten[] = "10";
  EXPECT_EQ(nc_dm_agent_key_cont_match(NodeAt("net.vrf.3"), text, red), name);
  EXPECT_EQ(nc_dm_agent_key_cont_match(NodeAt("net.vrf.3"), text, ten), nullptr);
  name->get = nullptr;
  EXPECT_EQ(nc_dm_agent_key_cont_match(NodeAt("net.vrf.3"), text, ten), rd);
  rd->node_name = rds_name;
}

TEST_F(KeyLookupTest, KeyMatchFailsWithTheApplication) {
  AddVrf(3, "red", 10);
  char name[] = "name";
  char red[] = "red";
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.3");
  {
    const FailingCall failing(Step::kGetIds);
    EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, red), nullptr);
  }
  {
    const FailingCall failing(Step::kSerialize);
    EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, red), nullptr);
  }
  NodeAt("net.vrf.3.name")->val_type = NC_DM_VAL_TYPE_UNKNOWN;
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, red), nullptr);
  NodeAt("net.vrf.3.name")->val_type = NC_DM_VAL_TYPE_STRING;
  app.On(Callback::kGet, "name", -7);
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, red), nullptr);
  EXPECT_THAT(Errors(), ElementsAre("Failed to get id array.\n",
                                    "Current node value got serialization fail.\n",
                                    "Current node serialization value pointer is null.\n",
                                    "Failed to get value from app, node 'name'!\n"));
}

TEST_F(KeyLookupTest, ValueThatFillsTheWholeBufferIsCut) {
  AddVrf(3, "red", 10);
  app.On(Callback::kGet, "name", [](const ModelCall& call) -> nc_int64 {
    memset(call.buffer, 'x', NC_DM_VALUE_BUF_SIZE);
    return 0;
  });
  char name[] = "name";
  std::string cut(NC_DM_VALUE_BUF_SIZE - 1, 'x');
  EXPECT_EQ(nc_dm_agent_key_cont_match(NodeAt("net.vrf.3"), name, cut.data()),
            NodeAt("net.vrf.3.name"));
}

TEST_F(KeyLookupTest, EntryIsFoundInTheTreeByAllItsKeys) {
  AddVrf(8, "red", 10);
  AddVrf(3, "red", 20);
  AddVrf(5, "red", 20);
  AddInstance("net.peer.1");
  app.Forget();
  EXPECT_EQ(Find("vrf", {{"name", "red"}, {"rd", "20"}}), 3);  // the first in order of creation
  EXPECT_THAT(app.CallTexts(), ElementsAre("get name ids=[8]", "get rd ids=[8]", "get name ids=[3]",
                                           "get rd ids=[3]"));
  EXPECT_TRUE(LoggedInfo("The mode node 'vrf' get_attr function is null.\n"));
  EXPECT_TRUE(LoggedInfo("The node 'vrf' found key member 'name'.\n"));
  EXPECT_TRUE(LoggedInfo("The node 'vrf' can't match key member 'rd', value '20'.\n"));
  EXPECT_TRUE(LoggedInfo("Found the key members nodes parent 'vrf', instid 3.\n"));
}

TEST_F(KeyLookupTest, EntryIsNotInTheTree) {
  EXPECT_EQ(Find("vrf", {{"name", "red"}}), -1);
  AddVrf(8, "red", 10);
  EXPECT_EQ(Find("vrf", {{"name", "blue"}}), -1);
  EXPECT_EQ(Find("vrf", {{"rd", "010"}}), -1);
  // A key that the list does not have fails every entry.
  EXPECT_EQ(Find("vrf", {{"name", "red"}, {"zone", "1"}}), -1);
  EXPECT_EQ(LogCapture::Get().Count(kErrorPrefix, "Failed to get the node 'vrf' instid!\n"), 4);
}

TEST_F(KeyLookupTest, LookupRefusesWhatIsMissing) {
  Keys keys{{"name", "red"}};
  Keys none;
  nc_dm_id_array_t ids = {};
  nc_dm_agent_node_t* net = NodeAt("net");
  nc_dm_agent_node_t* vrf = NodeAt("net.vrf");
  EXPECT_EQ(nc_dm_agent_get_node_instid(nullptr, net, vrf, keys.get()), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, nullptr, vrf, keys.get()), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, net, nullptr, keys.get()), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, net, vrf, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, net, vrf, none.get()), -1);
  EXPECT_THAT(Errors(),
              ElementsAre("The input id_array is null!\n", "The input mode_parent is null!\n",
                          "The input mode_node is null!\n", "The input in_key_list is null!\n",
                          "The input in_key_list is empty!\n"));
}

TEST_F(KeyLookupTest, ApplicationIsAskedWithTheKeysInTheirSlots) {
  app.On(Callback::kGetAttr, "port", [](const ModelCall& call) -> nc_int64 {
    call.output->instid = 77;
    call.output->inst_exist = 0;
    return -1;  // not asked for
  });
  // The keys' order is the schema's, and what the list has no key for is ignored.
  EXPECT_EQ(Find("peer", {{"port", "179"}, {"zone", "1"}, {"addr", "10.0.0.1"}}, {4, 5}), 77);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("get_attr port ids=[4,5] src=0 op=4 slots={1:10.0.0.1, 2:179}"));
  EXPECT_TRUE(LoggedInfo("The node 'peer' (from get_attr) instid is 77.\n"));
}

TEST_F(KeyLookupTest, ApplicationKnowsNoSuchEntry) {
  EXPECT_EQ(Find("peer", {{"port", "179"}, {"addr", "10.0.0.1"}}), 0);
  EXPECT_THAT(Errors(), IsEmpty());
  for (const nc_int64 id : {nc_int64{-9}, INT64_MAX, INT64_MIN}) {
    app.On(Callback::kGetAttr, "port", [id](const ModelCall& call) -> nc_int64 {
      call.output->instid = id;
      return 0;
    });
    EXPECT_EQ(Find("peer", {{"port", "179"}, {"addr", "10.0.0.1"}}), id);
  }
}

TEST_F(KeyLookupTest, RefusedKeyDoesNotSpoilTheNextLookup) {
  EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}, {"port", "2147483648"}}), -1);
  EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}, {"port", "1"}}), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("get_attr port ids=[] src=0 op=4 slots={1:10.0.0.1, 2:1}"));
}

TEST_F(KeyLookupTest, ApplicationIsNotAskedWithoutAllKeys) {
  EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}}), -1);
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}, {"port", "x"}}), -1);
  EXPECT_TRUE(LoggedError("Failed to unserialize key node 'port' value!\n"));
  // A value that is refused after it was allocated.
  EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}, {"port", "2147483648"}}), -1);
  NodeAt("net.peer.port")->index = 64;
  EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}, {"port", "1"}}), -1);
  EXPECT_TRUE(LoggedError("No need to set the key node 'port' value to padb.\n"));
  {
    const FailingCall failing(Step::kCreatePadb);
    EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}, {"port", "1"}}), -1);
    EXPECT_TRUE(LoggedError("Failed to malloc parent padb!\n"));
  }
  EXPECT_THAT(app.CallTexts(), IsEmpty());
}

TEST_F(KeyLookupTest, DataBlockThatWasLeftBehindIsFreed) {
  ASSERT_EQ(nc_dm_agent_create_padb(NodeAt("net.peer"), 3), 0);
  NodeAt("net.peer")->padb->id_array.cnt = 9;
  EXPECT_EQ(Find("peer", {{"addr", "10.0.0.1"}, {"port", "1"}}), 0);
  EXPECT_THAT(app.CallTexts(),
              ElementsAre("get_attr port ids=[] src=0 op=4 slots={1:10.0.0.1, 2:1}"));
}

// ---- Mode nodes and instances ----

TEST_F(KeyLookupTest, ModeNodeOfTheKeysParent) {
  for (const char* path : {"net.vrf.name", "net.vrf.{i}.name"}) {
    ModelEdits edits{{.name = path, .flag = 1}};
    EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), NodeAt("net")), NodeAt("net.vrf")) << path;
  }
  EXPECT_TRUE(LoggedInfo("The input key parent node is 'vrf'.\n"));
  EXPECT_TRUE(
      LoggedInfo("The input key node grandfather is 'net', node type is 4, instid is 0.\n"));
  AddVrf(3, "red", 10);
  ModelEdits edits{{.name = "net.vrf.target.value", .flag = 1}};
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), NodeAt("net.vrf.3")),
            NodeAt("net.vrf.3.target"));
  EXPECT_TRUE(
      LoggedInfo("The input key node grandfather is 'vrf', node type is 5, instid is 3.\n"));
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(KeyLookupTest, ModeNodeWithoutAnIndexIsFoundAmongTheChildren) {
  nc_dm_agent_free_bin_tree_list(&NodeAt("net")->btree_lst);
  ModelEdits edits{{.name = "net.vrf.name"}, {.name = "net.domain.x"}, {.name = "net.none.x"}};
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), NodeAt("net")), NodeAt("net.vrf"));
  EXPECT_TRUE(LoggedInfo("Found the mode node 'vrf'.\n"));
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(1), NodeAt("net")), nullptr);  // a leaf-list
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(2), NodeAt("net")), nullptr);
  const auto message = [](const std::string& name) {
    return "Failed to get node 'net' children binary tree according to name '" + name + "'!\n";
  };
  EXPECT_THAT(Errors(), ElementsAre(message("vrf"), message("domain"), message("none")));
}

TEST_F(KeyLookupTest, ModeNodeIsNoOtherChildOfItsName) {
  app.Register({.path = "net.line.5"});  // a leaf
  nc_dm_agent_node_t* net = NodeAt("net");
  ASSERT_EQ(NodeAt("net.line.5")->node_type, NC_DM_NODE_TYPE_LEAF);
  nc_dm_agent_node_t key = {};
  key.node_type = NC_DM_NODE_TYPE_LEAF;
  key.flag = NC_DM_FLAG_KEY;
  nc_dm_path_nodes_t path = {};
  char name[] = "net.line.{i}.id";
  ASSERT_EQ(nc_dm_parse(name, &path, false), 0);
  path.match_cnt = 1;
  ASSERT_EQ(nc_dm_agent_reg_nodes(&g_nc_agent_dm.dm_root, &path, net, &key), 0);
  nc_dm_agent_free_bin_tree_list(&net->btree_lst);
  ModelEdits edits{{.name = "net.line.id"}};
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), net), NodeAt("net.line"));
}

TEST_F(KeyLookupTest, IndexThatHasNoModeNodeGivesNone) {
  AddVrf(3, "red", 10);
  nc_dm_agent_node_t* net = NodeAt("net");
  char vrf[] = "vrf";
  nc_dm_bin_tree_t* instances = nc_dm_agent_get_bin_tree(net, vrf);
  void* const mode_node = std::exchange(instances->data, nullptr);
  ModelEdits edits{{.name = "net.vrf.name"}};
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), net), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, vrf, 3), NodeAt("net.vrf.3"));
  EXPECT_THAT(Errors(), IsEmpty());
  instances->data = mode_node;
}

TEST_F(KeyLookupTest, ModeNodeFailures) {
  ModelEdits edits{{.name = "name"}, {.name = "net..name"}, {.name = "{i}.name"}};
  nc_dm_agent_node_t* net = NodeAt("net");
  EXPECT_EQ(nc_dm_agent_get_mode_node(nullptr, net), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), net), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(2), net), nullptr);
  nc_dm_stub_edit_t* edit = std::exchange(edits.at(0)->edit, nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), net), nullptr);
  edits.at(0)->edit = edit;
  EXPECT_THAT(Errors(), ElementsAre("The edit_node input is null!\n",
                                    "The grandfather pointer input is null!\n",
                                    "Get mode node, path_nodes->total_node is less than 2!\n",
                                    "Get mode node, path_nodes->total_node is less than 2!\n",
                                    "The edit_node->edit is null.\n"));
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(1), net), nullptr);
  EXPECT_TRUE(LoggedError("Get mode node, fail to parse edit path name!\n"));
}

TEST_F(KeyLookupTest, InstanceFromTheInstanceTree) {
  AddVrf(3, "red", 10);
  AddVrf(INT64_MAX, "blue", 10);
  nc_dm_agent_node_t* net = NodeAt("net");
  char vrf[] = "vrf";
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, vrf, 3), NodeAt("net.vrf.3"));
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, vrf, INT64_MAX),
            NodeAt("net.vrf.9223372036854775807"));
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_TRUE(LoggedInfo("The input node is 'vrf', instid is 3.\n"));
  EXPECT_TRUE(LoggedInfo("The input parent is 'net', node type is 4, instance is 0.\n"));

  for (const nc_int64 id : {nc_int64{0}, nc_int64{4}, nc_int64{-3}, INT64_MIN}) {
    LogCapture::Get().Clear();
    EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, vrf, id), nullptr);
    EXPECT_THAT(Errors(), ElementsAre("The bin_tree_node is null!\n"));
  }
  LogCapture::Get().Clear();
  nc_dm_bin_tree_node_t* indexed = NodeAt("net.vrf.3")->instid_btree_node;
  void* data = std::exchange(indexed->data, nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, vrf, 3), nullptr);
  EXPECT_THAT(Errors(), ElementsAre("The bin_tree_node->data is null!"));
  indexed->data = data;
}

TEST_F(KeyLookupTest, InstanceFromAnEmptyInstanceTree) {
  char vrf[] = "vrf";
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), vrf, 3), nullptr);
  EXPECT_THAT(Errors(),
              ElementsAre("The input binary tree root is null.\n", "The bin_tree_node is null!\n"));
}

TEST_F(KeyLookupTest, InstanceFromTheHashTable) {
  nc_dm_agent_node_t* mode_node = NodeAt("net.vrf");
  mode_node->hash_tab = static_cast<nc_dm_hash_tab_t*>(calloc(1, sizeof(nc_dm_hash_tab_t)));
  mode_node->hash_tab->size_bits_num = 12;
  mode_node->flag |= NC_DM_FLAG_HASH_TAB;
  AddVrf(3, "red", 10);
  LogCapture::Get().Clear();
  char vrf[] = "vrf";
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), vrf, 3), NodeAt("net.vrf.3"));
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), vrf, 4), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), vrf, 0), nullptr);
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(KeyLookupTest, InstanceOfAListThatHasNoIndex) {
  // A list that is registered by the number of an entry is never indexed.
  app.Register({.path = "net.line.5.speed"});
  nc_dm_agent_node_t* net = NodeAt("net");
  char line[] = "line";
  LogCapture::Get().Clear();
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, line, 5), NodeAt("net.line.5"));
  EXPECT_TRUE(LoggedInfo("Found the node 'line', instid 5.\n"));
  EXPECT_THAT(
      Errors(),
      ElementsAre("Failed to get node 'net' children binary tree according to name 'line'!\n"));
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, line, 6), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, line, 0), nullptr);
}

TEST_F(KeyLookupTest, IdOfNothingFindsNoSchemaNode) {
  char domain[] = "domain";
  ASSERT_NE(NodeAt("net.domain"), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), domain, 0), nullptr);
  AddInstance("net.domain.4");
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), domain, 0), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), domain, 4), NodeAt("net.domain.4"));
}

TEST_F(KeyLookupTest, InstanceLookupRefusesWhatIsMissing) {
  char vrf[] = "vrf";
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(nullptr, vrf, 3), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(NodeAt("net"), nullptr, 3), nullptr);
  EXPECT_THAT(Errors(),
              ElementsAre("The parent input is null!\n", "The node name input is null!\n"));
}

// ---- Sources ----

TEST_F(KeyLookupTest, NamedLeavesOfAnEntryAreStamped) {
  AddVrf(3, "red", 10);
  NodeAt("net.vrf.3.rd")->src = NC_DM_NODE_SRC_SDN;
  NodeAt("net.vrf.3.mtu")->src = NC_DM_NODE_SRC_CLI_ALW;
  ModelEdits edits{{.name = "net.vrf.rd", .flag = 1},
                   {.name = "net.vrf.mtu"},
                   {.name = "net.vrf.target"},
                   {.name = "net.vrf.none"},
                   {.name = "net.vrf.name"}};
  nc_dm_agent_keys_update_src(NodeAt("net.vrf.3"), edits.get(), NC_DM_NODE_SRC_CLI);  // no names
  edits.WithNames();
  nc_dm_agent_keys_update_src(nullptr, edits.get(), NC_DM_NODE_SRC_CLI);
  nc_dm_agent_keys_update_src(NodeAt("net.vrf.3"), nullptr, NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(NodeAt("net.vrf.3.name")->src, NC_DM_NODE_SRC_NONE);

  nc_dm_agent_keys_update_src(NodeAt("net.vrf.3"), edits.get(), NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(NodeAt("net.vrf.3.rd")->src, NC_DM_NODE_SRC_SDN);
  EXPECT_EQ(NodeAt("net.vrf.3.mtu")->src, NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(NodeAt("net.vrf.3.name")->src, NC_DM_NODE_SRC_CLI);
  EXPECT_EQ(NodeAt("net.vrf.3.target")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(NodeAt("net.vrf.name")->src, NC_DM_NODE_SRC_NONE);
  EXPECT_EQ(NodeAt("net.vrf.3")->src, NC_DM_NODE_SRC_NONE);
}

TEST_F(KeyLookupTest, EveryLeafOfANameIsStamped) {
  app.Register({.path = "net.vrf.{i}.mtu.5"});  // a leaf beside the other, of the same name
  AddVrf(3, "red", 10);
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.3");
  ModelEdits edits{{.name = "net.vrf.mtu"}};
  nc_dm_agent_keys_update_src(entry, edits.WithNames().get(), NC_DM_NODE_SRC_CLI);
  int stamped = 0;
  for (const auto& child : nc::Records<nc_dm_agent_node_t>(&entry->sub_lst)) {
    if (strcmp(child.node_name, "mtu") != 0) continue;
    EXPECT_EQ(child.src, NC_DM_NODE_SRC_CLI);
    ++stamped;
  }
  EXPECT_EQ(stamped, 2);
}

// ---- The closed log ----

TEST_F(KeyLookupTest, NothingIsLoggedThroughAClosedMask) {
  AddVrf(3, "red", 10);
  app.Register({.path = "net.line.5.speed"});
  LogCapture::Get().Clear();
  const DebugMask closed(0);
  nc_dm_agent_node_t* net = NodeAt("net");
  nc_dm_agent_node_t* entry = NodeAt("net.vrf.3");
  char name[] = "name";
  char vrf[] = "vrf";
  char line[] = "line";
  Keys keys{{"name", "red"}};
  Keys none;
  nc_dm_id_array_t ids = {};
  ModelEdits edits{{.name = "net..name"}, {.name = "name"}, {.name = "net.vrf.name"}};

  nc_dm_agent_add_key(nullptr, name, keys.get());
  nc_dm_agent_add_key(name, nullptr, keys.get());
  nc_dm_agent_add_key(name, name, nullptr);
  nc_dm_agent_cpy_edit_list_keys(nullptr, keys.get());
  nc_dm_agent_cpy_edit_list_keys(edits.get(), nullptr);
  EXPECT_EQ(nc_dm_agent_create_node_key(nullptr, name), nullptr);
  nc_dm_agent_free_key_list(nullptr);
  EXPECT_EQ(nc_dm_agent_keys_cmp(nullptr, nullptr), 1);
  EXPECT_EQ(nc_dm_agent_keys_cmp(keys.get(), none.get()), 1);
  EXPECT_EQ(nc_dm_agent_get_key_value(nullptr, keys.get()), nullptr);
  EXPECT_EQ(nc_dm_agent_get_key_value(name, nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_get_key_value(name, none.get()), nullptr);
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(0)), -1);
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(1)), 0);
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(edits.at(1)), 0);
  EXPECT_EQ(nc_dm_agent_parse_edit_list_last_node_name(nullptr), -1);
  EXPECT_EQ(nc_dm_agent_key_cont_match(nullptr, name, name), nullptr);
  EXPECT_EQ(nc_dm_agent_key_cont_match(net, name, name), nullptr);
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, name), nullptr);
  app.On(Callback::kGet, "name", -1);
  EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, name), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(nullptr, net), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), nullptr), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(0), net), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(1), net), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node(edits.at(2), entry), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(nullptr, vrf, 3), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, nullptr, 3), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, vrf, 4), nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, line, 5), NodeAt("net.line.5"));
  EXPECT_EQ(nc_dm_agent_get_node_instid(nullptr, net, entry, keys.get()), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, nullptr, entry, keys.get()), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, net, nullptr, keys.get()), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, net, entry, nullptr), -1);
  EXPECT_EQ(nc_dm_agent_get_node_instid(&ids, net, entry, none.get()), -1);
  EXPECT_EQ(Find("vrf", {{"name", "red"}}), -1);
  EXPECT_EQ(Find("vrf", {{"rd", "10"}}), 3);
  EXPECT_EQ(Find("peer", {{"addr", "a"}, {"port", "1"}}), 0);
  EXPECT_EQ(Find("peer", {{"addr", "a"}, {"port", "x"}}), -1);
  NodeAt("net.peer.port")->index = 64;
  EXPECT_EQ(Find("peer", {{"addr", "a"}, {"port", "1"}}), -1);

  nc_dm_bin_tree_node_t* indexed = entry->instid_btree_node;
  void* const data = std::exchange(indexed->data, nullptr);
  EXPECT_EQ(nc_dm_agent_get_mode_node_inst(net, vrf, 3), nullptr);
  indexed->data = data;
  NodeAt("net.vrf.3.rd")->val_type = NC_DM_VAL_TYPE_UNKNOWN;
  EXPECT_EQ(Find("vrf", {{"rd", "10"}}), -1);
  {
    const FailingCall failing(Step::kGetIds);
    EXPECT_EQ(nc_dm_agent_key_cont_match(entry, name, name), nullptr);
  }
  ModelEdits no_edit{{.name = "net.vrf.name", .flag = 1}};
  nc_dm_stub_edit_t* edit = std::exchange(no_edit.at(0)->edit, nullptr);
  nc_dm_agent_cpy_edit_list_keys(no_edit.get(), keys.get());
  EXPECT_EQ(nc_dm_agent_parse_edit_last_node_name(no_edit.at(0)), -1);
  EXPECT_EQ(nc_dm_agent_get_mode_node(no_edit.at(0), net), nullptr);
  no_edit.at(0)->edit = edit;
  EXPECT_THAT(LogCapture::Get().Texts(), IsEmpty());
}

using KeyCopyTest = EditTest;

TEST_F(KeyCopyTest, KeysAreNotCopiedWithoutAPlaceForThem) {
  ModelEdits edits{{.name = "net.vrf.name", .val = "red", .flag = 1}};
  nc_dm_agent_cpy_edit_list_keys(edits.WithNames().get(), nullptr);
  EXPECT_THAT(Errors(), ElementsAre("The input key list is null!\n"));
}

}  // namespace
}  // namespace ncdm_test
