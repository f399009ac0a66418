// An agent that keeps what it is told, and refuses what the test wants it to refuse.
#ifndef TESTS_SERVER_NETCONF_DEVICE_STORE_AGENT_H_
#define TESTS_SERVER_NETCONF_DEVICE_STORE_AGENT_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/server/fake_agent.h"

namespace ncdm_test {

class StoreAgent {
 public:
  using Paths = std::vector<std::pair<std::string, std::int32_t>>;  // with attributes

  // Registers the paths; names the module behind them, unless it is empty.
  StoreAgent(const std::string& root, const std::string& name, const Paths& paths,
             const std::string& module);

  FakeAgent& agent() { return agent_; }

  // By path with ids: "shelf.item.1.name". Elements of leaf-lists have ids, too.
  std::map<std::string, std::string>& values() { return values_; }

  // What was asked of it and changes something, one request a text: "3 key1 shelf.item.name=cup".
  // "commit" for a commit.
  std::vector<std::string> Changes() const;

  // The fault to answer an edit with, 0 for none. `element` as in Changes(). Called for each
  // element before anything of the request is done.
  std::function<std::int32_t(const std::string& element)> refuse;
  // Called before each request.
  std::function<void(const FakeAgent::Request&)> on_request;
  // Accepts edits and does nothing.
  bool is_deaf = false;
  // Leaves requests unanswered.
  bool is_silent = false;

 private:
  struct Element {
    int operation = 0;
    bool is_key = false;
    std::string name;
    std::string value;
    bool has_value = false;
    std::vector<std::int64_t> ids;
  };

  static Element Parse(const std::string& text);
  std::string WithIds(const std::string& name, const std::vector<std::int64_t>& ids) const;
  std::int64_t FindEntry(const std::vector<Element>& keys) const;
  void Answer(const FakeAgent::Request& request);
  void Edit(const FakeAgent::Request& request);
  std::int64_t EditEntry(const std::vector<Element>& elements);
  void EditLeaf(const Element& element);
  void Read(const FakeAgent::Request& request);
  void Find(const FakeAgent::Request& request);

  FakeAgent agent_;
  std::set<std::string> lists_;
  std::set<std::string> leaf_lists_;
  std::map<std::string, std::string> values_;
  std::int64_t last_id_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_SERVER_NETCONF_DEVICE_STORE_AGENT_H_
