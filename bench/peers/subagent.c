/*
 * An AgentX subagent that serves the list of ports until it is killed.
 *
 *   peer-subagent SOCKET ENTRIES table_data|table_tdata
 *
 * SOCKET is snmpd's, such as unix:/tmp/x/agentx. The last argument is the helper of libnetsnmp that
 * keeps the rows.
 */
#include <net-snmp/net-snmp-config.h>
/* The library's headers want their configuration first. */
#include <net-snmp/net-snmp-includes.h>
/* And these want both. */
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/agent/table_tdata.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bench/peers/list_oid.h"

static const char kName[] = "peer-subagent";

typedef struct port {
  u_long index;
  struct counter64 speed;
  long enabled; /* TruthValue: 1 is true */
  char alias[64];
} port_t;

static volatile sig_atomic_t is_running = 1;

static void stop(int number) {
  (void)number;
  is_running = 0;
}

/* Which row a request is about: the only thing in which the helpers differ for a handler. */
static void* (*port_of_request)(netsnmp_request_info*);

static void get(const port_t* port, netsnmp_request_info* request, unsigned column) {
  netsnmp_variable_list* value = request->requestvb;
  switch (column) {
    case kColumnIndex:
      snmp_set_var_typed_value(value, ASN_UNSIGNED, &port->index, sizeof(port->index));
      break;
    case kColumnSpeed:
      snmp_set_var_typed_value(value, ASN_COUNTER64, &port->speed, sizeof(port->speed));
      break;
    case kColumnEnabled:
      snmp_set_var_typed_value(value, ASN_INTEGER, &port->enabled, sizeof(port->enabled));
      break;
    default:
      snmp_set_var_typed_value(value, ASN_OCTET_STR, port->alias, strlen(port->alias));
  }
}

/* What a SET asks for, before anything is changed: an SNMP error, or 0. */
static int check(const netsnmp_request_info* request, unsigned column) {
  if (column != kColumnAlias) return SNMP_ERR_NOTWRITABLE;
  if (request->requestvb->type != ASN_OCTET_STR) return SNMP_ERR_WRONGTYPE;
  return request->requestvb->val_len < sizeof(((port_t*)0)->alias) ? 0 : SNMP_ERR_WRONGLENGTH;
}

static void set(port_t* port, const netsnmp_request_info* request) {
  memcpy(port->alias, request->requestvb->val.string, request->requestvb->val_len);
  port->alias[request->requestvb->val_len] = '\0';
}

static int handle(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                  netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  (void)handler;
  (void)registration;
  for (netsnmp_request_info* request = requests; request != NULL; request = request->next) {
    if (request->processed) continue;
    port_t* port = port_of_request(request);
    const netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
    if (port == NULL || table == NULL) {
      netsnmp_set_request_error(info, request,
                                info->mode == MODE_GET ? SNMP_NOSUCHINSTANCE : SNMP_ERR_NOCREATION);
      continue;
    }
    if (info->mode == MODE_GET) {
      get(port, request, table->colnum);
    } else if (info->mode == MODE_SET_RESERVE1) {
      const int error = check(request, table->colnum);
      if (error != 0) netsnmp_set_request_error(info, request, error);
    } else if (info->mode == MODE_SET_COMMIT) {
      set(port, request); /* it cannot fail, so there is nothing to undo */
    }
  }
  return SNMP_ERR_NOERROR;
}

static port_t* new_port(u_long number) {
  port_t* port = calloc(1, sizeof(*port));
  if (port == NULL) exit(1);
  port->index = 2 * (number + 1);
  port->speed.low = 1000000000;
  port->enabled = 1;
  strcpy(port->alias, "uplink-7");
  return port;
}

static netsnmp_handler_registration* new_registration(void) {
  static const oid list[] = {LIST_OID};
  return netsnmp_create_handler_registration("ports", handle, list, OID_LENGTH(list),
                                             HANDLER_CAN_RWRITE);
}

static netsnmp_table_registration_info* new_columns(void) {
  netsnmp_table_registration_info* columns = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  if (columns == NULL) exit(1);
  netsnmp_table_helper_add_indexes(columns, ASN_UNSIGNED, 0);
  columns->min_column = kColumnIndex;
  columns->max_column = kColumnAlias;
  return columns;
}

static int serve_by_table_data(u_long entries) {
  netsnmp_table_data* table = netsnmp_create_table_data("ports");
  if (table == NULL) return -1;
  netsnmp_table_data_add_index(table, ASN_UNSIGNED);
  for (u_long i = 0; i < entries; ++i) {
    port_t* port = new_port(i);
    netsnmp_table_row* row = netsnmp_create_table_data_row();
    if (row == NULL) return -1;
    row->data = port;
    netsnmp_table_row_add_index(row, ASN_UNSIGNED, &port->index, sizeof(port->index));
    if (netsnmp_table_data_add_row(table, row) != SNMPERR_SUCCESS) return -1;
  }
  port_of_request = netsnmp_extract_table_row_data;
  return netsnmp_register_table_data(new_registration(), table, new_columns());
}

static int serve_by_table_tdata(u_long entries) {
  netsnmp_tdata* table = netsnmp_tdata_create_table("ports", 0);
  if (table == NULL) return -1;
  netsnmp_tdata_add_index(table, ASN_UNSIGNED);
  for (u_long i = 0; i < entries; ++i) {
    port_t* port = new_port(i);
    netsnmp_tdata_row* row = netsnmp_tdata_create_row();
    if (row == NULL) return -1;
    row->data = port;
    netsnmp_tdata_row_add_index(row, ASN_UNSIGNED, &port->index, sizeof(port->index));
    if (netsnmp_tdata_add_row(table, row) != SNMPERR_SUCCESS) return -1;
  }
  port_of_request = netsnmp_tdata_extract_entry;
  return netsnmp_tdata_register(new_registration(), table, new_columns());
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: %s SOCKET ENTRIES table_data|table_tdata\n", kName);
    return 2;
  }
  signal(SIGTERM, stop);
  snmp_enable_stderrlog();
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1); /* a subagent */
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, argv[1]);
  netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, 1);
  init_agent(kName);
  const u_long entries = strtoul(argv[2], NULL, 10);
  const int is_tdata = strcmp(argv[3], "table_tdata") == 0;
  if ((is_tdata ? serve_by_table_tdata(entries) : serve_by_table_data(entries)) != 0) {
    fprintf(stderr, "%s: the list cannot be registered\n", kName);
    return 1;
  }
  init_snmp(kName);
  while (is_running) agent_check_and_process(1);
  snmp_shutdown(kName);
  return 0;
}
