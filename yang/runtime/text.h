// UTF-8 texts.
#ifndef YANG_RUNTIME_TEXT_H_
#define YANG_RUNTIME_TEXT_H_

#include <cstddef>
#include <optional>
#include <string_view>

namespace ncdm::model {

// The number of characters of a text; nothing when it is no UTF-8, or has a character that YANG's
// strings may not hold (control characters but tab and line ends, surrogates, non-characters).
std::optional<size_t> Utf8Length(std::string_view text);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_TEXT_H_
