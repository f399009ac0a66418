// Choices: a node of one case ends those of the others (RFC 7950, section 7.9).
//
// Leaves of one record see to that by themselves, in SetHasValue. Here is what stands beside the
// record: containers, lists and leaf-lists, and the leaves of a record further up.
#ifndef YANG_RUNTIME_CASES_H_
#define YANG_RUNTIME_CASES_H_

#include "application.h"
#include "store.h"

namespace ncdm::model {

// Ends what a record at `ids` excludes; for a new entry they are the ids around it. False when the
// application refuses to let something go.
bool EndOtherCases(Application& application, const ncdm_node_t& node, const Ids& ids,
                   const Record& record);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_CASES_H_
