#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"
#include "ctl/Table.h"

namespace Routing::Ctl {

std::string renderRpHash(const Json& data) {
  using enum Table::Align;
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
