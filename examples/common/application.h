// What every application around the library does alike: an event loop that ends on SIGINT and
// SIGTERM, the library's start with the generated model, and the announcement of the YANG module.
#ifndef EXAMPLES_COMMON_APPLICATION_H_
#define EXAMPLES_COMMON_APPLICATION_H_

#include <string>

#include "ncdm_model.h"
#include "zu_thread.h"

struct Application {
  std::string name;           // under which the server knows this process
  std::string yang_file;      // the module whose name and revision are announced
  const ncdm_model_t* model;  // what ncdm-yang wrote for it
  // Runs each second on the loop; may be null.
  void (*each_second)();
};

// Runs until a signal ends it. The process's exit status.
int RunApplication(const Application& application);

#endif  // EXAMPLES_COMMON_APPLICATION_H_
