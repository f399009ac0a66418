// The answer to a filter or an instance-id lookup on its way to the server: write tasks send it
// segment by segment.
#ifndef NETCONF_DM_AGENT_ANSWER_H_
#define NETCONF_DM_AGENT_ANSWER_H_

#include "netconf_dm_agent/pending_answer.h"
#include "netconf_dm_kernel.h"

namespace nc {

// Makes the pending answer an empty one of `kind`. What was left of an answer before (its
// connection was lost, or the server did not wait for it) is released as what it is, and the write
// task of the other kind is withdrawn: it would take the new records for its own.
void BeginAnswer(AnswerKind kind);

// Remembers whom the pending answer is for and schedules its first segment.
void StartAnswer(const nc_dm_msg_t* request, nc_dm_event_t write_event);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_ANSWER_H_
