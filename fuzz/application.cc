#include "fuzz/application.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>

#include <string>

#include "fuzz/platform.h"
#include "fuzz/server_socket.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"
#include "support/tree_check.h"

namespace ncdm_fuzz {

const std::array<const char*, 40> kPaths = {"sys.host",
                                            "sys.up",
                                            "sys.clock.zone",
                                            "sys.clock.time",
                                            "sys.dns",
                                            "sys",
                                            "sys.clock",
                                            "net.vrf.name",
                                            "net.vrf.zone",
                                            "net.vrf.mtu",
                                            "net.vrf.route",
                                            "net.vrf.if.name",
                                            "net.vrf.if.addr",
                                            "net.vrf.if.up",
                                            "net.vrf",
                                            "net.vrf.if",
                                            "net",
                                            "acl.rule.id",
                                            "acl.rule.text",
                                            "acl.rule.hits",
                                            "acl.rule.opt.log",
                                            "acl.rule.port",
                                            "acl.rule",
                                            "acl",
                                            "big.entry.key",
                                            "big.entry.val",
                                            "big.entry",
                                            "big.number",
                                            "net.vrf.{i}.name",
                                            "net.vrf.{i}.if.{i}.name",
                                            "acl.rule.{i}.id",
                                            "sys.dns.{i}",
                                            "net.vrf.nothing",
                                            "nothing",
                                            "sys.host.more",
                                            "net.vrf.if.nothing",
                                            "",
                                            ".",
                                            "net..vrf",
                                            "acl.rule.1.id"};

const std::array<const char*, 16> kInstancePaths = {
    "net.vrf.1.",         "net.vrf.2.",   "net.vrf.2.if.1.", "net.vrf.2.if.5.",
    "net.vrf.9.route.3.", "acl.rule.1.",  "acl.rule.2.",     "acl.rule.2.port.4.",
    "sys.dns.2.",         "big.entry.1.", "big.entry.77.",   "big.number.3.",
    "net.vrf.-1.",        "net.vrf.",     "sys.clock.",      "nothing.1."};

namespace {

Input* g_input = nullptr;

// ---- What the callbacks answer ----

// Ids are few, so that they meet.
nc_int64 AnId() { return static_cast<nc_int64>(g_input->Below(6)) + 1; }

// Leaves that are registered late, where a request may be on its way.
constexpr std::array<const char*, 12> kLatePaths = {"sys.late",
                                                    "sys.clock.late",
                                                    "net.late",
                                                    "net.vrf.{i}.late",
                                                    "net.vrf.{i}.if.{i}.late",
                                                    "net.vrf.{i}.sub.late",
                                                    "net.vrf.{i}.sub.{i}.late",
                                                    "acl.rule.{i}.late",
                                                    "acl.rule.{i}.opt.late",
                                                    "big.entry.{i}.late",
                                                    "late",
                                                    "late.{i}.late"};

// A callback may register: from there it reaches the library in the middle of a request.
void MaybeRegister() {
  if (!g_input->Chance(16)) return;
  std::string path = g_input->OneOf(kInstancePaths);
  switch (g_input->Below(4)) {
    case 0:
      nc_dm_agent_reg(path.data());
      return;
    case 1:
      nc_dm_agent_unreg(path.data());
      return;
    case 2:
      path = g_input->OneOf(kLatePaths);
      nc_dm_agent_mode_reg(path.data(), NC_DM_VAL_TYPE_STRING, g_input->Chance(4) ? 4 : 0, 0,
                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
      return;
    default:
      nc_dm_agent_yang_attr_reg("model", NC_DM_YANG_ATTR_REVISION, path.c_str());
  }
}

nc_int64 Result(nc_int64 success) {
  MaybeRegister();
  switch (g_input->Below(8)) {
    case 1:
      return NC_DM_FAULT_CODE_OP_FAILED;
    case 2:
      return -1;
    case 3:
      return 0;
    case 4:
      return g_input->Number<int8_t>();
    default:
      return success;
  }
}

template <typename T>
void ReadValue(const char* value) {
  std::array<char, sizeof(T)> object;
  memcpy(object.data(), value, sizeof(object));
}

// Reads the whole object that a callback is handed.
void ReadTyped(nc_dm_val_type_t type, const char* value) {
  switch (type) {
    case NC_DM_VAL_TYPE_BOOL:
      NCDM_FUZZ_CHECK(static_cast<unsigned char>(*value) <= 1);
      return;
    case NC_DM_VAL_TYPE_SHORT:
    case NC_DM_VAL_TYPE_USHORT:
      return ReadValue<int16_t>(value);
    case NC_DM_VAL_TYPE_INT:
    case NC_DM_VAL_TYPE_UINT:
    case NC_DM_VAL_TYPE_LONG:
    case NC_DM_VAL_TYPE_ULONG:
      return ReadValue<int32_t>(value);
    case NC_DM_VAL_TYPE_LONGLONG:
    case NC_DM_VAL_TYPE_ULONGLONG:
      return ReadValue<int64_t>(value);
    case NC_DM_VAL_TYPE_DATATIME:
      return ReadValue<struct tm>(value);
    default:
      NCDM_FUZZ_CHECK(strlen(value) < 4096);
  }
}

void CheckIds(const nc_dm_id_array_t* ids) {
  NCDM_FUZZ_CHECK(ids != nullptr && ids->cnt <= NC_DM_MAX_DEPTH);
}

void CheckBlock(nc_dm_agent_data_block_t* padb) {
  CheckIds(&padb->id_array);
  for (int i = 0; i < NC_DM_MAX_SLOTS; ++i) {
    if (padb->has_int_var(padb, i)) padb->get_int_var(padb, i);
    if (padb->has_str_var(padb, i)) {
      NCDM_FUZZ_CHECK(strlen(padb->get_str_var(padb, i)) < NC_DM_VALUE_BUF_SIZE);
    }
  }
}

// A value of the leaf's type.
template <nc_dm_val_type_t kType>
int Get(nc_dm_id_array_t* ids, char* value) {
  CheckIds(ids);
  MaybeRegister();
  const size_t kind = g_input->Below(8);
  if (kind == 1) return NC_DM_FAULT_CODE_OP_FAILED;
  if (kind == 2) return -1;
  if (kType == NC_DM_VAL_TYPE_STRING) {
    const std::string text = kind == 3 ? std::string(g_input->Byte(), 'v') : std::string("one");
    memcpy(value, text.c_str(), text.size() + 1);
  } else if (kType == NC_DM_VAL_TYPE_DATATIME) {
    struct tm time = {};
    time.tm_year = g_input->Number<int32_t>();
    time.tm_sec = g_input->Number<int32_t>();
    memcpy(value, &time, sizeof(time));
  } else if (kind > 3) {
    *value = static_cast<char>(g_input->Byte());
  }
  return 0;
}

template <nc_dm_val_type_t kType>
int Set(nc_dm_id_array_t* ids, char* value) {
  CheckIds(ids);
  ReadTyped(kType, value);
  return static_cast<int>(Result(0));
}

nc_int64 Create(nc_dm_id_array_t* ids, char* value) {
  CheckIds(ids);
  NCDM_FUZZ_CHECK(value != nullptr);
  ids->output.inst_exist = g_input->Chance(4);
  return Result(AnId());
}

nc_int64 Delete(nc_dm_id_array_t* ids, char* value) {
  CheckIds(ids);
  NCDM_FUZZ_CHECK(value != nullptr);
  return Result(AnId());
}

int GetAttr(nc_dm_agent_data_block_t* padb, nc_dm_op_output_t* output) {
  CheckBlock(padb);
  output->instid = AnId();
  return static_cast<int>(Result(0));
}

nc_int64 ExeCmd(nc_dm_agent_data_block_t* padb) {
  CheckBlock(padb);
  padb->id_array.output.inst_exist = g_input->Chance(4);
  return Result(AnId());
}

int DebugMask() { return ShallLog() ? NC_DM_DBG_ERROR | NC_DM_DBG_INFO : 0; }

int Commit(char* /*text*/) { return 0; }

// ---- The data model ----

enum Offer : unsigned { kRead = 1, kWrite = 2, kEntries = 4, kLookup = 8, kCommand = 16 };

template <nc_dm_val_type_t kType>
void Leaf(const char* name, unsigned offer, int flag = 0, int index = 0) {
  std::string path = name;
  const auto offers = [offer](Offer which) { return (offer & which) != 0; };
  const int result = nc_dm_agent_mode_reg(
      path.data(), kType, flag, index, offers(kWrite) ? Set<kType> : nullptr,
      offers(kRead) ? Get<kType> : nullptr, offers(kEntries) ? Create : nullptr,
      offers(kEntries) ? Delete : nullptr, offers(kLookup) ? GetAttr : nullptr, nullptr,
      offers(kCommand) ? ExeCmd : nullptr);
  NCDM_FUZZ_CHECK(result == 0);
}

void RegisterModel() {
  constexpr auto kString = NC_DM_VAL_TYPE_STRING;
  Leaf<kString>("sys.host", kRead | kWrite | kEntries);
  Leaf<NC_DM_VAL_TYPE_BOOL>("sys.up", kRead | kWrite);
  Leaf<kString>("sys.clock.zone", kRead | kWrite | kEntries);
  Leaf<NC_DM_VAL_TYPE_DATATIME>("sys.clock.time", kRead | kWrite);
  Leaf<kString>("sys.dns", kRead | kEntries, NC_DM_FLAG_LEAF_LIST);
  // A list without get_attr: its entries are found by reading their keys.
  Leaf<kString>("net.vrf.{i}.name", kRead | kEntries, NC_DM_FLAG_KEY);
  Leaf<NC_DM_VAL_TYPE_SHORT>("net.vrf.{i}.zone", kRead | kWrite | kEntries,
                             NC_DM_FLAG_KEY_SETTABLE);
  Leaf<NC_DM_VAL_TYPE_UINT>("net.vrf.{i}.mtu", kRead | kWrite | kEntries);
  Leaf<NC_DM_VAL_TYPE_LONGLONG>("net.vrf.{i}.route", kRead | kEntries, NC_DM_FLAG_LEAF_LIST);
  Leaf<kString>("net.vrf.{i}.if.{i}.name", kRead | kEntries | kLookup, NC_DM_FLAG_KEY);
  Leaf<kString>("net.vrf.{i}.if.{i}.addr", kRead | kWrite | kEntries);
  Leaf<NC_DM_VAL_TYPE_BOOL>("net.vrf.{i}.if.{i}.up", kRead | kWrite);
  // A list whose entries are applied as commands.
  Leaf<NC_DM_VAL_TYPE_INT>("acl.rule.{i}.id", kRead | kEntries | kLookup | kCommand, NC_DM_FLAG_KEY,
                           1);
  Leaf<kString>("acl.rule.{i}.text", kRead | kEntries | kCommand, 0, 2);
  Leaf<NC_DM_VAL_TYPE_ULONGLONG>("acl.rule.{i}.hits", kRead | kCommand, 0, 63);
  Leaf<NC_DM_VAL_TYPE_BOOL>("acl.rule.{i}.opt.log", kRead | kWrite | kEntries);
  Leaf<NC_DM_VAL_TYPE_USHORT>("acl.rule.{i}.port", kRead | kEntries, NC_DM_FLAG_LEAF_LIST);
  // Instances in hash tables.
  Leaf<kString>("big.entry.{i}.key", kRead | kEntries | kLookup, NC_DM_FLAG_KEY);
  Leaf<NC_DM_VAL_TYPE_BASE64>("big.entry.{i}.val", kWrite);
  Leaf<NC_DM_VAL_TYPE_ULONG>("big.number", kRead | kEntries, NC_DM_FLAG_LEAF_LIST);
  for (std::string path : {"big.entry", "big.number"}) {
    NCDM_FUZZ_CHECK(nc_dm_agent_reg_hash_tab(path.data(), NC_DM_MIN_HASH_LIMIT) == 0);
  }
  nc_dm_agent_fun_reg(NC_DM_HOOK_FUN_DATA_COMMIT, Commit);
  nc_dm_agent_yang_attr_reg("model", NC_DM_YANG_ATTR_REVISION, "2020-01-01");
}

void RegisterSmallModel() {
  constexpr auto kString = NC_DM_VAL_TYPE_STRING;
  Leaf<kString>("sys.host", kRead | kWrite | kEntries);
  Leaf<kString>("sys.dns", kRead | kEntries, NC_DM_FLAG_LEAF_LIST);
  Leaf<kString>("net.vrf.{i}.name", kRead | kEntries, NC_DM_FLAG_KEY);
  Leaf<NC_DM_VAL_TYPE_UINT>("net.vrf.{i}.mtu", kRead | kWrite | kEntries);
  nc_dm_agent_yang_attr_reg("model", NC_DM_YANG_ATTR_REVISION, "2020-01-01");
}

void FreePendingRecords() {
  for (auto& record : nc::RecordsSafely<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    nc::Unlink(&record.list);
    if (record.type == NC_DM_MSG_TYPE_REG_YANG_ATTR && record.other != nullptr) {
      nc_dm_agent_free_yang_attr(static_cast<nc_dm_yang_attr_t*>(record.other));
      free(record.other);
    }
    nc_dm_agent_free_reg(&record);
    free(&record);
  }
}

void FreeTree() {
  while (!nc::IsEmpty(&g_nc_agent_dm.dm_root)) {
    nc_dm_agent_unreg_nodes(
        nc::RecordOf<nc_dm_agent_node_t, &nc_dm_agent_node_t::lst>(g_nc_agent_dm.dm_root.next));
  }
  for (auto& attr : nc::RecordsSafely<nc_dm_yang_attr_t>(&g_nc_agent_dm.yang_attr_lst)) {
    nc::Unlink(&attr.lst);
    nc_dm_agent_free_yang_attr(&attr);
    free(&attr);
  }
  NCDM_FUZZ_CHECK(g_nc_agent_dm.total_node == 0);
}

// A request for nothing: it releases an answer that nobody has fetched.
void ReleaseAnswer() {
  struct {
    nc_dm_msg_head_t head;
    nc_int32 pkt_type;
  } request = {{NC_DM_MSG_TYPE_FILTER, 1, 0, 0, NC_DM_DATASTORE_RUNNING, 4}, NC_DM_PKT_TYPE_END};
  nc_dm_agent_free_filter_node_list(&g_nc_dm_filter_node_list);
  nc_dm_agent_handle_msg(g_nc_dm_mng_info.agent_fd, reinterpret_cast<nc_dm_msg_t*>(&request));
  while (RunTask(nc_dm_agent_send_filter_rsp_lst)) ReadAll();
}

}  // namespace

void StartAgent() {
  g_nc_dm_agent_dbg = DebugMask();
  Listen();
  NCDM_FUZZ_CHECK(nc_dm_agent_init("fuzz", Master(), nullptr, nullptr) == 0);
  Accept();
}

void StartApplication(Input* input) {
  g_input = input;
  RegisterModel();
  // The announcements would be sent one by one, which takes longer than most inputs.
  FreePendingRecords();
  // Those with a hash table come later, if at all: it takes long to make.
  for (size_t i = 0; i < 9; ++i) {
    std::string path = kInstancePaths[i];
    nc_dm_agent_reg(path.data());
  }
  RunTask(nc_dm_agent_reg_handler);
  ReadAll();
}

void StartSmallApplication(Input* input) {
  g_input = input;
  RegisterSmallModel();
}

void ForgetManyRegistrations() {
  size_t left = 4096;
  for ([[maybe_unused]] const auto& record :
       nc::Records<nc_dm_stub_reg_t>(&g_nc_dm_reg_list.reg_list)) {
    if (--left == 0) return FreePendingRecords();
  }
}

void CheckTree() {
  const std::string trouble = ncdm_test::TreeTrouble();
  if (!trouble.empty()) Fail(__FILE__, __LINE__, trouble.c_str());
}

void Reset() {
  static Input none(nullptr, 0);
  g_input = &none;
  g_nc_dm_agent_dbg = DebugMask();
  CheckTree();
  nc_dm_agent_free_edit_node_list(&g_nc_dm_edit_node_list);
  ReadAll();
  ReleaseAnswer();
  FreePendingRecords();
  FreeTree();
  g_nc_dm_mng_info.curr_dstype = NC_DM_DATASTORE_RUNNING;
  g_nc_dm_mng_info.unreg_rsp_handler = nullptr;
  g_nc_dm_mng_info.fault = {};
  // A fault on the way may have spoilt the connection.
  if (g_nc_dm_agent_manage.tt_reconnect != nullptr) {
    nc_dm_agent_clear_connect();
    NCDM_FUZZ_CHECK(nc_dm_agent_connect_socket() == 0);
    nc_dm_agent_handle_event(NC_DM_EVENT_READ, g_nc_dm_mng_info.agent_fd, 0);
    Accept();
  }
}

}  // namespace ncdm_fuzz
