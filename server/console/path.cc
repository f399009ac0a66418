#include "server/console/path.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "server/console/error.h"

namespace ncdm::console {
namespace {

std::string InQuotes(std::string_view text) { return "'" + std::string(text) + "'"; }

// Reads one path character by character.
class PathParser {
 public:
  explicit PathParser(std::string_view text) : text_(text) {}

  std::vector<PathStep> Parse() {
    std::vector<PathStep> steps;
    do {
      steps.push_back(Step());
    } while (Skip('.'));
    if (position_ != text_.size()) {
      throw CommandError("a '.' is missing behind the bracket in " + InQuotes(text_));
    }
    return steps;
  }

 private:
  bool AtEnd() const { return position_ == text_.size(); }

  bool Skip(char c) {
    if (AtEnd() || text_[position_] != c) {
      return false;
    }
    ++position_;
    return true;
  }

  void SkipBlanks() {
    while (Skip(' ') || Skip('\t')) {
    }
  }

  // Behind a blank, which is skipped already, and before one.
  bool SkipAnd() {
    constexpr std::string_view kAnd = "and";
    const std::string_view rest = text_.substr(position_);
    if (!rest.starts_with(kAnd) || rest.substr(kAnd.size()).find_first_of(" \t") != 0 ||
        text_.substr(0, position_).find_last_of(" \t") + 1 != position_) {
      return false;
    }
    position_ += kAnd.size();
    return true;
  }

  std::string Until(std::string_view ends) {
    const std::size_t begin = position_;
    position_ = std::min(text_.find_first_of(ends, position_), text_.size());
    return std::string(text_.substr(begin, position_ - begin));
  }

  PathStep Step() {
    PathStep step;
    step.text = Until(".[");
    if (step.text.empty()) {
      throw CommandError("a component of the path " + InQuotes(text_) + " is empty");
    }
    while (Skip('[')) {
      do {
        step.keys.push_back(Key());
      } while (Skip(',') || SkipAnd());
      if (!Skip(']')) {
        throw CommandError("a bracket is not closed in " + InQuotes(text_));
      }
    }
    return step;
  }

  KeyValue Key() {
    KeyValue key;
    SkipBlanks();
    key.key = Until("=,] \t");
    SkipBlanks();
    if (key.key.empty() || !Skip('=')) {
      throw CommandError("brackets hold key=value,... , not " + InQuotes(text_.substr(position_)));
    }
    const std::size_t value = position_;
    SkipBlanks();
    if (Skip('"')) {
      key.value = QuotedValue('"');
      SkipBlanks();
    } else if (Skip('\'')) {
      key.value = QuotedValue('\'');
      SkipBlanks();
    } else {
      position_ = value;  // blanks are part of a value without quotes
      key.value = Until(",]");
    }
    return key;
  }

