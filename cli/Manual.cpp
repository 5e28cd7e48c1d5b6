#include <cctype>
#include <map>
#include <utility>

#include "cli/CommandLine.h"

namespace Routing::Cli {
namespace {

/// Text for roff: hyphens that can be copied, and no line that begins like a request.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\' || c == '-') out += '\\';
    out += c;
  }
  return out.starts_with('.') || out.starts_with('\'') ? "\\&" + out : out;
}

std::string sentence(std::string text) {
  if (!text.empty()) text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  return escaped(text) + ".\n";
}

bool isShown(const CLI::Option& option) {
  return !option.get_group().empty();
}

/// What a value is, without the ranges that CLI11 writes behind it.
std::string typeName(const CLI::Option& option) {
  const std::string name = option.get_type_name();
  return name.substr(0, name.find(':'));
}

std::string synopsis(const CLI::Option& option) {
  if (option.get_positional()) return option.get_name();
  std::string text = "--" + option.get_lnames().front();
  if (option.get_items_expected_min() > 0) text += ' ' + typeName(option);
  return text;
}

/// What follows the name of a command: its own arguments and options.
std::string ownSynopsis(const CLI::App& app) {
  std::string positionals;
  std::string options;
  for (const CLI::Option* option : app.get_options()) {
    if (!isShown(*option) || option == app.get_help_ptr()) continue;
    if (option->get_positional()) {
      positionals += ' ' + option->get_name();
    } else {
      options += " [" + synopsis(*option) + ']';
    }
  }
  return positionals + options;
}

/// The commands below one, each with the words that lead there; siblings that have the same words
/// below them are told together, as ip|ipv6.
std::string commandsBelow(const CLI::App& app, const std::string& path) {
  const auto commands = app.get_subcommands({});
  if (commands.empty()) {
    return ".TP\n.B " + escaped(path + ownSynopsis(app)) + '\n' + sentence(app.get_description());
  }
  std::vector<std::pair<std::string, const CLI::App*>> groups;
  for (const CLI::App* command : commands) {
    const bool like = !groups.empty() && !command->get_subcommands({}).empty() &&
                      commandsBelow(*groups.back().second, "") == commandsBelow(*command, "");
    if (like) {
      groups.back().first += '|' + command->get_name();
    } else {
      groups.emplace_back(command->get_name(), command);
    }
  }
  std::string text;
  for (const auto& [name, command] : groups) {
    text += commandsBelow(*command, path.empty() ? name : (path + ' ').append(name));
  }
  return text;
}

/// Every option once, in the order of the tree.
void gatherOptions(const CLI::App& app, std::map<std::string, bool>& seen, std::string& text) {
  for (const CLI::Option* option : app.get_options()) {
    if (!isShown(*option) || option->get_positional()) continue;
    const std::string entry =
        ".TP\n.B " + escaped(synopsis(*option)) + '\n' + sentence(option->get_description());
    if (!std::exchange(seen[entry], true)) text += entry;
  }
  for (const CLI::App* command : app.get_subcommands({})) gatherOptions(*command, seen, text);
}

}  // namespace

std::string manual(const CLI::App& app) {
  std::string text;
  if (!app.get_subcommands({}).empty()) text = ".SH COMMANDS\n" + commandsBelow(app, "");
  std::map<std::string, bool> seen;
  text += ".SH OPTIONS\n";
  gatherOptions(app, seen, text);
  return text;
}

}  // namespace Routing::Cli
