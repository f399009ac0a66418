// One request while it is carried out: what the application is asked and says, and the fault.
#ifndef TESTS_REFERENCE_REFERENCE_REQUEST_H_
#define TESTS_REFERENCE_REFERENCE_REQUEST_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "reference/reference_tree.h"

namespace ncdm_test {

// A value in a command's slot.
struct ReferenceSlot {
  const ModelLeaf* leaf;
  std::string text;  // canonical
};

// A callback that is called.
struct ReferenceCall {
  Callback callback;
  const ModelLeaf* leaf;  // what it was registered with
  Ids ids;
  int src = 0;
  std::string value = {};                   // canonical; of set, create and delete
  int op_flag = 0;                          // of get_attr and exe_cmd
  std::map<int, ReferenceSlot> slots = {};  // the same
};

struct ReferenceAnswer {
  nc_int64 result = 0;
  bool existed = false;    // what was to be created
  std::string value = {};  // of get
};

// An application.
using ReferenceApplication = std::function<ReferenceAnswer(const ReferenceCall&)>;

// What goes wrong in a request; the last one is reported.
struct ReferenceFault {
  int code = 0;
  std::string path = {};
  bool is_new = false;  // since the last command began
};

class ReferenceRequest {
 public:
  ReferenceRequest(const ReferenceApplication& application, bool sdn)
      : application_(application), sdn_(sdn) {}

  bool sdn() const { return sdn_; }
  int Source() const { return sdn_ ? NC_DM_NODE_SRC_SDN : NC_DM_NODE_SRC_NONE; }

  ReferenceAnswer Call(const ReferenceCall& call);
  // True if the application has said yes to something.
  bool accepted() const { return accepted_; }
  void Accept() { accepted_ = true; }

  ReferenceFault& fault() { return fault_; }
  void Fail(int code, const std::string& path) { fault_ = {code, path, true}; }
  // The path stays what it was.
  void FailHere(int code) {
    fault_.code = code;
    fault_.is_new = true;
  }
  void FailUnlessFailed(const std::string& path) {
    if (fault_.code == 0) Fail(NC_DM_FAULT_CODE_OP_FAILED, path);
  }

 private:
  const ReferenceApplication& application_;
  bool sdn_;
  bool accepted_ = false;
  ReferenceFault fault_;
};

}  // namespace ncdm_test

#endif  // TESTS_REFERENCE_REFERENCE_REQUEST_H_
