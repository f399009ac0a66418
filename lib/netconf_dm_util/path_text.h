// The dotted text of a path with its ids, which grows and shrinks with a walk: what the leaves of
// an entry have in common is written once.
#ifndef NETCONF_DM_UTIL_PATH_TEXT_H_
#define NETCONF_DM_UTIL_PATH_TEXT_H_

#include <charconv>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>

#include "netconf_dm_util.h"

namespace nc {

// The name of a component, at most as long as a path may have one.
inline std::string_view ComponentName(const char* name) {
  return {name, strnlen(name, NC_DM_MAX_NAME_LEN)};
}

class PathText {
 public:
  PathText() = default;
  // The first `count` components.
  PathText(const nc_dm_path_nodes_t& path, int count) {
    for (int i = 0; i < count; ++i) Push(ComponentName(path.nodes[i]), path.instances[i]);
  }
  PathText(const PathText&) = delete;
  PathText& operator=(const PathText&) = delete;

  // Appends a component that others follow: "name." or "name.3.".
  void Push(std::string_view name, nc_int64 id) {
    PutLast(name, id);
    Put(".");
  }
  // Appends the last component: "name" or "name.3".
  void PutLast(std::string_view name, nc_int64 id) {
    Put(name);
    if (id != 0) PutId(id);
  }

  // The text's end, and the way back to it.
  size_t Mark() const { return length_; }
  void CutTo(size_t mark) { length_ = mark; }

  bool Fits() const { return length_ <= NC_DM_MAX_PATH_LEN; }
  std::string_view View() const { return {text_, length_}; }  // only if it fits

 private:
  void Put(std::string_view text) {
    if (!Fits() || text.size() > NC_DM_MAX_PATH_LEN - length_) {
      length_ = NC_DM_MAX_PATH_LEN + 1;
      return;
    }
    memcpy(text_ + length_, text.data(), text.size());
    length_ += text.size();
  }

  void PutId(nc_int64 id) {
    char text[21] = ".";  // ".-9223372036854775808"
    const auto result = std::to_chars(std::begin(text) + 1, std::end(text), id);
    Put({text, static_cast<size_t>(result.ptr - text)});
  }

  size_t length_ = 0;  // beyond the limit: the text does not fit
  char text_[NC_DM_MAX_PATH_LEN];
};

// Cuts what is appended in a scope.
class PathTextScope {
 public:
  explicit PathTextScope(PathText* text) : text_(text), mark_(text->Mark()) {}
  ~PathTextScope() { text_->CutTo(mark_); }
  PathTextScope(const PathTextScope&) = delete;
  PathTextScope& operator=(const PathTextScope&) = delete;

 private:
  PathText* text_;
  size_t mark_;
};

// The text of a whole path, as nc_dm_agent_comb_path_name gives it. 0, or -1, which is logged.
int JoinPath(const nc_dm_path_nodes_t& path, bool is_leaf, PathText* text);

}  // namespace nc

#endif  // NETCONF_DM_UTIL_PATH_TEXT_H_
