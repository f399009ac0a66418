// What commands print: lines for people, or one JSON document a command for machines.
#ifndef NCDM_SERVER_CONSOLE_OUTPUT_H_
#define NCDM_SERVER_CONSOLE_OUTPUT_H_

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace ncdm::console {

// Keeps the order in which members were given.
using Json = nlohmann::ordered_json;

// Rows of cells under column titles.
struct Table {
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;
};

class Output {
 public:
  Output(std::ostream& stream, bool json) : stream_(stream), json_(json) {}

  bool json() const { return json_; }

  void Line(std::string_view line);
  // Columns as wide as their widest cell, two blanks apart; an empty cell is "-".
  void Print(const Table& table);
  // On one line.
  void Print(const Json& document);

 private:
  std::ostream& stream_;
  bool json_;
};

// A document on one line. Bytes that are no UTF-8 are replaced.
std::string JsonText(const Json& document);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_OUTPUT_H_
