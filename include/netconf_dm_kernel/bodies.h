/*
 * The bodies of the messages, as docs/protocol.md describes them.
 */
#ifndef NETCONF_DM_KERNEL_BODIES_H_
#define NETCONF_DM_KERNEL_BODIES_H_

#include "netconf_dm_kernel/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Encoding and decoding: the stub's encode, decode, decode_edit, decode_filter ---- */

/*
 * Encoders: fill a zeroed message, but for its `sid`. The caller sees to the room. 0; -1 for a null
 * argument or an unknown attribute, and the message is left as it was.
 */
NC_DM_API int nc_dm_agent_encode_reg_name(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name);
NC_DM_API int nc_dm_agent_encode_reg(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name);
NC_DM_API int nc_dm_agent_encode_unreg(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_t* name);
NC_DM_API int nc_dm_agent_encode_reg_yang_attr(nc_dm_msg_t* dm_msg, nc_dm_yang_attr_t* yang_attr);
NC_DM_API int nc_dm_agent_encode_reg_cplt(nc_dm_msg_t* dm_msg);
NC_DM_API int nc_dm_agent_encode_fault(nc_dm_msg_t* dm_msg, nc_dm_fault_t* fault);
NC_DM_API int nc_dm_agent_encode_edit_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_edit_rsp_t* edit_rsp);
NC_DM_API int nc_dm_agent_encode_filter_rsp(nc_dm_msg_t* dm_msg,
                                            nc_dm_stub_filter_rsp_t* filter_rsp);
NC_DM_API int nc_dm_agent_encode_getid_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_getid_rsp_t* getid_rsp);

/* The packet type of an EDIT, FILTER or GETID body, or -1. */
NC_DM_API int nc_dm_agent_decode_pkt_type(nc_dm_msg_t* dm_msg);

/*
 * Decoders: fill a zeroed record, or append to a list, from a received message. 0, or -1; after a
 * failed list the entries before the failure are in the list, which the caller releases.
 */
NC_DM_API int nc_dm_agent_decode_edit_list(nc_dm_msg_t* dm_msg,
                                           nc_dm_stub_edit_node_list_t* edit_list);
NC_DM_API int nc_dm_agent_decode_filter_list(nc_dm_msg_t* dm_msg,
                                             nc_dm_stub_filter_node_list_t* filter_list);
NC_DM_API int nc_dm_agent_decode_filter(nc_dm_msg_t* dm_msg, nc_dm_stub_filter_t* filter);
NC_DM_API int nc_dm_agent_decode_reg_rsp(nc_dm_msg_t* dm_msg, nc_dm_stub_reg_rsp_t* reg_rsp);
NC_DM_API int nc_dm_agent_decode_dbg(nc_dm_msg_t* dm_msg, nc_dm_stub_dbg_t* dbg);
/* Nothing in the library calls these. */
NC_DM_API int nc_dm_agent_decode_edit(nc_dm_msg_t* dm_msg, nc_dm_stub_edit_t* edit);
NC_DM_API int nc_dm_agent_decode_getid(nc_dm_msg_t* dm_msg, nc_dm_stub_getid_t* getid);
NC_DM_API int nc_dm_agent_decode_fault(nc_dm_msg_t* dm_msg, nc_dm_fault_t* fault);

/* ---- Release: the stub's release ---- */

/*
 * Release functions. Those of a record free what it holds, not the record; those of a list free its
 * elements too and leave it empty. Null is ignored; where a result is given it is 0, or -1 for
 * null.
 */
NC_DM_API void nc_dm_agent_free_val_node(nc_dm_val_node_t* val_node);
NC_DM_API void nc_dm_agent_free_reg_node(nc_dm_reg_node_t* reg_node);
NC_DM_API int nc_dm_agent_free_id_array_list(nc_dm_list_t* list);
NC_DM_API int nc_dm_agent_free_val_list(nc_dm_list_t* list);
/* Refuses a list whose count is not positive. */
NC_DM_API int nc_dm_agent_free_reg_list(nc_dm_list_t* list);
NC_DM_API void nc_dm_agent_free_getid(nc_dm_stub_getid_t* getid);
NC_DM_API void nc_dm_agent_free_filter(nc_dm_stub_filter_t* filter);
NC_DM_API void nc_dm_agent_free_edit(nc_dm_stub_edit_t* edit);
/* These two free the record inside the node, not the node. */
NC_DM_API void nc_dm_agent_free_filter_node(nc_dm_stub_filter_node_t* filter_node);
NC_DM_API void nc_dm_agent_free_edit_node(nc_dm_stub_edit_node_t* edit_node);
NC_DM_API void nc_dm_agent_free_filter_node_list(nc_dm_stub_filter_node_list_t* filter_list);
NC_DM_API void nc_dm_agent_free_edit_node_list(nc_dm_stub_edit_node_list_t* edit_list);
NC_DM_API void nc_dm_agent_free_reg(nc_dm_stub_reg_t* reg);
NC_DM_API void nc_dm_agent_free_reg_rsp(nc_dm_stub_reg_rsp_t* reg_rsp);
NC_DM_API void nc_dm_agent_free_yang_attr(nc_dm_yang_attr_t* yang_attr);
/* Nothing in the library calls it. */
NC_DM_API void nc_dm_agent_free_fault(nc_dm_fault_t* fault);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_KERNEL_BODIES_H_ */
