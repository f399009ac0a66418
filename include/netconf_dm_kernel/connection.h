/*
 * The connection: its state, frames, the handlers of requests. All of it belongs to the event-loop
 * thread.
 */
#ifndef NETCONF_DM_KERNEL_CONNECTION_H_
#define NETCONF_DM_KERNEL_CONNECTION_H_

#include <stdbool.h>
#include <sys/types.h>

#include "netconf_dm_inter.h"
#include "netconf_dm_kernel/records.h"
#include "netconf_dm_kernel/tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- State: the agent's connection, collected_requests ---- */

/* State of the one connection to the server. */
typedef struct nc_dm_mng_info {
  pid_t agent_pid; /* kernel thread id of the initialising thread */
  int agent_fd;    /* the socket, -1 for none */
  double exe_time; /* seconds spent in callbacks while the timing bit is set */
  double set_time;
  double get_time;
  double del_time;
  double crt_time;
  nc_dm_ds_type_t curr_dstype;    /* datastore of the request being served */
  int (*unreg_rsp_handler)(void); /* the server has forgotten the client */
  int (*reg_rsp_handler)(void);   /* the server refused a registration */
  int (*data_commit)(char*);      /* the commit hook */
  nc_dm_msg_head_t msg_head; /* head of the request whose answer is pending; only sid is used */
  nc_dm_list_t param_list;   /* the pending answer */
  nc_dm_fault_t fault;       /* reported when a segmented answer fails */
  char recv_msg_buf[NC_DM_RECV_BUF_SIZE];
  char send_msg_buf[NC_DM_SEND_BUF_SIZE];
  char agent_name[NC_DM_MAX_NAME_LEN + 1];
  bool agent_init;      /* nc_dm_agent_init has connected or arranged to */
  bool agent_tree_init; /* the tree stands */
  bool agent_restart;   /* a client of this name ran before; until the first registration answer */
  bool local_dm_reg_over; /* the application has declared its registration complete */
} nc_dm_mng_info_t;

NC_DM_API extern nc_dm_mng_info_t g_nc_dm_mng_info;

/* The elements that EDIT, and FILTER and GETID, segments have collected. */
NC_DM_API extern nc_dm_stub_edit_node_list_t g_nc_dm_edit_node_list;
NC_DM_API extern nc_dm_stub_filter_node_list_t g_nc_dm_filter_node_list;

/* ---- Frames and their dispatch: frame, dispatch ---- */

/* The receive buffer, zeroed, as a message. */
NC_DM_API nc_dm_msg_t* nc_dm_agent_init_in_msg(void);

/* Sends one frame. 0; -1 for null; -2 when the connection is broken. */
NC_DM_API int nc_dm_agent_send(int fd, nc_dm_msg_t* out_msg);

/* Receives one frame and dispatches it. The dispatcher's result; -1 for a refused message; -2 when
 * the connection is broken. */
NC_DM_API int nc_dm_agent_recv(int fd);
/* Receives the body behind a head, of the types that the agent accepts. 0, -1 or -2. */
NC_DM_API int nc_dm_agent_get_msg(int fd, nc_dm_msg_t* in_msg);

/* Serves one received message; a failure is answered with a FAULT. 0, or the result of sending
 * that. */
NC_DM_API int nc_dm_agent_handle_msg(int fd, nc_dm_msg_t* in_msg);

/* ---- Handlers: handle_edit, handle_filter, handle_getid, handle_reg_rsp, handle_debug, leave ----
 */

/* Handlers of the message types. 0; negative with `fault` filled. */
NC_DM_API int nc_dm_agent_handle_msg_reg_rsp(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_edit(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_filter(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_unreg_client_rsp(int fd, nc_dm_msg_t* in_msg,
                                                      nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_getid(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_dbg(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_handle_msg_show(int fd, nc_dm_msg_t* in_msg, nc_dm_fault_t* fault);

/* Runs the collected filters into `result_list`, which is emptied first. 0, or a negative result.
 */
NC_DM_API int nc_dm_agent_do_filter(nc_dm_stub_filter_node_list_t* filter_list,
                                    nc_dm_list_t* result_list, nc_dm_fault_t* fault);

/* ---- Segments of answers: answer ---- */

/* Send the next segment of an answer and take what it holds off the list. 0, or -1. */
NC_DM_API int nc_dm_agent_send_filter_rsp(int fd, nc_dm_msg_t* out_msg,
                                          nc_dm_stub_filter_rsp_list_t* filter_rsp_list);
NC_DM_API int nc_dm_agent_send_getid_rsp(int fd, nc_dm_msg_t* out_msg,
                                         nc_dm_stub_getid_rsp_t* getid_rsp);

/* ---- What the agent sends without being asked: announce ---- */

/* Sends the client's name, once a connection. 0, or the send's result. */
NC_DM_API int nc_dm_agent_reg_server_name(int fd, int attr, char* client_name, nc_dm_t* client_dm);
/* Sends "mode register complete" at once. 0, or the send's result. */
NC_DM_API int nc_dm_agent_reg_server_mode_cplt(void);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_CONNECTION_H_ */
