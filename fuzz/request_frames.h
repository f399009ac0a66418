// Requests of a hostile server, from a fuzzer's input: nearly right, with a field spoilt, or of raw
// bytes.
#ifndef FUZZ_REQUEST_FRAMES_H_
#define FUZZ_REQUEST_FRAMES_H_

#include <stddef.h>

#include <string>

#include "fuzz/input.h"
#include "netconf_dm_util.h"

namespace ncdm_fuzz {

struct RequestFrame {
  nc_dm_msg_head_t head = {};  // its length is for whoever sends it
  std::string body;
};

// Kinds of frames; some have more than one number, so that they come more often.
inline constexpr size_t kFrameKinds = 19;
RequestFrame FrameOfKind(size_t kind, Input* input);

// Spoils a field now and then.
void Spoil(Input* input, RequestFrame* frame);

// A frame of a type and a packet type, without entries.
RequestFrame PktTypeFrame(int type, nc_int32 pkt_type);

}  // namespace ncdm_fuzz

#endif  // FUZZ_REQUEST_FRAMES_H_
