#pragma once

#include <string>
#include <vector>

namespace Routing::Ctl {

/// Text in aligned columns, as wide as their contents.
class Table {
 public:
  enum class Align { left, right };
  struct Column {
    std::string title;
    Align align = Align::left;
  };

  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// One cell for each column.
  void row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  bool empty() const { return rows_.empty(); }
  /// The titles and all rows, each line behind `indent` blanks.
  std::string text(std::size_t indent = 0) const;

 private:
  std::string line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                   std::size_t indent) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace Routing::Ctl
