// One body into each decoder. The first byte chooses the decoder, the next two give the head's flag
// and entry count; what is decoded is read, and released.

#include <stdlib.h>

#include <memory>
#include <string>

#include "fuzz/input.h"
#include "fuzz/platform.h"
#include "netconf_dm_kernel.h"
#include "netconf_dm_util/intrusive_list.h"

namespace {

void Read(const char* text) {
  if (text != nullptr) NCDM_FUZZ_CHECK(strlen(text) < NC_DM_RECV_BUF_SIZE);
}

void Read(const nc_dm_id_array_t* ids) {
  if (ids != nullptr) NCDM_FUZZ_CHECK(ids->cnt > 0 && ids->cnt <= NC_DM_MAX_DEPTH);
}

template <typename Record>
void ReadRecord(const Record& record) {
  Read(record.name);
  Read(record.val);
  if constexpr (requires { record.id_array; }) Read(record.id_array);
}

void DecodeEditList(nc_dm_msg_t* msg) {
  nc_dm_stub_edit_node_list_t list = {};
  nc::InitList(&list.edit_head);
  nc::InitList(&list.key_head);
  nc_dm_agent_decode_edit_list(msg, &list);
  for (const auto& node : nc::Records<nc_dm_stub_edit_node_t>(&list.edit_head)) {
    NCDM_FUZZ_CHECK(node.edit != nullptr && node.edit->name != nullptr);
    ReadRecord(*node.edit);
  }
  for (const auto& node :
       nc::Records<nc_dm_stub_edit_node_t, &nc_dm_stub_edit_node_t::ky_lst>(&list.key_head)) {
    NCDM_FUZZ_CHECK((node.edit->flag & NC_DM_EDIT_FLAG_KEYS) != 0);
  }
  nc_dm_agent_free_edit_node_list(&list);
}

void DecodeFilterList(nc_dm_msg_t* msg) {
  nc_dm_stub_filter_node_list_t list = {};
  nc::InitList(&list.filter_head);
  nc_dm_agent_decode_filter_list(msg, &list);
  for (const auto& node : nc::Records<nc_dm_stub_filter_node_t>(&list.filter_head)) {
    NCDM_FUZZ_CHECK(node.filter != nullptr && node.filter->name != nullptr);
    ReadRecord(*node.filter);
  }
  nc_dm_agent_free_filter_node_list(&list);
}

void DecodeEdit(nc_dm_msg_t* msg) {
  nc_dm_stub_edit_t edit = {};
  nc_dm_agent_decode_edit(msg, &edit);
  ReadRecord(edit);
  nc_dm_agent_free_edit(&edit);
}

void DecodeFilter(nc_dm_msg_t* msg) {
  nc_dm_stub_filter_t filter = {};
  nc_dm_agent_decode_filter(msg, &filter);
  ReadRecord(filter);
  nc_dm_agent_free_filter(&filter);
}

void DecodeGetid(nc_dm_msg_t* msg) {
  nc_dm_stub_getid_t getid = {};
  nc_dm_agent_decode_getid(msg, &getid);
  ReadRecord(getid);
  nc_dm_agent_free_getid(&getid);
}

void DecodeRegRsp(nc_dm_msg_t* msg) {
  nc_dm_stub_reg_rsp_t reg_rsp = {};
  nc_dm_agent_decode_reg_rsp(msg, &reg_rsp);
  Read(reg_rsp.name);
  nc_dm_agent_free_reg_rsp(&reg_rsp);
}

void DecodeFault(nc_dm_msg_t* msg) {
  nc_dm_fault_t fault = {};
  nc_dm_agent_decode_fault(msg, &fault);
  NCDM_FUZZ_CHECK(strlen(fault.path) <= NC_DM_MAX_PATH_LEN);
}

void DecodeDebug(nc_dm_msg_t* msg) {
  nc_dm_stub_dbg_t dbg = {};
  nc_dm_agent_decode_dbg(msg, &dbg);
}

void DecodePktType(nc_dm_msg_t* msg) { nc_dm_agent_decode_pkt_type(msg); }

// The primitive fields, as raw as they are.
void DecodeFields(nc_dm_msg_t* msg) {
  nc_int32 at = 0;
  for (int i = 0; i < 16; ++i) {
    nc_int64 number = 0;
    nc_int32 len = 0;
    char* text = nullptr;
    char path[NC_DM_MAX_PATH_LEN + 1] = {};
    if (nc_dm_decode_int32(&len, &at, msg->buf, msg->head.len) != 0) break;
    NCDM_FUZZ_CHECK(at >= 0 && at <= msg->head.len);
    if (nc_dm_decode_str(&text, &at, len, msg->buf, msg->head.len) == 0) Read(text);
    free(text);
    text = nullptr;
    if (nc_dm_decode_lv(&text, &at, msg->buf, msg->head.len) == 0) Read(text);
    free(text);
    nc_dm_decode_lv_non(path, &at, msg->buf, msg->head.len);
    NCDM_FUZZ_CHECK(path[NC_DM_MAX_PATH_LEN] == '\0');
    nc_dm_decode_int64(&number, &at, msg->buf, msg->head.len);
    NCDM_FUZZ_CHECK(at >= 0 && at <= msg->head.len);
  }
}

using Decoder = void (*)(nc_dm_msg_t*);
constexpr std::array<Decoder, 10> kDecoders = {
    DecodeEditList, DecodeFilterList, DecodeEdit,  DecodeFilter,  DecodeGetid,
    DecodeRegRsp,   DecodeFault,      DecodeDebug, DecodePktType, DecodeFields};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  ncdm_fuzz::Input input(bytes, size);
  const size_t choice = input.Byte();
  nc_dm_msg_head_t head = {};
  head.flag = input.Byte();
  head.entry_cnt = input.Number<int8_t>();
  const std::string body = input.Rest();
  head.len = static_cast<nc_int32>(body.size());
  // A copy of just its size, so that every byte read behind it is noticed.
  std::unique_ptr<char, decltype(&free)> frame(
      static_cast<char*>(malloc(sizeof(head) + body.size())), &free);
  memcpy(frame.get(), &head, sizeof(head));
  memcpy(frame.get() + sizeof(head), body.data(), body.size());
  g_nc_dm_agent_dbg = choice >= 128 ? NC_DM_DBG_ERROR | NC_DM_DBG_PACKET : 0;
  kDecoders[choice % kDecoders.size()](reinterpret_cast<nc_dm_msg_t*>(frame.get()));
  return 0;
}
