#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <sstream>
#include <vector>

#include "ctl/Options.h"

namespace Routing::Ctl {
namespace {

std::variant<Options, EarlyExit> parse(const std::string& line) {
  std::istringstream in("pimbsrctl " + line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  std::vector<const char*> argv;
  for (const std::string& word : words) argv.push_back(word.c_str());
  return parseOptions(static_cast<int>(argv.size()), argv.data());
}

Options accepted(const std::string& line) {
  const auto parsed = parse(line);
  if (const auto* refused = std::get_if<EarlyExit>(&parsed)) ADD_FAILURE() << refused->text;
  const auto* options = std::get_if<Options>(&parsed);
  return options == nullptr ? Options{} : *options;
}

EarlyExit refused(const std::string& line) {
  const auto parsed = parse(line);
  const auto* exit = std::get_if<EarlyExit>(&parsed);
  if (exit == nullptr) ADD_FAILURE() << line << " was accepted";
  return exit == nullptr ? EarlyExit{} : *exit;
}

TEST(CtlOptions, ReadTheCommandWord) {
  unsetenv("PIMBSR_SOCKET");
  const Options plain = accepted("show ip pim rp-set");
  EXPECT_EQ("show", plain.command);
  EXPECT_EQ("ipv4", plain.family);
  EXPECT_EQ("rp-set", plain.topic);
  EXPECT_EQ("default", plain.vrf);
  EXPECT_EQ("/run/pimbsrd/control.sock", plain.socket);
  EXPECT_FALSE(plain.json);
  EXPECT_FALSE(plain.timeout);

  const Options hash = accepted("show ipv6 pim rp-hash ff0e::1 ff0e::2 --vrf red --json");
  EXPECT_EQ("ipv6", hash.family);
  EXPECT_EQ((std::vector<std::string>{"ff0e::1", "ff0e::2"}), hash.groups);
  EXPECT_EQ("red", hash.vrf);
  EXPECT_TRUE(hash.json);

  EXPECT_EQ("clear", accepted("clear ip pim counters").command);
  EXPECT_EQ("ipv6", accepted("clear neighbor fe80::1").family);
  EXPECT_EQ("fe80::1", accepted("clear neighbor fe80::1").neighbor);
  EXPECT_TRUE(accepted("watch ip pim bsr").snapshot);
  EXPECT_FALSE(accepted("watch ip pim bsr --changes-only").snapshot);
  EXPECT_EQ("reload", accepted("reload").command);
  EXPECT_EQ("upgrade", accepted("upgrade prepare --timeout 60").command);
  EXPECT_EQ("undrain", accepted("undrain").command);
  EXPECT_EQ("all", accepted("drain all").topic);
  EXPECT_EQ(2.5, accepted("drain rp --wait 2.5").wait);
}

TEST(CtlOptions, StandBeforeOrBehindTheCommand) {
  EXPECT_EQ("/tmp/x", accepted("--socket /tmp/x show ip pim bsr").socket);
  EXPECT_EQ("/tmp/x", accepted("show ip pim bsr --socket /tmp/x").socket);
  EXPECT_EQ(1.5, accepted("show ip pim bsr --timeout 1.5").timeout);
}

TEST(CtlOptions, TakeTheSocketFromTheEnvironment) {
  setenv("PIMBSR_SOCKET", "/tmp/env.sock", 1);
  EXPECT_EQ("/tmp/env.sock", accepted("show ip pim bsr").socket);
  EXPECT_EQ("/tmp/x", accepted("--socket /tmp/x show ip pim bsr").socket);
  unsetenv("PIMBSR_SOCKET");
}

TEST(CtlOptions, RefuseWhatMakesNoSense) {
  for (const char* line :
       {"", "show", "show ip", "show ip pim", "show ip pim weather", "show ip pim rp-hash",
        "show ip pim bsr extra", "clear ip pim bsr", "watch ip pim rp-hash",
        "show ip pim bsr --timeout 0", "show ip pim bsr --changes-only", "upgrade", "reload x",
        "show ip pim bsr --no-such", "drain", "drain all --wait 0", "undrain rp"}) {
    const EarlyExit exit = refused(line);
    EXPECT_EQ(exitUsage, exit.code) << line;
    EXPECT_FALSE(exit.text.empty()) << line;
  }
}

TEST(CtlOptions, WordsMayBeCutShort) {
  const Options options = accepted("sh ip p rp-h 239.1.1.1 --vrf sh");
  EXPECT_EQ("show", options.command);
  EXPECT_EQ("rp-hash", options.topic);
  EXPECT_EQ("sh", options.vrf);  // the value of an option is nobody's abbreviation
  EXPECT_EQ("ipv6", accepted("show ipv p bsr").family);
}

TEST(CtlOptions, AMistypedWordIsToldWithTheNearestOneAndTheChoices) {
  const std::pair<const char*, const char*> cases[] = {
      {"shwo ip pim bsr", "unknown word \"shwo\", did you mean \"show\"? choices: show, "},
      {"show ip pim weather", "unknown word \"weather\"; choices: bsr, rp-set, "},
      {"show ip pim rp", "\"rp\" is ambiguous: rp-set, rp-hash"},
      {"show ip", "one word more is needed: pim"},
      {"show ip pim bsr --jsno", "unknown option \"--jsno\", did you mean \"--json\"? choices: "},
      {"--timeout 0 show ip pim bsr", "--timeout: needs a number of seconds above 0\n"},
      {"sh\x1b[2J", "unknown word \"sh?[2J\""}};
  for (const auto& [line, text] : cases) {
    EXPECT_EQ(0u, refused(line).text.find(std::string("pimbsrctl: ") + text)) << refused(line).text;
  }
}

TEST(CtlOptions, ToolsLearnOfTheCommandsFromTheProgram) {
  EXPECT_EQ(0u, refused("--complete sh ip pim rp-").text.find("rp-set\t"));
  EXPECT_EQ(0u, refused("--complete show ip pim bsr --js").text.find("--json\t"));
  EXPECT_EQ("", refused("--complete show nonsense b").text);
  EXPECT_EQ("", refused("--complete show ip pim bsr --vrf b").text);
  const std::string manual = refused("--manual").text;
  EXPECT_NE(std::string::npos, manual.find(".B show ip|ipv6 pim rp\\-hash GROUP [\\-\\-vrf NAME]"));
  EXPECT_NE(std::string::npos, manual.find(".B \\-\\-socket PATH\n"));
}

TEST(CtlOptions, HelpAndVersionAreNoFaults) {
  EXPECT_EQ(exitGood, refused("--help").code);
  EXPECT_NE(std::string::npos, refused("show ip pim --help").text.find("rp-hash"));
  EXPECT_EQ(0u, refused("--version").text.find("pimbsrctl "));
}

}  // namespace
}  // namespace Routing::Ctl
