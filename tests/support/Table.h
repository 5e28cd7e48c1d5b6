#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace Routing::TestKit {

/// The rows of a file under tests/data: "CELL | CELL | ...", with "#" in front of comments. A line
/// "NAME = TEXT" makes the word NAME in later lines stand for TEXT.
inline std::vector<std::vector<std::string>> table(const std::string& file) {
  std::vector<std::vector<std::string>> rows;
  std::map<std::string, std::string> names;
  std::ifstream stream(PIMBSR_SOURCE_DIR "/tests/data/" + file);
  EXPECT_TRUE(stream.is_open()) << file;
  for (std::string line; std::getline(stream, line);) {
    if (line.empty() || line.starts_with('#')) continue;
    std::vector<std::string> row{""};
    std::istringstream in(line);
    for (std::string word; in >> word;) {
      if (word == "=" && row.size() == 1) {
        std::getline(in, names[row[0]]);
        row.clear();
      } else if (word == "|") {
        row.emplace_back();
      } else {
        const auto named = names.find(word);
        row.back() += (row.back().empty() ? "" : " ") +
                      (named == names.end() ? word : named->second.substr(1));
      }
    }
    if (!row.empty()) rows.push_back(row);
  }
  return rows;
}

}  // namespace Routing::TestKit
