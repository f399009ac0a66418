#include "fuzz/request_frames.h"

#include <array>

#include "fuzz/application.h"
#include "netconf_dm_kernel.h"

namespace ncdm_fuzz {
namespace {

using Frame = RequestFrame;

constexpr std::array<const char*, 20> kValues = {"1",          "2",
                                                 "one",        "true",
                                                 "false",      "0",
                                                 "-1",         "65536",
                                                 "4294967296", "9223372036854775808",
                                                 "",           "abc",
                                                 " 5 ",        "2024-5-6T7:8:9",
                                                 "2024-05-06", "-",
                                                 "red",        "007",
                                                 "34",         "%s%n"};
constexpr std::array<nc_int32, 9> kPktTypes = {5, 6, 7, 8, 9, 10, 11, 4, 3};
constexpr std::array<nc_int64, 8> kIds = {1, 2, 3, 5, 0, -1, 77, INT64_MAX};

// ---- Bodies ----

class Body {
 public:
  Body& Int32(nc_int32 value) { return Raw(&value, sizeof(value)); }
  Body& Int64(nc_int64 value) { return Raw(&value, sizeof(value)); }
  Body& Text(const std::string& text) {
    Int32(static_cast<nc_int32>(text.size()));
    bytes_ += text;
    return *this;
  }
  std::string& bytes() { return bytes_; }

