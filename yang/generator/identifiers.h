// Names of C for names of YANG.
#ifndef YANG_GENERATOR_IDENTIFIERS_H_
#define YANG_GENERATOR_IDENTIFIERS_H_

#include <set>
#include <string>
#include <string_view>

namespace ncdm::yang {

// "tagged-port" becomes "tagged_port"; a keyword of C or C++ gets an underscore behind it.
std::string Identifier(std::string_view name);

// In capitals, for enumerators and macros; never a keyword.
std::string Constant(std::string_view name);

// Gives each name once: further ones get an underscore and a number.
class UniqueNames {
 public:
  std::string Unique(const std::string& name);

 private:
  std::set<std::string> used_;
};

}  // namespace ncdm::yang

#endif  // YANG_GENERATOR_IDENTIFIERS_H_
