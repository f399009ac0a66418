// Leaf-lists with defaults (RFC 7950, section 7.7.2): while nobody gave one an element, its
// elements are the defaults.
//
// The application's operations are not called for them, as for a leaf's default: they are what the
// model says of a leaf-list that is not configured.
#ifndef YANG_RUNTIME_DEFAULT_ELEMENTS_H_
#define YANG_RUNTIME_DEFAULT_ELEMENTS_H_

#include "application.h"
#include "store.h"

namespace ncdm::model {

// Puts a leaf-list's defaults in where it has no element under the lists of `outer`.
void AddDefaultElements(Application& application, const ncdm_node_t& leaf_list, const Ids& outer);

// The same for every leaf-list of the model, where no list stands around it.
void AddDefaultElements(Application& application, const ncdm_model_t& model);

// The same for every leaf-list in a list's entry.
void AddDefaultElementsOfEntry(Application& application, const ncdm_node_t& list, const Ids& ids);

// Takes a leaf-list's defaults out: it is given elements of its own.
void EndDefaultElements(Application& application, const ncdm_node_t& leaf_list, const Ids& outer);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_DEFAULT_ELEMENTS_H_