 private:
  Body& Raw(const void* bytes, size_t size) {
    bytes_.append(static_cast<const char*>(bytes), size);
    return *this;
  }
  std::string bytes_;
};

std::string PathFrom(Input* input) {
  return input->Chance(32) ? input->Text() : input->OneOf(ncdm_fuzz::kPaths);
}

std::string ValueFrom(Input* input) {
  return input->Chance(16) ? input->Text() : input->OneOf(kValues);
}

void AppendIds(Input* input, Body* body) {
  const size_t cnt = input->Below(16) == 15 ? input->Below(20) : input->Below(4);
  body->Int32(static_cast<nc_int32>(cnt));
  for (size_t i = 0; i < cnt; ++i) {
    body->Int64(input->Chance(32) ? input->Number<nc_int64>() : input->OneOf(kIds));
  }
}

void AppendValue(Input* input, Body* body) {
  const std::string name = PathFrom(input);
  const bool has_value = !input->Chance(3);
  body->Int32(has_value ? 1 : 0).Text(name);
  if (has_value) body->Text(ValueFrom(input));
  AppendIds(input, body);
}

// Entries of one request have most of their fields in common.
void AppendEdits(Input* input, size_t cnt, Body* body) {
  const nc_int32 op = static_cast<nc_int32>(input->Below(7));
  const nc_int32 defop = static_cast<nc_int32>(input->Below(4));
  const nc_int32 erropt = static_cast<nc_int32>(input->Below(3));
  const std::string object = PathFrom(input);
  for (size_t i = 0; i < cnt; ++i) {
    const size_t kind = input->Below(8);
    const std::string name = kind < 4 ? PathFrom(input) : object;
    const bool has_value = kind != 1;
    body->Int32(static_cast<nc_int32>(input->Below(4)));
    body->Int32(kind == 2 ? static_cast<nc_int32>(input->Below(7)) : op);
    body->Int32(defop).Int32(erropt).Int32(0).Int32(has_value ? 1 : 0).Text(name);
    if (has_value) body->Text(ValueFrom(input));
    AppendIds(input, body);
  }
}

// The part of the head that says how the frame is to be read.
nc_dm_msg_head_t Head(int type, size_t entry_cnt, int flag = 0) {
  return {type, 7, flag, static_cast<nc_int32>(entry_cnt), NC_DM_DATASTORE_RUNNING, 0};
}

Frame EditFrame(Input* input) {
  const size_t cnt = input->Below(5);
  Body body;
  body.Int32(input->OneOf(kPktTypes));
  AppendEdits(input, cnt, &body);
  return {Head(NC_DM_MSG_TYPE_EDIT, cnt), body.bytes()};
}

Frame ListFrame(Input* input, int type) {
  const size_t cnt = input->Below(4);
  Body body;
  body.Int32(NC_DM_PKT_TYPE_SEGMENT);
  for (size_t i = 0; i < cnt; ++i) AppendValue(input, &body);
  return {Head(type, cnt), body.bytes()};
}

Frame SingleFilterFrame(Input* input) {
  const int flag = static_cast<int>(input->Below(8));
  Body body;
  body.Int32(NC_DM_PKT_TYPE_FILTER);
  if ((flag & NC_DM_MSG_FLAG_NAME) != 0) body.Text(PathFrom(input));
  if ((flag & NC_DM_MSG_FLAG_VALUE) != 0) body.Text(ValueFrom(input));
  if ((flag & NC_DM_MSG_FLAG_IDS) != 0) AppendIds(input, &body);
  return {Head(NC_DM_MSG_TYPE_FILTER, 0, flag), body.bytes()};
}

Frame RegRspFrame(Input* input) {
  return {Head(NC_DM_MSG_TYPE_REG_RSP, 0, NC_DM_MSG_FLAG_NAME),
          Body().Int32(input->Number<int8_t>()).Text(PathFrom(input)).bytes()};
}

Frame DebugFrame(Input* input) {
  return {Head(NC_DM_MSG_TYPE_DBG, 0), Body().Int32(input->Byte()).Int32(input->Byte()).bytes()};
}

Frame RawFrame(Input* input) {
  Frame frame;
  frame.head = {static_cast<nc_int32>(input->Below(28)),
                input->Byte(),
                input->Byte(),
                input->Number<int8_t>(),
                static_cast<nc_int32>(input->Below(8)),
                0};
  frame.body = input->Text();
  return frame;
}

}  // namespace

RequestFrame PktTypeFrame(int type, nc_int32 pkt_type) {
  return {Head(type, 0), Body().Int32(pkt_type).bytes()};
}

void Spoil(Input* input, RequestFrame* frame) {
  if (!input->Chance(6)) return;
  const size_t place = frame->body.empty() ? 0 : input->Number<uint16_t>() % frame->body.size();
  switch (input->Below(5)) {
    case 0:
      frame->body.resize(place);
      break;
    case 1:
      if (!frame->body.empty()) frame->body[place] = static_cast<char>(input->Byte());
      break;
    case 2:
      frame->head.entry_cnt = input->Number<int8_t>();
      break;
    case 3:
      if (frame->body.size() >= place + 4) {
        frame->body.replace(place, 4, std::string(4, static_cast<char>(input->Byte())));
      }
      break;
    default:
      frame->body += input->Text();
  }
}

RequestFrame FrameOfKind(size_t kind, Input* input) {
  switch (kind) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
      return EditFrame(input);
    case 5:
      return PktTypeFrame(NC_DM_MSG_TYPE_EDIT, NC_DM_PKT_TYPE_OBJECT_END);
    case 6:
      return PktTypeFrame(NC_DM_MSG_TYPE_EDIT, NC_DM_PKT_TYPE_OBJECT_CMD_END);
    case 7:
    case 8:
      return PktTypeFrame(NC_DM_MSG_TYPE_EDIT, NC_DM_PKT_TYPE_END);
    case 9:
      return ListFrame(input, NC_DM_MSG_TYPE_FILTER);
    case 10:
      return PktTypeFrame(NC_DM_MSG_TYPE_FILTER, NC_DM_PKT_TYPE_END);
    case 11:
      return SingleFilterFrame(input);
    case 12:
      return ListFrame(input, NC_DM_MSG_TYPE_GETID);
    case 13:
      return PktTypeFrame(NC_DM_MSG_TYPE_GETID, NC_DM_PKT_TYPE_END);
    case 14:
      return RegRspFrame(input);
    case 15:
      return DebugFrame(input);
    case 16:
      return {Head(NC_DM_MSG_TYPE_SHOW, 0), ""};
    case 17:
      return RawFrame(input);
    default:
      return {Head(NC_DM_MSG_TYPE_UNREG_CLIENT_RSP, 0), ""};
  }
}

}  // namespace ncdm_fuzz
