#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "bsr/config/ConfigSm.h"
#include "bsr/config/ZoneClaims.h"
#include "platform/acl/AclToPrefix.h"
#include "tests/support/BsrRouter.h"
#include "tests/support/ConfigBed.h"

// Random edits of a running configuration. After each, the status is that of a fresh start with the
// configuration as it then is.

namespace Routing::TestKit {
namespace {

constexpr std::array intfs{"eth0", "eth1", "eth2"};
constexpr std::array addressTexts{"", "10.1.1.1", "10.2.2.2", "10.3.3.3"};
constexpr std::array prefixes{"224.0.0.0/4",  "239.0.0.0/15", "239.0.0.0/16",
                              "239.1.0.0/16", "239.2.0.0/16", "238.0.0.0/8"};
constexpr std::array ruleAddresses{
    "any",         "239.0.0.0/15", "239.0.0.0/16",  "239.1.0.0/16", "239.2.0.0/16",
    "238.0.0.0/8", "10.0.0.0/8",   "172.16.0.0/12", "0.0.0.0/0",    "239.0.0.0 0.2.255.255"};
constexpr std::array acls{"a", "b", "c"};

/// A number below a limit, evenly spread whatever the test's size.
unsigned below(unsigned limit) {
  return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0U, limit));
}
template <class Pool>
const char* oneOf(const Pool& pool) {
  return pool[below(static_cast<unsigned>(pool.size()))];
}

class Script {
 public:
  Script() {
    for (const char* intf : {"eth0", "eth1"}) bed_.addressIs(intf, oneOf(addressTexts));
    bed_.start();
  }

  void step() {
    static constexpr std::array edits{
        &Script::editAddress, &Script::editAcl,     &Script::editGroup,  &Script::editGroupAcl,
        &Script::editAcl,     &Script::editRange,   &Script::editRpAcl,  &Script::editPriority,
        &Script::editTimers,  &Script::editFilter,  &Script::editBorder, &Script::dropIntf,
        &Script::editGroup,   &Script::editAclRule, &Script::restart};
    (this->*edits[below(edits.size())])();
  }

  /// Some steps that belong together.
  void edit() {
    bed_.config->editingIs(true);
    for (unsigned left = below(6); left > 0; --left) step();
    bed_.config->editingIs(false);
  }

  void expectFreshStart() const {
    const auto fresh = bed_.twin();
    fresh->start();
    RC_ASSERT(comparable(bed_.statusText()) == comparable(fresh->statusText()));
    RC_ASSERT(bed_.violations == Lines{});
  }

  void expectNothingAfterDeletion() {
    bed_.config->bsrCandidateConfigDelAll();
    bed_.config->rpCandidateConfigDelAll();
    bed_.config->crpFilterAclDelAll();
    for (const char* intf : intfs) bed_.vrfIntfConfig->intfConfigDel(intf);
    const ConfigBed empty;
    const Bsr::ConfigState none;
    RC_ASSERT(treeText(bed_.sm->state()) == treeText(none));
    RC_ASSERT(bed_.permit() == Lines{"0.0.0.0/0"});
    bed_.status->crpPermitDelAll();
    bed_.status->bsTimeoutIs(0);
    bed_.status->szTimeoutIs(0);
    RC_ASSERT(bed_.statusText() == empty.statusText());
  }

