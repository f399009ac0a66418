#include "identifiers.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace ncdm::yang {
namespace {

// Those that a YANG identifier can be: no more than letters.
constexpr std::array<std::string_view, 83> kKeywords = {
    "alignas",   "alignof",   "and",       "asm",      "auto",     "bitand",   "bitor",   "bool",
    "break",     "case",      "catch",     "char",     "class",    "compl",    "concept", "const",
    "consteval", "constexpr", "constinit", "continue", "decltype", "default",  "delete",  "do",
    "double",    "else",      "enum",      "explicit", "export",   "extern",   "false",   "float",
    "for",       "friend",    "goto",      "if",       "inline",   "int",      "long",    "mutable",
    "namespace", "new",       "noexcept",  "not",      "nullptr",  "operator", "or",      "private",
    "protected", "public",    "register",  "requires", "restrict", "return",   "short",   "signed",
    "sizeof",    "static",    "struct",    "switch",   "template", "this",     "throw",   "true",
    "try",       "typedef",   "typeid",    "typename", "union",    "unsigned", "using",   "virtual",
    "void",      "volatile",  "while",     "xor",      "linux",    "unix",     "errno",   "stdin",
    "stdout",    "stderr",    "assert"};

std::string Replaced(std::string_view name, int (*convert)(int)) {
  std::string result;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    result += std::isalnum(byte) && byte < 0x80 ? static_cast<char>(convert(byte)) : '_';
  }
  return result;
}

}  // namespace

std::string Identifier(std::string_view name) {
  std::string result = Replaced(name, [](int c) { return c; });
  // What begins with an underscore belongs to the compiler.
  if (!result.empty() && (result.front() == '_' || std::isdigit(result.front()))) {
    result.insert(0, "x");
  }
  if (std::ranges::find(kKeywords, result) != kKeywords.end()) result += '_';
  return result;
}

std::string Constant(std::string_view name) { return Replaced(name, std::toupper); }

std::string UniqueNames::Unique(const std::string& name) {
  std::string result = name;
  for (int number = 2; !used_.insert(result).second; ++number) {
    result = name + "_" + std::to_string(number);
  }
  return result;
}

}  // namespace ncdm::yang
