#include <nlohmann/json.hpp>

#include "agent/control/ControlRequest.h"
#include "agent/control/RpAnswer.h"
#include "agent/control/ShowParts.h"
#include "platform/pim/rp/RpSelector.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

using Pim::PimMode;
using Pim::RpChoice;
using Pim::RpContender;
using Pim::RpMapping;
using Pim::RpRule;

Json mappingJson(const RpMapping& mapping) {
  const bool bidir = mapping.mode == static_cast<std::uint8_t>(PimMode::bidirectional);
  return {{"group-range", mapping.groupRange.text()},
          {"rp-address", mapping.rp.text()},
          {"mode", enumName(bidir ? PimMode::bidirectional : PimMode::sparse)},
          {"priority", priorityJson(static_cast<std::uint16_t>(mapping.priority))},
          {"hash-mask-length", hashMaskLenJson(mapping.hashMaskLen, mapping.rp.af())}};
}

/// What the chosen mapping has over another one.
std::string advantage(RpRule rule, const RpMapping& chosen) {
  const std::string rp = chosen.rp.text();
  switch (rule) {
    case RpRule::longestPrefix:
      return "longer group range " + chosen.groupRange.text() + " of " + rp;
    case RpRule::bidirFirst:
      return "bidirectional mode of " + rp;
    case RpRule::lowestPriority:
      return "lower priority value of " + rp;
    case RpRule::highestHash:
      return "higher hash value of " + rp;
    case RpRule::highestAddress:
      return "higher address of " + rp;
    default:
      return std::string(rpRuleText(rule));
  }
}

Json contenderJson(const RpContender& contender, const RpChoice& choice) {
  Json json = mappingJson(contender.mapping);
  const bool won = contender.lostBy == RpRule::won;
  json["hash"] = contender.hash;
  json["selected"] = won;
  json["lost-by"] = won ? Json(nullptr) : Json(rpRuleName(contender.lostBy));
  json["outcome"] = outcomeText(contender, choice);
  return json;
}

std::string explanation(const ShowInput& in, const IpGenAddr& group, const RpChoice& choice) {
  std::string text =
      choice.rp ? "RP " + choice.rp->rp.text() + " serves group " : "No RP for group ";
  text.append(group.text()).append(": ").append(choice.reason());
  if (!choice.rp && choice.decidedBy == RpRule::embeddedRp) text += ", but not a usable one";
  const std::string gap = gapOver(in, group, choice);
  if (!gap.empty()) text += ", but " + gap;
  return text += ".";
}

/// In the order of the questions. Each looks at the ranges of its group alone.
Json answersJson(const ShowInput& in) {
  Json answers = Json::array();
  for (const std::string& text : in.groups) {
    const IpGenAddr group = addressFromText(text, in.instance.af);
    const RpChoice choice = Pim::selectRp(group, *in.instance.rpCandidate);
    answers.push_back(
        {{"group", group.text()}, {"rp", choice.rp ? mappingJson(*choice.rp) : Json(nullptr)}});
  }
  return answers;
}

}  // namespace

std::string outcomeText(const RpContender& contender, const RpChoice& choice) {
  if (contender.lostBy == RpRule::won) return "selected";
  const bool ranked = choice.rp && choice.decidedBy != RpRule::embeddedRp;
  return ranked ? "lost: " + advantage(contender.lostBy, *choice.rp)
                : "not considered: " + std::string(rpRuleText(contender.lostBy));
}

Json showRpHash(const ShowInput& in) {
  if (!in.groups.empty()) return {{"answers", answersJson(in)}};
  const IpGenAddr group = addressFromText(in.group, in.instance.af);
  const std::vector<RpMapping> mappings = rpMappings(*in.instance.rpCandidate);
  const RpChoice choice = selectRp(group, mappings);
  Json contenders = Json::array();
  for (const RpContender& c : choice.contenders) contenders.push_back(contenderJson(c, choice));
  return {{"group", group.text()},
          {"rp", choice.rp ? mappingJson(*choice.rp) : Json(nullptr)},
          {"rule", rpRuleName(choice.decidedBy)},
          {"explanation", explanation(in, group, choice)},
          {"contenders", std::move(contenders)}};
}

}  // namespace Routing::Agent
