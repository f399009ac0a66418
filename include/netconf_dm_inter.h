/*
 * netconf_dm_inter.h - the library's tasks on the application's event loop.
 *
 * The library does all of its work in tasks of the application's zu_thread_master: one task of each
 * kind at most. A handle is non-null while its task is scheduled, and each task function clears its
 * own handle first, so that it may schedule its kind again.
 *
 * Everything here belongs to the event-loop thread.
 */
#ifndef NETCONF_DM_INTER_H_
#define NETCONF_DM_INTER_H_

#include "netconf_dm_agent.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Kinds of task. */
typedef enum nc_dm_event NC_DM_AS_INT {
  NC_DM_EVENT_CONNECT = 0,
  NC_DM_EVENT_RECONNECT = 1,
  NC_DM_EVENT_READ = 2,
  NC_DM_EVENT_FLTRSP_WRITE = 3, /* next segment of a filter's answer */
  NC_DM_EVENT_IDRSP_WRITE = 4,  /* next segment of an instance-id lookup's answer */
  NC_DM_EVENT_NOTIFY = 5,       /* not supported */
  NC_DM_EVENT_REG = 6,          /* drain the pending registrations */
  NC_DM_EVENT_UNREG = 7,        /* not supported */
  NC_DM_EVENT_UNREG_CLIENT = 8, /* ask the server to forget this client */
  NC_DM_EVENT_MAX = 9
} nc_dm_event_t;

/* A task that could not be scheduled, and when it was to come. */
typedef struct nc_dm_task_request {
  int32_t socket;
  long sec;
  long usec;
} nc_dm_task_request_t;

/* The handles of the scheduled tasks. */
typedef struct nc_dm_thread_manage {
  zu_thread_master* master;
  zu_thread* tt_connect;
  zu_thread* tt_reconnect;
  zu_thread* tt_read;
  zu_thread* tt_fltrsp;
  zu_thread* tt_idrsp;
  zu_thread* tt_notify;
  zu_thread* tt_reg;
  zu_thread* tt_unreg_client;

  /* Internal; not part of the documented record. */
  zu_thread* tt_watch; /* sees whether the server takes what is sent */
  uint32_t owed; /* a bit for each kind of task that is to be scheduled by the next chance; the
                    bit behind the kinds is the watch's */
  nc_dm_task_request_t requests[NC_DM_EVENT_MAX + 1]; /* of the kinds that are owed */
} nc_dm_thread_manage_t;

NC_DM_API extern nc_dm_thread_manage_t g_nc_dm_agent_manage;

/* ---- Scheduling: the agent's tasks ---- */

/*
 * Schedules the task of `event`, unless one of its kind is scheduled already.
 *   socket  descriptor of a read or write task, value of a connect task
 *   time    delay in seconds of NC_DM_EVENT_REG
 * The reconnect task comes after one second, connect and client-unregister tasks soon. A failure is
 * logged and leaves the handle null; the library tries again at the next thing that happens, be it
 * a task or a registration call on the event-loop thread. Where a write task cannot be scheduled
 * the pending answer is released instead.
 */
NC_DM_API void nc_dm_agent_handle_event(nc_dm_event_t event, int32_t socket, int time);

/* Schedules the registration task after `sec` seconds and `usec` microseconds; only
 * NC_DM_EVENT_REG. */
NC_DM_API void nc_dm_agent_handle_timer(nc_dm_event_t event, long sec, long usec);

/* ---- The tasks: connection, registration_task, leave, answer ---- */

/*
 * Task functions. Each takes the task that runs it, and returns 0 or the result of the step that
 * failed; the loop ignores it.
 */
NC_DM_API int nc_dm_agent_connect(zu_thread* t);
NC_DM_API int nc_dm_agent_reconnect(zu_thread* t);
NC_DM_API int nc_dm_agent_read(zu_thread* t);
NC_DM_API int nc_dm_agent_reg_handler(zu_thread* t);
NC_DM_API int nc_dm_agent_unreg_client(zu_thread* t);
NC_DM_API int nc_dm_agent_send_filter_rsp_lst(zu_thread* t);
NC_DM_API int nc_dm_agent_send_getid_rsp_lst(zu_thread* t);

/* ---- The socket and the connection: client_socket, connection, collected_requests ---- */

/*
 * Creates the client's socket bound to `path` (a suffix of TMPDIR); a file in its place is removed.
 * `is_block` true makes the socket non-blocking; the name is older than its meaning. Returns the
 * descriptor, or -1.
 */
NC_DM_API int nc_dm_agent_create_socket(char* path, bool is_block);

/* Creates the socket of this client. Returns the descriptor, or -1. */
NC_DM_API int nc_dm_agent_create(void);

/* Creates the socket and connects it to the server, unless connected. Returns 0, or -1. */
NC_DM_API int nc_dm_agent_connect_socket(void);

/* Closes the socket and cancels every task of the connection; the registration task goes on. */
NC_DM_API void nc_dm_agent_clear_connect(void);

/* Notes in the connection state whether a client of this name ran before, from its socket file, and
 * returns it. */
NC_DM_API bool nc_dm_agent_restart(char* agent_name);

/* Empties the lists in which edits and filters are collected between messages. Returns 0. */
NC_DM_API int nc_dm_agent_op_data_init(void);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_INTER_H_ */
