// The answer that waits, in param_list of the connection state, for its write task.
#ifndef NETCONF_DM_AGENT_PENDING_ANSWER_H_
#define NETCONF_DM_AGENT_PENDING_ANSWER_H_

namespace nc {

enum class AnswerKind { kValues, kIdArrays };

// Notes what the list will hold from now on.
void SetAnswerKind(AnswerKind kind);

// Releases the pending answer. What it holds was noted; if not, it is `kind`.
void ReleaseAnswer(AnswerKind kind);

// Empties the pending answer without releasing anything, for a cleared connection state.
void ForgetAnswer();

}  // namespace nc

#endif  // NETCONF_DM_AGENT_PENDING_ANSWER_H_
