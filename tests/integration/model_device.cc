#include "model_device.h"

#include <utility>

namespace ncdm_test {

using ncdm::server::Answer;

void ModelDevice::Put() {
  const auto entry = [&](const std::string& list, const Ids& ids, const std::string& keys,
                         nc_dm_node_src_t src) {
    app_.PutEntry(list, ids, keys, src);
    model_.PutEntry(list, ids, keys, src);
  };
  const auto value = [&](const std::string& leaf, const Ids& ids, const std::string& text) {
    app_.PutValue(leaf, ids, text);
    model_.PutValue(leaf, ids, text);
  };
  const auto element = [&](const std::string& leaf_list, const Ids& ids, const std::string& text,
                           nc_dm_node_src_t src) {
    app_.PutElement(leaf_list, ids, text, src);
    model_.PutElement(leaf_list, ids, text, src);
  };
  value("sys.name", {}, "router");
  element("sys.ntp.server", {3}, "ntp", NC_DM_NODE_SRC_CLI);
  element("sys.dns", {9}, "dns", NC_DM_NODE_SRC_NONE);
  entry("net.user", {1}, "n0", NC_DM_NODE_SRC_CLI_ALW);
  value("net.user.uid", {1}, "0");
  element("net.user.group", {1, 5}, "wheel", NC_DM_NODE_SRC_NONE);
  entry("net.user.key", {1, 1}, "1", NC_DM_NODE_SRC_CLI);
  entry("net.user.key.use", {1, 1, 8}, "login", NC_DM_NODE_SRC_NONE);
  value("net.user.key.use.count", {1, 1, 8}, "3");
  entry("net.user", {2}, "n1", NC_DM_NODE_SRC_CLI);
  entry("net.port", {4}, "n2", NC_DM_NODE_SRC_CLI_ALW);
  value("net.port.mtu", {4}, "1500");
  entry("net.port.acl", {4, 6}, "n3/2", NC_DM_NODE_SRC_NONE);
  entry("net.route", {7}, "n4", NC_DM_NODE_SRC_CLI);
  element("net.route.via", {7, 2}, "n5", NC_DM_NODE_SRC_CLI_ALW);
}

void ModelDevice::Start() {
  device_.StartServer();
  ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
  ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
}

std::string ModelDevice::Check(const ModelRequest& request, Answer* answer) {
  const Expectation expected = model_.Run(request);
  ncdm::server::Request sent = request.Build();
  const auto start = std::chrono::steady_clock::now();
  *answer = device_.Call(std::move(sent));
  last_duration_ = std::chrono::steady_clock::now() - start;
  app_.ForgetCalls();
  device_.Forget();
  return expected.Compare(*answer);
}

void ModelDevice::CompareEverything() {
  CompareData();
  EXPECT_EQ(g_nc_agent_dm.total_node, model_.total_nodes());
  EXPECT_EQ(g_nc_agent_dm.total_mobject, model_.total_entries());
  EXPECT_EQ(g_nc_agent_dm.total_mleaf, model_.total_elements());
}

void ModelDevice::CompareData() {
  EXPECT_EQ(app_.Contents(), model_.data().values());
  for (const auto datastore : {NC_DM_DATASTORE_RUNNING, NC_DM_DATASTORE_SDN}) {
    const ModelRequest request{.kind = ModelRequest::Kind::kRead,
                               .datastore = datastore,
                               .reads = {{.name = "sys"}, {.name = "net"}}};
    EXPECT_EQ(Check(request), "");
  }
}

}  // namespace ncdm_test
