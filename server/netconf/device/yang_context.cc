#include "server/netconf/device/yang_context.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "server/netconf/device/embedded_modules.h"

namespace ncdm::netconf {
namespace {

const char* g_all_features[] = {"*", nullptr};
// What this server does of what the protocol leaves open.
const char* g_protocol_features[] = {"writable-running",
                                     "candidate",
                                     "confirmed-commit",
                                     "rollback-on-error",
                                     "validate",
                                     "xpath",
                                     nullptr};

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file) {
    throw std::runtime_error("cannot read the module " + path.string());
  }
  return text;
}

// The words of a YANG text, comments and quoted strings passed over.
class Words {
 public:
  explicit Words(std::string_view text) : text_(text) {}

  // Empty at the end.
  std::string Next() {
    for (;;) {
      SkipBlanks();
      if (rest().starts_with("//")) {
        SkipTo("\n");
      } else if (rest().starts_with("/*")) {
        SkipTo("*/");
      } else if (rest().starts_with("\"") || rest().starts_with("'")) {
        return Quoted();
      } else {
        return Plain();
      }
    }
  }

 private:
  std::string_view rest() const { return text_.substr(position_); }
  void SkipBlanks() {
    position_ = std::min(text_.find_first_not_of(" \t\r\n", position_), text_.size());
  }
  void SkipTo(std::string_view end) {
    const std::size_t found = text_.find(end, position_ + 1);
    position_ = found == std::string_view::npos ? text_.size() : found + end.size();
  }
  std::string Quoted() {
    const char quote = text_[position_];
    std::string word;
    for (++position_; position_ < text_.size() && text_[position_] != quote; ++position_) {
      if (quote == '"' && text_[position_] == '\\' && position_ + 1 < text_.size()) {
        ++position_;
      }
      word += text_[position_];
    }
    position_ = std::min(position_ + 1, text_.size());
    return "\"" + word;
  }
  std::string Plain() {
    if (position_ == text_.size()) {
      return "";
    }
    if (std::strchr("{};", text_[position_]) != nullptr) {
      return std::string(1, text_[position_++]);
    }
    const std::size_t begin = position_;
    position_ = std::min(text_.find_first_of(" \t\r\n{};", position_), text_.size());
    return std::string(text_.substr(begin, position_ - begin));
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

struct ModuleHead {
  bool is_submodule = false;
  std::string name;
  std::string revision;  // the newest; empty without one
};

std::string Unquoted(const std::string& word) {
  return word.starts_with('"') ? word.substr(1) : word;
}

ModuleHead ReadHead(const std::string& text) {
  Words words(text);
  ModuleHead head;
  head.is_submodule = words.Next() == "submodule";
  head.name = Unquoted(words.Next());
  int depth = 0;
  for (std::string word = words.Next(); !word.empty(); word = words.Next()) {
    if (word == "{") {
      ++depth;
    } else if (word == "}") {
      --depth;
    } else if (word == "revision" && depth == 1) {
      head.revision = std::max(head.revision, Unquoted(words.Next()));
    }
  }
  return head;
}

// Serves the imports of modules that are compiled in.
LY_ERR ImportEmbedded(const char* name, const char*, const char* submodule, const char*, void*,
                      LYS_INFORMAT* format, const char** data,
                      ly_module_imp_data_free_clb* free_data) {
  for (const EmbeddedModule& module : EmbeddedModules()) {
    if (submodule == nullptr && std::strcmp(module.name, name) == 0) {
      *format = LYS_IN_YANG;
      *data = module.text;
      *free_data = nullptr;
      return LY_SUCCESS;
    }
  }
  return LY_ENOTFOUND;
}

template <typename Function>
void ForEachSubmodule(const lys_module* module, Function function) {
  if (module->parsed == nullptr) {
    return;
  }
  for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(module->parsed->includes); ++i) {
    function(*module->parsed->includes[i].submodule);
  }
}

std::string Printed(const lys_module* module) {
  char* text = nullptr;
  if (lys_print_mem(&text, module, LYS_OUT_YANG, 0) != LY_SUCCESS || text == nullptr) {
    return "";
  }
  std::string printed(text);
  std::free(text);
  return printed;
}

}  // namespace

std::vector<const lysc_node*> KeysOf(const lysc_node* list) {
  std::vector<const lysc_node*> keys;
  for (const lysc_node* child = lysc_node_child(list); child != nullptr && IsKey(child);
       child = child->next) {
    keys.push_back(child);
  }
  return keys;
}

YangContext::YangContext(const std::string& directory) {
  ly_log_options(LY_LOSTORE_LAST);
  if (!std::filesystem::is_directory(directory)) {
    throw std::runtime_error("there is no directory of YANG modules " + directory);
  }
  if (ly_ctx_new(directory.c_str(),
                 LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_REF_IMPLEMENTED | LY_CTX_EXPLICIT_COMPILE,
                 &context_) != LY_SUCCESS) {
    throw std::runtime_error("cannot read the directory of YANG modules " + directory);
  }
  try {
    ly_ctx_set_module_imp_clb(context_, ImportEmbedded, nullptr);
    LoadEmbedded();
    LoadDirectory(directory);
    if (ly_ctx_compile(context_) != LY_SUCCESS) {
      Fail("the YANG modules of " + directory + " do not fit together");
    }
  } catch (...) {
    ly_ctx_destroy(context_);
    throw;
  }
}

