#include "server/netconf/device/choices.h"

namespace ncdm::netconf {

bool AreInDifferentCases(const lysc_node* one, const lysc_node* other) {
  for (const lysc_node* own = one->parent; own != nullptr && own->nodetype == LYS_CASE;
       own = own->parent->parent) {
    for (const lysc_node* its = other->parent; its != nullptr && its->nodetype == LYS_CASE;
         its = its->parent->parent) {
      if (own->parent == its->parent) {
        return own != its;
      }
    }
  }
  return false;
}

}  // namespace ncdm::netconf
