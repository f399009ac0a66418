// Schemas as tests make them.
#ifndef TESTS_SERVER_MODEL_SCHEMA_H_
#define TESTS_SERVER_MODEL_SCHEMA_H_

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "server/schema.h"
#include "tests/server/fake_agent.h"

namespace ncdm_test {

// Of paths with their attributes.
inline ncdm::server::Schema MakeSchema(
    const std::vector<std::pair<std::string, std::int32_t>>& paths) {
  std::vector<ncdm::server::RegisteredPath> registered;
  for (const auto& [path, attributes] : paths) {
    registered.push_back({path, attributes});
  }
  return ncdm::server::Schema(registered);
}

// The node that names lead to from the top; null when they lead nowhere.
inline const ncdm::server::SchemaNode* FindNode(const ncdm::server::Schema& schema,
                                                std::initializer_list<const char*> names) {
  const ncdm::server::SchemaNode* node = &schema.root();
  for (const char* name : names) {
    node = node == nullptr ? nullptr : node->Child(name);
  }
  return node;
}

}  // namespace ncdm_test

#endif  // TESTS_SERVER_MODEL_SCHEMA_H_