  std::string QuotedValue(char quote) {
    std::string value;
    for (; !AtEnd(); ++position_) {
      if (Skip(quote)) {
        return value;
      }
      if (quote == '"' && text_[position_] == '\\' && position_ + 1 < text_.size()) {
        ++position_;
      }
      value += text_[position_];
    }
    throw CommandError("a quote is not closed in " + InQuotes(text_));
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

std::int64_t ParseId(std::string_view text) {
  std::int64_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  if (error != std::errc() || end != text.data() + text.size() || id < 1) {
    throw CommandError(InQuotes(text) +
                       " is no instance id: they go from 1 to 9223372036854775807");
  }
  return id;
}

// The keys of an entry, complete and in order of registration.
std::vector<KeyValue> CompleteKeys(const SchemaNode& list, const std::vector<KeyValue>& given) {
  const std::string title = "the list " + InQuotes(list.Path());
  const std::vector<const SchemaNode*> keys = list.Keys();
  for (const KeyValue& key : given) {
    if (std::ranges::find(keys, key.key, &SchemaNode::name) == keys.end()) {
      throw CommandError(InQuotes(key.key) + " is no key of " + title);
    }
    if (std::ranges::count(given, key.key, &KeyValue::key) > 1) {
      throw CommandError("the key " + InQuotes(key.key) + " is given twice");
    }
  }
  std::vector<KeyValue> complete;
  for (const SchemaNode* key : keys) {
    const auto found = std::ranges::find(given, key->name, &KeyValue::key);
    if (found == given.end()) {
      throw CommandError(title + " needs its key " + InQuotes(key->name));
    }
    complete.push_back(*found);
  }
  return complete;
}

class Resolver {
 public:
  explicit Resolver(const Schema& schema) : root_(&schema.root()), node_(root_) {}

  ResolvedPath Resolve(const std::vector<PathStep>& steps) {
    for (const PathStep& step : steps) {
      if (const SchemaNode* child = node_->Child(step.text)) {
        Descend(child);
      } else if (step.text == server::kListMarker) {
        ExpectListFor("no {i}");
      } else if (server::IsNumber(step.text)) {
        TakeId(step.text);
      } else {
        ThrowUnknown(step.text);
      }
      if (!step.keys.empty()) {
        TakeKeys(step.keys);
      }
    }
    path_.node = node_;
    return std::move(path_);
  }

 private:
  void Descend(const SchemaNode* child) {
    node_ = child;
    if (child->is_list) {
      path_.lists.push_back({.list = child});
    }
  }

  void ExpectListFor(std::string_view what) const {
    if (node_->is_leaf_list()) {
      throw CommandError(InQuotes(node_->Path()) +
                         " is a leaf-list: its elements are named by their value");
    }
    if (!node_->is_list) {
      throw CommandError(InQuotes(node_->Path()) + " is no list, so it has " + std::string(what));
    }
  }

  ListSelector* Selector() {
    ListSelector* selector = &path_.lists.back();
    if (selector->selects()) {
      throw CommandError("an entry of " + InQuotes(node_->Path()) + " is named twice");
    }
    return selector;
  }

  void TakeId(const std::string& text) {
    if (node_ == root_) {
      ThrowUnknown(text);
    }
    ExpectListFor("no instance " + text);
    Selector()->id = ParseId(text);
  }

  void TakeKeys(const std::vector<KeyValue>& keys) {
    ExpectListFor("no keys");
    Selector()->keys = CompleteKeys(*node_, keys);
  }

  [[noreturn]] void ThrowUnknown(const std::string& component) const {
    if (node_ == root_) {
      throw CommandError("no registered path begins with " + InQuotes(component));
    }
    throw CommandError(InQuotes(node_->Path()) + " has no " + InQuotes(component));
  }

  const SchemaNode* root_;
  const SchemaNode* node_;
  ResolvedPath path_;
};

}  // namespace

std::vector<PathStep> ParsePath(std::string_view text) { return PathParser(text).Parse(); }

ResolvedPath ResolvePath(const Schema& schema, const std::vector<PathStep>& steps) {
  return Resolver(schema).Resolve(steps);
}

ResolvedPath ResolvePath(const Schema& schema, std::string_view text) {
  return ResolvePath(schema, ParsePath(text));
}

void CheckForReading(const ResolvedPath& path) {
  const auto open = std::ranges::find_if(
      path.lists, [](const ListSelector& selector) { return !selector.selects(); });
  const auto narrowed = std::find_if(
      open, path.lists.end(), [](const ListSelector& selector) { return selector.selects(); });
  if (narrowed != path.lists.end()) {
    throw CommandError("an entry of " + InQuotes(narrowed->list->Path()) +
                       " is named, but none of the list " + InQuotes(open->list->Path()) +
                       " around it");
  }
}

void CheckForEditing(const ResolvedPath& path, bool itself) {
  for (const ListSelector& selector : path.lists) {
    if (!selector.selects() && (itself || selector.list != path.node)) {
      throw CommandError(InQuotes(selector.list->Path()) +
                         " is a list: name an entry by its id or by [key=value]");
    }
  }
}

}  // namespace ncdm::console
