/* The smallest application that works: one leaf, "greeting.text". */
#include <stdio.h>
#include <string.h>

#include "netconf_dm_agent.h"
#include "zu_thread.h"

static char text[256] = "hello";

static int get_text(nc_dm_id_array_t* ids, char* value) {
  (void)ids;
  strcpy(value, text); /* the buffer holds 257 bytes */
  return 0;
}

static int set_text(nc_dm_id_array_t* ids, char* value) {
  (void)ids;
  snprintf(text, sizeof text, "%s", value);
  return 0;
}

static int register_model(void) {
  return nc_dm_agent_mode_reg("greeting.text", NC_DM_VAL_TYPE_STRING, 0, 0, set_text, get_text,
                              NULL, NULL, NULL, NULL, NULL);
}

int main(void) {
  zu_thread_master* loop = zu_thread_master_create();
  if (loop == NULL || nc_dm_agent_init("minimal", loop, register_model, NULL) != 0) return 1;
  return zu_thread_master_run(loop);
}
