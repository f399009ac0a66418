/*
 * netconf_dm_yang.h - the header of a YANG module.
 *
 * A small line scanner, not a YANG parser: it reads a module's name, namespace, prefix and first
 * revision from a module written with one statement a line, so that an application can announce
 * them with nc_dm_agent_yang_attr_reg. No state, safe from any thread. Results are from malloc and
 * belong to the caller.
 */
#ifndef NETCONF_DM_YANG_H_
#define NETCONF_DM_YANG_H_

#include "netconf_dm_agent.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What was found; a field that was not is null. Each text is owned by the record. */
typedef struct nc_dm_yang_doc {
  char* module_name;
  char* version; /* date of the first revision */
  char* ns;      /* namespace */
  char* prefix;
} nc_dm_yang_doc_t;

/* Reads the header from the text of a module. The record, or null for null or short memory. */
NC_DM_API nc_dm_yang_doc_t* nc_dm_yang_read_doc(const char* file_cont);

/* Frees a record and its texts; null is ignored. */
NC_DM_API void nc_dm_yang_doc_free(nc_dm_yang_doc_t* ydoc);

/* The word behind `statement` ("module ", "revision ") when it is the next thing in the text;
 * advances `*fcptr` past it. Null when it is not. */
NC_DM_API char* nc_dm_yang_raw_search_objname(char** fcptr, const char* statement);

/* The value behind `statement` ("namespace ", "prefix "), without quotes and semicolon; advances
 * `*fcptr` to the end of its line. Null when there is none. */
NC_DM_API char* nc_dm_yang_raw_search_objvalue(char** fcptr, const char* statement);

#ifdef __cplusplus
}
#endif

#endif /* NETCONF_DM_YANG_H_ */
