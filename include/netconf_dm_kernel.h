/*
 * netconf_dm_kernel.h - the tree, its indexes, the requests' records and the connection's state.
 *
 * What is inside the library, for tests, tools and whoever extends it; an application needs
 * netconf_dm_agent.h alone. Each part has a header of its own, which names the sources that
 * implement it.
 *
 * Locking. Functions on nodes take no lock: their callers hold `dm_mutex` of g_nc_agent_dm, which
 * is recursive. `list_mutex` of g_nc_dm_reg_list guards the pending registrations and is held while
 * one is appended, and by the registration task for a whole run. The connection's state belongs to
 * the event-loop thread.
 */
#ifndef NETCONF_DM_KERNEL_H_
#define NETCONF_DM_KERNEL_H_

#include "netconf_dm_kernel/bodies.h"
#include "netconf_dm_kernel/connection.h"
#include "netconf_dm_kernel/edit.h"
#include "netconf_dm_kernel/indexes.h"
#include "netconf_dm_kernel/matching.h"
#include "netconf_dm_kernel/read.h"
#include "netconf_dm_kernel/records.h"
#include "netconf_dm_kernel/registration.h"
#include "netconf_dm_kernel/tree.h"

#endif /* NETCONF_DM_KERNEL_H_ */
