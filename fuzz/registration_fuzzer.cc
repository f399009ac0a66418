// Registration calls with paths of any form: schema paths, ids and ranges, instances that come and
// go, hash tables, attributes; drained into the tree, and announced again after a reconnect.

#include <array>
#include <string>

#include "fuzz/application.h"
#include "fuzz/input.h"
#include "fuzz/platform.h"
#include "fuzz/server_socket.h"
#include "netconf_dm_kernel.h"

namespace {

using ncdm_fuzz::Input;

constexpr std::array<const char*, 24> kComponents = {"a",      "b",       "c",
                                                     "d",      "e",       "{i}",
                                                     "1",      "2",       "7",
                                                     "{1-3}",  "{2-2}",   "{3-1}",
                                                     "{0-2}",  "{34-40}", "{1-99999999999}",
                                                     "{-1-2}", "-1",      "34",
                                                     "01",     "a-b",     "_x",
                                                     "{i",     "x{1-2}y", "18446744073709551615"};

std::string PathFrom(Input* input) {
  if (input->Chance(16)) return input->Text();
  std::string path;
  const size_t depth = input->Chance(16) ? 17 : input->Below(6) + 1;
  for (size_t i = 0; i < depth; ++i) {
    path += i > 0 ? "." : "";
    path += input->OneOf(kComponents);
  }
  if (input->Chance(4)) path += ".";
  return path;
}

int Get(nc_dm_id_array_t* /*ids*/, char* /*value*/) { return 0; }
nc_int64 Create(nc_dm_id_array_t* /*ids*/, char* /*value*/) { return 1; }
nc_int64 ExeCmd(nc_dm_agent_data_block_t* /*padb*/) { return 1; }

int FlagFrom(Input* input) {
  constexpr std::array<int, 8> kFlags = {0, 0, 1, 2, 4, 4, 5, 64};
  return input->Chance(32) ? input->Number<int>() : input->OneOf(kFlags);
}

nc_dm_val_type_t TypeFrom(Input* input) { return static_cast<nc_dm_val_type_t>(input->Below(15)); }

void Step(Input* input) {
  std::string path = PathFrom(input);
  switch (input->Below(12)) {
    case 0:
    case 1:
      nc_dm_agent_mode_reg(path.data(), TypeFrom(input), FlagFrom(input), input->Number<int8_t>(),
                           nullptr, Get, Create, nullptr, nullptr, nullptr, ExeCmd);
      return;
    case 2:
    case 3:
      nc_dm_agent_mul_reg(path.data(), TypeFrom(input), FlagFrom(input), nullptr, Get, Create,
                          nullptr, nullptr, nullptr);
      // Ranges may give a million paths, and that again in the next step.
      ncdm_fuzz::ForgetManyRegistrations();
      return;
    case 4:
    case 5:
      nc_dm_agent_reg(path.data());
      return;
    case 6:
      nc_dm_agent_cli_reg(path.data(), static_cast<nc_dm_node_src_t>(input->Below(4)));
      return;
    case 7:
      nc_dm_agent_unreg(path.data());
      return;
    case 8:
      nc_dm_agent_reg_hash_tab(path.data(), input->Number<uint16_t>());
      return;
    case 9:
      nc_dm_agent_yang_attr_reg(path.c_str(), static_cast<nc_dm_yang_attr_type_t>(input->Below(2)),
                                input->Text().c_str());
      return;
    case 10:
      ncdm_fuzz::RunTask(nc_dm_agent_reg_handler);
      return;
    default:
      if (input->Chance(4)) nc_dm_agent_re_reg_server();
      if (input->Chance(4)) nc_dm_agent_re_reg_yang_attr_server();
      if (input->Chance(16)) nc_dm_agent_unreg_all(nullptr);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ncdm_fuzz::StartAgent();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  constexpr int kMaxSteps = 48;
  Input input(bytes, size);
  for (int step = 0; step < kMaxSteps && !input.AtEnd(); ++step) {
    Step(&input);
    ncdm_fuzz::ReadAll();
  }
  for (int run = 0; run < 4; ++run) {
    ncdm_fuzz::RunTask(nc_dm_agent_reg_handler);
    ncdm_fuzz::ReadAll();
  }
  ncdm_fuzz::Reset();
  return 0;
}
