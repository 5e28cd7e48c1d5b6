#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <variant>

#include "ctl/Check.h"
#include "ctl/Options.h"
#include "ctl/Run.h"

namespace Routing::Ctl {
namespace {

using Json = nlohmann::json;

const std::string good = PIMBSR_SOURCE_DIR "/packaging/pimbsrd.yaml";
const std::string warned = PIMBSR_SOURCE_DIR "/tests/data/config/good/everything.yaml";
const std::string bad = PIMBSR_SOURCE_DIR "/tests/data/config/bad/hold-time-low.yaml";

struct Verdict {
  int code;
  std::string out;
};

/// From the command line to the exit code; nothing may be said on standard error.
Verdict check(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), {"pimbsrctl", "check"});
  const auto parsed = parseOptions(static_cast<int>(arguments.size()), arguments.data());
  if (const auto* early = std::get_if<EarlyExit>(&parsed)) return {early->code, early->text};
  std::ostringstream out, err;
  const int code = run(std::get<Options>(parsed), out, err);
  EXPECT_EQ(err.str(), "");
  return {code, out.str()};
}

TEST(Check, TellsAGoodFileFromABadOneByTheExitCode) {
  EXPECT_EQ(check({good.c_str()}).code, 0);
  EXPECT_EQ(check({good.c_str(), "--strict"}).code, 0);
  EXPECT_EQ(check({warned.c_str()}).code, 0);
  EXPECT_EQ(check({warned.c_str(), "--strict"}).code, 1);
  EXPECT_EQ(check({bad.c_str()}).code, 78);
  EXPECT_EQ(check({"--strict", bad.c_str()}).code, 78);
  EXPECT_EQ(check({"/nonexistent/pimbsrd.yaml"}).code, 78);
  EXPECT_EQ(check({}).code, 2);
  EXPECT_EQ(check({good.c_str(), bad.c_str()}).code, 2);
}

TEST(Check, PrintsALineForEachFinding) {
  EXPECT_EQ(check({bad.c_str()}).out,
            bad +
                ":9: vrf[default]/address-family[ipv4]/bsr/hold-time: invalid value \"11\" "
                "(allowed: 12..1073741823 seconds)\n" +
                bad + ": cannot be used, 1 error, 0 warnings\n");
  const std::string out = check({warned.c_str()}).out;
  EXPECT_NE(out.find(warned + ":78: warning: vrf[default]/"), std::string::npos) << out;
  EXPECT_NE(out.find(warned + ": good, 0 errors, 3 warnings\n"), std::string::npos) << out;
}

TEST(Check, PrintsJson) {
  const Json answer = Json::parse(check({bad.c_str(), "--json"}).out);
  EXPECT_EQ(answer.at("file"), bad);
  EXPECT_EQ(answer.at("good"), false);
  EXPECT_EQ(answer.at("findings"),
            Json({{{"severity", "error"},
                   {"line", 9},
                   {"path", "vrf[default]/address-family[ipv4]/bsr/hold-time"},
                   {"text", "invalid value \"11\" (allowed: 12..1073741823 seconds)"}}}));
  EXPECT_EQ(answer.at("forecasts"), Json::array());
  EXPECT_EQ(Json::parse(check({good.c_str(), "--json"}).out).at("good"), true);
  const Json absent = Json::parse(check({"/nonexistent/pimbsrd.yaml", "--json"}).out);
  EXPECT_TRUE(absent.at("findings").at(0).at("line").is_null());
}

TEST(Check, PrintsTheFiguresOfAFailoverAsJson) {
  const std::string file =
      PIMBSR_SOURCE_DIR "/tests/data/config/judged/failovers-that-rps-do-not-outlive.yaml";
  const Json forecasts = Json::parse(check({file.c_str(), "--json"}).out).at("forecasts");
  ASSERT_EQ(forecasts.size(), 5U);
  Json forecast = forecasts.at(4);  // by name of the VRF
  for (const char* instant : {"bsr-elected", "completed", "without-rp"}) {
    forecast[instant] = std::round(100 * forecast.at(instant).get<double>()) / 100;
  }
  EXPECT_EQ(forecast, Json::parse(R"({
    "vrf": "short", "address-family": "ipv4", "bsr-elected": 34.37, "completed": 37.37,
    "rp-holdtime": 30.0, "without-rp": 10.5, "needed-rp-candidate-interval": 13,
    "needed-hold-time": null, "hold-time": 12, "priority": 50, "interval": 10,
    "rp-candidate-interval": 2, "bsr-candidate-assumed": false, "rp-candidate-assumed": false})"));
}

}  // namespace
}  // namespace Routing::Ctl
