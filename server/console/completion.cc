#include "server/console/completion.h"

#include <algorithm>
#include <optional>

#include "server/console/commands.h"
#include "server/printable.h"

namespace ncdm::console {
namespace {

// The words before the one under the cursor, and that one.
struct Words {
  std::vector<std::string_view> before;
  std::string_view current;
};

// Blanks in quotes do not count here: completion is a help, not a parser. Those in brackets do,
// since keys may hold them.
Words SplitAtCursor(std::string_view line) {
  Words words;
  std::size_t begin = 0;
  int depth = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '[') {
      ++depth;
    } else if (line[i] == ']' && depth > 0) {
      --depth;
    } else if (line[i] == ' ' && depth == 0) {
      if (i > begin) {
        words.before.push_back(line.substr(begin, i - begin));
      }
      begin = i + 1;
    }
  }
  words.current = line.substr(begin);
  return words;
}

class Completer {
 public:
  Completer(std::string_view line, const Schema* schema, const std::vector<std::string>& agents)
      : schema_(schema), agents_(agents), words_(SplitAtCursor(line)), line_size_(line.size()) {}

  Completion Complete() {
    if (words_.before.empty()) {
      CompleteCommand();
      return std::move(completion_);
    }
    const Command* command = FindCommand(words_.before.front());
    if (command == nullptr) {
      return std::move(completion_);
    }
    if (words_.before.size() > 1 && words_.before.back() == "--agent") {
      CompleteAgent();
    } else if (words_.current.starts_with("--")) {
      CompleteOption(*command);
    } else {
      CompleteWord(*command);
    }
    return std::move(completion_);
  }

 private:
  // Offers the texts that go on from `typed`, which ends at the cursor.
  void Offer(std::string_view typed, std::string_view text, std::string_view suffix) {
    // What a terminal might obey is not typed for anybody.
    if (text.starts_with(typed) && server::Printable(text) == text) {
      completion_.begin = line_size_ - typed.size();
      completion_.candidates.push_back({std::string(text), std::string(suffix)});
    }
  }

  void CompleteCommand() {
    for (const Command& command : AllCommands()) {
      Offer(words_.current, command.name, command.max_words > 0 ? " " : "");
    }
  }

  void CompleteAgent() {
    for (const std::string& agent : agents_) {
      Offer(words_.current, agent, " ");
    }
  }

  void CompleteOption(const Command& command) {
    for (const OptionSpec& option : command.options) {
      Offer(words_.current, option.name, " ");
    }
  }

  // How many arguments stand before the word, options left out.
  std::vector<std::string_view> ArgumentsBefore(const Command& command) const {
    std::vector<std::string_view> arguments;
    for (std::size_t i = 1; i < words_.before.size(); ++i) {
      const std::string_view word = words_.before[i];
      const auto option = std::ranges::find(command.options, word, &OptionSpec::name);
      if (option != command.options.end()) {
        i += option->has_value ? 1 : 0;
      } else if (!word.starts_with("--")) {
        arguments.push_back(word);
      }
    }
    return arguments;
  }

  void CompleteWord(const Command& command) {
    const std::vector<std::string_view> arguments = ArgumentsBefore(command);
    const std::size_t index = std::min(arguments.size(), command.words.size() - 1);
    switch (command.words[index]) {
      case WordKind::kAgent:
        CompleteAgent();
        break;
      case WordKind::kPath:
        CompletePath();
        break;
      case WordKind::kAssignment:
        CompleteAssignment(arguments.front());
        break;
      case WordKind::kOnOff:
        Offer(words_.current, "on", " ");
        Offer(words_.current, "off", " ");
        break;
      case WordKind::kOther:
        if (command.name == "help") {
          CompleteCommand();
        }
        break;
    }
  }

