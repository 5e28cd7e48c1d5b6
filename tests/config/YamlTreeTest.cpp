#include <gtest/gtest.h>

#include "config/file/YamlTree.h"

namespace Routing::Agent {
namespace {

std::string read(const std::string& text, const YamlLimits& limits = {}) {
  Findings findings;
  const YamlNodePtr node = readYaml(text, findings, limits);
  EXPECT_EQ(node == nullptr, findings.size() == 1);
  return node == nullptr ? findingText(findings.at(0)) : "good";
}

std::string nested(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

TEST(YamlTree, IsBoundedInSizeAndDepth) {
  EXPECT_EQ(read("x: 12345", {8, 32, 100}), "good");
  EXPECT_EQ(read("x: 123456", {8, 32, 100}), "longer than 8 octets");
  EXPECT_EQ(read(nested(4), {100, 4, 100}), "good");
  EXPECT_EQ(read(nested(5), {100, 4, 100}), "1: nested deeper than 4 levels");
}

TEST(YamlTree, CountsWhatAliasesRepeat) {
  // The map, its first list of three, and that again for each alias in a list of its own.
  const std::string text = "a: &a [1, 2, 3]\nb: [*a, *a]\n";
  EXPECT_EQ(read(text, {100, 32, 14}), "good");
  EXPECT_EQ(read(text, {100, 32, 13}),
            "2: too much: more than 13 values, counting those that aliases repeat");
}

TEST(YamlTree, RefusesWhatTheParserWouldTakeForTheEnd) {
  for (const char c : {'\0', '\x04', '\x1a', '\x7f'}) {
    EXPECT_EQ(read(std::string("a: 1\n# ") + c + "\nb: 2\n"),
              "2: control characters are not allowed");
  }
  EXPECT_EQ(read("a: \"\\e[2J\""), "1: control characters are not allowed");
  EXPECT_EQ(read("a:\t1\r\n"), "good");
}

}  // namespace
}  // namespace Routing::Agent
