#pragma once

#include <map>
#include <utility>
#include <vector>

#include "sim/core/World.h"

namespace Routing::Sim {

/// How far a network can be held to its promises: what is broken in it, or was lately. A router or
/// a link is in trouble from when it goes down until the network has got used to that, or until a
/// while after it is back.
class Troubles final : public WorldObserver {
 public:
  /// Starts to observe the world.
  explicit Troubles(World& world);

  /// Whether several things were in trouble together, or packets were lost, repeated or reordered
  /// by chance, so lately that what comes of it is not over. A network that boots is such a case.
  bool several() const;
  /// Whether anything but this router is in trouble.
  bool othersThan(RouterId router) const;
  /// Whether a message that is flooded now may miss a router.
  bool torn() const { return world_.now() < tornUntil_; }
  /// When something last broke or came back.
  double lastChange() const { return lastChange_; }

  void disturbed(std::string_view what) override;
  void lost(const Packet& packet, RouterId to, std::string_view why) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  using Subject = std::pair<bool, std::uint32_t>;  // a router or a network
  struct Trouble {
    double began;
    double until;
  };

  void lookAtRouter(RouterId router);
  void lookAtNetworks();
  void lookAtNetwork(NetworkId network);
  void breaks(const Subject& subject);
  void returns(const Subject& subject);
  bool impaired() const;

  const World& world_;
  Liveness known_;
  std::vector<double> startedAt_;  // instants, by router
  std::map<Subject, Trouble> troubles_;
  bool disturbed_ = true;
  std::uint64_t networkChanges_ = UINT64_MAX;  // when last looked at
  bool impaired_ = false;
  const double bootedAt_;
  double severalUntil_;
  double tornUntil_ = 0.0;
  double lastChange_ = 0.0;
};

}  // namespace Routing::Sim
