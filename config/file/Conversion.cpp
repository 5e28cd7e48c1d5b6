#include "config/file/Conversion.h"

#include <algorithm>
#include <charconv>

namespace Routing::Agent {
namespace {

std::vector<const lyd_node*> named(const lyd_node* first, std::string_view name) {
  std::vector<const lyd_node*> nodes;
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    if (name == node->schema->name) nodes.push_back(node);
  }
  return nodes;
}

const lyd_node* childOf(const lyd_node* parent, std::string_view name) {
  const auto nodes = named(lyd_child(parent), name);
  return nodes.empty() ? nullptr : nodes.front();
}

std::string textOf(const lyd_node* leaf) {
  return leaf == nullptr ? "" : lyd_get_value(leaf);
}

/// The number of a leaf, which the schema has found to be in range.
template <class Number>
Number numberOf(const lyd_node* leaf) {
  const std::string text = textOf(leaf);
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::set<std::string> namesOf(const lyd_node* parent, std::string_view leafList) {
  std::set<std::string> names;
  for (const lyd_node* node : named(lyd_child(parent), leafList)) names.insert(textOf(node));
  return names;
}

/// Reads the tree from the top down. Every function takes the node whose content it reads.
class Converter {
 public:
  Converter(const ConfigTree& tree, Findings& findings) : tree_(tree), findings_(findings) {}

  DaemonConfig config() {
    DaemonConfig config;
    const lyd_node* top = tree_.top();
    for (const lyd_node* node = top; node != nullptr; node = node->next) readTop(node, config);
    return config;
  }

 private:
  void readTop(const lyd_node* node, DaemonConfig& config) {
    const std::string_view name = node->schema->name;
    if (name == "control-socket") config.controlSocket = textOf(node);
    if (name == "state-directory") config.stateDirectory = textOf(node);
    if (name == "consumer") config.consumer = textOf(node);
    if (name == "metrics") config.metrics = endpoint(node);
    if (name == "log-level") config.logLevel = textOf(node);
    if (name == "limits") config.limits = limits(node);
    if (name == "trace") {
      config.traces[textOf(childOf(node, "facility"))] = numberOf<int>(childOf(node, "level"));
    }
    if (name == "access-list") {
      const auto key = std::pair(family(node), textOf(childOf(node, "name")));
      config.accessLists[key] = accessList(node);
    }
    if (name == "vrf") config.vrfs[VrfName(textOf(childOf(node, "name")))] = vrf(node);
  }

  static AddressFamily family(const lyd_node* node) {
    const bool v4 = textOf(childOf(node, "address-family")) == "ipv4";
    return v4 ? AddressFamily::ipv4 : AddressFamily::ipv6;
  }

  static std::string endpoint(const lyd_node* node) {
    const std::string address = textOf(childOf(node, "address"));
    const bool v6 = address.find(':') != std::string::npos;
    return (v6 ? '[' + address + ']' : address) + ':' + textOf(childOf(node, "port"));
  }

  static LimitSettings limits(const lyd_node* node) {
    const auto value = [&](const char* name) {
      return numberOf<std::uint32_t>(childOf(node, name));
    };
    return {value("zones"), value("groups"), value("rps"), value("fragments")};
  }

  AccessList accessList(const lyd_node* node) {
    AccessList list;
    const bool extended = textOf(childOf(node, "type")) == "extended";
    list.type = extended ? AclType::extended : AclType::standard;
    for (const lyd_node* child : named(lyd_child(node), "rule")) {
      AclRule& rule = list.rules[numberOf<std::uint32_t>(childOf(child, "sequence"))];
      const bool permit = textOf(childOf(child, "action")) == "permit";
      rule.action = permit ? AclAction::permit : AclAction::deny;
      rule.source = addresses(childOf(child, "source"));
      rule.destination = addresses(childOf(child, "destination"));
    }
    return list;
  }

  AclAddresses addresses(const lyd_node* leaf) {
    if (leaf == nullptr) return AclAddresses::any();
    const std::string text = textOf(leaf);
    const auto read = AclAddresses::fromText(text);
    if (!read) {
      refuse(leaf, " (allowed: " + allowedValues(*leaf->schema) + ')');
    } else if (read->kind() == AclAddresses::Kind::prefix) {
      checkHostBits(leaf, read->prefix());
    }
    return read.value_or(AclAddresses::any());
  }

  IpGenPrefix prefix(const lyd_node* leaf) {
    const auto read = IpGenPrefix::fromText(textOf(leaf));
    if (!read) refuse(leaf, " (allowed: " + allowedValues(*leaf->schema) + ')');
    if (read) checkHostBits(leaf, *read);
    return read.value_or(IpGenPrefix());
  }

  /// libyang clears host bits, so this looks at what is written.
  void checkHostBits(const lyd_node* leaf, const IpGenPrefix& read) {
    const std::string& text = tree_.origin(leaf).text;
    const auto slash = text.find('/');
    if (slash == std::string::npos) return;
    const auto address = IpGenAddr::fromText(text.substr(0, slash));
    if (address && *address != read.address()) {
      refuse(leaf, ": bits are set behind the prefix (allowed: " + read.text() + ')');
    }
  }

  VrfSettings vrf(const lyd_node* node) {
    VrfSettings settings;
    for (const lyd_node* child : named(lyd_child(node), "address-family")) {
      settings[family(child)] = familySettings(child, family(child));
    }
    return settings;
  }

  FamilySettings familySettings(const lyd_node* node, AddressFamily af) {
    FamilySettings settings;
    for (const lyd_node* child : named(lyd_child(node), "interface")) {
      settings.interfaces[textOf(childOf(child, "name"))] = interfaceSettings(child, af);
    }
    const lyd_node* bsr = childOf(node, "bsr");
    settings.holdTime = numberOf<std::uint32_t>(childOf(bsr, "hold-time"));
    settings.scopeZoneTimeout = numberOf<std::uint32_t>(childOf(bsr, "scope-zone-timeout"));
    settings.rpFilter = namesOf(bsr, "rp-filter");
    for (const lyd_node* child : named(lyd_child(childOf(bsr, "bsr-candidate")), "interface")) {
      settings.bsrCandidates[textOf(childOf(child, "name"))] = bsrCandidate(child, af);
    }
    for (const lyd_node* child : named(lyd_child(childOf(bsr, "rp-candidate")), "interface")) {
      settings.rpCandidates[textOf(childOf(child, "name"))] = rpCandidate(child);
    }
    return settings;
  }

  InterfaceSettings interfaceSettings(const lyd_node* node, AddressFamily af) {
    InterfaceSettings settings;
    settings.helloPassive = textOf(childOf(node, "hello")) == "passive";
    settings.helloInterval = numberOf<double>(childOf(node, "hello-interval"));
    const lyd_node* drPriority = childOf(node, "dr-priority");
    settings.drPriority = drPriority != nullptr   ? numberOf<std::uint32_t>(drPriority)
                          : settings.helloPassive ? othersDrPriority
                                                  : 0;
    settings.propagationDelay = numberOf<std::uint16_t>(childOf(node, "propagation-delay"));
    settings.overrideInterval = numberOf<std::uint16_t>(childOf(node, "override-interval"));
    const lyd_node* holdtime = childOf(node, "hello-holdtime");
    settings.helloHoldtime = holdtime != nullptr ? numberOf<std::uint16_t>(holdtime)
                                                 : defaultHoldtime(settings.helloInterval);
    settings.neighborFilter = namesOf(node, "neighbor-filter");
    if (const lyd_node* border = childOf(node, "bsr-border")) {
      settings.border = borderSettings(border, af);
    }
    return settings;
  }

  static std::uint16_t defaultHoldtime(double helloInterval) {
    constexpr double longest = 65534;  // the next number stands for ever
    return static_cast<std::uint16_t>(std::clamp(helloInterval * 3.5, 1.0, longest));
  }

  BorderSettings borderSettings(const lyd_node* node, AddressFamily af) {
    BorderSettings settings;
    for (const lyd_node* group : named(lyd_child(node), "group")) {
      settings.groups.insert(prefix(group));
    }
    settings.accessLists = namesOf(node, "access-list");
    const bool bare = settings.groups.empty() && settings.accessLists.empty();
    if (bare) settings.groups.insert(IpGenPrefix::multicast(af));
    return settings;
  }

  BsrInterfaceSettings bsrCandidate(const lyd_node* node, AddressFamily af) {
    BsrInterfaceSettings candidate;
    for (const lyd_node* zone : named(lyd_child(node), "zone")) {
      candidate.zones[prefix(childOf(zone, "group"))] = bsrCandidateSettings(zone, af);
    }
    for (const lyd_node* list : named(lyd_child(node), "access-list")) {
      candidate.accessLists[textOf(childOf(list, "name"))] = bsrCandidateSettings(list, af);
    }
    return candidate;
  }

  static ZoneSettings bsrCandidateSettings(const lyd_node* node, AddressFamily af) {
    ZoneSettings settings;
    settings.priority = numberOf<std::uint8_t>(childOf(node, "priority"));
    settings.interval = numberOf<std::uint32_t>(childOf(node, "interval"));
    const lyd_node* length = childOf(node, "hash-mask-length");
    settings.hashMaskLen =
        length != nullptr ? numberOf<std::uint32_t>(length) : addressBits(af) - hashedHostBits;
    return settings;
  }

  RpInterfaceSettings rpCandidate(const lyd_node* node) {
    RpInterfaceSettings candidate;
    const bool bidirectional = textOf(childOf(node, "mode")) == "rp-bidir";
    candidate.mode = bidirectional ? Pim::PimMode::bidirectional : Pim::PimMode::sparse;
    candidate.interval = numberOf<std::uint16_t>(childOf(node, "interval"));
    for (const lyd_node* range : named(lyd_child(node), "range")) {
      candidate.ranges[prefix(childOf(range, "group"))] = rangePriority(range);
    }
    for (const lyd_node* list : named(lyd_child(node), "access-list")) {
      candidate.accessLists[textOf(childOf(list, "name"))] = rangePriority(list);
    }
    return candidate;
  }

  static RangePriority rangePriority(const lyd_node* node) {
    const lyd_node* priority = childOf(node, "priority");
    if (priority == nullptr) return {};
    return {numberOf<std::uint8_t>(priority), true};
  }

  void refuse(const lyd_node* leaf, const std::string& why) {
    const Origin& origin = tree_.origin(leaf);
    findings_.push_back(
        {Severity::error, origin.line, origin.path, "invalid value " + quoted(origin.text) + why});
  }

  static constexpr std::uint32_t othersDrPriority = 1;  // RFC 7761 section 4.11
  static constexpr unsigned hashedHostBits = 2;         // 30 of 32, 126 of 128 (RFC 5059 section 5)

  const ConfigTree& tree_;
  Findings& findings_;
};

}  // namespace

DaemonConfig convert(const ConfigTree& tree, Findings& findings) {
  return Converter(tree, findings).config();
}

}  // namespace Routing::Agent