 private:
  /// Without what rightly depends on history: the scope-zone time-out, which a changed hold time
  /// does not reach, and claims of interfaces that had an address once.
  Lines comparable(const std::string& text) const {
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
      if (line.starts_with("= /szTimeout")) continue;
      const bool claim = line.starts_with("= /zoneGroup") || line.starts_with("= /zoneAcl");
      const IntfId intf(claim ? line.substr(line.rfind(' ') + 2, 4) : "");
      if (claim && bed_.sourceIntfSm->addressOf(intf).isUnset()) continue;
      lines.push_back(line);
    }
    return lines;
  }

  void editAddress() { bed_.addressIs(oneOf(intfs), oneOf(addressTexts)); }

  std::vector<AclRule> rules() {
    std::vector<AclRule> result;
    const unsigned count = below(4);
    for (unsigned i = 0; i < count; ++i) {
      const std::string action = below(3) == 0 ? "deny " : "permit ";
      result.push_back(aclRule(action + oneOf(ruleAddresses)));
    }
    return result;
  }

  /// A second claim to a zone is fatal; whoever edits the configuration asks first.
  bool allowed(const IntfId& intf, const std::set<IpGenPrefix>& zones) const {
    Bsr::ZoneClaims<Bsr::NoTerms> claims;
    for (const auto& [owner, candidate] : bed_.config->bsrCandidateConfig()) {
      for (const auto& group : candidate->group()) claims.zones.claim(group.first, {owner, ""}, {});
      for (const auto& list : candidate->acl()) {
        for (const IpGenPrefix& zone : permitted(list.first)) {
          claims.zones.claim(zone, {owner, list.first}, {});
        }
      }
    }
    for (const IpGenPrefix& zone : zones) claims.zones.claim(zone, {intf, ""}, {});
    return std::none_of(zones.begin(), zones.end(),
                        [&](const IpGenPrefix& zone) { return claims.conflict(zone); });
  }
  std::set<IpGenPrefix> permitted(const std::string& acl) const {
    const auto& entity = bed_.acls->acl(acl);
    return entity ? AclToPrefix::of(AddressFamily::ipv4, *entity).group : std::set<IpGenPrefix>{};
  }
  bool allowed(const std::string& acl, const std::vector<AclRule>& rules) const {
    AclToPrefix conversion(AddressFamily::ipv4, AclType::standard);
    for (const AclRule& rule : rules) conversion.handleRule(rule);
    const auto zones = conversion.prefixes().group;
    for (const auto& [intf, candidate] : bed_.config->bsrCandidateConfig()) {
      if (candidate->acl(acl) && !allowed(intf, zones)) return false;
    }
    return true;
  }

  void editAcl() {
    const std::string acl = oneOf(acls);
    if (below(5) == 0) return bed_.aclDel(acl);
    const auto wanted = rules();
    if (allowed(acl, wanted)) bed_.aclIs(acl, wanted);
  }

  void editAclRule() {
    const std::string acl = oneOf(acls);
    const auto entity = bed_.acls->acl(acl);
    if (!entity || entity->rule().empty()) return;
    std::vector<AclRule> left;
    for (const auto& [sequence, rule] : entity->rule()) left.push_back(rule);
    left.erase(left.begin());
    if (allowed(acl, left)) entity->ruleDel(entity->rule().begin()->first);
  }

  void editGroup() {
    const IntfId intf(oneOf(intfs));
    const IpGenPrefix zone = prefix(oneOf(prefixes));
    if (below(3) == 0) return bed_.bsr(intf.text())->groupDel(zone);
    if (!allowed(intf, {zone})) return;
    bed_.groupIs(intf.text(), zone.text(), below(256), below(33), 10 + below(9));
  }

  void editGroupAcl() {
    const IntfId intf(oneOf(intfs));
    const std::string acl = oneOf(acls);
    if (below(3) == 0) return bed_.bsr(intf.text())->aclDel(acl);
    for (const auto& [other, candidate] : bed_.config->bsrCandidateConfig()) {
      if (other != intf && candidate->acl(acl)) return;
    }
    if (!allowed(intf, permitted(acl))) return;
    bed_.groupAclIs(intf.text(), acl, below(256), below(33), 10 + below(9));
  }

  void editRange() { bed_.rp(oneOf(intfs))->groupRangeIs(prefix(oneOf(prefixes)), below(3) > 0); }
  void editRpAcl() { bed_.rp(oneOf(intfs))->aclIs(oneOf(acls), below(3) > 0); }

  void editPriority() {
    const std::string intf = oneOf(intfs);
    const unsigned priority = below(8) == 0 ? 256 : below(3);
    switch (below(4)) {
      case 0:
        return bed_.rangePriorityIs(intf, oneOf(prefixes), priority);
      case 1:
        return bed_.aclPriorityIs(intf, oneOf(acls), priority);
      case 2:
        return bed_.rp(intf)->groupRangeOptionsDel(prefix(oneOf(prefixes)));
      default:
        return bed_.rp(intf)->aclOptionsDel(oneOf(acls));
    }
  }

  void editTimers() {
    bed_.config->holdTimeIs(12 + below(200));
    bed_.config->szTimeoutIs(120 + below(2000));
    bed_.rp(oneOf(intfs))->advIntervalIs(Pim::Bsr::CrpAdvInterval(1 + below(100)));
    bed_.rp(oneOf(intfs))
        ->modeIs(below(2) == 0 ? Pim::PimMode::sparse : Pim::PimMode::bidirectional);
  }

  void editFilter() { bed_.config->crpFilterAclIs(oneOf(acls), below(2) == 0); }

  void editBorder() {
    const auto border = bed_.border(oneOf(intfs));
    below(2) == 0 ? border->bsrBorderGrpIs(prefix(oneOf(prefixes)), below(3) > 0)
                  : border->bsrBorderAclIs(oneOf(acls), below(3) > 0);
  }

  void dropIntf() {
    const std::string intf = oneOf(intfs);
    switch (below(3)) {
      case 0:
        return bed_.config->bsrCandidateConfigDel(IntfId(intf));
      case 1:
        return bed_.config->rpCandidateConfigDel(IntfId(intf));
      default:
        return bed_.vrfIntfConfig->intfConfigDel(intf);
    }
  }

  void restart() {
    bed_.stop();
    bed_.changes();
    bed_.start();
    Lines lines = bed_.changes();
    std::erase_if(lines, [](const auto& line) { return line.starts_with("= /szTimeout"); });
    RC_ASSERT(lines == Lines{});
  }

  ConfigBed bed_;
};

TEST(ConfigEditScript, EndsWhereAFreshStartEnds) {
  unsigned scripts = 0;
  EXPECT_TRUE(rc::check([&] {
    Script script;
    const unsigned steps = 20 + below(60);
    for (unsigned i = 0; i < steps; ++i) {
      below(4) == 0 ? script.edit() : script.step();
      script.expectFreshStart();
    }
    script.expectNothingAfterDeletion();
    ++scripts;
  }));
  EXPECT_GE(scripts, 100U);
}

}  // namespace
}  // namespace Routing::TestKit
