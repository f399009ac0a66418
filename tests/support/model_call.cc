#include "support/model_call.h"

namespace ncdm_test {
namespace {

const char* Name(Callback callback) {
  switch (callback) {
    case Callback::kSet:
      return "set";
    case Callback::kGet:
      return "get";
    case Callback::kCreate:
      return "create";
    case Callback::kDelete:
      return "delete";
    case Callback::kGetAttr:
      return "get_attr";
    case Callback::kExeCmd:
      return "exe_cmd";
  }
  return "?";
}

}  // namespace

std::string ModelCall::ToString() const {
  std::string text = std::string(Name(callback)) + " " + leaf + " ids=[";
  for (size_t i = 0; i < ids.size(); ++i) text += (i > 0 ? "," : "") + std::to_string(ids[i]);
  text += "]";
  if (callback == Callback::kGet) return text;
  text += " src=" + std::to_string(src);
  if (callback != Callback::kGetAttr && callback != Callback::kExeCmd)
    return text + " value=" + value;
  text += " op=" + std::to_string(op_flag) + " slots={";
  const char* separator = "";
  for (const auto& [slot, slot_value] : slots) {
    text += separator + std::to_string(slot) + ":" + slot_value;
    separator = ", ";
  }
  return text + "}";
}

}  // namespace ncdm_test
