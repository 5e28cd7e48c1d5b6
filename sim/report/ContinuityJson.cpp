#include "sim/report/ContinuityJson.h"

#include "sim/report/HtmlPages.h"
#include "sim/report/JsonParts.h"

namespace Routing::Sim {
namespace {

Json distributionJson(const Distribution& seconds) {
  return {{"samples", seconds.values().size()},
          {"median", rounded(seconds.at(0.5))},
          {"90%", rounded(seconds.at(0.9))},
          {"99%", rounded(seconds.at(0.99))},
          {"longest", rounded(seconds.at(1))}};
}

Json lackJson(const ContinuityStudy& study, Lack lack) {
  const Distribution runs = study.ofRuns(lack);
  Json about = distributionJson(runs);
  if (const auto worst = study.worst(lack)) {
    about["worst"] = {{"router", study.subjects()[worst->subject]}, {"seed", worst->seed}};
  }
  Json routers = Json::object();
  for (std::size_t subject = 0; subject < study.subjects().size(); ++subject) {
    const Distribution seconds = study.ofSubject(lack, subject);
    if (!seconds.empty()) routers[study.subjects()[subject]] = distributionJson(seconds);
  }
  about["routers"] = routers;
  Json values = Json::array();
  for (const double value : runs.values()) values.push_back(rounded(value));
  about["values"] = values;
  return about;
}

Json studyJson(const ContinuityStudy& study) {
  Json json{{"scenario", study.scenario().name},
            {"text", study.scenario().text},
            {"file", study.file()},
            {"runs", study.runs()},
            {"failed", study.failed()},
            {"routers", study.subjects()}};
  for (const Lack lack : allLacks) json["gaps"][std::string(nameOf(lack))] = lackJson(study, lack);
  return json;
}

Json detailJson(const ContinuityStudy::Detail& detail) {
  Json gaps = Json::array();
  for (const auto& [subject, gap] : detail.gaps) {
    gaps.push_back({subject, std::string(nameOf(gap.lack)), gap.about.text(), rounded(gap.from),
                    rounded(gap.to)});
  }
  Json script = Json::array();
  for (const Happening& happening : detail.script) {
    script.push_back({rounded(happening.at), happening.text});
  }
  return {{"seed", detail.seed}, {"end", detail.end}, {"gaps", gaps}, {"script", script}};
}

}  // namespace

std::string continuityJson(const ContinuityStudies& studies) {
  Json all = Json::array();
  for (const auto& study : studies) all.push_back(studyJson(*study));
  return all.dump(2);
}

std::string continuityHtml(const ContinuityStudies& studies) {
  Json all = Json::array();
  for (const auto& study : studies) {
    all.push_back(studyJson(*study));
    if (study->detail()) all.back()["detail"] = detailJson(*study->detail());
  }
  return pageWith(HtmlPages::continuityPage, all);
}

}  // namespace Routing::Sim
