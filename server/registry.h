// What an agent announced of itself: its paths with their attributes, and its YANG modules.
#ifndef NCDM_SERVER_REGISTRY_H_
#define NCDM_SERVER_REGISTRY_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "netconf_dm_util.h"

namespace ncdm::server {

struct RegisteredPath {
  std::string path;             // as announced: "interfaces.interface.{i}.mtu"
  std::int32_t attributes = 0;  // NC_DM_FLAG_* bits, and kSlot

  static constexpr std::int32_t kSlot = 16;  // the leaf has a slot in its entry's data block

  bool is_key() const { return (attributes & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE)) != 0; }
  bool is_leaf_list() const { return (attributes & NC_DM_FLAG_LEAF_LIST) != 0; }
  bool has_slot() const { return (attributes & kSlot) != 0; }
  friend bool operator==(const RegisteredPath&, const RegisteredPath&) = default;
};

struct YangAttribute {
  std::int32_t type = 0;  // nc_dm_yang_attr_type_t
  std::string module;
  std::string value;
  friend bool operator==(const YangAttribute&, const YangAttribute&) = default;
};

// Announcing a path or an attribute again replaces what is known of it and keeps its place. Each
// call takes constant time, but for those that give all there is.
class Registry {
 public:
  Registry() = default;
  Registry(Registry&&) = default;
  Registry& operator=(Registry&&) = default;

  void Add(std::string_view path, std::int32_t attributes);
  // False when the path was not there.
  bool Remove(std::string_view path);
  void SetYangAttribute(std::string_view module, std::int32_t type, std::string_view value);
  void Clear();

  // In order of first appearance.
  std::vector<RegisteredPath> Paths() const;
  const RegisteredPath* Find(std::string_view path) const;
  std::size_t path_count() const { return paths_.size(); }
  const std::vector<YangAttribute>& yang_attributes() const { return yang_attributes_; }

  // Bytes of heap that the content takes, nearly.
  std::size_t memory() const { return memory_; }

  // Changes whenever the content may have.
  std::uint64_t version() const { return version_; }

 private:
  std::map<std::uint64_t, RegisteredPath> paths_;               // by order of appearance
  std::unordered_map<std::string_view, std::uint64_t> places_;  // of each path; views into paths_
  std::vector<YangAttribute> yang_attributes_;
  std::unordered_map<std::string, std::size_t> yang_places_;  // by type and module
  std::uint64_t next_place_ = 0;
  std::size_t memory_ = 0;
  std::uint64_t version_ = 0;
};

}  // namespace ncdm::server

#endif  // NCDM_SERVER_REGISTRY_H_
