// Answers to the server: the FAULT message, and the pending answer of a filter or an instance-id
// lookup, which write tasks send segment by segment.
#ifndef NETCONF_DM_AGENT_ANSWER_H_
#define NETCONF_DM_AGENT_ANSWER_H_

#include "netconf_dm_agent/pending_answer.h"
#include "netconf_dm_kernel.h"

namespace nc {

// Sends a FAULT built in `buf`, the bytes of a SendBuffer. The send's result.
int SendFault(int fd, char* buf, nc_int32 sid, nc_dm_fault_t* fault);

// Makes the pending answer an empty one of `kind`. What was left of an answer before (its
// connection was lost, or the server did not wait for it) is released as what it is, and the write
// task of the other kind is withdrawn: it would take the new records for its own.
void BeginAnswer(AnswerKind kind);

// Remembers whom the pending answer is for and schedules its first segment.
void StartAnswer(const nc_dm_msg_t* request, nc_dm_event_t write_event);

// With the timing bit on, writes "[<what> time]:<seconds> sec." to the log and starts the time
// anew.
void PrintTime(const char* what, double* seconds);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_ANSWER_H_
