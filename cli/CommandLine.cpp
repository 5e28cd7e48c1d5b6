#include "cli/CommandLine.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

namespace Routing::Cli {
namespace {

constexpr int usageError = 2;

using Names = std::vector<std::string>;

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
}

Names namesOf(const std::vector<const CLI::App*>& commands) {
  Names names;
  for (const CLI::App* command : commands) names.push_back(command->get_name());
  return names;
}

std::string joined(const Names& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

/// A word as it may be shown: nothing that a terminal would obey.
std::string quoted(std::string word) {
  for (char& c : word) {
    if (std::iscntrl(static_cast<unsigned char>(c)) != 0) c = '?';
  }
  return '"' + word + '"';
}

[[noreturn]] void refuse(const std::string& text) {
  throw CLI::ValidationError(text);
}

[[noreturn]] void refuseUnknown(const std::string& what, const std::string& word,
                                const Names& choices) {
  const auto near = nearest(word, choices);
  refuse(what + ' ' + quoted(word) + (near ? ", did you mean \"" + *near + "\"?" : "") +
         (near ? " choices: " : "; choices: ") + joined(choices));
}

bool isOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-';
}

/// Where in its tree of commands a command line has come, word by word.
class Walk {
 public:
  explicit Walk(const CLI::App& app) : path_{&app} {}

  const CLI::App& here() const { return *path_.back(); }
  /// The option whose value is next, if one is.
  const CLI::Option* awaited() const { return awaited_; }
  bool helped() const { return helped_; }

  /// Takes the next word in; gives it written out.
  std::string take(const std::string& word) {
    if (awaited_ != nullptr || literal_) {
      awaited_ = nullptr;
      return word;
    }
    if (word == "--") literal_ = true;
    if (isOption(word)) return takeOption(word);
    const auto commands = commandsOf(here());
    if (commands.empty()) return word;
    return takeCommand(word, commands);
  }

  /// The names of all options that may stand here.
  Names options() const {
    std::set<std::string> names;
    for (const CLI::App* app : path_) {
      for (const CLI::Option* option : app->get_options()) {
        if (option->nonpositional()) names.insert("--" + option->get_lnames().front());
      }
    }
    return {names.begin(), names.end()};
  }
  const CLI::Option* option(const std::string& name) const {
    for (const CLI::App* app : path_) {
      if (const CLI::Option* found = app->get_option_no_throw(name)) return found;
    }
    return nullptr;
  }

 private:
  std::string takeOption(const std::string& word) {
    const auto equals = word.find('=');
    const CLI::Option* found = option(word.substr(0, equals));
    if (found != nullptr && found == path_.front()->get_help_ptr()) helped_ = true;
    const bool known = found != nullptr || literal_ || !word.starts_with("--");
    if (!known) refuseUnknown("unknown option", word.substr(0, equals), options());
    const bool takesValue = found != nullptr && found->get_items_expected_min() > 0;
    if (takesValue && equals == std::string::npos) awaited_ = found;
    return word;
  }

  std::string takeCommand(const std::string& word, const std::vector<const CLI::App*>& commands) {
    std::vector<const CLI::App*> meant;
    for (const CLI::App* command : commands) {
      if (command->get_name() == word) {
        meant = {command};
        break;
      }
      if (command->get_name().starts_with(word)) meant.push_back(command);
    }
    if (meant.empty()) refuseUnknown("unknown word", word, namesOf(commands));
    if (meant.size() > 1) refuse(quoted(word) + " is ambiguous: " + joined(namesOf(meant)));
    path_.push_back(meant.front());
    return here().get_name();
  }

  std::vector<const CLI::App*> path_;
  const CLI::Option* awaited_ = nullptr;
  bool literal_ = false;
  bool helped_ = false;
};

std::optional<std::string> toolsAnswer(const CLI::App& app, const std::vector<std::string>& words) {
  if (words.empty()) return std::nullopt;
  if (words.front() == "--complete") return completions(app, {words.begin() + 1, words.end()});
  if (words.front() == "--manual") return manual(app);
  return std::nullopt;
}

}  // namespace

std::vector<std::string> writtenOut(const CLI::App& app, std::vector<std::string> words) {
  Walk walk(app);
  for (std::string& word : words) word = walk.take(word);
  const bool complete = walk.here().get_require_subcommand_min() == 0 || walk.helped();
  const bool answered = std::find(words.begin(), words.end(), "--version") != words.end();
  if (complete || answered) return words;
  refuse("one word more is needed: " + joined(namesOf(commandsOf(walk.here()))));
}

std::string completions(const CLI::App& app, std::vector<std::string> words) try {
  std::string last = words.empty() ? "" : words.back();
  if (!words.empty()) words.pop_back();
  Walk walk(app);
  for (const std::string& word : words) walk.take(word);
  std::ostringstream lines;
  if (walk.awaited() != nullptr) return {};
  if (last.starts_with("-")) {
    for (const std::string& name : walk.options()) {
      if (!name.starts_with(last)) continue;
      lines << name << '\t' << walk.option(name)->get_description() << '\n';
    }
    return lines.str();
  }
  for (const CLI::App* command : commandsOf(walk.here())) {
    if (!command->get_name().starts_with(last)) continue;
    lines << command->get_name() << '\t' << command->get_description() << '\n';
  }
  return lines.str();
} catch (const CLI::ParseError&) {
  return {};  // nothing that is known begins so
}

std::optional<Early> parse(CLI::App& app, int argc, const char* const* argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  if (auto answer = toolsAnswer(app, words)) return Early{0, *std::move(answer)};
  try {
    words = writtenOut(app, std::move(words));
    std::reverse(words.begin(), words.end());  // as CLI11 wants them
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    std::ostringstream text;
    const bool good = app.exit(error, text, text) == 0;
    if (good) return Early{0, text.str()};
    return Early{usageError, app.get_name() + ": " + text.str()};
  }
  return std::nullopt;
}

}  // namespace Routing::Cli
