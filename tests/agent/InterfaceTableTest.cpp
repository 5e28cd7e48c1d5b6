#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "agent/kernel/InterfaceTable.h"
#include "tests/support/Octets.h"
#include "tests/support/Split.h"

namespace Routing::Agent {
namespace {

using TestKit::addr;

Link device(std::uint32_t index, const std::string& name, std::uint32_t master = 0) {
  return {index, name, 1500, true, master, false};
}

LocalAddress v4(const std::string& text, bool secondary = false) {
  return {addr(text), 24, secondary, 0};
}

/// A reader that notes each change as a word and keeps a copy by what it is told.
struct Reader {
  explicit Reader(InterfaceTable& table) {
    table.observerIs([this](const IntfId& name, const Interface* before, const Interface* now) {
      const auto known = copy.find(name);
      consistent = consistent && (before != nullptr) == (known != copy.end()) &&
                   (before == nullptr || *before == known->second) &&
                   (before == nullptr || now == nullptr || *before != *now);
      seen.push_back((before == nullptr ? "+" : now == nullptr ? "-" : "~") + name.text());
      copy.erase(name);
      if (now != nullptr) copy[name] = *now;
    });
  }
  std::map<IntfId, Interface> copy;
  std::vector<std::string> seen;
  bool consistent = true;  ///< what was said to have been before was so, and is so no more
};

class InterfaceTableTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_TRUE(reader.consistent); }

  std::vector<std::string> commit() {
    reader.seen.clear();
    table.commit();
    return reader.seen;
  }
  std::vector<std::string> addressesOf(const std::string& name) {
    std::vector<std::string> result;
    for (const auto& held : copy.at(IntfId(name)).addresses) result.push_back(held.address.text());
    return result;
  }

  InterfaceTable table;
  Reader reader{table};
  std::map<IntfId, Interface>& copy = reader.copy;
};

using Words = std::vector<std::string>;

TEST_F(InterfaceTableTest, PublishesWhatChangedAndNothingElse) {
  table.linkIs(device(2, "eth0"));
  table.linkIs(device(3, "eth1"));
  table.addressIs(2, v4("10.0.0.1"));
  EXPECT_EQ(table.interface(IntfId("eth0")), nullptr);
  EXPECT_EQ(commit(), (Words{"+eth0", "+eth1"}));
  EXPECT_EQ(addressesOf("eth0"), Words{"10.0.0.1"});

  table.linkIs(device(2, "eth0"));
  table.addressIs(2, v4("10.0.0.1"));
  table.addressDel(2, addr("10.0.0.9"), 24);
  table.addressDel(2, addr("10.0.0.1"), 25);  // another prefix length is another address
  table.addressIs(9, v4("10.0.0.1"));         // of nobody
  table.addressDel(9, addr("10.0.0.1"), 24);
  EXPECT_EQ(commit(), Words{});
  table.addressIs(2, {addr("10.0.0.1"), 25, false, 0});
  EXPECT_EQ(commit(), Words{"~eth0"});
  EXPECT_EQ(addressesOf("eth0").size(), 2U);
  table.addressDel(2, addr("10.0.0.1"), 25);

  Link down = device(3, "eth1");
  down.up = false;
  table.linkIs(down);
  EXPECT_EQ(commit(), (Words{"~eth0", "~eth1"}));

  table.linkIs(device(2, "a0"));
  EXPECT_EQ(commit(), (Words{"-eth0", "+a0"}));
  EXPECT_EQ(addressesOf("a0"), Words{"10.0.0.1"});
  EXPECT_EQ(table.nameOf(2), IntfId("a0"));
}

TEST_F(InterfaceTableTest, KeepsEverythingUntilAResyncIsComplete) {
  table.linkIs(device(2, "eth0"));
  table.linkIs(device(3, "eth1"));
  table.linkIs(device(4, "eth2"));
  table.addressIs(2, v4("10.0.0.1"));
  table.addressIs(2, v4("10.0.0.2", true));
  commit();

  table.resyncStart();
  EXPECT_EQ(commit(), Words{});
  table.linkIs(device(2, "eth0"));
  table.linkIs(device(8, "eth2"));  // was made anew while notices were lost
  table.addressIs(2, v4("10.0.0.2"));
  EXPECT_EQ(commit(), (Words{"~eth0", "~eth2"}));
  EXPECT_EQ(addressesOf("eth0"), (Words{"10.0.0.1", "10.0.0.2"}));
  table.resyncEnd();
  EXPECT_EQ(commit(), (Words{"-eth1", "~eth0"}));
  EXPECT_EQ(addressesOf("eth0"), Words{"10.0.0.2"});
  EXPECT_EQ(copy.at(IntfId("eth2")).link.index, 8U);
}

