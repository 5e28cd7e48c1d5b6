#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace Routing::Cli {

/// What to print instead of running, and the exit code: 0 for help, else 2.
struct Early {
  int code = 0;
  std::string text;
};

/// Parses a program's command line beyond what CLI11 does:
///   words of commands may be cut short while only one begins so,
///   a word or an option that does not exist is told with the nearest one and the choices.
/// As the first word, --complete gives what the last of the words behind it can become, one a line
/// with a tab and its help; --manual gives the program's commands and options for its man page.
std::optional<Early> parse(CLI::App& app, int argc, const char* const* argv);

/// The word with its commands written out; raises CLI::ParseError with a text for people.
std::vector<std::string> writtenOut(const CLI::App& app, std::vector<std::string> words);

/// What the last word can become, a line each.
std::string completions(const CLI::App& app, std::vector<std::string> words);

/// The sections COMMANDS and OPTIONS of a man page, in roff.
std::string manual(const CLI::App& app);

/// Of the choices the one that differs least from a word; none if all differ much.
std::optional<std::string> nearest(const std::string& word,
                                   const std::vector<std::string>& choices);

}  // namespace Routing::Cli
