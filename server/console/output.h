// What commands print: lines for people, or one JSON document a command for machines.
#ifndef NCDM_SERVER_CONSOLE_OUTPUT_H_
#define NCDM_SERVER_CONSOLE_OUTPUT_H_

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace ncdm::console {

// Keeps the order in which members were given.
using Json = nlohmann::ordered_json;

// Rows of cells under column titles. The rows are asked for one by one, each twice: a large table
// never stands in memory as a whole.
struct Table {
  std::vector<std::string> columns;
  std::size_t row_count = 0;
  std::function<std::vector<std::string>(std::size_t row)> row;  // as many cells as columns
};

class Output {
 public:
  Output(std::ostream& stream, bool json) : stream_(stream), json_(json) {}

  bool json() const { return json_; }

  // One line, whatever it holds: control characters are shown escaped (Printable).
  void Line(std::string_view line);
  // Lines of our own, as they are.
  void Text(std::string_view lines);
  // Columns as wide as their widest cell, two blanks apart; an empty cell is "-". Escaped like
  // lines.
  void Print(const Table& table);
  // On one line; exact.
  void Print(const Json& document);

 private:
  std::ostream& stream_;
  bool json_;
};

// A document on one line. Bytes that are no UTF-8 are replaced.
std::string JsonText(const Json& document);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_OUTPUT_H_
