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
  /// The titles and all rows, each line behind `indent` blanks. Where they do not fit 80 columns,
  /// titles and rows take several lines, the further ones four blanks deeper.
  std::string text(std::size_t indent = 0) const;

 private:
  /// Columns [begin, end).
  struct Part {
    std::size_t begin;
    std::size_t end;
    std::size_t indent;
  };
  using Cells = std::vector<std::string>;
  using Widths = std::vector<std::size_t>;

  static std::vector<Part> parts(const Widths& widths, std::size_t indent);
  std::string line(const Cells& cells, const Widths& widths, const Part& part) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace Routing::Ctl
