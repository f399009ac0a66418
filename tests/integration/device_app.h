// The device's application: it keeps the data of device_schema.h and serves it through the
// library's callbacks.
#ifndef TESTS_INTEGRATION_DEVICE_APP_H_
#define TESTS_INTEGRATION_DEVICE_APP_H_

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "device_schema.h"

namespace ncdm_test {

// One at a time; C callbacks carry no context.
class DeviceApp {
 public:
  DeviceApp();
  ~DeviceApp();
  DeviceApp(const DeviceApp&) = delete;
  DeviceApp& operator=(const DeviceApp&) = delete;

  // The registration function for nc_dm_agent_init: the paths, the hash tables, the YANG
  // attributes, and what was put in before.
  static int RegisterModel();
  // The same without hash tables and YANG attributes.
  static int RegisterPaths();
  static int RegisterInstances();

  // Puts in an entry by its keys (plain list path, ids of the entry, one key or JoinKeys of two), a
  // leaf's value and a leaf-list's element, behind the library's back. RegisterInstances announces
  // them, with the given source.
  void PutEntry(const std::string& list, const Ids& ids, const std::string& keys,
                nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE);
  void PutValue(const std::string& leaf, const Ids& ids, const std::string& text);
  void PutElement(const std::string& leaf_list, const Ids& ids, const std::string& text,
                  nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE);

  // The same while the library runs, which is told at once, and the ways back: an entry with all
  // that is in it, an element, everything. What the library's call returned.
  int AnnounceEntry(const std::string& list, const Ids& ids, const std::string& keys,
                    nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE);
  int AnnounceElement(const std::string& leaf_list, const Ids& ids, const std::string& text,
                      nc_dm_node_src_t src = NC_DM_NODE_SRC_NONE);
  int WithdrawEntry(const std::string& list, const Ids& ids);
  int WithdrawElement(const std::string& leaf_list, const Ids& ids);
  // Behind the library's back.
  void ForgetEverything();

  // Everything it has: instance paths ("net.user.3.name") and texts.
  std::map<std::string, std::string> Contents() const;

  // The calls that change something, and get_attr, one line each:
  // "create net.user.name ids=[3] src=1 value=root",
  // "exe_cmd net.port ids=[] src=0 op=1 1=eth0 2=1500".
  const std::vector<std::string>& calls() const { return calls_; }
  void ForgetCalls() { calls_.clear(); }

  // For the callbacks.
  int Set(int leaf, nc_dm_id_array_t* ids, const char* value);
  int Get(int leaf, nc_dm_id_array_t* ids, char* value);
  nc_int64 Create(int leaf, nc_dm_id_array_t* ids, const char* value);
  nc_int64 Delete(int leaf, nc_dm_id_array_t* ids, const char* value);
  int GetAttr(int leaf, nc_dm_agent_data_block_t* block, nc_dm_op_output_t* output);
  nc_int64 ExeCmd(int leaf, nc_dm_agent_data_block_t* block);
  int Commit();

  int commits() const { return commits_; }

 private:
  struct Leaf {
    LeafDefinition definition;
    std::string path;  // plain
    std::string list;
    std::size_t depth;

    bool is_key() const {
      return (definition.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0;
    }
    bool is_leaf_list() const { return (definition.flag & NC_DM_FLAG_LEAF_LIST) != 0; }
  };
  struct ListData {
    std::map<Ids, std::string> keys;                   // of each entry
    std::map<std::pair<Ids, std::string>, Ids> index;  // by parents and keys
  };
  using Slots = std::map<int, std::string>;

  bool HasEntry(const std::string& list, const Ids& ids) const;
  nc_int64 AddEntry(const std::string& list, const Ids& parents, const std::string& keys);
  void PlaceEntry(const std::string& list, const Ids& ids, const std::string& keys);
  nc_int64 RemoveEntry(const std::string& list, const Ids& ids);
  void EraseEntry(const std::string& list, const Ids& ids);
  std::string EntryPath(const std::string& list, const Ids& ids) const;
  std::string ElementPath(const std::string& leaf_list, const Ids& ids) const;
  nc_int64 CreateElement(const Leaf& leaf, nc_dm_id_array_t* ids, const std::string& text);
  nc_int64 DeleteElement(const Leaf& leaf, const Ids& ids, const std::string& text);
  nc_int64 DeleteEntry(const Leaf& leaf, const Ids& ids, const std::string& text);
  int DeleteValue(const Leaf& leaf, const Ids& ids);
  Slots ReadSlots(const std::string& list, const nc_dm_agent_data_block_t* block) const;
  std::string KeysIn(const std::string& list, const Slots& slots) const;
  nc_int64 ApplySlots(const std::string& list, const Ids& ids, const Slots& slots);
  nc_int64 EditByCommand(const std::string& list, const Ids& ids, const Slots& slots);
  nc_int64 DeleteByCommand(const std::string& list, std::size_t depth, const Ids& ids,
                           const Slots& slots);
  nc_int64 MergeByCommand(const std::string& list, std::size_t depth, const Ids& ids,
                          const Slots& slots, nc_dm_agent_data_block_t* block);

  std::vector<Leaf> leaves_;
  std::map<std::string, ListData> lists_;
  std::map<std::string, std::map<Ids, std::string>> values_;  // keys and elements included
  std::vector<std::pair<std::string, nc_dm_node_src_t>> announced_;
  std::vector<std::string> calls_;
  int commits_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_DEVICE_APP_H_
