#include "server/netconf/device/xpath_text.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace ncdm::netconf {
namespace {

enum class Kind {
  kName,      // of a node, with its prefix
  kAxis,      // with its "::"
  kFunction,  // or a node type: a parenthesis follows
  kOperator,  // and, or, div, mod
  kLiteral,
  kNumber,
  kSymbol,  // everything else, "//" and ".." as one
  kBlank,
  kVariable,
};

struct Token {
  Kind kind;
  std::string_view text;
};

bool IsNameStart(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_' ||
         (static_cast<unsigned char>(c) & 0x80) != 0;
}

bool IsNamePart(char c) {
  return IsNameStart(c) || std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.';
}

class Tokens {
 public:
  explicit Tokens(std::string_view text) : text_(text) {}

  std::vector<Token> All() {
    std::vector<Token> tokens;
    while (position_ < text_.size()) {
      const Token token = Next();
      tokens.push_back(token);
      if (token.kind != Kind::kBlank) {
        previous_ = token;
      }
    }
    return tokens;
  }

 private:
  char At(std::size_t offset) const {
    return position_ + offset < text_.size() ? text_[position_ + offset] : '\0';
  }
  Token Cut(Kind kind, std::size_t length) {
    const Token token{kind, text_.substr(position_, length)};
    position_ += token.text.size();
    return token;
  }
  template <typename Predicate>
  std::size_t Run(std::size_t offset, Predicate predicate) const {
    while (At(offset) != '\0' && predicate(At(offset))) {
      ++offset;
    }
    return offset;
  }

  // True if what came before is an operand, so that a name or star here is an operator.
  bool AfterOperand() const {
    switch (previous_.kind) {
      case Kind::kName:
      case Kind::kLiteral:
      case Kind::kNumber:
        return true;
      case Kind::kSymbol:
        return previous_.text == ")" || previous_.text == "]" || previous_.text == "." ||
               previous_.text == "..";
      default:
        return false;
    }
  }

  Token Next() {
    const char c = At(0);
    if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      return Cut(Kind::kBlank,
                 Run(1, [](char next) { return std::isspace(static_cast<unsigned char>(next)); }));
    }
    if (c == '\'' || c == '"') {
      const std::size_t end = text_.find(c, position_ + 1);
      return Cut(Kind::kLiteral,
                 end == std::string_view::npos ? text_.size() : end - position_ + 1);
    }
    if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
      return Cut(Kind::kNumber, Run(1, [](char next) {
                   return std::isdigit(static_cast<unsigned char>(next)) != 0 || next == '.';
                 }));
    }
    if (c == '$') {
      return Cut(Kind::kVariable, Run(1, IsNamePart));
    }
    if (IsNameStart(c)) {
      return Name();
    }
    if (c == '*' && !AfterOperand()) {
      return Cut(Kind::kName, 1);
    }
    const bool is_double = (c == '/' && At(1) == '/') || (c == '.' && At(1) == '.');
    return Cut(Kind::kSymbol, is_double ? 2 : 1);
  }

  Token Name() {
    std::size_t length = Run(1, IsNamePart);
    if (AfterOperand()) {
      return Cut(Kind::kOperator, length);
    }
    if (At(length) == ':' && At(length + 1) == ':') {
      return Cut(Kind::kAxis, length + 2);
    }
    if (At(length) == ':' && (IsNameStart(At(length + 1)) || At(length + 1) == '*')) {
      length = At(length + 1) == '*' ? length + 2 : Run(length + 2, IsNamePart);
      return Cut(Kind::kName, length);
    }
    const std::size_t behind =
        Run(length, [](char next) { return std::isspace(static_cast<unsigned char>(next)) != 0; });
    return Cut(At(behind) == '(' ? Kind::kFunction : Kind::kName, length);
  }

  std::string_view text_;
  std::size_t position_ = 0;
  Token previous_{Kind::kBlank, {}};
};

std::vector<Token> WithoutBlanks(std::string_view expression) {
  std::vector<Token> tokens = Tokens(expression).All();
  std::erase_if(tokens, [](const Token& token) { return token.kind == Kind::kBlank; });
  return tokens;
}

// Reads the tokens of a plain path.
class PlainPathReader {
 public:
  explicit PlainPathReader(std::string_view expression) : tokens_(WithoutBlanks(expression)) {}

  std::optional<std::vector<PathStep>> Read() {
    std::vector<PathStep> steps;
    while (position_ < tokens_.size()) {
      PathStep step;
      if (!Symbol("/") || !Text(Kind::kName, &step.name) || step.name.ends_with("*") ||
          !Predicates(&step)) {
        return std::nullopt;
      }
      steps.push_back(std::move(step));
    }
    return steps.empty() ? std::nullopt : std::optional(steps);
  }