  // The node that complete components lead to; null when they lead nowhere.
  const SchemaNode* Follow(std::string_view path) const {
    const SchemaNode* node = &schema_->root();
    while (!path.empty() && node != nullptr) {
      const std::size_t end = std::min(path.find_first_of(".["), path.size());
      const std::string_view component = path.substr(0, end);
      if (const SchemaNode* child = node->Child(component)) {
        node = child;
      } else if (!node->is_list ||
                 (component != server::kListMarker && !server::IsNumber(component))) {
        return nullptr;
      }
      path.remove_prefix(end);
      while (path.starts_with('[')) {
        path.remove_prefix(std::min(path.find(']'), path.size() - 1) + 1);
      }
      path.remove_prefix(path.starts_with('.') ? 1 : 0);
    }
    return node;
  }

  // Where the last component begins; a '.' in brackets is part of a key.
  static std::size_t LastComponent(std::string_view path) {
    std::size_t begin = 0;
    int depth = 0;
    for (std::size_t i = 0; i < path.size(); ++i) {
      depth += path[i] == '[' ? 1 : path[i] == ']' ? -1 : 0;
      if (path[i] == '.' && depth == 0) {
        begin = i + 1;
      }
    }
    return begin;
  }

  void CompletePath() {
    if (schema_ == nullptr) {
      return;
    }
    const std::size_t bracket = words_.current.rfind('[');
    const std::size_t begin = LastComponent(words_.current);
    if (bracket != std::string_view::npos && bracket >= begin) {
      CompleteKey(words_.current.substr(0, bracket), words_.current.substr(bracket + 1));
      return;
    }
    if (const SchemaNode* node = Follow(words_.current.substr(0, begin))) {
      OfferChildren(*node, words_.current.substr(begin));
    }
  }

  void OfferChildren(const SchemaNode& node, std::string_view typed) {
    for (const auto& child : node.children) {
      Offer(typed, child->name, child->is_leaf ? " " : child->is_list ? "" : ".");
    }
  }

  void CompleteKey(std::string_view list_path, std::string_view typed) {
    const SchemaNode* list = Follow(list_path);
    const std::size_t comma = typed.rfind(',');
    if (comma != std::string_view::npos) {
      typed.remove_prefix(comma + 1);
    }
    if (list == nullptr || typed.find_first_of("=]") != std::string_view::npos) {
      return;
    }
    for (const SchemaNode* key : list->Keys()) {
      Offer(typed, key->name + "=", "");
    }
  }

  void CompleteAssignment(std::string_view entry) {
    const SchemaNode* node = schema_ == nullptr ? nullptr : Follow(entry);
    if (node == nullptr || !node->is_list || words_.current.find('=') != std::string_view::npos) {
      return;
    }
    std::string_view typed = words_.current;
    for (std::size_t dot = typed.find('.'); dot != std::string_view::npos; dot = typed.find('.')) {
      node = node->Child(typed.substr(0, dot));
      if (node == nullptr) {
        return;
      }
      typed.remove_prefix(dot + 1);
    }
    for (const auto& child : node->children) {
      if (child->is_leaf && (child->key_flag() == 0 || !node->is_list)) {
        Offer(typed, child->name + "=", "");
      } else if (!child->is_leaf && !child->is_list) {
        Offer(typed, child->name, ".");
      }
    }
  }

  const Schema* schema_;
  const std::vector<std::string>& agents_;
  Words words_;
  std::size_t line_size_;
  Completion completion_;
};

}  // namespace

std::string Completion::CommonPrefix() const {
  if (candidates.empty()) {
    return "";
  }
  std::string prefix = candidates.front().text;
  for (const Candidate& candidate : candidates) {
    const auto [end, other] = std::ranges::mismatch(prefix, candidate.text);
    prefix.erase(end, prefix.end());
  }
  return prefix;
}

Completion Complete(std::string_view line, const Schema* schema,
                    const std::vector<std::string>& agents) {
  return Completer(line, schema, agents).Complete();
}

}  // namespace ncdm::console
