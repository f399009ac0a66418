// Frames as lines of text.
#ifndef NCDM_SERVER_TRACE_H_
#define NCDM_SERVER_TRACE_H_

#include <functional>
#include <string>
#include <string_view>

#include "server/frame.h"

namespace ncdm::server {

enum class Direction { kToAgent, kFromAgent };

// One line without a line end: an arrow (">" to the agent, "<" from it), the type, the head's
// fields that say something and every field of the body. A body that cannot be decoded ends with
// what is wrong and its bytes.
std::string RenderFrame(Direction direction, const Frame& frame);

// The same for bytes that are no frame.
std::string RenderBytes(Direction direction, std::string_view bytes);

// Receives the line of each frame that passes, and the name of the agent ("" while it is unknown).
using TraceSink = std::function<void(std::string_view agent, std::string_view line)>;

}  // namespace ncdm::server

#endif  // NCDM_SERVER_TRACE_H_
