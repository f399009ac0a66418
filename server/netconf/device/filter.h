// Subtree and XPath filters (RFC 6241, sections 6 and 8.9): what has to be read for one, and what
// of the data it selects.
#ifndef NCDM_SERVER_NETCONF_DEVICE_FILTER_H_
#define NCDM_SERVER_NETCONF_DEVICE_FILTER_H_

#include <memory>
#include <string>

#include "server/netconf/device/read.h"
#include "server/netconf/device/xml_document.h"
#include "server/netconf/device/yang_context.h"

namespace ncdm::netconf {

class Filter {
 public:
  virtual ~Filter() = default;

  // At least everything that decides what is selected, and that itself.
  virtual Wanted ToRead() const = 0;
  // Frees what is not selected. Keys of entries of which anything is selected stay. Throws
  // OperationFailed for an expression that selects no nodes.
  virtual void Apply(Tree* tree) const = 0;
};

// The filter of a <get> or <get-config> (`filter`: its <filter>). Null without one, and for
// the XPath "/": everything. Throws OperationFailed. `document` stays alive with the filter.
std::unique_ptr<Filter> MakeFilter(const YangContext& context, Element filter);

// `text` as a value of `schema`, canonical, with its prefixes as `element` declares them. Throws
// OperationFailed (invalid-value) without a path.
std::string CanonicalValue(const YangContext& context, const lysc_node* schema, Element element,
                           const std::string& text);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_FILTER_H_
