#include "ctl/Table.h"

#include <algorithm>

namespace Routing::Ctl {

std::string Table::text(std::size_t indent) const {
  std::vector<std::string> titles;
  std::vector<std::size_t> widths;
  for (const Column& column : columns_) {
    titles.push_back(column.title);
    widths.push_back(column.title.size());
  }
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string out = line(titles, widths, indent);
  for (const auto& row : rows_) out += line(row, widths, indent);
  return out;
}

std::string Table::line(const std::vector<std::string>& cells,
                        const std::vector<std::size_t>& widths, std::size_t indent) const {
  std::string out(indent, ' ');
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) out += "  ";
    const std::string padding(widths[i] - cells[i].size(), ' ');
    out += columns_[i].align == Align::right ? padding + cells[i] : cells[i] + padding;
  }
  out.erase(out.find_last_not_of(' ') + 1);
  return out += '\n';
}

}  // namespace Routing::Ctl
