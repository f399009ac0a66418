// The data as it should be, and what the application should say to each callback: a map from
// instance paths ("net.user.3.name") to texts.
#ifndef TESTS_INTEGRATION_DEVICE_DATA_H_
#define TESTS_INTEGRATION_DEVICE_DATA_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "reference/reference_request.h"
#include "schema_tree.h"

namespace ncdm_test {

class DeviceData {
 public:
  const std::map<std::string, std::string>& values() const { return values_; }

  // Puts in an entry, a leaf's value, a leaf-list's element.
  void PutEntry(const Schema& list, const Ids& ids, const std::string& keys);
  void PutValue(const Schema& leaf, const Ids& ids, const std::string& text);
  void PutElement(const Schema& leaf_list, const Ids& ids, const std::string& text);

  // Without a list: yes.
  bool HasEntry(const Schema* list, const Ids& ids) const;

  // Takes out an entry with all that is in it, or an element; either may be missing.
  void TakeEntry(const Schema& list, const Ids& ids);
  void TakeElement(const Schema& leaf_list, const Ids& ids);

  // The entry with these keys, by the ids of the lists around it; 0 when there is none.
  std::int64_t FindEntry(const Schema& list, const Ids& parents, const std::string& keys) const;

  // What a callback answers. Its ids may be more than a place needs.
  ReferenceAnswer Answer(const Schema& leaf, const ReferenceCall& call);

  std::optional<std::string> Get(const Schema& leaf, const Ids& ids) const;

 private:
  using Slots = std::map<int, std::string>;

  // The keys that slots give; empty when one is missing.
  static std::string KeysInSlots(const Schema& list, const Slots& slots);
  int Set(const Schema& leaf, const Ids& ids, const std::string& text);
  std::int64_t DeleteLeaf(const Schema& leaf, const Ids& ids);
  std::int64_t LookUp(const Schema& list, const Ids& ids, const Slots& slots) const;
  std::int64_t CreateEntry(const Schema& list, const Ids& ids, const std::string& text,
                           bool* existed);
  // By ids when the entry's own is among them, otherwise by its first key.
  std::int64_t DeleteEntry(const Schema& list, const Ids& ids, const std::string& text);
  std::int64_t CreateElement(const Schema& leaf_list, const Ids& ids, const std::string& text,
                             bool* existed);
  std::int64_t DeleteElement(const Schema& leaf_list, const Ids& ids, const std::string& text);
  std::int64_t Command(const Schema& list, int op_flag, const Ids& ids, const Slots& slots,
                       bool* existed);
  std::string KeysOf(const Schema& list, const Ids& ids) const;
  static std::string IndexKey(const Schema& list, const Ids& parents, const std::string& keys);
  std::int64_t RemoveEntry(const Schema& list, const Ids& ids);
  std::int64_t SetSlots(const Schema& list, const Ids& ids, const Slots& slots);
  std::int64_t UnsetSlots(const Schema& list, const Ids& ids, const Slots& slots);
  std::int64_t CommandOnEntry(const Schema& list, int op_flag, const Ids& ids, const Slots& slots);
  std::int64_t DeleteByKeys(const Schema& list, const Ids& parents, const Slots& slots);
  std::int64_t MergeByKeys(const Schema& list, int op_flag, const Ids& parents, const Slots& slots,
                           bool* existed);

  std::map<std::string, std::string> values_;
  std::map<std::string, std::int64_t> index_;  // entries and elements by place and keys
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_DEVICE_DATA_H_
