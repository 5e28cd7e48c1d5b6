#include "tests/support/ConfigBed.h"

#include <sstream>
#include <stdexcept>
#include <utility>

namespace Routing::TestKit {
namespace {

AclAddresses addresses(const std::string& text) {
  const auto parsed = AclAddresses::fromText(text);
  if (!parsed) throw std::invalid_argument(text);
  return *parsed;
}

}  // namespace

AclRule aclRule(std::string text) {
  AclRule rule;
  if (text.starts_with("deny ")) rule.action = AclAction::deny;
  text.erase(0, text.find(' ') + 1);
  const auto arrow = text.find(" -> ");
  if (arrow != std::string::npos) rule.destination = addresses(text.substr(arrow + 4));
  rule.source = addresses(text.substr(0, arrow));
  return rule;
}

ConfigBed::ConfigBed(AddressFamily af)
    : af(af),
      config(std::make_shared<Bsr::Config>(VrfName("default"))),
      vrfIntfConfig(std::make_shared<Bsr::VrfIntfConfig>("default")),
      clearConfig(std::make_shared<Bsr::ClearConfig>(VrfName("default"))),
      status(std::make_shared<Bsr::Status>(VrfName("default"))),
      pimCounters(std::make_shared<Pim::PimMessageCounters>()),
      sourceIntfSm(std::make_shared<SourceIntfSm>(VrfName("default"))),
      acls(std::make_shared<IpAclConfig>(af)) {
  status->afIs(af);
  sourceIntfSm->initialDumpDoneIs(true);
  invariants_ = status->treeReactor([this](const TreeChange& change) { check(change); });
  log_ = std::make_unique<AttributeLog>(
      status, [this](std::string_view line) { lines_.emplace_back(line); });
  lines_.clear();
}

std::unique_ptr<ConfigBed> ConfigBed::twin() const {
  auto other = std::make_unique<ConfigBed>(af);
  other->config = config;
  other->vrfIntfConfig = vrfIntfConfig;
  other->clearConfig = clearConfig;
  other->sourceIntfSm = sourceIntfSm;
  other->acls = acls;
  return other;
}

void ConfigBed::start() {
  sm = std::make_unique<Bsr::ConfigSm>(config, vrfIntfConfig, clearConfig, status, pimCounters,
                                       sourceIntfSm, acls);
}

void ConfigBed::check(const TreeChange& change) {
  permitted_ = permitted_ || !status->crpPermit().empty();
  if (permitted_ && status->crpPermit().empty()) violations.push_back("nothing is permitted");
  for (const auto& [address, rp] : status->crp()) {
    for (const auto& option : rp->prefixOptions()) {
      if (!rp->prefixSet(option.first)) {
        violations.push_back(address.text() + " has a priority for " + option.first.text());
      }
    }
  }
  const auto* candidate = dynamic_cast<const Bsr::BsrCandidate*>(&change.entity);
  if (candidate != nullptr && change.attribute == Bsr::BsrCandidate::Attr::address &&
      candidate->address().isUnset()) {
    violations.push_back(candidate->zone().text() + " has lost its address");
  }
}

std::vector<std::string> ConfigBed::changes() {
  return std::exchange(lines_, {});
}

void ConfigBed::addressIs(const std::string& intf, const std::string& address) {
  if (address.empty()) {
    sourceIntfSm->addressDel(IntfId(intf));
  } else {
    sourceIntfSm->addressIs(IntfId(intf), addr(address));
  }
}

void ConfigBed::aclIs(const std::string& name, Rules rules) {
  std::vector<AclRule> parsed;
  for (const char* rule : rules) parsed.push_back(aclRule(rule));
  aclIs(name, parsed);
}

void ConfigBed::aclIs(const std::string& name, const std::vector<AclRule>& rules) {
  const auto acl = acls->newAcl(name);
  acl->editingIs(true);
  acl->ruleDelAll();
  std::uint32_t sequence = 0;
  for (const AclRule& rule : rules) acl->ruleIs(sequence += 10, rule);
  acl->editingIs(false);
}

namespace {
template <class Entry>
void settingsAre(Entry& entry, unsigned priority, unsigned hashMaskLen, unsigned interval) {
  entry.intervalIs(interval);
  entry.hashMaskLenIs(hashMaskLen);
  entry.priorityIs(static_cast<std::uint16_t>(priority));
}
}  // namespace

std::shared_ptr<Bsr::BsrCandidateGroup> ConfigBed::groupIs(const std::string& intf,
                                                           const std::string& zone,
                                                           unsigned priority, unsigned hashMaskLen,
                                                           unsigned interval) {
  const auto group = bsr(intf)->newGroup(prefix(zone));
  settingsAre(*group, priority, hashMaskLen, interval);
  return group;
}

std::shared_ptr<Bsr::BsrCandidateAcl> ConfigBed::groupAclIs(const std::string& intf,
                                                            const std::string& acl,
                                                            unsigned priority, unsigned hashMaskLen,
                                                            unsigned interval) {
  const auto entry = bsr(intf)->newAcl(acl);
  settingsAre(*entry, priority, hashMaskLen, interval);
  return entry;
}

void ConfigBed::rangePriorityIs(const std::string& intf, const std::string& range,
                                unsigned priority) {
  rp(intf)->newGroupRangeOptions(prefix(range))->priorityIs(Pim::RpPriority(priority));
}

void ConfigBed::aclPriorityIs(const std::string& intf, const std::string& acl, unsigned priority) {
  rp(intf)->newAclOptions(acl)->priorityIs(Pim::RpPriority(priority));
}

std::shared_ptr<Bsr::IntfConfig> ConfigBed::border(const std::string& intf) {
  if (const auto& known = vrfIntfConfig->intfConfig(intf)) return known;
  const auto made = std::make_shared<Bsr::IntfConfig>(intf);
  vrfIntfConfig->intfConfigIs(intf, made);
  return made;
}

std::vector<std::string> ConfigBed::cbsr() const {
  std::vector<std::string> lines;
  for (const auto& [zone, c] : status->cbsr()) {
    std::ostringstream line;
    line << zone << ' ' << c->intfId() << ' ' << c->address() << ' ' << c->priority() << '/'
         << c->hashMaskLen() << '/' << c->bsPeriod();
    lines.push_back(line.str());
  }
  return lines;
}

std::vector<std::string> ConfigBed::crp() const {
  std::vector<std::string> lines;
  for (const auto& [address, rp] : status->crp()) {
    std::ostringstream line;
    line << address << ' ' << rp->intfId() << ' ' << rp->interval() << ' ' << enumName(rp->mode());
    for (const IpGenPrefix& prefix : rp->prefixSet()) {
      line << ' ' << prefix;
      if (const auto& options = rp->prefixOptions(prefix)) line << '=' << options->priority();
    }
    lines.push_back(line.str());
  }
  return lines;
}

std::vector<std::string> ConfigBed::borders() const {
  std::vector<std::string> lines;
  for (const auto& [prefix, border] : status->bsBorder()) {
    std::string line = prefix.text();
    for (const IntfId& intf : border->intfId()) line += ' ' + intf.text();
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> ConfigBed::permit() const {
  std::vector<std::string> lines;
  for (const IpGenPrefix& prefix : status->crpPermit()) lines.push_back(prefix.text());
  return lines;
}

}  // namespace Routing::TestKit
