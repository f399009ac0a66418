#include "server/console/output.h"

#include <algorithm>

namespace ncdm::console {
namespace {

constexpr std::string_view kNoCell = "-";
constexpr std::size_t kColumnGap = 2;

std::string_view CellText(std::string_view cell) { return cell.empty() ? kNoCell : cell; }

// Characters, not bytes: UTF-8 continuation bytes take no room.
std::size_t Width(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

std::vector<std::size_t> ColumnWidths(const Table& table) {
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    std::size_t width = Width(table.columns[i]);
    for (const auto& row : table.rows) {
      width = std::max(width, Width(CellText(row[i])));
    }
    widths.push_back(width);
  }
  return widths;
}

std::string RowText(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
  std::string text;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string_view cell = CellText(cells[i]);
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

void Output::Line(std::string_view line) { stream_ << line << '\n'; }

void Output::Print(const Table& table) {
  const std::vector<std::size_t> widths = ColumnWidths(table);
  Line(RowText(table.columns, widths));
  for (const auto& row : table.rows) {
    Line(RowText(row, widths));
  }
}

void Output::Print(const Json& document) { Line(JsonText(document)); }

}  // namespace ncdm::console
