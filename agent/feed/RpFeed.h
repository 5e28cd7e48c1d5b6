#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/feed/MappingFollower.h"
#include "agent/view/AgentView.h"

namespace Routing::Agent {

/// The RP mappings in use as a stream of lines, each one JSON object (docs/control-protocol.md):
/// first what there is, then a mark, then each change once it has settled. What has changed is
/// compared at the end of a turn of the event loop with what was told before, so that nobody sees
/// half of a change, and a change that was taken back within a turn is none.
///
/// It costs nothing before the first subscription.
class RpFeed {
 public:
  /// Of which instances a subscriber is told; all where nothing is said.
  struct Scope {
    std::optional<VrfName> vrf;
    std::optional<AddressFamily> af;

    bool covers(const VrfName& ofVrf, AddressFamily ofFamily) const {
      return (!vrf || *vrf == ofVrf) && (!af || *af == ofFamily);
    }
  };
  /// Is given a line without its newline. It may end subscriptions, not begin one.
  using Sink = std::function<void(std::string_view line)>;
  using WallClock = std::function<std::string()>;

  /// The view must outlive the feed. `wallClock` gives the time that lines bear.
  explicit RpFeed(const AgentView& view, WallClock wallClock = utcNow);
  RpFeed(const RpFeed&) = delete;
  RpFeed& operator=(const RpFeed&) = delete;
  ~RpFeed();

  /// Tells of the present state and the mark before it returns, then of changes as long as the
  /// subscription lives.
  [[nodiscard]] std::shared_ptr<void> subscribe(const Scope& scope, Sink sink);
  /// How many subscriptions live.
  std::size_t subscribers() const;
  /// Tells what has changed. For the end of every turn of the event loop.
  void settle();

  /// The time of day in UTC with microseconds, in the form of RFC 3339.
  static std::string utcNow();

 private:
  struct Subscriber;
  using Key = std::pair<VrfName, AddressFamily>;

  void followInstances();
  void endFollowers(const std::vector<InstanceView>& instances);
  MappingFollower::Tell teller(const Key& key, Pim::RpSetType origin);
  void tell(const Key& key, const std::string& line);
  void describe(const Subscriber& subscriber) const;

  const AgentView& view_;
  const WallClock wallClock_;
  std::optional<std::uint64_t> instanceChanges_;  // of the view when it was looked at last
  std::map<Key, MappingFollower> followers_;
  std::list<std::weak_ptr<Subscriber>> subscribers_;
};

}  // namespace Routing::Agent
