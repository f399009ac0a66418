// Message bodies: encoding of what the agent sends, decoding of what it receives.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "netconf_dm_kernel.h"

namespace {

// Room for a message, cleared as the encoders want it.
class MessageRoom {
 public:
  nc_dm_msg_t* Cleared() {
    std::memset(bytes_.data(), 0, sizeof(nc_dm_msg_head_t));
    return reinterpret_cast<nc_dm_msg_t*>(bytes_.data());
  }
  nc_dm_msg_t* get() { return reinterpret_cast<nc_dm_msg_t*>(bytes_.data()); }

  void Int32(nc_int32 value) { nc_dm_put_int32(get()->buf, &get()->head.len, value); }
  void Int64(nc_int64 value) { nc_dm_put_int64(get()->buf, &get()->head.len, value); }
  void Text(std::string text) {
    nc_dm_lv_str(get()->buf, &get()->head.len, text.data(), static_cast<int>(text.size()));
  }

 private:
  alignas(nc_dm_msg_t) std::array<char, NC_DM_RECV_BUF_SIZE> bytes_ = {};
};

std::string g_path = "system.slot.5.port.123456.speed";
std::string g_value = "1000000000";

// ---- Encoding ----

void BM_EncodeReg(benchmark::State& state) {
  MessageRoom room;
  nc_dm_stub_reg_t record = {};
  record.name = g_path.data();
  for (auto _ : state) benchmark::DoNotOptimize(nc_dm_agent_encode_reg(room.Cleared(), &record));
}
BENCHMARK(BM_EncodeReg);

void BM_EncodeRegName(benchmark::State& state) {
  MessageRoom room;
  nc_dm_stub_reg_t record = {};
  record.name = g_path.data();
  for (auto _ : state) {
    benchmark::DoNotOptimize(nc_dm_agent_encode_reg_name(room.Cleared(), &record));
  }
}
BENCHMARK(BM_EncodeRegName);

void BM_EncodeUnreg(benchmark::State& state) {
  MessageRoom room;
  nc_dm_stub_reg_t record = {};
  record.name = g_path.data();
  for (auto _ : state) benchmark::DoNotOptimize(nc_dm_agent_encode_unreg(room.Cleared(), &record));
}
BENCHMARK(BM_EncodeUnreg);

void BM_EncodeRegYangAttr(benchmark::State& state) {
  MessageRoom room;
  std::string module = "demo-interfaces";
  std::string revision = "2024-05-06";
  nc_dm_yang_attr_t attr = {};
  attr.type = NC_DM_YANG_ATTR_REVISION;
  attr.module_name = module.data();
  attr.attr = revision.data();
  for (auto _ : state) {
    benchmark::DoNotOptimize(nc_dm_agent_encode_reg_yang_attr(room.Cleared(), &attr));
  }
}
BENCHMARK(BM_EncodeRegYangAttr);

void BM_EncodeRegCplt(benchmark::State& state) {
  MessageRoom room;
  for (auto _ : state) benchmark::DoNotOptimize(nc_dm_agent_encode_reg_cplt(room.Cleared()));
}
BENCHMARK(BM_EncodeRegCplt);

void BM_EncodeFault(benchmark::State& state) {
  MessageRoom room;
  nc_dm_fault_t fault = {};
  nc_dm_agent_set_fault(&fault, NC_DM_FAULT_CODE_DATA_EXISTS, g_path.data());
  for (auto _ : state) benchmark::DoNotOptimize(nc_dm_agent_encode_fault(room.Cleared(), &fault));
}
BENCHMARK(BM_EncodeFault);

void BM_EncodeEditRsp(benchmark::State& state) {
  MessageRoom room;
  nc_dm_stub_edit_rsp_t answer = {NC_DM_PKT_TYPE_RSP, 7, 0};
  for (auto _ : state) {
    benchmark::DoNotOptimize(nc_dm_agent_encode_edit_rsp(room.Cleared(), &answer));
  }
}
BENCHMARK(BM_EncodeEditRsp);

void BM_EncodeFilterRsp(benchmark::State& state) {
  MessageRoom room;
  nc_dm_stub_filter_rsp_t answer = {NC_DM_PKT_TYPE_SEGMENT, g_path.data(), g_value.data()};
  for (auto _ : state) {
    benchmark::DoNotOptimize(nc_dm_agent_encode_filter_rsp(room.Cleared(), &answer));
  }
}
BENCHMARK(BM_EncodeFilterRsp);

void BM_EncodeGetidRsp(benchmark::State& state) {
  MessageRoom room;
  nc_dm_id_array_node_t ids = {};
  ids.id_array.cnt = 2;
  nc_dm_list_t list = {{&ids.lst, &ids.lst}, 1};
  ids.lst = {&list.head, &list.head};
  nc_dm_stub_getid_rsp_t answer = {NC_DM_PKT_TYPE_SEGMENT, &list};
  for (auto _ : state) {
    benchmark::DoNotOptimize(nc_dm_agent_encode_getid_rsp(room.Cleared(), &answer));
  }
}
BENCHMARK(BM_EncodeGetidRsp);

// ---- Decoding ----

void PutEntryTail(MessageRoom* room) {
  room->Int32(1);
  room->Text("system.slot.port.speed");
  room->Text(g_value);
  room->Int32(2);
  room->Int64(5);
  room->Int64(123456);
}

void BM_DecodeEditList(benchmark::State& state) {
  MessageRoom room;
  room.Cleared()->head.entry_cnt = static_cast<nc_int32>(state.range(0));
  room.Int32(NC_DM_PKT_TYPE_SEGMENT);
  for (int i = 0; i < state.range(0); ++i) {
    for (const nc_int32 field : {0, NC_DM_OP_MERGE, 0, 0, 0}) room.Int32(field);
    PutEntryTail(&room);
  }
  for (auto _ : state) {
    nc_dm_stub_edit_node_list_t list = {};
    list.edit_head = {&list.edit_head, &list.edit_head};
    list.key_head = {&list.key_head, &list.key_head};
    if (nc_dm_agent_decode_edit_list(room.get(), &list) != 0) state.SkipWithError("refused");
    nc_dm_agent_free_edit_node_list(&list);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_DecodeEditList)->ArgName("entries")->Arg(1)->Arg(10);

void BM_DecodeFilterList(benchmark::State& state) {
  MessageRoom room;
  room.Cleared()->head.entry_cnt = static_cast<nc_int32>(state.range(0));
  room.Int32(NC_DM_PKT_TYPE_SEGMENT);
  for (int i = 0; i < state.range(0); ++i) PutEntryTail(&room);
  for (auto _ : state) {
    nc_dm_stub_filter_node_list_t list = {};
    list.filter_head = {&list.filter_head, &list.filter_head};
    if (nc_dm_agent_decode_filter_list(room.get(), &list) != 0) state.SkipWithError("refused");
    nc_dm_agent_free_filter_node_list(&list);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_DecodeFilterList)->ArgName("entries")->Arg(1)->Arg(10);

void BM_DecodeFilter(benchmark::State& state) {
  MessageRoom room;
  room.Cleared()->head.flag = NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_IDS;
  room.Int32(NC_DM_PKT_TYPE_FILTER);
  room.Text("system.slot.port.speed");
  room.Int32(2);
  room.Int64(5);
  room.Int64(123456);
  for (auto _ : state) {
    nc_dm_stub_filter_t filter = {};
    if (nc_dm_agent_decode_filter(room.get(), &filter) != 0) state.SkipWithError("refused");
    nc_dm_agent_free_filter(&filter);
  }
}
BENCHMARK(BM_DecodeFilter);

void BM_DecodeEdit(benchmark::State& state) {
  MessageRoom room;
  room.Cleared()->head.flag = NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE;
  for (const nc_int32 field : {NC_DM_PKT_TYPE_SEGMENT, NC_DM_OP_MERGE, 0, 0, 0}) room.Int32(field);
  room.Text("system.slot.port.speed");
  room.Text(g_value);
  for (auto _ : state) {
    nc_dm_stub_edit_t edit = {};
    if (nc_dm_agent_decode_edit(room.get(), &edit) != 0) state.SkipWithError("refused");
    nc_dm_agent_free_edit(&edit);
  }
}
BENCHMARK(BM_DecodeEdit);

void BM_DecodeGetid(benchmark::State& state) {
  MessageRoom room;
  room.Cleared()->head.flag = NC_DM_MSG_FLAG_NAME | NC_DM_MSG_FLAG_VALUE;
  room.Int32(NC_DM_PKT_TYPE_SEGMENT);
  room.Text("system.slot.port.speed");
  room.Text(g_value);
  for (auto _ : state) {
    nc_dm_stub_getid_t getid = {};
    if (nc_dm_agent_decode_getid(room.get(), &getid) != 0) state.SkipWithError("refused");
    nc_dm_agent_free_getid(&getid);
  }
}
BENCHMARK(BM_DecodeGetid);

void BM_DecodeRegRsp(benchmark::State& state) {
  MessageRoom room;
  room.Cleared()->head.flag = NC_DM_MSG_FLAG_NAME;
  room.Int32(0);
  room.Text(g_path);
  for (auto _ : state) {
    nc_dm_stub_reg_rsp_t answer = {};
    if (nc_dm_agent_decode_reg_rsp(room.get(), &answer) != 0) state.SkipWithError("refused");
    nc_dm_agent_free_reg_rsp(&answer);
  }
}
BENCHMARK(BM_DecodeRegRsp);

void BM_DecodeFault(benchmark::State& state) {
  MessageRoom room;
  room.Cleared();
  room.Int32(NC_DM_FAULT_CODE_DATA_EXISTS);
  room.Text(g_path);
  for (auto _ : state) {
    nc_dm_fault_t fault = {};
    if (nc_dm_agent_decode_fault(room.get(), &fault) != 0) state.SkipWithError("refused");
    benchmark::DoNotOptimize(fault);
  }
}
BENCHMARK(BM_DecodeFault);

void BM_DecodeDbg(benchmark::State& state) {
  MessageRoom room;
  room.Cleared();
  room.Int32(NC_DM_DBG_ERROR);
  room.Int32(1);
  for (auto _ : state) {
    nc_dm_stub_dbg_t debug = {};
    if (nc_dm_agent_decode_dbg(room.get(), &debug) != 0) state.SkipWithError("refused");
    benchmark::DoNotOptimize(debug);
  }
}
BENCHMARK(BM_DecodeDbg);

}  // namespace
