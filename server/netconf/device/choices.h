// Choices of the model: nodes of one case exclude those of the others.
#ifndef NCDM_SERVER_NETCONF_DEVICE_CHOICES_H_
#define NCDM_SERVER_NETCONF_DEVICE_CHOICES_H_

#include <libyang/libyang.h>

namespace ncdm::netconf {

inline bool IsInCase(const lysc_node* node) {
  return node->parent != nullptr && node->parent->nodetype == LYS_CASE;
}

// True if the two siblings are in different cases of one choice, directly or further in.
bool AreInDifferentCases(const lysc_node* one, const lysc_node* other);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_CHOICES_H_
