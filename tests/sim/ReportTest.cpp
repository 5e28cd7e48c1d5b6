#include <gtest/gtest.h>

#include "sim/report/ContinuityJson.h"
#include "sim/report/HtmlReport.h"
#include "sim/report/JsonReport.h"
#include "sim/report/Recorder.h"
#include "sim/report/Timeline.h"
#include "sim/scenario/ScenarioParser.h"

namespace Routing::Sim {
namespace {

constexpr const char* hostile = R"~(
name: "</script><!--<script>alert(1)"
text: "@DATA@ \"quoted\" \\ <img src=x>"
topology: {routers: ["<b>", "plain"], lans: [{lan: "</svg>", routers: ["<b>", "plain"]}]}
configuration:
  - {router: "<b>", bsr-candidate: {}}
  - {router: plain, rp-candidate: {}}
run: 100
finally: [{bsr: plain}]
)~";

/// The part of a text between two marks.
std::string between(const std::string& text, const std::string& from, const std::string& to) {
  const auto start = text.find(from) + from.size();
  return text.substr(start, text.find(to, start) - start);
}

/// Nothing in the data may look like a tag, and nothing may be loaded.
void expectSelfContained(const std::string& page) {
  const std::string data = between(page, "const D = ", ";\n");
  EXPECT_EQ(data.find('<'), std::string::npos);
  EXPECT_NE(data.find("\\u003cb>"), std::string::npos);
  EXPECT_NE(data.find("\\u003c/script>\\u003c!--"), std::string::npos);
  for (const char* word : {"src=\"", "href", "@import", "url(", "fetch("}) {
    EXPECT_EQ(page.find(word), std::string::npos) << word << " would load something";
  }
}

TEST(Reports, HoldNothingButThemselvesWhateverNamesAreAndSayWhatFailed) {
  ContinuityStudies studies;
  studies.push_back(std::make_unique<ContinuityStudy>("f", parseScenario(hostile, "f")));
  ContinuityStudy& study = *studies.back();
  ScenarioRun run(study.scenario(), {1, false, std::nullopt});
  const Timeline timeline(run.world(), run.beliefs());
  const Recorder recorder(run.world(), run.beliefs());
  run.run();
  expectSelfContained(htmlReport(run, timeline, recorder));
  EXPECT_GT(recorder.messages().size(), 2U);
  EXPECT_GT(recorder.changes().size(), 3U);
  const std::string json = jsonReport(run, timeline);
  EXPECT_NE(json.find("\"passed\": false"), std::string::npos);
  EXPECT_NE(json.find("the BSR of 224.0.0.0/4 is 10.0.0.2"), std::string::npos);

  study.add(1, run.passed(), study.figures(run));
  study.detailIs(run, timeline);
  expectSelfContained(continuityHtml(studies));
  EXPECT_NE(continuityJson(studies).find("\"failed\": 1"), std::string::npos);
}

}  // namespace
}  // namespace Routing::Sim
