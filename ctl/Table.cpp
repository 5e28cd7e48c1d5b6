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
  const std::vector<Part> folded = parts(widths, indent);
  std::string out;
  for (const Part& part : folded) out += line(titles, widths, part);
  for (const auto& row : rows_) {
    for (const Part& part : folded) out += line(row, widths, part);
  }
  return out;
}

std::vector<Table::Part> Table::parts(const Widths& widths, std::size_t indent) {
  constexpr std::size_t most = 80;
  constexpr std::size_t deeper = 4;
  std::vector<Part> parts{{0, 0, indent}};
  std::size_t used = indent;
  for (std::size_t i = 0; i < widths.size(); ++i) {
    const bool first = parts.back().begin == i;
    used += widths[i] + (first ? 0 : 2);
    if (!first && used > most) {
      parts.push_back({i, i, indent + deeper});
      used = indent + deeper + widths[i];
    }
    parts.back().end = i + 1;
  }
  return parts;
}

std::string Table::line(const Cells& cells, const Widths& widths, const Part& part) const {
  std::string out(part.indent, ' ');
  for (std::size_t i = part.begin; i < part.end; ++i) {
    if (i > part.begin) out += "  ";
    const std::string padding(widths[i] - cells[i].size(), ' ');
    out += columns_[i].align == Align::right ? padding + cells[i] : cells[i] + padding;
  }
  out.erase(out.find_last_not_of(' ') + 1);
  return out += '\n';
}

}  // namespace Routing::Ctl
