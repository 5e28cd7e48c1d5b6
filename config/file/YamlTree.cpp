#include "config/file/YamlTree.h"

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace Routing::Agent {
namespace {

class YamlError : public std::runtime_error {
 public:
  YamlError(unsigned line, const std::string& text) : std::runtime_error(text), line_(line) {}
  unsigned line() const { return line_; }

 private:
  unsigned line_;
};

unsigned lineOf(const YAML::Mark& mark) {
  return mark.is_null() || mark.line < 0 ? 0 : static_cast<unsigned>(mark.line) + 1;
}

bool isControl(char c) {
  const auto octet = static_cast<unsigned char>(c);
  return octet < 0x20 || octet == 0x7f;
}

/// Builds the tree out of the parser's events. What is too much ends the parser by an exception.
class TreeBuilder final : public YAML::EventHandler {
 public:
  explicit TreeBuilder(const YamlLimits& limits) : limits_(limits) {}

  YamlNodePtr root() const { return root_ ? root_ : std::make_shared<YamlNode>(); }

  void OnDocumentStart(const YAML::Mark& mark) override {
    if (++documents_ > 1) throw YamlError(lineOf(mark), "only one document is allowed");
  }
  void OnDocumentEnd() override {}

  void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
    if (keyIsNext()) throw badKey(mark);
    auto node = newNode(YamlNode::Kind::null, mark);
    // The parser is at the next line already.
    if (!stack_.empty() && stack_.back().key) node->line = stack_.back().key->line;
    add(std::move(node), anchor);
  }

  void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                const std::string& value) override {
    refuseTag(mark, tag);
    const auto isBad = [&](char c) { return isControl(c) && !(c == '\n' && limits_.manyLines); };
    if (std::any_of(value.begin(), value.end(), isBad)) {
      throw YamlError(lineOf(mark), "control characters are not allowed");
    }
    if (keyIsNext()) {
      stack_.back().key = {value, lineOf(mark), nullptr};
      return;
    }
    auto node = newNode(YamlNode::Kind::scalar, mark);
    node->text = value;
    add(std::move(node), anchor);
  }

  void OnAlias(const YAML::Mark& mark, YAML::anchor_t anchor) override {
    if (keyIsNext()) throw badKey(mark);
    const auto found = anchors_.find(anchor);
    if (found == anchors_.end()) throw YamlError(lineOf(mark), "an alias must not contain itself");
    count(found->second.weight, mark);
    append(found->second.node);
  }

  void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                       YAML::EmitterStyle::value) override {
    open(YamlNode::Kind::sequence, mark, tag, anchor);
  }
  void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                  YAML::EmitterStyle::value) override {
    open(YamlNode::Kind::map, mark, tag, anchor);
  }
  void OnSequenceEnd() override { close(); }
  void OnMapEnd() override { close(); }

 private:
  struct Frame {
    std::shared_ptr<YamlNode> node;
    YAML::anchor_t anchor;
    std::size_t countBefore;
    std::optional<YamlNode::Entry> key;
  };
  struct Anchored {
    YamlNodePtr node;
    std::size_t weight;
  };

  static YamlError badKey(const YAML::Mark& mark) {
    return {lineOf(mark), "a key must be plain text (or a bracket is not closed)"};
  }
  static void refuseTag(const YAML::Mark& mark, const std::string& tag) {
    const bool ordinary = tag.empty() || tag == "?" || tag == "!";
    if (!ordinary) throw YamlError(lineOf(mark), "tags are not allowed");
  }

  bool keyIsNext() const {
    return !stack_.empty() && stack_.back().node->kind == YamlNode::Kind::map && !stack_.back().key;
  }

  void count(std::size_t nodes, const YAML::Mark& mark) {
    count_ += nodes;
    if (count_ <= limits_.nodes) return;
    throw YamlError(lineOf(mark), "too much: more than " + std::to_string(limits_.nodes) +
                                      " values, counting those that aliases repeat");
  }

  std::shared_ptr<YamlNode> newNode(YamlNode::Kind kind, const YAML::Mark& mark) {
    count(1, mark);
    auto node = std::make_shared<YamlNode>();
    node->kind = kind;
    node->line = lineOf(mark);
    return node;
  }

  void add(std::shared_ptr<YamlNode> node, YAML::anchor_t anchor) {
    if (anchor != YAML::NullAnchor) anchors_[anchor] = {node, 1};
    append(std::move(node));
  }

  void append(YamlNodePtr node) {
    if (stack_.empty()) {
      root_ = std::move(node);
      return;
    }
    Frame& parent = stack_.back();
    if (parent.node->kind == YamlNode::Kind::sequence) {
      parent.node->items.push_back(std::move(node));
      return;
    }
    parent.key->value = std::move(node);
    parent.node->entries.push_back(std::move(*parent.key));
    parent.key.reset();
  }

  void open(YamlNode::Kind kind, const YAML::Mark& mark, const std::string& tag,
            YAML::anchor_t anchor) {
    refuseTag(mark, tag);
    if (keyIsNext()) throw badKey(mark);
    if (stack_.size() == limits_.depth) {
      throw YamlError(lineOf(mark),
                      "nested deeper than " + std::to_string(limits_.depth) + " levels");
    }
    const std::size_t before = count_;
    stack_.push_back({newNode(kind, mark), anchor, before, std::nullopt});
  }

  void close() {
    const Frame frame = std::move(stack_.back());
    stack_.pop_back();
    if (frame.anchor != YAML::NullAnchor) {
      anchors_[frame.anchor] = {frame.node, count_ - frame.countBefore};
    }
    append(frame.node);
  }

  const YamlLimits limits_;
  unsigned documents_ = 0;
  std::size_t count_ = 0;
  std::vector<Frame> stack_;
  std::map<YAML::anchor_t, Anchored> anchors_;
  YamlNodePtr root_;
};

