#include <gtest/gtest.h>

#include "agent/daemon/Options.h"
#include "tests/support/Split.h"

namespace Routing::Agent {
namespace {

std::variant<Options, int> parse(const std::string& line) {
  const std::vector<std::string> words = TestKit::split("pimbsrd " + line);
  std::vector<const char*> arguments;
  for (const std::string& word : words) arguments.push_back(word.c_str());
  return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

/// The family of the built-in configuration.
const FamilySettings& family(const Options& options, AddressFamily af) {
  return options.builtIn.vrfs.at(VrfName("default")).at(af);
}

TEST(Options, AreReadAsGiven) {
  const auto options = std::get<Options>(
      parse("--interface eth0 --ipv6-only --bs-timeout 5 --sz-timeout 7 --hello-period 0.5"
            " --dr-priority 4294967295 --max-zones 0 --max-groups 1 --max-rps 2 --max-fragments 3"
            " --trace Pim::Hello=9 --trace Pim::Bsr=-1 --control /tmp/c --log-level error"));
  EXPECT_EQ(options.builtIn.vrfs.at(VrfName("default")).size(), 1U);
  const InterfaceSettings& eth0 = family(options, AddressFamily::ipv6).interfaces.at("eth0");
  EXPECT_EQ(eth0.helloInterval, 0.5);
  EXPECT_EQ(eth0.helloHoldtime, 1);
  EXPECT_EQ(eth0.drPriority, 4294967295U);
  EXPECT_EQ(options.builtIn.limits, (LimitSettings{0, 1, 2, 3}));
  EXPECT_EQ(options.timeouts.bsTimeout, 5U);
  EXPECT_EQ(options.timeouts.szTimeout, 7U);
  EXPECT_EQ(options.control, "/tmp/c");
  EXPECT_EQ(options.logLevel, "error");
  EXPECT_EQ(options.traces,
            (std::vector<std::pair<std::string, int>>{{"Pim::Hello", 9}, {"Pim::Bsr", -1}}));
}

TEST(Options, HoldThreeAndAHalfHelloPeriods) {
  const auto options =
      std::get<Options>(parse("--interface eth0 --interface eth1 --hello-period 18000"));
  for (const AddressFamily af : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    EXPECT_EQ(family(options, af).interfaces.at("eth1").helloHoldtime, 63000);
  }
}

TEST(Options, NameAFileInsteadAndOverrideIt) {
  const auto options =
      std::get<Options>(parse("--config p.yaml --control /tmp/c --state-directory none"));
  EXPECT_TRUE(options.configFile.starts_with("/") && options.configFile.ends_with("/p.yaml"));
  EXPECT_EQ(options.control, "/tmp/c");
  EXPECT_EQ(options.stateDirectory, "none");
}

TEST(StateDirectory, BearsTheNameOfTheControlSocketUnlessOneIsGiven) {
  DaemonConfig config;
  EXPECT_EQ(stateDirectoryOf(config), "/run/pimbsrd/control.state");
  config.controlSocket = "/run/r1";
  EXPECT_EQ(stateDirectoryOf(config), "/run/r1.state");
  config.stateDirectory = "/tmp/r1";
  EXPECT_EQ(stateDirectoryOf(config), "/tmp/r1");
  config.stateDirectory = "none";
  EXPECT_EQ(stateDirectoryOf(config), std::nullopt);
}

TEST(Options, RefuseWhatMakesNoSense) {
  testing::internal::CaptureStderr();
  for (const char* line :
       {"", "--interface", "--config", "--config ", "--config f --interface a",
        "--config f --max-zones 1", "--nonsense", "eth0", "--interface a --ipv4-only --ipv6-only",
        "--interface a --bs-timeout 0", "--interface a --bs-timeout -1",
        "--interface a --bs-timeout ten", "--interface a --hello-period nan",
        "--interface a --hello-period 0", "--interface a --dr-priority 4294967296",
        "--interface a --trace Pim", "--interface a --trace Pim=10", "--interface a --trace Pim=x",
        "--interface a --log-level loud"}) {
    const auto result = parse(line);
    const int* code = std::get_if<int>(&result);
    EXPECT_TRUE(code != nullptr && *code == 2) << line;
  }
  EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
}

TEST(Options, ExplainThemselves) {
  testing::internal::CaptureStdout();
  const auto help = parse("--help");
  const auto version = parse("--version");
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::get<int>(help), 0);
  EXPECT_EQ(std::get<int>(version), 0);
  EXPECT_NE(text.find("--bs-timeout"), std::string::npos);
  EXPECT_NE(text.find("pimbsrd "), std::string::npos);
}

}  // namespace
}  // namespace Routing::Agent
