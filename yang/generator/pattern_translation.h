// Patterns of YANG are regular expressions of XML Schema; PCRE2 reads another dialect.
#ifndef YANG_GENERATOR_PATTERN_TRANSLATION_H_
#define YANG_GENERATOR_PATTERN_TRANSLATION_H_

#include <optional>
#include <string>
#include <string_view>

namespace ncdm::yang {

// The same pattern for PCRE2, anchored by its options; nothing when it cannot be said there.
std::optional<std::string> ForPcre2(std::string_view pattern);

}  // namespace ncdm::yang

#endif  // YANG_GENERATOR_PATTERN_TRANSLATION_H_