TEST_F(InterfaceTableTest, GivesANameBackThatADeviceLostWhileNoticesWereLost) {
  table.linkIs(device(4, "eth0"));
  commit();
  // Lost: 4 goes. Then 2 comes under its name and goes. Lost: 4 comes, the same as before.
  table.linkIs(device(2, "eth0"));
  table.linkDel(2);
  EXPECT_EQ(commit(), Words{"-eth0"});
  table.resyncStart();
  table.linkIs(device(4, "eth0"));
  table.resyncEnd();
  EXPECT_EQ(commit(), Words{"+eth0"});
  EXPECT_EQ(copy.at(IntfId("eth0")).link.index, 4U);
}

TEST_F(InterfaceTableTest, RemembersThatIpv6WasTakenAwayInBetween) {
  table.linkIs(device(2, "eth0"));
  commit();
  Link narrow = device(2, "eth0");
  narrow.mtu = 1279;
  table.linkIs(narrow);
  table.linkIs(device(2, "eth0"));
  EXPECT_EQ(commit(), Words{"~eth0"});
  Link justEnough = device(2, "eth0");
  justEnough.mtu = 1280;
  const auto dips = copy.at(IntfId("eth0")).mtuDips;
  table.linkIs(justEnough);
  commit();
  EXPECT_EQ(copy.at(IntfId("eth0")).mtuDips, dips);
}

/// The slow and obvious form of the table: what a host with these devices looks like.
struct Host {
  std::map<std::uint32_t, Link> devices;
  std::map<std::uint32_t, std::vector<LocalAddress>> addresses;

  bool nameTaken(const std::string& name) const {
    return std::any_of(devices.begin(), devices.end(),
                       [&](const auto& entry) { return entry.second.name == name; });
  }
  VrfName vrfOf(const Link& link) const {
    if (link.vrfDevice) return VrfName(link.name);
    const auto master = devices.find(link.master);
    const bool inVrf = master != devices.end() && master->second.vrfDevice;
    return VrfName(inVrf ? master->second.name : std::string(VrfName::defaultName));
  }
  std::map<IntfId, Interface> interfaces() const {
    std::map<IntfId, Interface> result;
    for (const auto& [index, link] : devices) {
      result[IntfId(link.name)] = {link, vrfOf(link), addresses.at(index), 0};
    }
    return result;
  }
};

/// One random change of the host, as a kernel makes it, and its notice unless that one is lost.
void change(Host& host, InterfaceTable* told) {
  const auto index = *rc::gen::inRange<std::uint32_t>(1, 6);
  const auto number = *rc::gen::inRange(0, 4);
  const LocalAddress address = v4("10.0.0." + std::to_string(number + 1));
  const bool exists = host.devices.contains(index);
  if (*rc::gen::inRange(0, 6) == 0) {
    host.devices.erase(index);
    host.addresses.erase(index);
    if (told != nullptr) told->linkDel(index);
  } else if (exists && *rc::gen::arbitrary<bool>()) {
    auto& held = host.addresses[index];
    const auto known = std::find(held.begin(), held.end(), address);
    if (known != held.end()) {
      held.erase(known);
      if (told != nullptr) told->addressDel(index, address.address, 24);
    } else {
      held.push_back(address);
      if (told != nullptr) told->addressIs(index, address);
    }
  } else {
    const std::string name = "eth" + std::to_string(number);
    const auto master = *rc::gen::inRange<std::uint32_t>(0, 6);
    if (host.nameTaken(name)) return;
    host.devices[index] = {index, name, 1500, true, master, number == 0};
    host.addresses[index];
    if (told != nullptr) told->linkIs(host.devices[index]);
  }
}

void announceAll(const Host& host, InterfaceTable& table) {
  for (const auto& [index, link] : host.devices) table.linkIs(link);
  for (const auto& [index, held] : host.addresses) {
    for (const LocalAddress& address : held) table.addressIs(index, address);
  }
}

