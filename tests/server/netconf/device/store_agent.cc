#include "tests/server/netconf/device/store_agent.h"

#include <algorithm>
#include <sstream>

#include "netconf_dm_agent.h"
#include "netconf_dm_util.h"

namespace ncdm_test {
namespace {

constexpr int kDelete = 4;
constexpr int kRemove = 5;

// Of entries that tests have.
constexpr std::int64_t kMaxId = 100;

bool IsBelow(const std::string& path, const std::string& above) {
  return path == above || path.starts_with(above + ".");
}

std::string ParentOf(const std::string& name) { return name.substr(0, name.rfind('.')); }

}  // namespace

StoreAgent::StoreAgent(const std::string& root, const std::string& name, const Paths& paths,
                       const std::string& module)
    : agent_(root, name) {
  for (const auto& [path, attributes] : paths) {
    agent_.Register(path, attributes);
    std::string plain;
    std::istringstream components(path);
    for (std::string component; std::getline(components, component, '.');) {
      if (component == "{i}") {
        lists_.insert(plain);
      } else {
        plain += (plain.empty() ? "" : ".") + component;
      }
    }
    if ((attributes & NC_DM_FLAG_LEAF_LIST) != 0) {
      leaf_lists_.insert(plain);
    }
  }
  agent_.Complete();
  if (!module.empty()) {
    agent_.Module(module, NC_DM_YANG_ATTR_MODULE_NAME, module);
  }
  agent_.set_answerer([this](FakeAgent&, const FakeAgent::Request& request) { Answer(request); });
}

std::vector<std::string> StoreAgent::Changes() const {
  std::vector<std::string> changes;
  for (const FakeAgent::Request& request : agent_.requests()) {
    if (request.type != NC_DM_MSG_TYPE_EDIT) {
      continue;
    }
    std::string change = request.packet_type == NC_DM_PKT_TYPE_COMMIT ? "commit" : "";
    for (const std::string& element : request.elements) {
      change += (change.empty() ? "" : "; ") + element;
    }
    changes.push_back(change);
  }
  return changes;
}

// "OP [keyN] NAME[=VALUE] [IDS]", for lookups and reads without the operation.
StoreAgent::Element StoreAgent::Parse(const std::string& text) {
  Element element;
  std::string rest = text;
  if (rest.size() > 1 && rest[1] == ' ') {
    element.operation = rest[0] - '0';
    rest.erase(0, 2);
  }
  if (rest.starts_with("key")) {
    element.is_key = true;
    rest.erase(0, rest.find(' ') + 1);
  }
  if (const std::size_t ids = rest.rfind(" ["); ids != std::string::npos) {
    std::istringstream numbers(rest.substr(ids + 2));
    for (std::string number; std::getline(numbers, number, ',');) {
      element.ids.push_back(std::stoll(number));
    }
    rest.erase(ids);
  }
  const std::size_t equals = rest.find('=');
  element.name = rest.substr(0, equals);
  element.has_value = equals != std::string::npos;
  element.value = element.has_value ? rest.substr(equals + 1) : "";
  return element;
}

std::string StoreAgent::WithIds(const std::string& name,
                                const std::vector<std::int64_t>& ids) const {
  std::string plain;
  std::string path;
  auto id = ids.begin();
  std::istringstream components(name);
  for (std::string component; std::getline(components, component, '.');) {
    plain += (plain.empty() ? "" : ".") + component;
    path += (path.empty() ? "" : ".") + component;
    if (lists_.contains(plain) && id != ids.end()) {
      path += "." + std::to_string(*id++);
    }
  }
  return path;
}

void StoreAgent::Answer(const FakeAgent::Request& request) {
  if (on_request) {
    on_request(request);
  }
  if (agent_.fd() < 0 || is_silent) {
    return;  // the test has closed it
  }
  if (request.type == NC_DM_MSG_TYPE_EDIT) {
    Edit(request);
  } else if (request.type == NC_DM_MSG_TYPE_FILTER) {
    Read(request);
  } else {
    Find(request);
  }
}

// ---- Edits ----

void StoreAgent::Edit(const FakeAgent::Request& request) {
  std::vector<Element> elements;
  for (const std::string& text : request.elements) {
    elements.push_back(Parse(text));
    const std::int32_t fault = refuse ? refuse(text) : 0;
    if (fault != 0) {
      agent_.AnswerFault(request.sid, fault, ParentOf(elements.back().name));
      return;
    }
  }
  std::int64_t instance = 0;
  if (is_deaf) {
    // nothing
  } else if (!elements.empty() && elements.front().is_key) {
    instance = EditEntry(elements);
  } else {
    for (const Element& element : elements) {
      EditLeaf(element);
    }
  }
  agent_.AnswerEdit(request.sid, instance);
}

std::int64_t StoreAgent::FindEntry(const std::vector<Element>& keys) const {
  for (std::int64_t id = 1; id <= kMaxId; ++id) {
    const auto has = [&](const Element& key) {
      std::vector<std::int64_t> ids = key.ids;
      ids.push_back(id);
      const auto value = values_.find(WithIds(key.name, ids));
      return !key.is_key || (value != values_.end() && value->second == key.value);
    };
    if (std::ranges::all_of(keys, has)) {
      return id;
    }
  }
  return 0;
}

std::int64_t StoreAgent::EditEntry(const std::vector<Element>& elements) {
  const Element& first = elements.front();
  std::int64_t id = FindEntry(elements);
  if (first.operation == kDelete || first.operation == kRemove) {
    std::vector<std::int64_t> ids = first.ids;
    ids.push_back(id);
    const std::string entry = WithIds(ParentOf(first.name), ids);
    std::erase_if(values_, [&](const auto& value) { return IsBelow(value.first, entry); });
    return id;
  }
  id = id == 0 ? ++last_id_ : id;
  for (Element element : elements) {
    element.ids.push_back(id);
    values_[WithIds(element.name, element.ids)] = element.value;
  }
  return id;
}

void StoreAgent::EditLeaf(const Element& element) {
  const std::string path = WithIds(element.name, element.ids);
  const bool deletes = element.operation == kDelete || element.operation == kRemove;
  if (!leaf_lists_.contains(element.name)) {
    if (deletes) {
      values_.erase(path);
    } else {
      values_[path] = element.value;
    }
  } else if (deletes) {
    std::erase_if(values_, [&](const auto& value) {
      return IsBelow(value.first, path) && value.second == element.value;
    });
  } else {
    values_[path + "." + std::to_string(++last_id_)] = element.value;
  }
}

// ---- Reads and lookups ----

void StoreAgent::Read(const FakeAgent::Request& request) {
  std::vector<std::pair<std::string, std::string>> values;
  for (const std::string& text : request.elements) {
    const Element element = Parse(text);
    const std::string path = WithIds(element.name, element.ids);
    for (const auto& [place, value] : values_) {
      // Behind the ids that the request gives any id fits.
      std::string plain;
      std::istringstream components(place);
      std::size_t level = 0;
      for (std::string component; std::getline(components, component, '.');) {
        const bool is_id = !component.empty() && std::ranges::all_of(component, [](char c) {
          return c >= '0' && c <= '9';
        });
        if (is_id && level++ >= element.ids.size()) {
          continue;
        }
        plain += (plain.empty() ? "" : ".") + component;
      }
      if (IsBelow(plain, path)) {
        values.emplace_back(place, value);
      }
    }
  }
  agent_.AnswerValues(request.sid, values);
  agent_.CloseValues(request.sid);
}

void StoreAgent::Find(const FakeAgent::Request& request) {
  std::vector<std::vector<std::int64_t>> found;
  for (const std::string& text : request.elements) {
    Element element = Parse(text);
    for (std::int64_t id = 1; id <= kMaxId; ++id) {
      std::vector<std::int64_t> ids = element.ids;
      ids.push_back(id);
      const auto value = values_.find(WithIds(element.name, ids));
      if (value != values_.end() && value->second == element.value) {
        found.push_back(ids);
      }
    }
  }
  if (!found.empty()) {
    agent_.AnswerIds(request.sid, found);
  }
  agent_.CloseIds(request.sid);
}

}  // namespace ncdm_test
