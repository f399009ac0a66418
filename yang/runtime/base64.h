// Base64 (RFC 4648, section 4), as YANG's binary values are written.
#ifndef YANG_RUNTIME_BASE64_H_
#define YANG_RUNTIME_BASE64_H_

#include <string_view>

#include "ncdm_model.h"

namespace ncdm::model {

// Reads a text with its padding and without white space.
bool DecodeBase64(std::string_view text, ncdm_binary_t& binary);

// False when the size is beyond the octets that a record holds.
bool EncodeBase64(const ncdm_binary_t& binary, char text[NCDM_TEXT_SIZE]);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_BASE64_H_