 private:
  bool Symbol(std::string_view text) {
    const bool is_it = position_ < tokens_.size() && tokens_[position_].kind == Kind::kSymbol &&
                       tokens_[position_].text == text;
    position_ += is_it ? 1 : 0;
    return is_it;
  }
  bool Text(Kind kind, std::string* text) {
    if (position_ == tokens_.size() || tokens_[position_].kind != kind) {
      return false;
    }
    *text = tokens_[position_++].text;
    return true;
  }
  bool Predicates(PathStep* step) {
    while (Symbol("[")) {
      std::string name;
      std::string literal;
      if (!Text(Kind::kName, &name) || !Symbol("=") || !Text(Kind::kLiteral, &literal) ||
          !Symbol("]") || literal.size() < 2) {
        return false;
      }
      step->predicates.emplace_back(name, literal.substr(1, literal.size() - 2));
    }
    return true;
  }

  std::vector<Token> tokens_;
  std::size_t position_ = 0;
};

std::string LiteralWithModuleName(std::string_view literal, const PrefixResolver& resolve) {
  const std::size_t colon = literal.find(':');
  if (colon == std::string_view::npos || colon < 2 ||
      !std::ranges::all_of(literal.substr(1, colon - 1), IsNamePart) ||
      !std::ranges::all_of(literal.substr(colon + 1, literal.size() - colon - 2), IsNamePart)) {
    return std::string(literal);
  }
  const auto module = resolve(std::string(literal.substr(1, colon - 1)));
  return module ? literal[0] + *module + std::string(literal.substr(colon)) : std::string(literal);
}

}  // namespace

std::optional<std::string> WithModuleNames(std::string_view expression,
                                           const PrefixResolver& resolve, Literals literals) {
  std::string result;
  bool is_attribute = false;
  for (const Token& token : Tokens(expression).All()) {
    if (token.kind == Kind::kLiteral && literals == Literals::kToo) {
      result += LiteralWithModuleName(token.text, resolve);
    } else if (token.kind != Kind::kName || token.text == "*" || is_attribute) {
      result += token.text;
    } else {
      const std::size_t colon = token.text.find(':');
      const bool has_prefix = colon != std::string_view::npos;
      const auto module = resolve(has_prefix ? std::string(token.text.substr(0, colon)) : "");
      if (!module) {
        return std::nullopt;
      }
      result += *module + ":";
      result += has_prefix ? token.text.substr(colon + 1) : token.text;
    }
    is_attribute = token.text == "@";
  }
  return result;
}

std::optional<std::string> InstanceWithModuleNames(std::string_view path,
                                                   const PrefixResolver& resolve) {
  std::string result;
  std::string module;  // of the step
  bool in_predicate = false;
  for (const Token& token : Tokens(path).All()) {
    if (token.kind == Kind::kLiteral) {
      result += LiteralWithModuleName(token.text, resolve);
    } else if (token.kind == Kind::kName) {
      const std::size_t colon = token.text.find(':');
      const auto named = resolve(std::string(token.text.substr(0, colon)));
      if (colon == std::string_view::npos || !named) {
        return std::nullopt;
      }
      result += *named == module ? "" : *named + ":";
      result += token.text.substr(colon + 1);
      module = in_predicate ? module : *named;
    } else {
      in_predicate = token.text == "[" || (in_predicate && token.text != "]");
      result += token.text;
    }
  }
  return result;
}

std::optional<std::string> IdentityWithModuleName(std::string_view name,
                                                  const PrefixResolver& resolve) {
  const std::vector<Token> tokens = Tokens(name).All();
  if (tokens.size() != 1 || tokens.front().kind != Kind::kName || name.ends_with('*')) {
    return std::nullopt;
  }
  const std::size_t colon = name.find(':');
  const bool has_prefix = colon != std::string_view::npos;
  const auto module = resolve(has_prefix ? std::string(name.substr(0, colon)) : "");
  if (!module) {
    return std::nullopt;
  }
  return *module + ":" + std::string(has_prefix ? name.substr(colon + 1) : name);
}

std::optional<std::vector<PathStep>> PlainPath(std::string_view expression) {
  return PlainPathReader(expression).Read();
}

bool StaysWithin(std::string_view expression, int levels) {
  constexpr std::array<std::string_view, 6> kWide = {
      "ancestor::",  "ancestor-or-self::",  "following::",
      "preceding::", "following-sibling::", "preceding-sibling::"};
  int up = 0;
  bool in_path = false;  // a slash here continues a path
  for (const Token& token : WithoutBlanks(expression)) {
    if (token.kind == Kind::kAxis) {
      if (std::ranges::find(kWide, token.text) != kWide.end() || token.text == "parent::") {
        return false;
      }
      continue;
    }
    if (token.kind == Kind::kFunction && (token.text == "deref" || token.text == "id")) {
      return false;
    }
    if (token.text == "/" || token.text == "//") {
      if (!in_path) {
        return false;
      }
      continue;
    }
    // Steps up add up within one path; a predicate's are counted with those of its path, which is
    // more than they can be.
    if (token.text == "..") {
      if (++up > levels) {
        return false;
      }
    } else if (token.kind == Kind::kOperator || token.kind == Kind::kFunction ||
               (token.kind == Kind::kSymbol && token.text != "." && token.text != "]" &&
                token.text != ")" && token.text != "[" && token.text != "(")) {
      up = 0;
    }
    in_path = token.kind == Kind::kName || token.text == "." || token.text == ".." ||
              token.text == ")" || token.text == "]";
  }
  return true;
}

}  // namespace ncdm::netconf
