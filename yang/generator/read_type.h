// Types of YANG, as libyang compiled them, and their place in a record.
#ifndef YANG_GENERATOR_READ_TYPE_H_
#define YANG_GENERATOR_READ_TYPE_H_

#include <libyang/libyang.h>

#include <string>

#include "module.h"

namespace ncdm::yang {

// Throws Refusal, with `where` in front, for what a value cannot be checked against.
Type ReadType(const lysc_type& type, const std::string& where);

}  // namespace ncdm::yang

#endif  // YANG_GENERATOR_READ_TYPE_H_
