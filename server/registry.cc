#include "server/registry.h"

namespace ncdm::server {
namespace {

// A node of a map and of a hash table, and what they cost to allocate.
constexpr std::size_t kNodes = 96;

std::size_t MemoryOf(const RegisteredPath& path) {
  return sizeof(path) + kNodes + path.path.capacity();
}

// The module is kept twice; the vector may be twice as large as what is in it.
std::size_t MemoryOf(const YangAttribute& attribute) {
  return 2 * sizeof(attribute) + kNodes + 2 * attribute.module.capacity() +
         attribute.value.capacity();
}

std::string YangKey(std::string_view module, std::int32_t type) {
  return std::to_string(type).append(" ").append(module);
}

}  // namespace

void Registry::Add(std::string_view path, std::int32_t attributes) {
  ++version_;
  const auto known = places_.find(path);
  if (known != places_.end()) {
    paths_.at(known->second).attributes = attributes;
    return;
  }
  const std::uint64_t place = next_place_++;
  const auto added = paths_.emplace(place, RegisteredPath{std::string(path), attributes}).first;
  places_.emplace(added->second.path, place);
  memory_ += MemoryOf(added->second);
}

bool Registry::Remove(std::string_view path) {
  const auto place = places_.find(path);
  if (place == places_.end()) {
    return false;
  }
  ++version_;
  const auto removed = paths_.find(place->second);
  memory_ -= MemoryOf(removed->second);
  places_.erase(place);
  paths_.erase(removed);
  return true;
}

void Registry::SetYangAttribute(std::string_view module, std::int32_t type,
                                std::string_view value) {
  ++version_;
  const auto [place, is_new] =
      yang_places_.try_emplace(YangKey(module, type), yang_attributes_.size());
  if (is_new) {
    yang_attributes_.push_back({type, std::string(module), ""});
    memory_ += MemoryOf(yang_attributes_.back());
  }
  YangAttribute& attribute = yang_attributes_[place->second];
  memory_ -= MemoryOf(attribute);
  attribute.value = value;
  memory_ += MemoryOf(attribute);
}

void Registry::Clear() {
  ++version_;
  places_.clear();
  paths_.clear();
  yang_attributes_ = {};
  yang_places_.clear();
  memory_ = 0;
}

std::vector<RegisteredPath> Registry::Paths() const {
  std::vector<RegisteredPath> paths;
  paths.reserve(paths_.size());
  for (const auto& [place, path] : paths_) {
    paths.push_back(path);
  }
  return paths;
}

const RegisteredPath* Registry::Find(std::string_view path) const {
  const auto place = places_.find(path);
  return place == places_.end() ? nullptr : &paths_.at(place->second);
}

}  // namespace ncdm::server
