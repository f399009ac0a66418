// The YANG modules that are served: the protocol's own and the device's.
#ifndef NCDM_SERVER_NETCONF_DEVICE_YANG_CONTEXT_H_
#define NCDM_SERVER_NETCONF_DEVICE_YANG_CONTEXT_H_

#include <libyang/libyang.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncdm::netconf {

class YangContext {
 public:
  // Loads and implements all modules of `directory`, with all their features. Throws
  // std::runtime_error whose line names the directory or the module that has an error.
  explicit YangContext(const std::string& directory);
  ~YangContext();
  YangContext(const YangContext&) = delete;
  YangContext& operator=(const YangContext&) = delete;

  ly_ctx* get() const { return context_; }
  const lys_module* Implemented(std::string_view name) const;
  const lys_module* ImplementedByNamespace(std::string_view name_space) const;
  std::vector<const lys_module*> Modules() const;  // implemented ones and imports
  // That have data nodes of the device's own: neither the protocol's modules nor libyang's.
  bool IsDevice(const lys_module* module) const;

  // What the YANG library says of this set of modules as a whole.
  std::string ContentId() const;
  // The last thing that libyang complained of.
  std::string LastError() const;
  std::string LastErrorAppTag() const;

  struct SchemaText {
    std::string identifier;
    std::string version;  // empty without a revision
    std::string name_space;
    std::string text;
  };
  // Of every module and submodule, as it was loaded; made when first asked for.
  const std::vector<SchemaText>& Schemas() const;

 private:
  void LoadEmbedded();
  void LoadDirectory(const std::string& directory);
  void Load(const std::string& text, const std::string& name, const char** features);
  void Fail(const std::string& what) const;

  ly_ctx* context_ = nullptr;
  std::map<std::pair<std::string, std::string>, std::string> texts_;  // by name and revision
  std::vector<std::string> protocol_modules_;
  mutable std::vector<SchemaText> schemas_;
};

// Data nodes below `parent` (at the top of `module` when it is null): containers, lists, leaves,
// leaf-lists and anydata; what stands in choices included.
template <typename Function>
void ForEachChild(const lysc_node* parent, const lys_module* module, Function function) {
  constexpr int kData = LYS_CONTAINER | LYS_LIST | LYS_LEAF | LYS_LEAFLIST | LYS_ANYDATA;
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, module == nullptr ? nullptr : module->compiled, 0)) !=
         nullptr) {
    if ((child->nodetype & kData) != 0) {
      function(child);
    }
  }
}

inline bool IsKey(const lysc_node* node) { return (node->flags & LYS_KEY) != 0; }
inline bool IsConfig(const lysc_node* node) { return (node->flags & LYS_CONFIG_W) != 0; }
inline bool IsTerm(const lysc_node* node) {
  return (node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
}
// The nearest container or list around a data node; choices and cases are no data.
inline const lysc_node* DataParent(const lysc_node* node) { return lysc_data_parent(node); }
// Of a list, in the order of its key statement; they are its first children.
std::vector<const lysc_node*> KeysOf(const lysc_node* list);

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_DEVICE_YANG_CONTEXT_H_
