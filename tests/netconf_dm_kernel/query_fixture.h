// What the tests of reads and of registered paths have in common: leaves that can be read, and what
// is read.
#ifndef TESTS_NETCONF_DM_KERNEL_QUERY_FIXTURE_H_
#define TESTS_NETCONF_DM_KERNEL_QUERY_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/model_fixture.h"

namespace ncdm_test {

// A list of values, released with the scope.
class Values {
 public:
  Values() { nc::InitList(&list_.head); }
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;
  ~Values() {
    if (list_.cnt > 0) nc_dm_agent_free_val_list(&list_);
  }

  nc_dm_list_t* get() { return &list_; }
  nc_int32 cnt() const { return list_.cnt; }

  // "path=value", and behind it "@source" unless that is none. In order.
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const auto& node : nc::Records<nc_dm_val_node_t>(&list_.head)) {
      const nc_dm_val_entry_t& entry = node.val_entry;
      std::string text =
          std::string(entry.dm_name) + "=" + (entry.dm_val != nullptr ? entry.dm_val : "(null)");
      if (entry.src != NC_DM_NODE_SRC_NONE) text += "@" + std::to_string(entry.src);
      texts.push_back(text);
    }
    return texts;
  }

 private:
  nc_dm_list_t list_ = {};
};

// A list of id arrays, released with the scope.
class IdArrays {
 public:
  IdArrays() { nc::InitList(&list_.head); }
  IdArrays(const IdArrays&) = delete;
  IdArrays& operator=(const IdArrays&) = delete;
  ~IdArrays() { nc_dm_agent_free_id_array_list(&list_); }

  nc_dm_list_t* get() { return &list_; }
  nc_int32 cnt() const { return list_.cnt; }

  std::vector<Ids> All() const {
    std::vector<Ids> all;
    for (const auto& node : nc::Records<nc_dm_id_array_node_t>(&list_.head)) {
      all.emplace_back(node.id_array.id, node.id_array.id + node.id_array.cnt);
    }
    return all;
  }

 private:
  nc_dm_list_t list_ = {};
};

inline nc_dm_id_array_t IdArrayOf(const Ids& ids) {
  nc_dm_id_array_t array = {};
  array.cnt = static_cast<nc_int32>(ids.size());
  std::copy(ids.begin(), ids.end(), array.id);
  return array;
}

// The work path of the component names, with ids as "name.3".
inline nc_dm_path_nodes_t PathOf(std::string path) {
  nc_dm_path_nodes_t nodes = {};
  EXPECT_EQ(nc_dm_parse(path.data(), &nodes, true), 0) << path;
  return nodes;
}

// Has `get` write a text.
inline Answer Text(const std::string& text) {
  return [text](const ModelCall& call) {
    memcpy(call.buffer, text.c_str(), text.size() + 1);
    return 0;
  };
}

// Has `get` write a typed object.
template <typename T>
Answer Object(T object) {
  return [object](const ModelCall& call) {
    memcpy(call.buffer, &object, sizeof(object));
    return 0;
  };
}

// Has `get` write the ids that it is called with, as "3,7", and "-" for none.
inline nc_int64 IdsAsText(const ModelCall& call) {
  std::string text;
  for (const nc_int64 id : call.ids) text += (text.empty() ? "" : ",") + std::to_string(id);
  if (text.empty()) text = "-";
  memcpy(call.buffer, text.c_str(), text.size() + 1);
  return 0;
}

class QueryTest : public ModelTest {
 protected:
  static constexpr unsigned kGet = static_cast<unsigned>(Callback::kGet);

  // Registers leaves that can be read and answer with the ids that they are asked with.
  void RegisterReadable(std::initializer_list<const char*> paths) {
    for (const char* path : paths) RegisterReadable(path, 0);
  }
  void RegisterReadableLeafList(const char* path) { RegisterReadable(path, NC_DM_FLAG_LEAF_LIST); }

 private:
  void RegisterReadable(const std::string& path, int flag) {
    app.Register({.path = path, .flag = flag, .callbacks = kGet});
    app.On(Callback::kGet, path.substr(path.rfind('.') + 1), IdsAsText);
  }
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_QUERY_FIXTURE_H_
