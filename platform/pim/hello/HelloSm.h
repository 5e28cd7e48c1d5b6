#pragma once

#include <memory>
#include <set>

#include "platform/RandomSource.h"
#include "platform/pim/PamManager.h"
#include "platform/pim/hello/HelloConfig.h"
#include "platform/pim/hello/NeighborTable.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim {

/// The Hello machine of one PIM interface and family (RFC 7761 section 4.3): sends Hellos, keeps
/// the neighbours and elects the designated router. It writes its PimInterface and nothing else.
///
/// The interface runs while it is up and has an address. What happens, and what follows:
/// - It starts: a new generation ID; the first Hello after a random part of firstDelay, then
///   one every helloPeriod.
/// - A neighbour appears: one more Hello after a random part of triggeredDelay, at most one
/// pending.
///   `triggeredHelloDue` holds until it has left; then `triggeredHelloSent` rises by one.
/// - A neighbour restarts, which its generation ID tells: it goes, the DR is elected without it,
/// and
///   it appears anew. So whoever is the DR without it has been it when the triggered Hello leaves.
/// - The secondary addresses or the configuration change: a Hello at once.
/// - The primary address changes: a goodbye from the old one; it starts anew, neighbours stay.
/// - It stops: a goodbye; the neighbours are removed.
///
/// A passive interface sends nothing at all: another program of this router speaks for the same
/// address, and neighbours must not see two generation IDs take turns. It answers a neighbour that
/// appears after a whole triggeredDelay, by when the other one has sent its triggered Hello.
///
/// A triggered Hello that cannot be sent is made up for by the next one that can. Within one Hello
/// the order is: neighbour, `usedDr` and `isDr`, `triggeredHelloDue`, and after the delay
/// `triggeredHelloDue` again before `triggeredHelloSent`. Reactors of the interface may delete
/// whoever holds the machine: one that is shared lives until the call that told them returns.
class ROUTING_API HelloSm : public std::enable_shared_from_this<HelloSm> {
 public:
  /// `wheel` must outlive the machine. The interface must be new: it is taken as down, with the
  /// priority of the configuration.
  HelloSm(std::shared_ptr<PimInterface> intf, std::shared_ptr<PamManager> packets,
          TimerWheel& wheel, std::shared_ptr<RandomSource> random, const HelloConfig& config);
  HelloSm(const HelloSm&) = delete;
  HelloSm& operator=(const HelloSm&) = delete;
  /// Sends nothing and leaves the interface as it is.
  ~HelloSm() = default;

  const std::shared_ptr<PimInterface>& intf() const { return intf_; }

  /// What the host knows of the interface. `address` is the source of Hellos (IPv6: link-local),
  /// unset if there is none; secondary addresses that are of another family, not unicast or equal
  /// to it are left out.
  void intfIs(const IpGenAddr& address, const std::set<IpGenAddr>& secondaries, bool up);
  /// Another configuration, DR priority included, from now on; the limits stay. What differs is
  /// told by a Hello at once, and the next follows after a whole period. Neighbours that it does
  /// not permit go. Who becomes passive falls
  /// silent without a goodbye; who no longer is starts anew.
  void configIs(const HelloConfig& config);
  /// Forgets all neighbours and takes another generation ID, so that they answer as to a router
  /// that has restarted; a passive interface only forgets. Nothing while it does not run.
  void forgetNeighbors();
  /// Forgets one neighbour until its next Hello; false if it is none.
  bool forgetNeighbor(const IpGenAddr& neighbor);
  /// Takes in a Hello that arrived on the interface from another router, or from the other program
  /// of this one where the interface is passive.
  void receive(const HelloMessage& hello);
  /// Says goodbye (hold time 0) if the interface runs, and sends nothing more until it starts
  /// again. False if nothing was sent.
  bool goodbye();

 private:
  bool sending() const { return helloTimer_.armed(); }
  void stopTimers();
  bool secondariesAre(const std::set<IpGenAddr>& secondaries);
  void start();
  void passiveIs(bool passive);
  void handleOwnSpeaker(const HelloMessage& hello);
  void dropFiltered();
  void helloAtOnce();
  void triggeredHelloIsDue();
  void handleHelloTimer();
  void handleTriggeredTimer();
  void handleLoss(const IpGenAddr& neighbor);
  void sendHello();
  HelloMessage hello(std::uint16_t holdtime) const;
  void elect();
  void refuse(const HelloMessage& hello, DropCode code);

  const std::shared_ptr<PimInterface> intf_;
  const std::shared_ptr<PamManager> packets_;
  const std::shared_ptr<RandomSource> random_;
  HelloConfig config_;
  NeighborTable neighbors_;
  Timer helloTimer_;      // armed while Hellos are sent
  Timer triggeredTimer_;  // armed while a triggered Hello is pending
};

}  // namespace Routing::Pim
