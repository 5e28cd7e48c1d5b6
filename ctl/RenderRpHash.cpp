#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"
#include "ctl/Table.h"

namespace Routing::Ctl {

namespace {

using enum Table::Align;

/// Of several groups what serves them, without the reasons.
std::string answersText(const Json& data) {
  Table table({{"Group"}, {"RP"}, {"Group range"}, {"Mode"}, {"Priority", right}});
  for (const Json& answer : data.at("answers")) {
    const Json& rp = answer.at("rp");
    const auto cell = [&](const char* name) { return rp.is_null() ? "-" : valueText(rp.at(name)); };
    table.row({valueText(answer.at("group")), cell("rp-address"), cell("group-range"), cell("mode"),
               cell("priority")});
  }
  return titleText("RPs for groups", data) + table.text(2);
}

}  // namespace

std::string renderRpHash(const Json& data) {
  if (data.contains("answers")) return answersText(data);
  Table table({{"Group range"},
               {"RP"},
               {"Mode"},
               {"Priority", right},
               {"Hash mask", right},
               {"Hash", right},
               {"Outcome"}});
  for (const Json& contender : data.at("contenders")) {
    table.row({valueText(contender.at("group-range")), valueText(contender.at("rp-address")),
               valueText(contender.at("mode")), valueText(contender.at("priority")),
               valueText(contender.at("hash-mask-length")), valueText(contender.at("hash")),
               valueText(contender.at("outcome"))});
  }
  std::string text = titleText("RP for group " + valueText(data.at("group")), data);
  if (!table.empty()) text += table.text(2) + "\n";
  return text + valueText(data.at("explanation")) + "\n";
}

}  // namespace Routing::Ctl
