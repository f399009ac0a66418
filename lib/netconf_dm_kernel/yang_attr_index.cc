#include "netconf_dm_kernel/yang_attr_index.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "netconf_dm_util/enum_number.h"

namespace {

bool IsBefore(const nc_dm_yang_attr_t* a, const nc_dm_yang_attr_t* b) {
  const nc_int32 a_type = nc::EnumNumber(a->type);
  const nc_int32 b_type = nc::EnumNumber(b->type);
  return a_type != b_type ? a_type < b_type : strcmp(a->module_name, b->module_name) < 0;
}

}  // namespace

namespace nc {

void YangAttrIndex::Add(const nc_dm_yang_attr_t* attribute) {
  if (attribute->module_name == nullptr) return;
  if (cnt_ == size_ && !Grow()) {
    complete_ = false;
    return;
  }
  attributes_.get()[cnt_++] = attribute;
}

bool YangAttrIndex::Grow() {
  constexpr size_t kFirstSize = 64;
  const size_t size = size_ == 0 ? kFirstSize : size_ * 2;
  auto* memory = static_cast<const nc_dm_yang_attr_t**>(
      realloc(attributes_.get(), size * sizeof(nc_dm_yang_attr_t*)));
  if (memory == nullptr) return false;
  attributes_.release();
  attributes_.reset(memory);
  size_ = size;
  return true;
}

bool YangAttrIndex::Sort() {
  std::sort(attributes_.get(), attributes_.get() + cnt_, IsBefore);
  return complete_;
}

const nc_dm_yang_attr_t* YangAttrIndex::Find(const nc_dm_yang_attr_t& key) const {
  if (key.module_name == nullptr) return nullptr;
  const nc_dm_yang_attr_t* const* begin = attributes_.get();
  const auto* end = begin + cnt_;
  const auto* found = std::lower_bound(begin, end, &key, IsBefore);
  return found != end && !IsBefore(&key, *found) ? *found : nullptr;
}

}  // namespace nc
