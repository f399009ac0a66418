#include "server/registry.h"

#include <algorithm>

namespace ncdm::server {

void Registry::Add(std::string_view path, std::int32_t attributes) {
  ++version_;
  const auto [place, is_new] = places_.try_emplace(std::string(path), next_place_);
  if (is_new) {
    paths_.emplace(next_place_++, RegisteredPath{std::string(path), attributes});
  } else {
    paths_.at(place->second).attributes = attributes;
  }
}

bool Registry::Remove(std::string_view path) {
  const auto place = places_.find(std::string(path));
  if (place == places_.end()) {
    return false;
  }
  ++version_;
  paths_.erase(place->second);
  places_.erase(place);
  return true;
}

void Registry::SetYangAttribute(std::string_view module, std::int32_t type,
                                std::string_view value) {
  ++version_;
  const auto known = std::ranges::find_if(yang_attributes_, [&](const YangAttribute& attribute) {
    return attribute.module == module && attribute.type == type;
  });
  if (known != yang_attributes_.end()) {
    known->value = value;
  } else {
    yang_attributes_.push_back({type, std::string(module), std::string(value)});
  }
}

void Registry::Clear() {
  ++version_;
  paths_.clear();
  places_.clear();
  yang_attributes_.clear();
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
  const auto place = places_.find(std::string(path));
  return place == places_.end() ? nullptr : &paths_.at(place->second);
}

}  // namespace ncdm::server
