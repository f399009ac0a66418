#include "source_text.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace ncdm::yang {
namespace {

std::string Escaped(char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (c == '"' || c == '\\') return std::string("\\") + c;
  if (c == '\n') return "\\n";
  if (c == '\t') return "\\t";
  if (byte >= 0x20 && byte < 0x7F) return std::string(1, c);
  char octal[8];
  snprintf(octal, sizeof octal, "\\%03o", byte);
  return octal;
}

// What would end a comment, or begin one in it, does so no more.
std::string ForComment(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const bool ends = !result.empty() &&
                      ((result.back() == '*' && c == '/') || (result.back() == '/' && c == '*'));
    if (ends) result += ' ';
    result += c;
  }
  return result;
}

std::vector<std::string> Wrap(std::string_view text, size_t width) {
  std::vector<std::string> lines;
  std::istringstream words(ForComment(text));
  std::string line;
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + 1 + word.size() > width) {
      lines.push_back(std::move(line));
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  if (!line.empty()) lines.push_back(std::move(line));
  return lines;
}

}  // namespace

std::vector<std::string> Literals(std::string_view text, size_t width) {
  std::vector<std::string> literals(1, "\"");
  for (const char c : text) {
    const std::string escaped = Escaped(c);
    if (literals.back().size() + escaped.size() + 1 > width) {
      literals.back() += '"';
      literals.emplace_back("\"");
    }
    // "??" could begin a trigraph.
    literals.back() += c == '?' && literals.back().ends_with('?') ? "\\?" : escaped;
  }
  literals.back() += '"';
  return literals;
}

std::string Literal(std::string_view text) { return Literals(text, std::string::npos).front(); }

void Source::Line(std::string_view text) {
  text_ += text;
  text_ += '\n';
}

void Source::Comment(std::string_view text, size_t indent) {
  const std::string margin(indent, ' ');
  const auto lines = Wrap(text, kColumns - indent - 6);
  if (lines.empty()) return;
  for (size_t i = 0; i < lines.size(); ++i) {
    Line(margin + (i == 0 ? "/* " : " * ") + lines[i] + (i + 1 == lines.size() ? " */" : ""));
  }
}

void Source::BlockComment(const std::vector<std::string>& paragraphs) {
  Line("/*");
  for (const std::string& paragraph : paragraphs) {
    // What is indented hangs together: its further lines stand below its first word.
    const size_t indent = paragraph.find_first_not_of(' ');
    if (indent == std::string::npos) {
      Line(" *");
      continue;
    }
    for (const std::string& line : Wrap(paragraph, kColumns - 3 - indent)) {
      Line(" * " + std::string(indent, ' ') + line);
    }
  }
  Line(" */");
}

void Source::Call(const std::string& name, const std::vector<std::string>& arguments) {
  const std::string& first = arguments.front();
  std::string rest;
  for (size_t i = 1; i < arguments.size(); ++i) rest += ", " + arguments[i];
  const std::string line = name + "(" + first + rest + ");";
  if (line.size() <= kColumns) {
    Line(line);
  } else if (!rest.empty() && name.size() + first.size() + 2 <= kColumns) {
    Line(name + "(" + first + ",");
    Line(std::string(name.size() + 1, ' ') + rest.substr(2) + ");");
  } else {
    Line(name + "(");
    Line("    " + first + rest + ");");
  }
}

void Source::Value(size_t indent, const std::string& name, const std::string& value) {
  const std::string begin = std::string(indent, ' ') + name + " =";
  if (begin.size() + 2 + value.size() <= kColumns) {
    Line(begin + " " + value + ",");
  } else {
    Line(begin);
    Line(std::string(indent + 4, ' ') + value + ",");
  }
}

void Source::Field(size_t indent, const std::string& name, const std::string& value) {
  Value(indent, "." + name, value);
}

void Source::TextField(size_t indent, const std::string& name, std::string_view text) {
  const auto literals = Literals(text, kColumns - indent - 5);
  if (literals.size() == 1) return Field(indent, name, literals.front());
  Line(std::string(indent, ' ') + "." + name + " =");
  for (size_t i = 0; i < literals.size(); ++i) {
    Line(std::string(indent + 4, ' ') + literals[i] + (i + 1 == literals.size() ? "," : ""));
  }
}

void Source::Declaration(size_t indent, const std::string& type, const std::string& rest) {
  const std::string line = std::string(indent, ' ') + type + " " + rest;
  if (line.size() <= kColumns) {
    Line(line);
  } else {
    Line(std::string(indent, ' ') + type);
    Line(std::string(indent + 4, ' ') + rest);
  }
}

}  // namespace ncdm::yang
