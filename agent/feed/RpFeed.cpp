#include "agent/feed/RpFeed.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

using FeedJson = nlohmann::json;

std::string feedLine(const FeedJson& json) {
  return json.dump(-1, ' ', false, FeedJson::error_handler_t::replace);
}

FeedJson mappingJson(const VrfName& vrf, const FollowedMapping& followed, Pim::RpSetType origin) {
  const Pim::RpMapping& mapping = followed.mapping;
  const bool bidir = mapping.mode == static_cast<std::uint8_t>(Pim::PimMode::bidirectional);
  return {{"vrf", vrf.text()},
          {"address-family", enumName(mapping.rp.af())},
          {"group-range", mapping.groupRange.text()},
          {"rp-address", mapping.rp.text()},
          {"mode", enumName(bidir ? Pim::PimMode::bidirectional : Pim::PimMode::sparse)},
          {"priority", mapping.priority},
          {"hash-mask-length", mapping.hashMaskLen},
          {"zone", followed.zone.text()},
          {"origin", enumName(origin)}};
}

}  // namespace

struct RpFeed::Subscriber {
  Scope scope;
  Sink sink;

  bool wants(const Key& key) const { return scope.covers(key.first, key.second); }
};

RpFeed::RpFeed(const AgentView& view, WallClock wallClock)
    : view_(view), wallClock_(std::move(wallClock)) {}

RpFeed::~RpFeed() = default;

std::shared_ptr<void> RpFeed::subscribe(const Scope& scope, Sink sink) {
  followInstances();
  settle();
  const auto subscriber = std::make_shared<Subscriber>(Subscriber{scope, std::move(sink)});
  describe(*subscriber);
  subscribers_.push_back(subscriber);
  return subscriber;
}

void RpFeed::describe(const Subscriber& subscriber) const {
  FeedJson instances = FeedJson::array();
  for (const auto& [key, follower] : followers_) {
    if (!subscriber.wants(key)) continue;
    for (const auto& entry : follower.told()) {
      FeedJson json = mappingJson(key.first, entry.second, follower.origin());
      json["operation"] = "present";
      subscriber.sink(feedLine(json));
    }
    instances.push_back({{"vrf", key.first.text()},
                         {"address-family", enumName(key.second)},
                         {"mappings", follower.told().size()},
                         {"generation", follower.generation()},
                         {"digest", Pim::rpSetDigestText(follower.digest())}});
  }
  subscriber.sink(feedLine(
      {{"operation", "live"}, {"instances", std::move(instances)}, {"time", wallClock_()}}));
}

std::size_t RpFeed::subscribers() const {
  return static_cast<std::size_t>(
      std::count_if(subscribers_.begin(), subscribers_.end(),
                    [](const auto& subscriber) { return !subscriber.expired(); }));
}

void RpFeed::settle() {
  if (!instanceChanges_) return;  // nobody has ever asked
  if (*instanceChanges_ != view_.instanceChanges()) followInstances();
  for (auto& [key, follower] : followers_) follower.settle(teller(key, follower.origin()));
}

// An instance may have gone and come again within a turn: then it has a status of its own.
void RpFeed::followInstances() {
  instanceChanges_ = view_.instanceChanges();
  const auto instances = view_.instances();
  endFollowers(instances);
  for (const InstanceView& instance : instances) {
    followers_.try_emplace({instance.vrf, instance.af}, instance);
  }
}

void RpFeed::endFollowers(const std::vector<InstanceView>& instances) {
  const auto runs = [&instances](const Key& key, const MappingFollower& follower) {
    for (const InstanceView& instance : instances) {
      if (Key(instance.vrf, instance.af) == key) return follower.follows(instance);
    }
    return false;
  };
  for (auto at = followers_.begin(); at != followers_.end();) {
    const auto current = at++;
    if (runs(current->first, current->second)) continue;
    current->second.end(teller(current->first, current->second.origin()));
    followers_.erase(current);
  }
}

MappingFollower::Tell RpFeed::teller(const Key& key, Pim::RpSetType origin) {
  return [this, key, origin](const MappingChange& change) {
    FeedJson json = mappingJson(key.first, change.mapping, origin);
    json["operation"] = change.operation;
    json["generation"] = change.generation;
    json["digest"] = Pim::rpSetDigestText(change.digest);
    json["time"] = wallClock_();
    tell(key, feedLine(json));
  };
}

void RpFeed::tell(const Key& key, const std::string& line) {
  for (auto at = subscribers_.begin(); at != subscribers_.end();) {
    const auto current = at++;
    const auto subscriber = current->lock();
    if (!subscriber) {
      subscribers_.erase(current);
    } else if (subscriber->wants(key)) {
      subscriber->sink(line);
    }
  }
}

std::string RpFeed::utcNow() {
  using namespace std::chrono;
  const auto now = system_clock::now().time_since_epoch();
  const auto whole = duration_cast<seconds>(now);
  const std::time_t time = whole.count();
  std::tm utc{};
  gmtime_r(&time, &utc);
  std::array<char, 40> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%FT%T", &utc);
  const auto micros = duration_cast<microseconds>(now - whole).count();
  std::snprintf(text.data() + length, text.size() - length, ".%06ldZ", static_cast<long>(micros));
  return text.data();
}

}  // namespace Routing::Agent
