#include "common/application.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "netconf_dm_agent.h"
#include "netconf_dm_util.h"
#include "netconf_dm_yang.h"

namespace {

zu_thread_master* g_loop = nullptr;
const Application* g_application = nullptr;

void Stop(int) { zu_thread_master_stop(g_loop); }

// A task runs once, so it schedules itself anew.
int EachSecond(zu_thread* task) {
  g_application->each_second();
  zu_thread_add_timer_withname(task->master, EachSecond, nullptr, 1, "each-second");
  return 0;
}

bool AnnounceModule(const char* yang_file) {
  const std::unique_ptr<char, decltype(&free)> text(nc_dm_get_file_cont(yang_file), free);
  if (text == nullptr) return false;
  const std::unique_ptr<nc_dm_yang_doc_t, decltype(&nc_dm_yang_doc_free)> doc(
      nc_dm_yang_read_doc(text.get()), nc_dm_yang_doc_free);
  if (doc == nullptr || doc->module_name == nullptr || doc->version == nullptr) return false;
  return nc_dm_agent_yang_attr_reg(doc->module_name, NC_DM_YANG_ATTR_MODULE_NAME,
                                   doc->module_name) == 0 &&
         nc_dm_agent_yang_attr_reg(doc->module_name, NC_DM_YANG_ATTR_REVISION, doc->version) == 0;
}

int Complain(const Application& application, const char* what) {
  fprintf(stderr, "%s: %s\n", application.name.c_str(), what);
  return 1;
}

// The module is named behind all that belongs to it, and still before the library tells the server
// that this was all.
int RegisterModel() {
  const int result = ncdm_model_register(g_application->model, g_loop);
  if (result == 0 && !AnnounceModule(g_application->yang_file.c_str())) {
    Complain(*g_application,
             ("no module name and revision in " + g_application->yang_file).c_str());
  }
  return result;
}

}  // namespace

int RunApplication(const Application& application) {
  if (getenv("TMPDIR") == nullptr) {
    return Complain(application, "set TMPDIR to the directory that holds the server's socket");
  }
  g_loop = zu_thread_master_create();
  if (g_loop == nullptr) return Complain(application, "no event loop");
  g_application = &application;
  signal(SIGINT, Stop);
  signal(SIGTERM, Stop);

  // From here on the library connects, registers and serves by itself, whether or not a server is
  // there yet.
  if (nc_dm_agent_init(application.name.c_str(), g_loop, RegisterModel, nullptr) != 0) {
    return Complain(application, "the data model could not be registered");
  }
  if (application.each_second != nullptr) {
    zu_thread_add_timer_withname(g_loop, EachSecond, nullptr, 1, "each-second");
  }
  zu_thread_master_run(g_loop);
  zu_thread_master_destroy(g_loop);
  return 0;
}
