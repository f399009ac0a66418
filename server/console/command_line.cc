#include "server/console/command_line.h"

#include <algorithm>
#include <optional>

#include "server/console/error.h"

namespace ncdm::console {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

class Splitter {
 public:
  explicit Splitter(std::string_view line) : line_(line) {}

  std::vector<std::string> Split() {
    while (SkipBlanks()) {
      if (words_.empty() && line_[position_] == '#') {
        break;
      }
      words_.push_back(Word());
    }
    return std::move(words_);
  }

 private:
  bool SkipBlanks() {
    while (position_ < line_.size() && IsBlank(line_[position_])) {
      ++position_;
    }
    return position_ < line_.size();
  }

  std::string Word() {
    std::string word;
    while (position_ < line_.size() && !IsBlank(line_[position_])) {
      const char c = line_[position_];
      if (c == '"' || c == '\'') {
        ++position_;
        word += QuotedText(c);
      } else if (c == '[') {
        word += BracketedText();
      } else {
        word += c;
        ++position_;
      }
    }
    return word;
  }

  static char Unescaped(char c) {
    switch (c) {
      case 'n':
        return '\n';
      case 't':
        return '\t';
      default:
        return c;
    }
  }

  // Behind the opening quote, up to and with the closing one.
  std::string QuotedText(char quote) {
    std::string text;
    for (; position_ < line_.size(); ++position_) {
      char c = line_[position_];
      if (c == quote) {
        ++position_;
        return text;
      }
      if (c == '\\' && quote == '"' && position_ + 1 < line_.size()) {
        c = Unescaped(line_[++position_]);
      }
      text += c;
    }
    throw CommandError(std::string("a quote is not closed: ") + quote);
  }

  // From the opening bracket up to and with the closing one, as typed.
  std::string BracketedText() {
    const std::size_t begin = position_;
    char quote = 0;
    for (; position_ < line_.size(); ++position_) {
      const char c = line_[position_];
      if (quote != 0) {
        if (c == '\\' && quote == '"') {
          ++position_;
        } else if (c == quote) {
          quote = 0;
        }
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (c == ']') {
        ++position_;
        return std::string(line_.substr(begin, position_ - begin));
      }
    }
    throw CommandError("a bracket is not closed: [");
  }

  std::string_view line_;
  std::size_t position_ = 0;
  std::vector<std::string> words_;
};

}  // namespace

std::vector<std::string> SplitWords(std::string_view line) { return Splitter(line).Split(); }

const std::string* Arguments::Option(std::string_view name) const {
  const auto option = std::ranges::find(options, name, &GivenOption::name);
  return option == options.end() ? nullptr : &option->value;
}

Arguments SortWords(std::string_view command, std::span<const std::string> words,
                    std::span<const OptionSpec> known) {
  Arguments arguments;
  bool options_end = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (options_end || !word.starts_with("--")) {
      arguments.positional.push_back(word);
      continue;
    }
    if (word == "--") {
      options_end = true;
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const auto spec = std::ranges::find(known, name, &OptionSpec::name);
    if (spec == known.end()) {
      throw CommandError(std::string(command) + " does not take the option " + name);
    }
    if (arguments.Has(name)) {
      throw CommandError("the option " + name + " is given twice");
    }
    std::optional<std::string> value;
    if (equals != std::string::npos) {
      value = word.substr(equals + 1);
    } else if (spec->has_value && i + 1 < words.size()) {
      value = words[++i];
    }
    if (value.has_value() != spec->has_value) {
      throw CommandError("the option " + name +
                         (spec->has_value ? " needs a value" : " takes no value"));
    }
    arguments.options.push_back({name, value.value_or("")});
  }
  return arguments;
}

}  // namespace ncdm::console