YangContext::~YangContext() { ly_ctx_destroy(context_); }

void YangContext::LoadEmbedded() {
  for (const EmbeddedModule& module : EmbeddedModules()) {
    const bool is_base = std::string_view(module.name) == "ietf-netconf";
    Load(module.text, module.name, is_base ? g_protocol_features : g_all_features);
  }
  for (const lys_module* module : Modules()) {
    protocol_modules_.emplace_back(module->name);
  }
}

void YangContext::LoadDirectory(const std::string& directory) {
  struct File {
    std::string revision;
    std::string text;
    std::string path;
  };
  std::map<std::string, File> modules;  // the newest revision of each
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    if (entry.path().extension() != ".yang") {
      continue;
    }
    std::string text = ReadFile(entry.path());
    const ModuleHead head = ReadHead(text);
    if (head.is_submodule) {
      texts_[{head.name, head.revision}] = std::move(text);
      continue;
    }
    File& known = modules[head.name];
    if (known.text.empty() || known.revision < head.revision) {
      known = {head.revision, std::move(text), entry.path().string()};
    }
  }
  if (error) {
    throw std::runtime_error("cannot read the directory of YANG modules " + directory + ": " +
                             error.message());
  }
  for (const auto& [name, file] : modules) {
    Load(file.text, file.path, g_all_features);
  }
}

void YangContext::Load(const std::string& text, const std::string& name, const char** features) {
  const ModuleHead head = ReadHead(text);
  texts_[{head.name, head.revision}] = text;
  // One that another module imports is here already, but for its data.
  lys_module* known = ly_ctx_get_module(context_, head.name.c_str(),
                                        head.revision.empty() ? nullptr : head.revision.c_str());
  if (known != nullptr) {
    if (lys_set_implemented(known, features) != LY_SUCCESS) {
      Fail("cannot use the YANG module " + name);
    }
    return;
  }
  ly_in* input = nullptr;
  ly_in_new_memory(text.c_str(), &input);
  const LY_ERR result = lys_parse(context_, input, LYS_IN_YANG, features, nullptr);
  ly_in_free(input, 0);
  if (result != LY_SUCCESS) {
    Fail("cannot load the YANG module " + name);
  }
}

void YangContext::Fail(const std::string& what) const {
  std::string line = what + ": " + LastError();
  const char* path = ly_errpath(context_);
  if (path != nullptr && *path != '\0') {
    line += std::string(" (") + path + ")";
  }
  std::ranges::replace(line, '\n', ' ');
  throw std::runtime_error(line);
}

const lys_module* YangContext::Implemented(std::string_view name) const {
  return ly_ctx_get_module_implemented(context_, std::string(name).c_str());
}

const lys_module* YangContext::ImplementedByNamespace(std::string_view name_space) const {
  return ly_ctx_get_module_implemented_ns(context_, std::string(name_space).c_str());
}

std::vector<const lys_module*> YangContext::Modules() const {
  std::vector<const lys_module*> modules;
  std::uint32_t index = 0;
  while (const lys_module* module = ly_ctx_get_module_iter(context_, &index)) {
    modules.push_back(module);
  }
  return modules;
}

bool YangContext::IsDevice(const lys_module* module) const {
  return std::ranges::find(protocol_modules_, module->name) == protocol_modules_.end();
}

std::string YangContext::ContentId() const {
  // Another set of modules has to have another one, also after a restart: 64-bit FNV-1a.
  std::uint64_t hash = 14695981039346656037U;
  for (const lys_module* module : Modules()) {
    const std::string text = std::string(module->name) + "@" +
                             (module->revision == nullptr ? "" : module->revision) +
                             (module->implemented != 0 ? "+" : "-");
    for (const char c : text) {
      hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    }
  }
  return std::to_string(hash);
}

std::string YangContext::LastError() const {
  const char* message = ly_errmsg(context_);
  return message == nullptr ? "" : message;
}

std::string YangContext::LastErrorAppTag() const {
  const char* tag = ly_errapptag(context_);
  return tag == nullptr ? "" : tag;
}

const std::vector<YangContext::SchemaText>& YangContext::Schemas() const {
  if (!schemas_.empty()) {
    return schemas_;
  }
  const auto text_of = [&](const std::string& name, const std::string& revision) {
    const auto text = texts_.find({name, revision});
    return text == texts_.end() ? "" : text->second;
  };
  for (const lys_module* module : Modules()) {
    const std::string revision = module->revision == nullptr ? "" : module->revision;
    std::string text = text_of(module->name, revision);
    if (text.empty()) {
      text = Printed(module);
    }
    schemas_.push_back({module->name, revision, module->ns, std::move(text)});
    ForEachSubmodule(module, [&](const lysp_submodule& submodule) {
      const std::string date =
          LY_ARRAY_COUNT(submodule.revs) > 0 ? std::string(submodule.revs[0].date) : "";
      schemas_.push_back({submodule.name, date, module->ns, text_of(submodule.name, date)});
    });
  }
  return schemas_;
}

}  // namespace ncdm::netconf
