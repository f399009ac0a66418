#include "server/console/output.h"

#include <algorithm>

#include "server/printable.h"

namespace ncdm::console {
namespace {

constexpr std::string_view kNoCell = "-";
constexpr std::size_t kColumnGap = 2;

std::string CellText(const std::string& cell) {
  return cell.empty() ? std::string(kNoCell) : server::Printable(cell);
}

// Characters, not bytes: UTF-8 continuation bytes take no room.
std::size_t Width(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

std::vector<std::size_t> ColumnWidths(const Table& table) {
  std::vector<std::size_t> widths;
  for (const std::string& column : table.columns) {
    widths.push_back(Width(CellText(column)));
  }
  for (std::size_t row = 0; row < table.row_count; ++row) {
    const std::vector<std::string> cells = table.row(row);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      widths[i] = std::max(widths[i], Width(CellText(cells[i])));
    }
  }
  return widths;
}

std::string RowText(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
  std::string text;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = CellText(cells[i]);
    text += cell;
    if (i + 1 < cells.size()) {
      text.append(widths[i] - Width(cell) + kColumnGap, ' ');
    }
  }
  return text;
}

}  // namespace

std::string JsonText(const Json& document) {
  return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void Output::Line(std::string_view line) { Text(server::Printable(line)); }

void Output::Text(std::string_view lines) { stream_ << lines << '\n'; }

void Output::Print(const Table& table) {
  const std::vector<std::size_t> widths = ColumnWidths(table);
  Text(RowText(table.columns, widths));
  for (std::size_t row = 0; row < table.row_count; ++row) {
    Text(RowText(table.row(row), widths));
  }
}

void Output::Print(const Json& document) { Text(JsonText(document)); }

}  // namespace ncdm::console
