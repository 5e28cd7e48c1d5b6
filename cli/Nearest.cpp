#include <algorithm>

#include "cli/CommandLine.h"

namespace Routing::Cli {
namespace {

/// How many letters must be put in, left out, replaced or swapped with their neighbour.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> rows(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        rows[i][j] = i + j;
        continue;
      }
      const bool same = a[i - 1] == b[j - 1];
      rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + !same});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
    }
  }
  return rows.back().back();
}

}  // namespace

std::optional<std::string> nearest(const std::string& word,
                                   const std::vector<std::string>& choices) {
  constexpr std::size_t longest = 40;  // letters; nobody mistypes more than a name has
  if (word.size() > longest) return std::nullopt;
  std::optional<std::string> best;
  std::size_t least = word.size() / 3 + 2;
  for (const std::string& choice : choices) {
    const std::size_t far = distance(word, choice);
    if (far >= least || far >= choice.size()) continue;
    least = far;
    best = choice;
  }
  return best;
}

}  // namespace Routing::Cli
