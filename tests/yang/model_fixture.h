// The generated model of every-type.yang, called as the agent calls it: by path, with ids and typed
// objects.
#ifndef TESTS_YANG_MODEL_FIXTURE_H_
#define TESTS_YANG_MODEL_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "every-type.h"
#include "netconf_dm_util.h"

namespace ncdm::model {

// The key of a list in a list.
inline constexpr char kInnerKey[] = "lists.by-number.{i}.inner.{i}.key";

inline const ncdm_path_t& PathOf(std::string_view path) {
  for (const ncdm_path_t& row : std::span(every_type_model.paths, every_type_model.path_count)) {
    if (path == row.path) return row;
  }
  ADD_FAILURE() << "no such path: " << path;
  return every_type_model.paths[0];
}

inline nc_dm_id_array_t IdArray(const std::vector<int64_t>& ids) {
  nc_dm_id_array_t array{};
  for (const int64_t id : ids) array.id[array.cnt++] = id;
  return array;
}

// The agent's typed object of a text; empty when the agent itself refuses the text.
inline std::vector<char> Object(const ncdm_path_t& row, const std::string& text) {
  char* object = nullptr;
  errno = 0;
  const int result = nc_dm_unserialize_val(std::string(text).data(), &object, row.val_type);
  std::vector<char> bytes;
  if (result == 0 && object != nullptr) {
    const size_t size = row.val_type == NC_DM_VAL_TYPE_STRING ? strlen(object) + 1 : 1;
    bytes.assign(object, object + size);
    constexpr size_t kSizes[] = {0, 1, 2, 2, 4, 4, 4, 4, 8, 8, 0, sizeof(tm)};
    if (row.val_type != NC_DM_VAL_TYPE_STRING) {
      bytes.assign(object, object + kSizes[row.val_type]);
    }
  }
  free(object);
  return bytes;
}

constexpr int kRefusedByAgent = -100;

inline int64_t Set(const std::string& path, const std::vector<int64_t>& ids,
                   const std::string& text) {
  const ncdm_path_t& row = PathOf(path);
  auto object = Object(row, text);
  if (object.empty()) return kRefusedByAgent;
  nc_dm_id_array_t array = IdArray(ids);
  return row.set(&array, object.data());
}

inline int64_t Create(const std::string& path, const std::vector<int64_t>& ids,
                      const std::string& text) {
  const ncdm_path_t& row = PathOf(path);
  auto object = Object(row, text);
  if (object.empty()) return kRefusedByAgent;
  nc_dm_id_array_t array = IdArray(ids);
  return row.create(&array, object.data());
}

inline int64_t Remove(const std::string& path, const std::vector<int64_t>& ids,
                      const std::string& text = "") {
  const ncdm_path_t& row = PathOf(path);
  nc_dm_id_array_t array = IdArray(ids);
  std::vector<char> object(NC_DM_VALUE_BUF_SIZE);
  if (!text.empty()) object = Object(row, text);
  return row.remove(&array, object.data());
}

// The text of a leaf; "absent" when it has no value, "failed" for another failure.
inline std::string Get(const std::string& path, const std::vector<int64_t>& ids) {
  const ncdm_path_t& row = PathOf(path);
  alignas(8) char object[NC_DM_VALUE_BUF_SIZE] = {};
  nc_dm_id_array_t array = IdArray(ids);
  const int result = row.get(&array, object);
  if (result != 0) return result == NCDM_NO_SUCH_ENTRY ? "absent" : "failed";
  char* text = nullptr;
  nc_dm_serialize_val(&text, object, row.val_type);
  const std::string value = text == nullptr ? "failed" : text;
  free(text);
  return value;
}

// A data block as the agent fills it, from paths and texts.
class Block {
 public:
  Block(int operation, const std::vector<int64_t>& ids) {
    block_.id_array = IdArray(ids);
    block_.op_flag = operation;
  }

  Block& With(const std::string& path, const std::string& text) {
    const ncdm_path_t& row = PathOf(path);
    const auto object = Object(row, text);
    const auto bit = static_cast<nc_int64>(uint64_t{1} << row.slot);
    if (row.val_type == NC_DM_VAL_TYPE_STRING) {
      block_.string_var_flag |= bit;
      snprintf(block_.string_var[row.slot], sizeof block_.string_var[0], "%s", text.c_str());
    } else {
      block_.ulong_var_flag |= bit;
      uint64_t value = 0;
      memcpy(&value, object.data(), object.size());
      block_.ulong_var[row.slot] = value;
    }
    return *this;
  }

  int64_t Execute(const std::string& path) { return PathOf(path).exe_cmd(&block_); }

  int64_t Find(const std::string& path) {
    nc_dm_op_output_t output{};
    EXPECT_EQ(PathOf(path).get_attr(&block_, &output), 0);
    return output.instid;
  }

  bool existed() const { return block_.id_array.output.inst_exist == 1; }

 private:
  nc_dm_agent_data_block_t block_{};
};

// Forgets what a test left, and the operations that it replaced.
class ModelTest : public testing::Test {
 protected:
  ~ModelTest() override {
    every_type_values_operations = {};
    every_type_values_socket_operations = {};
    every_type_lists_by_number_operations = {};
    every_type_lists_by_two_operations = {};
    every_type_state_operations = {};
    for (const ncdm_node_t* node : std::span(every_type_model.nodes, every_type_model.node_count)) {
      if (node->kind == NCDM_CONTAINER && node->levels == 0) ncdm_drop(node, nullptr);
      if (node->kind == NCDM_CONTAINER || node->levels != 1) continue;
      nc_int64 id = 0;
      while ((id = ncdm_next(node, &(id = 0))) != 0) ncdm_drop(node, &id);
    }
  }
};

}  // namespace ncdm::model

#endif  // TESTS_YANG_MODEL_FIXTURE_H_
