#include "pattern_translation.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <memory>

namespace ncdm::yang {
namespace {

// The blocks of Unicode that models use; PCRE2 knows scripts alone.
struct Block {
  std::string_view name;
  std::string_view range;
};
constexpr Block kBlocks[] = {
    {"BasicLatin", "\\x{0000}-\\x{007F}"},      {"Latin-1Supplement", "\\x{0080}-\\x{00FF}"},
    {"LatinExtended-A", "\\x{0100}-\\x{017F}"}, {"LatinExtended-B", "\\x{0180}-\\x{024F}"},
    {"Greek", "\\x{0370}-\\x{03FF}"},           {"Cyrillic", "\\x{0400}-\\x{04FF}"},
    {"Hebrew", "\\x{0590}-\\x{05FF}"},          {"Arabic", "\\x{0600}-\\x{06FF}"},
};

// What the escapes \i and \c for the characters of XML names stand for, inside brackets.
constexpr std::string_view kNameStart =
    ":A-Z_a-z\\x{C0}-\\x{D6}\\x{D8}-\\x{F6}\\x{F8}-\\x{2FF}"
    "\\x{370}-\\x{37D}\\x{37F}-\\x{1FFF}\\x{200C}-\\x{200D}"
    "\\x{2070}-\\x{218F}\\x{2C00}-\\x{2FEF}\\x{3001}-\\x{D7FF}"
    "\\x{F900}-\\x{FDCF}\\x{FDF0}-\\x{FFFD}"
    "\\x{10000}-\\x{EFFFF}";
constexpr std::string_view kNameMore = "\\-.0-9\\x{B7}\\x{300}-\\x{36F}\\x{203F}-\\x{2040}";

class Translation {
 public:
  explicit Translation(std::string_view pattern) : rest_(pattern) {}

  std::optional<std::string> Run() {
    while (!rest_.empty()) {
      if (!Step()) return std::nullopt;
    }
    return "(?:" + result_ + ")";
  }

 private:
  void Take(size_t count) {
    result_ += rest_.substr(0, count);
    rest_.remove_prefix(count);
  }

  void Replace(size_t count, std::string_view by) {
    result_ += by;
    rest_.remove_prefix(count);
  }

  bool Step() {
    const char c = rest_.front();
    if (c == '\\') return Escape();
    if (in_brackets_) {
      // A class less another class; nothing of PCRE2 says that.
      if (rest_.starts_with("-[")) return false;
      if (c == '[') {
        Replace(1, "\\[");
        return true;
      }
      if (c == ']') in_brackets_ = false;
      Take(1);
      return true;
    }
    if (c == '^' || c == '$') {
      Replace(1, c == '^' ? "\\^" : "\\$");
      return true;
    }
    if (c == '[') in_brackets_ = true;
    Take(rest_.starts_with("[^") ? 2 : 1);
    return true;
  }

  bool Escape() {
    if (rest_.size() < 2) return false;
    if (rest_.starts_with("\\p{Is") || rest_.starts_with("\\P{Is")) return UnicodeBlock();
    switch (rest_[1]) {
      case 'i':
        return Class(false, kNameStart);
      case 'c':
        return Class(false, std::string(kNameStart) + std::string(kNameMore));
      case 'I':
        return Class(true, kNameStart);
      case 'C':
        return Class(true, std::string(kNameStart) + std::string(kNameMore));
      default:
        Take(2);
        return true;
    }
  }

  bool Class(bool negated, std::string_view characters) {
    if (in_brackets_) {
      if (negated) return false;
      Replace(2, characters);
    } else {
      Replace(2, (negated ? "[^" : "[") + std::string(characters) + "]");
    }
    return true;
  }

  bool UnicodeBlock() {
    const size_t end = rest_.find('}');
    if (end == std::string_view::npos) return false;
    const std::string_view name = rest_.substr(5, end - 5);
    const bool negated = rest_[1] == 'P';
    for (const Block& block : kBlocks) {
      if (block.name != name) continue;
      if (in_brackets_ && negated) return false;
      const std::string open = negated ? "[^" : "[";
      Replace(end + 1,
              in_brackets_ ? std::string(block.range) : open + std::string(block.range) + "]");
      return true;
    }
    return false;
  }

  std::string_view rest_;
  std::string result_;
  bool in_brackets_ = false;
};

bool Compiles(const std::string& expression) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  const std::unique_ptr<pcre2_code, decltype(&pcre2_code_free)> code(
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(expression.c_str()), expression.size(),
                    PCRE2_UTF | PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_DOLLAR_ENDONLY |
                        PCRE2_NO_AUTO_CAPTURE,
                    &error, &offset, nullptr),
      pcre2_code_free);
  return code != nullptr;
}

}  // namespace

std::optional<std::string> ForPcre2(std::string_view pattern) {
  auto translated = Translation(pattern).Run();
  if (translated && !Compiles(*translated)) translated.reset();
  return translated;
}

}  // namespace ncdm::yang
