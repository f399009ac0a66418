// XPath expressions as text.
#ifndef NCDM_SERVER_NETCONF_DEVICE_XPATH_TEXT_H_
#define NCDM_SERVER_NETCONF_DEVICE_XPATH_TEXT_H_

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncdm::netconf {

// The module name for a prefix; the empty prefix is asked for names without one.
using PrefixResolver = std::function<std::optional<std::string>(const std::string& prefix)>;

// Literals that are a name with a prefix, such as an identity's, may be meant as one.
enum class Literals { kAsTheyAre, kToo };

// The expression with module names in the place of prefixes, the form that libyang takes. Nothing
// when a prefix does not resolve; a literal's is left as it is then.
std::optional<std::string> WithModuleNames(std::string_view expression,
                                           const PrefixResolver& resolve,
                                           Literals literals = Literals::kAsTheyAre);

// The same for an instance identifier: a step names its module only where that is another than the
// one of the step before, and the literals of its predicates may be identities.
std::optional<std::string> InstanceWithModuleNames(std::string_view path,
                                                   const PrefixResolver& resolve);

// The same for an identity's name. Nothing for what is no name, too.
std::optional<std::string> IdentityWithModuleName(std::string_view name,
                                                  const PrefixResolver& resolve);

// One step of a path, in the form with module names.
struct PathStep {
  std::string name;                                             // "module:name"
  std::vector<std::pair<std::string, std::string>> predicates;  // "module:name" = literal
};

// The steps of an absolute path whose predicates compare children with literals; nothing for any
// other expression.
std::optional<std::vector<PathStep>> PlainPath(std::string_view expression);

// True if the expression, evaluated at a node, looks at no more than the tree below the ancestor
// `levels` above that node.
bool StaysWithin(std::string_view expression, int levels);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_XPATH_TEXT_H_
