#include "plain_reads.h"

#include <algorithm>
#include <optional>
#include <span>

namespace ncdm_test {

using namespace ncdm::server;  // NOLINT: requests and answers
using Kind = ReferenceTree::Kind;

Expectation PlainReads::Read(const ModelRequest& request) const {
  Expectation expected;
  for (const ReadElement& read : request.reads) Read(read, &expected.values);
  return expected;
}

std::optional<std::string> PlainReads::ValueOf(const Node& leaf, const Ids& ids) const {
  if (sdn_ && leaf.src != NC_DM_NODE_SRC_SDN) return std::nullopt;
  return data_.Get(*schema_.FindPath(leaf.leaf->path), ids);
}

void PlainReads::ReadLeaf(const Node& leaf, const Ids& ids, const std::string& path,
                          Values* values) const {
  if (const auto text = ValueOf(leaf, ids)) values->push_back({path, *text});
}

void PlainReads::ReadElements(const Node& leaf_list, const Ids& owner_ids, const std::string& path,
                              Values* values) const {
  for (const auto& element : leaf_list.parent->children) {
    if (!element->IsInstance() || element->name != leaf_list.name) continue;
    ReadLeaf(*element, Below(owner_ids, element->id), path + "." + std::to_string(element->id),
             values);
  }
}

void PlainReads::ReadBelow(const Node& node, const Ids& ids, const std::string& path,
                           Values* values) const {
  for (const auto& child : node.children) {
    const std::string child_path = JoinPath(path, child->name);
    switch (child->kind) {
      case Kind::kLeaf:
        ReadLeaf(*child, ids, child_path, values);
        break;
      case Kind::kContainer:
        ReadBelow(*child, ids, child_path, values);
        break;
      case Kind::kElement:
        ReadLeaf(*child, Below(ids, child->id), JoinPath(path, child->name, child->id), values);
        break;
      case Kind::kEntry:
        ReadBelow(*child, Below(ids, child->id), JoinPath(path, child->name, child->id), values);
        break;
      default:
        break;
    }
  }
}

// All that the names from `at` on reach below a node, over all instances.
void PlainReads::ReadWildcard(const Node& node, const Ids& ids, const std::string& path,
                              const std::vector<std::string>& names, std::size_t at,
                              Values* values) const {
  const bool is_last = at + 1 == names.size();
  const auto go_on = [&](const Node& below, const Ids& below_ids, const std::string& below_path) {
    if (is_last) {
      ReadBelow(below, below_ids, below_path, values);
    } else {
      ReadWildcard(below, below_ids, below_path, names, at + 1, values);
    }
  };
  for (const auto& child : node.children) {
    if (child->name != names[at]) continue;
    const std::string child_path = JoinPath(path, child->name);
    if (child->kind == Kind::kLeaf && is_last) ReadLeaf(*child, ids, child_path, values);
    if (child->kind == Kind::kLeafList && is_last) ReadElements(*child, ids, child_path, values);
    if (child->kind == Kind::kContainer) go_on(*child, ids, child_path);
    if (child->kind == Kind::kEntry) {
      go_on(*child, Below(ids, child->id), JoinPath(path, child->name, child->id));
    }
  }
}

void PlainReads::Read(const ReadElement& element, Values* values) const {
  const auto names = ParsePath(element.name);
  if (!names) return;
  const ReferenceTree::Way way = tree_.Follow(*names, element.ids, true);
  if (way.last == nullptr) return;
  const bool is_whole = way.names == names->size();
  // The path of the place, and with what was not matched behind it.
  const Ids used = Prefix(element.ids, way.ids);
  std::string place_path;
  std::string path;
  const Schema* at = &schema_;
  std::size_t ids = 0;
  for (std::size_t i = 0; i < names->size(); ++i) {
    path = JoinPath(path, (*names)[i]);
    if (i >= way.names) continue;
    at = at->Find((*names)[i]);
    if (at->kind == Schema::Kind::kList) path += "." + std::to_string(used.at(ids++));
    place_path = path;
  }
  switch (way.last->kind) {
    case Kind::kLeaf:
      if (element.value) {
        values->push_back({path, *element.value});
      } else {
        ReadLeaf(*way.last, element.ids, path, values);
      }
      break;
    case Kind::kLeafList:
      if (is_whole) ReadElements(*way.last, used, path, values);
      break;
    case Kind::kContainer:
    case Kind::kEntry:
      if (is_whole) {
        ReadBelow(*way.last, used, path, values);
      } else if (way.ids == element.ids.size()) {
        ReadWildcard(*way.last, used, place_path, *names, way.names, values);
      }
      break;
    default:
      break;
  }
}

void PlainReads::FindBelow(const Nodes& level, const Ids& ids,
                           const std::vector<std::string>& names, std::size_t at,
                           const ReadElement& element, std::vector<Ids>* found) const {
  const bool is_last = at + 1 == names.size();
  for (const auto& child : level) {
    if (child->name != names[at]) continue;
    if (child->kind == Kind::kList || child->kind == Kind::kLeafList) continue;
    // The known ids belong to the lists on the path one by one.
    const bool is_other = child->IsInstance() && ids.size() < element.ids.size() &&
                          child->id != element.ids[ids.size()];
    if (is_other) continue;
    const Ids child_ids = child->IsInstance() ? Below(ids, child->id) : ids;
    const bool is_leaf = child->kind == Kind::kLeaf || child->kind == Kind::kElement;
    if (!is_leaf && !is_last) {
      FindBelow(child->children, child_ids, names, at + 1, element, found);
    } else if (is_leaf && is_last && element.value && ValueOf(*child, child_ids) == element.value) {
      found->push_back(child_ids);
    }
  }
}

Expectation PlainReads::Find(const ModelRequest& request) const {
  Expectation expected;
  for (const ReadElement& element : request.reads) {
    const auto names = ParsePath(element.name);
    if (!names) return {.ok = false, .fault_code = NC_DM_FAULT_CODE_OP_FAILED};
    std::vector<Ids> found;
    FindBelow(tree_.roots(), {}, *names, 0, element, &found);
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
