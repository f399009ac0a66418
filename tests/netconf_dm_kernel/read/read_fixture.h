// Reads from an application that records its callbacks.
#ifndef TESTS_NETCONF_DM_KERNEL_READ_READ_FIXTURE_H_
#define TESTS_NETCONF_DM_KERNEL_READ_READ_FIXTURE_H_

#include <string.h>

#include <string>

#include "netconf_dm_kernel/query_fixture.h"

namespace ncdm_test {

class ReadTest : public QueryTest {
 protected:
  int Read(const char* node, const char* path) {
    nc_dm_id_array_t ids = {};
    nc_dm_path_nodes_t nodes = PathOf(path);
    return nc_dm_agent_get_node_val(values.get(), NodeAt(node), &ids, &nodes);
  }
  int ReadSubtree(const char* node, const char* path) {
    nc_dm_path_nodes_t nodes = PathOf(path);
    return nc_dm_agent_get_nodes_vals(values.get(), &nodes, NodeAt(node));
  }
  nc_dm_agent_match_status_t Match(const char* path) {
    nc_dm_path_nodes_t nodes = PathOf(path);
    const auto status = nc_dm_agent_match_get_vals(values.get(), &g_nc_agent_dm.dm_root, &nodes, 0,
                                                   nodes.total_node - 1);
    EXPECT_THAT(nodes.instances, testing::Each(0)) << "the path is not as it was";
    EXPECT_EQ(nodes.total_node, PathOf(path).total_node);
    return status;
  }
  std::string ReadAlone(const char* node) {
    nc_dm_id_array_t ids = {};
    char* text = nc_dm_agent_get_node_srlz_val(NodeAt(node), &ids);
    if (text == nullptr) return "(null)";
    std::string result = text;
    free(text);
    return result;
  }

  Values values;
};

// The recording application allocates itself.
inline int GetAValue(nc_dm_id_array_t*, char* value) {
  memcpy(value, "v", sizeof("v"));
  return 0;
}

class ShortMemoryReadTest : public ReadTest {
 protected:
  ShortMemoryReadTest() {
    for (std::string path : {"a.b.{i}.c", "a.x"}) {
      EXPECT_EQ(nc_dm_agent_path_reg(path.data(), NC_DM_VAL_TYPE_STRING, 0, 0, nullptr, GetAValue,
                                     nullptr, nullptr, nullptr, nullptr, nullptr),
                0);
    }
    AddInstance("a.b.3");
    AddInstance("a.b.4");
    LogCapture::Get().Clear();
  }
};

}  // namespace ncdm_test

#endif  // TESTS_NETCONF_DM_KERNEL_READ_READ_FIXTURE_H_
