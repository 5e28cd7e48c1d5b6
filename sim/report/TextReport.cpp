#include "sim/report/TextReport.h"

#include <algorithm>
#include <iomanip>
#include <map>
#include <ostream>
#include <sstream>

namespace Routing::Sim {
namespace {

constexpr std::size_t mostNamed = 12;

std::string listText(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size() && i < mostNamed; ++i) {
    text += (i > 0 ? " " : "") + names[i];
  }
  if (names.size() > mostNamed) text += " ... (" + std::to_string(names.size()) + " routers)";
  return text;
}

std::string seconds(double time) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << std::setw(10) << time;
  return text.str();
}

const char* markOf(Happening::Kind kind) {
  switch (kind) {
    case Happening::Kind::script:
      return "##";
    case Happening::Kind::election:
      return "**";
    case Happening::Kind::drop:
      return "--";
    default:
      return "  ";
  }
}

using Groups = std::map<std::string, std::vector<std::string>>;

void writeGroups(std::ostream& out, const Groups& groups, bool all) {
  for (const auto& [text, routers] : groups) {
    out << "  " << text << "\n      "
        << (all && groups.size() == 1 ? "on all routers" : "on " + listText(routers)) << "\n";
  }
}

std::string zoneText(const ZoneBelief& about) {
  std::string text =
      about.zone.text() + "  BSR " + (about.bsr.isUnset() ? "none" : about.bsr.text());
  if (!about.bsr.isUnset()) {
    text += "  priority " + std::to_string(about.priority) + "  hash mask length " +
            std::to_string(about.hashMaskLen);
  }
  return text;
}

std::string rpText(const IpGenPrefix& range, const Pim::RpEntry& rp) {
  std::ostringstream text;
  text << std::left << std::setw(20) << range.text() << " " << std::setw(16) << rp.address().text()
       << " priority " << std::setw(3) << rp.priority().value()
       << (rp.mode() == Pim::PimMode::bidirectional ? "  bidir" : "  sparse");
  return text.str();
}

void writeFamily(std::ostream& out, const ScenarioRun& run, AddressFamily af) {
  const World& world = run.world();
  Groups zones;
  std::map<std::string, std::vector<std::string>> sets;
  for (RouterId id = 0; id < world.topology().routers().size(); ++id) {
    if (!world.up(id)) continue;
    const std::string& name = world.topology().router(id).name;
    const Belief& belief = const_cast<ScenarioRun&>(run).beliefs().of(id, af);
    for (const ZoneBelief& about : belief.zones) zones[zoneText(about)].push_back(name);
    std::string all;
    std::size_t lines = 0;
    for (const auto& [range, set] : world.speaker(id, af).view()->crpSet()) {
      for (const auto& [address, rp] : set->rp()) {
        if (++lines <= 40) all += (all.empty() ? "" : "\n  ") + rpText(range, *rp);
      }
    }
    if (lines > 40) all += "\n  ... " + std::to_string(lines) + " in all";
    sets[all.empty() ? "no RPs" : all].push_back(name);
  }
  out << "\nBootstrap routers (" << enumName(af) << ")\n";
  writeGroups(out, zones, false);
  out << "\nRP sets (" << enumName(af) << ")\n";
  writeGroups(out, sets, true);
}

void writeCounters(std::ostream& out, const World& world, AddressFamily af) {
  out << "\nMessages (" << enumName(af)
      << ")   rx  success    error  |     tx  error  | RPF  filter  no-fwd  scope\n";
  RouterId shown = 0;
  for (RouterId id = 0; id < world.topology().routers().size() && shown < 40; ++id, ++shown) {
    const auto& c = world.speaker(id, af).status()->counters();
    const auto& e = c->errCounters();
    out << "  " << std::left << std::setw(12) << world.topology().router(id).name << std::right
        << std::setw(6) << c->rx() << std::setw(9) << c->rxSuccess() << std::setw(9) << c->rxError()
        << "  |" << std::setw(7) << c->tx() << std::setw(7) << c->txError() << "  |" << std::setw(4)
        << e.rxNbrRpfCheck() << std::setw(8) << e.rxFilter() << std::setw(8) << e.rxNoForwardBsm()
        << std::setw(7) << e.rxScopeMismatch() << "\n";
  }
}

}  // namespace

void writeTimeline(std::ostream& out, const Timeline& timeline) {
  for (const Happening& happening : timeline.happenings()) {
    out << seconds(happening.at) << " " << markOf(happening.kind) << " " << happening.text;
    if (!happening.routers.empty()) out << ": " << listText(happening.routers);
    if (happening.last > happening.at) out << "  (until" << seconds(happening.last) << ")";
    out << "\n";
  }
}

void writeTables(std::ostream& out, const ScenarioRun& run) {
  for (const AddressFamily af : run.world().families()) {
    writeFamily(out, run, af);
    writeCounters(out, run.world(), af);
  }
}

void writeFailures(std::ostream& out, const ScenarioRun& run) {
  for (const Disappointment& failure : run.disappointments()) {
    out << seconds(failure.at) << " !! expected that " << failure.expected << ", but "
        << failure.found << "\n";
  }
  for (const Violation& violation : run.invariants().violations()) {
    out << seconds(violation.at) << " !! invariant \"" << violation.invariant
        << "\": " << violation.what << "\n";
  }
}

}  // namespace Routing::Sim
