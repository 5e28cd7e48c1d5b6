#pragma once

#include <map>
#include <string>
#include <vector>

#include "sim/core/Beliefs.h"
#include "sim/core/World.h"

namespace Routing::Sim {

/// Keeps what a picture of a run needs: messages, changes of belief, what went up and down.
class Recorder final : public WorldObserver {
 public:
  static constexpr std::size_t mostMessages = 60'000;

  struct Message {
    double sent;
    double arrived;  ///< before `sent` if it was lost
    RouterId from;
    RouterId to;
    NetworkId network;
    char kind;          ///< B forwardable, N No-Forward, C candidate-RP advertisement
    std::string about;  ///< the BSR of B and N, the destination of C
  };
  struct Change {
    double at;
    RouterId router;
    AddressFamily af;
    ZoneBelief belief;  ///< what the router holds now; of an unset BSR and no RPs if nothing
  };
  struct Switch {
    double at;
    bool isRouter;
    std::uint32_t id;
    bool up;
  };
  struct Mapping {
    std::string range;
    std::string rp;
    unsigned priority;
    bool bidirectional;
  };

  /// Starts to observe both.
  Recorder(World& world, Beliefs& beliefs);

  const std::vector<Message>& messages() const { return messages_; }
  const std::vector<Change>& changes() const { return changes_; }
  const std::vector<Switch>& switches() const { return switches_; }
  /// The RP sets that occur, by digest.
  const std::map<std::uint64_t, std::vector<Mapping>>& sets() const { return sets_; }

  void delivering(const Packet& packet, RouterId to) override;
  void lost(const Packet& packet, RouterId to, std::string_view why) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  void changed(RouterId router, AddressFamily af, const Belief& before);
  void keepSet(RouterId router, AddressFamily af, const ZoneBelief& belief);
  void keepMessage(const Packet& packet, RouterId to, double arrived);

  const World& world_;
  const Beliefs& beliefs_;
  Liveness known_;
  std::vector<Message> messages_;
  std::vector<Change> changes_;
  std::vector<Switch> switches_;
  std::map<std::uint64_t, std::vector<Mapping>> sets_;
};

}  // namespace Routing::Sim