/// Addresses in an order that does not depend on when they were learned.
std::map<IntfId, Interface> sorted(std::map<IntfId, Interface> interfaces) {
  for (auto& [name, interface] : interfaces) {
    std::sort(interface.addresses.begin(), interface.addresses.end(),
              [](const LocalAddress& a, const LocalAddress& b) { return a.address < b.address; });
  }
  return interfaces;
}

TEST(InterfaceTable, AgreesWithTheHostAfterAnyChangesAndLosses) {
  const bool good = rc::check([] {
    Host host;
    InterfaceTable table;
    const Reader reader(table);
    for (int round = *rc::gen::inRange(1, 6); round > 0; --round) {
      const bool lossy = *rc::gen::arbitrary<bool>();
      for (int i = *rc::gen::inRange(0, 12); i > 0; --i) {
        change(host, lossy && *rc::gen::arbitrary<bool>() ? nullptr : &table);
        if (*rc::gen::arbitrary<bool>()) table.commit();
      }
      if (lossy) {
        table.resyncStart();
        announceAll(host, table);
        table.resyncEnd();
      }
      table.commit();
      RC_ASSERT(reader.consistent);
      RC_ASSERT(sorted(reader.copy) == sorted(host.interfaces()));
      RC_ASSERT(reader.copy == table.interfaces());
    }
  });
  EXPECT_TRUE(good);
}

/// Addresses as an interface has them: a word each, with a mark for what is special about it.
std::vector<LocalAddress> addresses(const std::string& text) {
  std::vector<LocalAddress> result;
  for (std::string word : TestKit::split(text)) {
    const bool secondary = word.ends_with("(secondary)");
    const bool host = word.ends_with("(host)");
    word.resize(std::min(word.size(), word.find('(')));
    result.push_back({addr(word), 24, secondary, host ? std::uint8_t{254} : std::uint8_t{0}});
  }
  return result;
}

TEST(InterfaceAddresses, AreChosenByFamily) {
  struct Case {
    const char* what;
    AddressFamily af;
    const char* addresses;
    const char* chosen;  ///< of Hellos: the primary one, then the others
    const char* source;  ///< of what is sent beyond the link
  };
  constexpr AddressFamily ipv4 = AddressFamily::ipv4;
  constexpr AddressFamily ipv6 = AddressFamily::ipv6;
  const Case cases[] = {
      {"none", ipv4, "", "unset", "unset"},
      {"other family", ipv4, "fe80::1", "unset", "unset"},
      {"loopback only", ipv4, "127.0.0.1(host)", "unset", "unset"},
      {"the first one, not the lowest", ipv4, "10.0.0.9 10.0.1.1 10.0.0.8(secondary) fe80::1",
       "10.0.0.9 10.0.0.8 10.0.1.1", "10.0.0.9"},
      {"no secondary one before a primary one", ipv4, "10.0.0.8(secondary) 10.0.0.9",
       "10.0.0.9 10.0.0.8", "10.0.0.9"},
      {"the widest scope", ipv4, "10.7.7.7(host) 10.0.0.9", "10.0.0.9 10.7.7.7", "10.0.0.9"},
      {"link-local for IPv6", ipv6, "2001:db8::1 fe80::1 fd00::1 10.0.0.1",
       "fe80::1 2001:db8::1 fd00::1", "2001:db8::1"},
      {"and what is behind it for the rest", ipv6, "10.0.0.1 ::1 fe80::1 2001:db8::1",
       "fe80::1 2001:db8::1", "2001:db8::1"},
      {"IPv6 without link-local", ipv6, "2001:db8::1", "unset 2001:db8::1", "2001:db8::1"},
      {"the same address twice", ipv4, "10.0.0.9 10.0.0.9", "10.0.0.9", "10.0.0.9"},
  };
  for (const Case& c : cases) {
    Interface interface;
    interface.addresses = addresses(c.addresses);
    const HelloAddresses chosen = helloAddresses(interface, c.af);
    std::set<std::string> others;
    for (const IpGenAddr& address : chosen.secondary) others.insert(address.text());
    std::string text = chosen.primary.text();
    for (const std::string& other : others) text += ' ' + other;
    EXPECT_EQ(text, c.chosen) << c.what;
    interface.link.up = true;
    EXPECT_EQ(sourceAddress(interface, c.af).text(), c.source) << c.what;
    interface.link.up = false;
    EXPECT_TRUE(sourceAddress(interface, c.af).isUnset()) << c.what;
  }
}

}  // namespace
}  // namespace Routing::Agent
