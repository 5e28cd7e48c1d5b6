#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "sim/core/Beliefs.h"
#include "sim/core/World.h"

namespace Routing::Sim {

/// Something that happened to one router, or to several within a short time.
struct Happening {
  enum class Kind : std::uint8_t { script, election, bsr, rpSet, drop };
  double at;
  Kind kind;
  std::string text;
  std::vector<std::string> routers;  ///< whom it happened to, in order; none for the script
  double last;                       ///< when it happened to the last of them
};

/// Writes down what happens in a world: what is done to it, elections, whom routers take for the
/// BSR, changes of RP sets, and the first drop of each router for each reason.
class Timeline final : public WorldObserver {
 public:
  /// Starts to observe both.
  Timeline(World& world, Beliefs& beliefs);

  const std::vector<Happening>& happenings() const { return happenings_; }

  void disturbed(std::string_view what) override;
  void delivering(const Packet& packet, RouterId to) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  void changed(RouterId router, AddressFamily af, const Belief& before);
  void zoneChanged(RouterId router, AddressFamily af, const ZoneBelief& was, const ZoneBelief& is);
  void noteDrops(RouterId router, AddressFamily af);
  void note(Happening::Kind kind, const std::string& text, RouterId router);
  std::string rpSetText(const Speaker& speaker, const IpGenPrefix& zone) const;
  std::string nameOf(const IpGenAddr& address) const;

  World& world_;
  const Beliefs& beliefs_;
  std::vector<Happening> happenings_;
  std::map<std::string, std::size_t> open_;                // happenings that may still gain routers
  std::vector<std::pair<RouterId, AddressFamily>> heard_;  // messages in this event
  std::set<std::pair<RouterId, std::string>> dropsNoted_;
};

}  // namespace Routing::Sim
