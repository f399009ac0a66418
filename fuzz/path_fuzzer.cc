// Paths: parsing in both modes, naming rules, numbers, and the joins, which have to give back what
// was parsed.

#include <stdlib.h>

#include <memory>
#include <string>

#include "fuzz/input.h"
#include "fuzz/platform.h"
#include "netconf_dm_util.h"

namespace {

using Text = std::unique_ptr<char, decltype(&free)>;

void CheckParsed(const nc_dm_path_nodes_t& path) {
  NCDM_FUZZ_CHECK(path.total_node >= 0 && path.total_node <= NC_DM_MAX_DEPTH);
  NCDM_FUZZ_CHECK(path.match_cnt == 0);
  for (int i = 0; i < path.total_node; ++i) {
    const size_t len = strnlen(path.nodes[i], sizeof(path.nodes[i]));
    NCDM_FUZZ_CHECK(len > 0 && len <= NC_DM_MAX_NAME_LEN);
  }
}

// A path without ids joins to itself, but for a dot at its end.
void CheckSchemaJoin(const std::string& text, nc_dm_path_nodes_t* path) {
  char* joined = nullptr;
  NCDM_FUZZ_CHECK(nc_dm_agent_comb_reg_path_name(&joined, path, path->total_node, true) == 0);
  const Text owner(joined, &free);
  const std::string expected = text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
  NCDM_FUZZ_CHECK(joined == expected);
}

// The join of an instance path parses to the same record.
void CheckInstanceJoin(nc_dm_path_nodes_t* path, bool is_leaf) {
  char* joined = nullptr;
  if (nc_dm_agent_comb_path_name(&joined, path, is_leaf) != 0) {
    NCDM_FUZZ_CHECK(joined == nullptr);
    return;
  }
  const Text owner(joined, &free);
  NCDM_FUZZ_CHECK(strlen(joined) <= NC_DM_MAX_PATH_LEN);
  if (path->total_node == 0) return;
  nc_dm_path_nodes_t again = {};
  NCDM_FUZZ_CHECK(nc_dm_parse(joined, &again, true) == 0);
  NCDM_FUZZ_CHECK(memcmp(&again, path, sizeof(again)) == 0);
}

void CheckNumber(const std::string& text) {
  std::string copy = text;
  std::string tag = "-";
  nc_int32 number = 0;
  nc_int32 len = 0;
  if (nc_dm_parse_str_num(copy.data(), tag.data(), &number, &len) == 0) {
    NCDM_FUZZ_CHECK(len > 0 && static_cast<size_t>(len) <= copy.size());
    NCDM_FUZZ_CHECK(nc_dm_is_str_num(copy.substr(0, static_cast<size_t>(len) - 1).c_str()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  std::string text(reinterpret_cast<const char*>(bytes), size);
  text = text.c_str();  // up to the first NUL, as the library sees it

  nc_dm_path_nodes_t schema = {};
  if (nc_dm_parse(text.data(), &schema, false) == 0) {
    CheckSchemaJoin(text, &schema);
    nc_dm_check_param_name(&schema);
  }
  CheckParsed(schema);

  nc_dm_path_nodes_t instance = {};
  if (nc_dm_parse(text.data(), &instance, true) == 0) {
    CheckInstanceJoin(&instance, true);
    CheckInstanceJoin(&instance, false);
    nc_dm_id_array_t ids = {};
    NCDM_FUZZ_CHECK(nc_dm_get_id(&ids, &instance) == 0);
    NCDM_FUZZ_CHECK(ids.cnt >= 0 && ids.cnt <= NC_DM_MAX_DEPTH);
  }
  CheckParsed(instance);

  nc_dm_check_c_naming(text.c_str());
  nc_dm_check_root(text.c_str(), &schema);
  CheckNumber(text);
  return 0;
}