/// The parser takes some control characters for the end of the file, so they are refused before it
/// sees them.
void refuseControlCharacters(std::string_view text) {
  unsigned line = 1;
  for (const char c : text) {
    if (c == '\n') ++line;
    if (isControl(c) && c != '\n' && c != '\r' && c != '\t') {
      throw YamlError(line, "control characters are not allowed");
    }
  }
}

/// The first line up to the one that the parser gave up at whose indentation has a tab; 0 if none.
unsigned lineWithTab(std::string_view text, unsigned last) {
  for (unsigned line = 1; line <= last && !text.empty(); ++line) {
    const std::string_view indentation = text.substr(0, text.find_first_not_of(" \t"));
    if (indentation.find('\t') != std::string_view::npos) return line;
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  }
  return 0;
}

YamlNodePtr parse(std::string_view text, const YamlLimits& limits) {
  if (text.size() > limits.bytes) {
    throw YamlError(0, "longer than " + std::to_string(limits.bytes) + " octets");
  }
  refuseControlCharacters(text);
  std::istringstream stream{std::string(text)};
  YAML::Parser parser(stream);
  TreeBuilder builder(limits);
  while (parser.HandleNextDocument(builder)) {
  }
  return builder.root();
}

}  // namespace

YamlNodePtr readYaml(std::string_view text, Findings& findings, const YamlLimits& limits) {
  const auto failed = [&findings](unsigned line, const std::string& reason) {
    findings.push_back({Severity::error, line, "", reason});
    return nullptr;
  };
  try {
    return parse(text, limits);
  } catch (const YamlError& error) {
    return failed(error.line(), error.what());
  } catch (const YAML::Exception& error) {
    const unsigned tab = lineWithTab(text, lineOf(error.mark));
    if (tab != 0) return failed(tab, "no YAML: a tab indents the line, where only blanks may");
    return failed(lineOf(error.mark), "no YAML: " + printable(error.msg));
  } catch (const std::exception&) {  // the parser lets some of the standard library's out
    return failed(0, "no YAML");
  }
}

}  // namespace Routing::Agent
