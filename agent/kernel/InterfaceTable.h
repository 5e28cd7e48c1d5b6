#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/VrfName.h"

namespace Routing::Agent {

/// A network device as the kernel announces it.
struct Link {
  std::uint32_t index = 0;
  std::string name;
  std::uint32_t mtu = 0;
  bool up = false;           ///< set up by the operator, and with carrier
  std::uint32_t master = 0;  ///< device that this one is enslaved to; 0 for none
  bool vrfDevice = false;    ///< its slaves make up a VRF of its name
  bool loopback = false;     ///< brings back what is sent on it, and has no other end

  friend bool operator==(const Link&, const Link&) = default;
};

/// An address of this host that may be used: one that is still being checked for duplicates, or is
/// a duplicate, does not count.
struct LocalAddress {
  IpGenAddr address;
  unsigned prefixLength = 0;
  bool secondary = false;  ///< IPv4: a further address of a subnet that has one already
  unsigned scope = 0;      ///< the kernel's: 0 the widest

  friend bool operator==(const LocalAddress&, const LocalAddress&) = default;
};

/// A device with its addresses, in the order in which they were added, and its VRF.
struct Interface {
  Link link;
  VrfName vrf;
  std::vector<LocalAddress> addresses;
  /// How often the MTU fell below what IPv6 needs. The kernel then takes IPv6 from the device, with
  /// the groups that sockets had joined there.
  std::uint32_t mtuDips = 0;

  friend bool operator==(const Interface&, const Interface&) = default;
};

/// The interfaces of the host, as notices of the kernel build them up. Changes are gathered and
/// published together by commit(), so that readers see neither half of a rename nor the gap between
/// an address that goes and the one that takes its place. The published interfaces are known by
/// name: a device that is renamed goes and comes, one that is made anew under its old name changes
/// its index.
class InterfaceTable {
 public:
  /// Told of each published change: what the name stood for (null: nothing) and stands for now.
  using Observer =
      std::function<void(const IntfId&, const Interface* before, const Interface* now)>;

  void linkIs(const Link& link);
  void linkDel(std::uint32_t index);
  /// An address of an unknown device is ignored: its link is always announced first.
  void addressIs(std::uint32_t index, const LocalAddress& address);
  void addressDel(std::uint32_t index, const IpGenAddr& address, unsigned prefixLength);

  /// Between these two everything that exists is announced again; the rest goes at the end.
  void resyncStart();
  void resyncEnd();

  /// Publishes: first what went, then the rest in the order of names.
  void commit();

  void observerIs(Observer observer) { observer_ = std::move(observer); }
  const std::map<IntfId, Interface>& interfaces() const { return published_; }
  /// The published interface of a name; null if there is none.
  const Interface* interface(const IntfId& name) const;
  /// The latest name of a device; unset if it is unknown.
  IntfId nameOf(std::uint32_t index) const;

 private:
  template <class T>
  struct Fresh {
    T value;
    bool fresh = true;  // announced since the resync began
  };
  struct Device {
    Fresh<Link> link;
    std::vector<Fresh<LocalAddress>> addresses;
    std::uint32_t mtuDips = 0;
  };
  using Devices = std::map<std::uint32_t, Device>;

  void touch(const Device& device);
  void forgetName(const std::string& name, std::uint32_t index);
  void touchSlaves(std::uint32_t master);
  Devices::iterator remove(Devices::iterator device);
  VrfName vrfOf(const Link& link) const;
  bool assemble(const IntfId& name, Interface& interface) const;
  void publish(const IntfId& name);

  Devices devices_;
  std::map<IntfId, std::uint32_t> indexOf_;
  std::set<IntfId> touched_;
  std::map<IntfId, Interface> published_;
  Observer observer_;
};

/// The addresses from which an interface speaks PIM in one family.
struct HelloAddresses {
  IpGenAddr primary;              ///< unset if the interface has none
  std::set<IpGenAddr> secondary;  ///< all others

  friend bool operator==(const HelloAddresses&, const HelloAddresses&) = default;
};

/// IPv4: the first address that is not secondary, of the widest scope. IPv6: the link-local address
/// (RFC 7761 section 4.3.1). Loopback addresses are left out.
HelloAddresses helloAddresses(const Interface& interface, AddressFamily af);

/// The address that an interface gives to a candidate: the first one of the widest scope that
/// others can reach, so none of a link alone. Unset while the interface is down or has none.
IpGenAddr sourceAddress(const Interface& interface, AddressFamily af);

}  // namespace Routing::Agent
