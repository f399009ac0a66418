#include "plain_reads.h"

#include <algorithm>
#include <optional>
#include <span>

namespace ncdm_test {

using namespace ncdm::server;  // NOLINT: requests and answers

Expectation ReferenceReads::Read(const ModelRequest& request) const {
  Expectation expected;
  for (const ReadElement& read : request.reads) Read(read, &expected.values);
  return expected;
}

void ReferenceReads::ReadLeaf(const Schema& leaf, int src, const Ids& ids, const std::string& path,
                              Values* values) const {
  const auto text = IsVisible(src) ? app_.Get(leaf, ids) : std::nullopt;
  if (text) values->push_back({path, *text});
}

void ReferenceReads::ReadElements(const Node& owner, const Schema& leaf_list, const Ids& owner_ids,
                                  const std::string& path, Values* values) const {
  for (const auto& [name, id] : owner.order) {
    if (name != leaf_list.name) continue;
    ReadLeaf(leaf_list, owner.instances.at({name, id}).src, Below(owner_ids, id),
             path + "." + std::to_string(id), values);
  }
}

void ReferenceReads::ReadBelow(const Node& node, const Ids& ids, const std::string& path,
                               Values* values) const {
  for (const auto& child : node.schema->children) {
    const std::string child_path = JoinPath(path, child->name);
    if (child->kind == Schema::Kind::kLeaf) {
      ReadLeaf(*child, node.leaf_src.at(child->name), ids, child_path, values);
    } else if (child->kind == Schema::Kind::kContainer) {
      ReadBelow(node.containers.at(child->name), ids, child_path, values);
    }
  }
  for (const auto& [name, id] : node.order) {
    const Node& instance = node.instances.at({name, id});
    const std::string child_path = JoinPath(path, name, id);
    if (instance.schema->kind == Schema::Kind::kLeafList) {
      ReadLeaf(*instance.schema, instance.src, Below(ids, id), child_path, values);
    } else {
      ReadBelow(instance, Below(ids, id), child_path, values);
    }
  }
}

// All that the names from `at` on reach below a node, over all instances.
void ReferenceReads::ReadWildcard(const Node& node, const Ids& ids, const std::string& path,
                                  const std::vector<std::string>& names, std::size_t at,
                                  Values* values) const {
  const Schema* child = node.schema->Find(names[at]);
  if (child == nullptr) return;
  const bool is_last = at + 1 == names.size();
  const std::string child_path = JoinPath(path, child->name);
  if (child->kind == Schema::Kind::kLeaf && is_last) {
    ReadLeaf(*child, node.leaf_src.at(child->name), ids, child_path, values);
  } else if (child->kind == Schema::Kind::kContainer) {
    const Node& container = node.containers.at(child->name);
    if (is_last) {
      ReadBelow(container, ids, child_path, values);
    } else {
      ReadWildcard(container, ids, child_path, names, at + 1, values);
    }
  } else if (child->kind == Schema::Kind::kLeafList && is_last) {
    ReadElements(node, *child, ids, child_path, values);
  } else if (child->kind == Schema::Kind::kList) {
    for (const auto& [name, id] : node.order) {
      if (name != child->name) continue;
      const Node& entry = node.instances.at({name, id});
      const std::string entry_path = JoinPath(path, name, id);
      if (is_last) {
        ReadBelow(entry, Below(ids, id), entry_path, values);
      } else {
        ReadWildcard(entry, Below(ids, id), entry_path, names, at + 1, values);
      }
    }
  }
}

void ReferenceReads::Read(const ReadElement& element, Values* values) const {
  const auto names = ParsePath(element.name);
  if (!names) return;
  const Place place = tree_->Match(*names, element.ids, true);
  const bool is_whole = place.matched == names->size();
  // The path of the place, and with what was not matched behind it.
  const Ids used = Prefix(element.ids, place.ids_used);
  std::string place_path;
  std::string path;
  const Schema* at = tree_->root().schema;
  std::size_t ids = 0;
  for (std::size_t i = 0; i < names->size(); ++i) {
    path = JoinPath(path, (*names)[i]);
    if (i >= place.matched) continue;
    at = at->Find((*names)[i]);
    if (at->kind == Schema::Kind::kList) path += "." + std::to_string(used.at(ids++));
    place_path = path;
  }
  switch (place.kind) {
    case Place::Kind::kLeaf:
      if (element.value) {
        values->push_back({path, *element.value});
      } else {
        ReadLeaf(*place.schema, place.node->leaf_src.at(place.schema->name), element.ids, path,
                 values);
      }
      break;
    case Place::Kind::kLeafList:
      if (is_whole) ReadElements(*place.node, *place.schema, used, path, values);
      break;
    case Place::Kind::kObject:
      if (is_whole) {
        ReadBelow(*place.node, used, path, values);
      } else if (place.ids_used == element.ids.size()) {
        ReadWildcard(*place.node, used, place_path, *names, place.matched, values);
      }
      break;
    default:
      break;
  }
}

void ReferenceReads::FindBelow(const Node& node, const Ids& ids,
                               const std::vector<std::string>& names, std::size_t at,
                               const ReadElement& element, std::vector<Ids>* found) const {
  const Schema* child = node.schema->Find(names[at]);
  if (child == nullptr) return;
  const bool is_last = at + 1 == names.size();
  const auto compare = [&](int src, const Ids& leaf_ids) {
    if (element.value && IsVisible(src) && app_.Get(*child, leaf_ids) == *element.value) {
      found->push_back(leaf_ids);
    }
  };
  if (child->kind == Schema::Kind::kLeaf) {
    if (is_last) compare(node.leaf_src.at(child->name), ids);
    return;
  }
  if (child->kind == Schema::Kind::kContainer) {
    if (!is_last) {
      FindBelow(node.containers.at(child->name), ids, names, at + 1, element, found);
    }
    return;
  }
  for (const auto& [name, id] : node.order) {
    if (name != child->name) continue;
    // The known ids belong to the lists on the path one by one.
    if (ids.size() < element.ids.size() && id != element.ids[ids.size()]) continue;
    const Node& instance = node.instances.at({name, id});
    if (child->kind == Schema::Kind::kLeafList) {
      if (is_last) compare(instance.src, Below(ids, id));
    } else if (!is_last) {
      FindBelow(instance, Below(ids, id), names, at + 1, element, found);
    }
  }
}

Expectation ReferenceReads::Find(const ModelRequest& request) const {
  Expectation expected;
  for (const ReadElement& element : request.reads) {
    const auto names = ParsePath(element.name);
    if (!names) return {.ok = false, .fault_code = NC_DM_FAULT_CODE_OP_FAILED};
    std::vector<Ids> found;
    FindBelow(tree_->root(), {}, *names, 0, element, &found);
    if (found.empty()) {
      expected.ids.clear();
      break;
    }
    // What an earlier element has emptied is filled anew.
    if (expected.ids.empty()) {
      expected.ids = found;
    } else {
      std::erase_if(expected.ids,
                    [&](const Ids& ids) { return std::ranges::count(found, ids) == 0; });
    }
  }
  // The server's end drops the answers that do not begin with the known ids.
  for (const ReadElement& element : request.reads) {
    std::erase_if(expected.ids, [&](const Ids& ids) {
      return ids.size() < element.ids.size() ||
             !std::ranges::equal(element.ids, std::span(ids).first(element.ids.size()));
    });
  }
  return expected;
}

}  // namespace ncdm_test
