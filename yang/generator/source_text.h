// C source, laid out as clang-format (Google's style, 100 columns) would leave it.
#ifndef YANG_GENERATOR_SOURCE_TEXT_H_
#define YANG_GENERATOR_SOURCE_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ncdm::yang {

inline constexpr size_t kColumns = 100;

// A text between quotes. Long ones become several literals of at most `width` columns each.
std::vector<std::string> Literals(std::string_view text, size_t width);
std::string Literal(std::string_view text);

class Source {
 public:
  void Line(std::string_view text = "");

  // A comment of one or more lines, wrapped.
  void Comment(std::string_view text, size_t indent = 0);

  // A comment of paragraphs, one a line of the vector, each wrapped; empty ones are blank.
  void BlockComment(const std::vector<std::string>& paragraphs);

  // "NAME(one, two);", broken behind the first argument, or before it, when it is too long.
  void Call(const std::string& name, const std::vector<std::string>& arguments);

  // "name = value,".
  void Value(size_t indent, const std::string& name, const std::string& value);

  // ".name = value," as a line of an initializer.
  void Field(size_t indent, const std::string& name, const std::string& value);
  void TextField(size_t indent, const std::string& name, std::string_view text);

  // A declaration of two parts, broken between them when it is too long.
  void Declaration(size_t indent, const std::string& type, const std::string& rest);

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace ncdm::yang

#endif  // YANG_GENERATOR_SOURCE_TEXT_H_
