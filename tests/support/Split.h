#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace Routing::TestKit {

/// The pieces of a text: "a|b|" is "a", "b". Saves a table of short texts a line for each.
inline std::vector<std::string> split(const std::string& text, char separator = ' ') {
  std::vector<std::string> pieces;
  std::istringstream in(text);
  for (std::string piece; std::getline(in, piece, separator);) pieces.push_back(piece);
  return pieces;
}

}  // namespace Routing::TestKit
