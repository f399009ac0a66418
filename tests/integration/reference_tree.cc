#include "reference_tree.h"

namespace ncdm_test {

ReferenceTree::ReferenceTree(const Schema* schema) : schema_(schema), root_(Make(schema, 0)) {}

ReferenceTree::Node ReferenceTree::Make(const Schema* schema, int src) {
  Node node;
  node.schema = schema;
  node.src = src;
  for (const auto& child : schema->children) {
    if (child->kind == Schema::Kind::kLeaf) {
      node.leaf_src[child->name] = src;
    } else if (child->kind == Schema::Kind::kContainer) {
      node.containers[child->name] = Make(child.get(), src);
    }
  }
  return node;
}

ReferenceTree::Node* ReferenceTree::AddInstance(Node* owner, const Schema* schema, std::int64_t id,
                                                int src) {
  owner->order.emplace_back(schema->name, id);
  return &(owner->instances[{schema->name, id}] = Make(schema, src));
}

void ReferenceTree::RemoveInstance(Node* owner, const std::string& name, std::int64_t id) {
  owner->instances.erase({name, id});
  std::erase(owner->order, std::pair(name, id));
}

ReferenceTree::Node* ReferenceTree::FindInstance(Node* owner, const std::string& name,
                                                 std::int64_t id) {
  const auto found = owner->instances.find({name, id});
  return found == owner->instances.end() ? nullptr : &found->second;
}

// One component further.
ReferenceTree::Place ReferenceTree::Step(const Place& from, const Schema* child, Node* at) {
  Place to;
  to.schema = child;
  to.matched = from.matched + 1;
  to.ids_used = from.ids_used;
  to.owner = from.node;
  switch (child->kind) {
    case Schema::Kind::kLeaf:
      to.kind = Place::Kind::kLeaf;
      to.node = from.node;
      break;
    case Schema::Kind::kContainer:
      to.kind = Place::Kind::kObject;
      to.node = &from.node->containers.at(child->name);
      break;
    case Schema::Kind::kList:
    case Schema::Kind::kLeafList:
      to.kind = child->kind == Schema::Kind::kList ? Place::Kind::kObject : Place::Kind::kElement;
      to.node = at;
      ++to.ids_used;
      break;
  }
  return to;
}

ReferenceTree::Place ReferenceTree::Match(const std::vector<std::string>& names, const Ids& ids,
                                          bool to_leaf_list) {
  Place place;
  place.schema = schema_;
  place.node = &root_;
  for (const std::string& name : names) {
    const Schema* child = place.schema->Find(name);
    if (child == nullptr) break;
    Node* instance = nullptr;
    if (child->kind == Schema::Kind::kLeafList && to_leaf_list) {
      place.kind = Place::Kind::kLeafList;
      place.owner = place.node;
      place.schema = child;
      ++place.matched;
      continue;
    }
    if (child->kind == Schema::Kind::kList || child->kind == Schema::Kind::kLeafList) {
      if (place.ids_used >= ids.size()) break;
      instance = FindInstance(place.node, name, ids[place.ids_used]);
      if (instance == nullptr) break;
    }
    place = Step(place, child, instance);
  }
  if (place.kind == Place::Kind::kNothing) return {};
  if (place.owner == &root_) place.owner = nullptr;
  return place;
}

void ReferenceTree::Stamp(const Place& place, int src) {
  if (place.kind == Place::Kind::kLeaf) {
    place.node->leaf_src[place.schema->name] = src;
  } else if (place.node->src != NC_DM_NODE_SRC_CLI_ALW) {
    place.node->src = src;
  }
}

ReferenceTree::Place ReferenceTree::CreateMissing(const std::vector<std::string>& names,
                                                  const Ids& ids, int src) {
  Place place = Match(names, ids, false);
  if (place.kind == Place::Kind::kNothing) return {};
  Stamp(place, src);
  while (place.matched < names.size()) {
    const Schema* child = place.schema->Find(names[place.matched]);
    if (child == nullptr) return {};
    if (child->kind == Schema::Kind::kList || child->kind == Schema::Kind::kLeafList) {
      if (place.ids_used >= ids.size()) return place;
      const std::int64_t id = ids[place.ids_used];
      if (id <= 0) return {};
      made_.push_back({place.node, child->name, id});
      place = Step(place, child, AddInstance(place.node, child, id, src));
    } else {
      place = Step(place, child, nullptr);
      Stamp(place, src);
    }
  }
  return place;
}

void ReferenceTree::UnmakeWay() {
  for (; !made_.empty(); made_.pop_back()) {
    RemoveInstance(made_.back().owner, made_.back().name, made_.back().id);
  }
}

std::size_t ReferenceTree::CountInstances(const Node& node, Schema::Kind kind) {
  std::size_t count = 0;
  for (const auto& [name, container] : node.containers) count += CountInstances(container, kind);
  for (const auto& [key, instance] : node.instances) {
    count += (instance.schema->kind == kind ? 1 : 0) + CountInstances(instance, kind);
  }
  return count;
}

std::size_t ReferenceTree::InstanceSizes(const Node& node) {
  std::size_t size = 0;
  for (const auto& [name, container] : node.containers) size += InstanceSizes(container);
  for (const auto& [key, instance] : node.instances) {
    size += instance.schema->Size() + InstanceSizes(instance);
  }
  return size;
}

std::size_t ReferenceTree::total_nodes() const {
  return schema_->Size() - 1 + InstanceSizes(root_);
}

std::vector<std::int64_t> ReferenceTree::InstancesAt(const Schema& list, const Ids& ids) const {
  const Place place = const_cast<ReferenceTree*>(this)->Match(Names(list.parent->path), ids, false);
  std::vector<std::int64_t> found;
  if (place.kind != Place::Kind::kObject || place.schema != list.parent) return found;
  for (const auto& [name, id] : place.node->order) {
    if (name == list.name) found.push_back(id);
  }
  return found;
}

}  // namespace ncdm_test
