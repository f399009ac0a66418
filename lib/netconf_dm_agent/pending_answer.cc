#include "netconf_dm_agent/pending_answer.h"

#include <optional>

#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"

namespace nc {
namespace {

std::optional<AnswerKind> g_answer_kind;

nc_dm_list_t* Answer() { return &g_nc_dm_mng_info.param_list; }

}  // namespace

void SetAnswerKind(AnswerKind kind) { g_answer_kind = kind; }

void ReleaseAnswer(AnswerKind kind) {
  if (g_answer_kind.value_or(kind) == AnswerKind::kValues) {
    nc_dm_agent_free_val_list(Answer());
  } else {
    nc_dm_agent_free_id_array_list(Answer());
  }
  ForgetAnswer();
}

void ForgetAnswer() {
  InitList(&Answer()->head);
  Answer()->cnt = 0;
  g_answer_kind.reset();
}

}  // namespace nc
