// Types of YANG, as libyang compiled them, and their place in a record.
#ifndef YANG_GENERATOR_READ_TYPE_H_
#define YANG_GENERATOR_READ_TYPE_H_

#include <libyang/libyang.h>

#include <span>
#include <string>

#include "module.h"

namespace ncdm::yang {

// libyang's arrays, which know their size and are null when empty.
template <typename Element>
std::span<Element> Sized(Element* array) {
  return {array, array == nullptr ? 0 : LY_ARRAY_COUNT(array)};
}

// Throws Refusal, with `where` in front, for what a value cannot be checked against.
Type ReadType(const lysc_type& type, const std::string& where);

}  // namespace ncdm::yang

#endif  // YANG_GENERATOR_READ_TYPE_H_
