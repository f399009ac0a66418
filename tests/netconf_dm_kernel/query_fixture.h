// What the tests of reads and registrations start from: the recording application on an empty tree,
// with the log open for errors and information.
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
#include "support/debug_mask.h"
#include "support/fake_platform.h"
#include "support/model_app.h"

namespace ncdm_test {

// The log's lines without their line ends: errors as "E text", information as "I text".
inline std::vector<std::string> LogLines() {
  std::vector<std::string> lines;
  for (std::string text : LogCapture::Get().Texts()) {
    const auto take = [&](std::string_view prefix, const char* mark) {
      if (!text.starts_with(prefix)) return false;
      text = mark + text.substr(prefix.size() + 1);
      return true;
    };
    take(kErrorPrefix, "E ") || take(kInfoPrefix, "I ");
    lines.push_back(text);
  }
  return lines;
}

inline std::vector<std::string> ErrorLines() {
  std::vector<std::string> lines = LogLines();
  std::erase_if(lines, [](const std::string& line) { return !line.starts_with("E "); });
  return lines;
}

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
inline Answer Text(std::string text) {
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

class QueryTest : public testing::Test {
 protected:
  static constexpr unsigned kGet = static_cast<unsigned>(Callback::kGet);

  // Registers leaves that can be read and answer with the ids that they are asked with.
  void RegisterReadable(std::initializer_list<const char*> paths) {
    for (const char* path : paths) {
      app.Register({.path = path, .callbacks = kGet});
      app.On(Callback::kGet, std::string(path).substr(std::string(path).rfind('.') + 1), IdsAsText);
    }
  }
  void RegisterReadableLeafList(const char* path) {
    app.Register({.path = path, .flag = NC_DM_FLAG_LEAF_LIST, .callbacks = kGet});
    app.On(Callback::kGet, std::string(path).substr(std::string(path).rfind('.') + 1), IdsAsText);
  }

  static nc_dm_mng_info_t& info() { return g_nc_dm_mng_info; }
  static LogCapture& log() { return LogCapture::Get(); }

  DebugMask mask{NC_DM_DBG_ERROR | NC_DM_DBG_INFO};
  ModelApp app;
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_QUERY_FIXTURE_H_
