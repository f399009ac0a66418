// What many tests start from: the recording application on an empty tree, and the log open for
// errors and information.
#ifndef TESTS_SUPPORT_MODEL_FIXTURE_H_
#define TESTS_SUPPORT_MODEL_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "netconf_dm_kernel.h"
#include "support/debug_mask.h"
#include "support/fake_platform.h"
#include "support/log_lines.h"
#include "support/model_app.h"

namespace ncdm_test {

class ModelTest : public testing::Test {
 protected:
  static nc_dm_mng_info_t& info() { return g_nc_dm_mng_info; }
  static LogCapture& log() { return LogCapture::Get(); }

  DebugMask mask{NC_DM_DBG_ERROR | NC_DM_DBG_INFO};
  ModelApp app;
};

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_MODEL_FIXTURE_H_
