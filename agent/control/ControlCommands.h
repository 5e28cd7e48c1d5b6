#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "agent/control/ControlRequest.h"
#include "agent/feed/RpFeed.h"
#include "agent/view/AgentCommands.h"
#include "agent/view/AgentView.h"

/// The commands of the control protocol, without the socket: from a request to lines of JSON. No
/// line contains a newline; the last one of an answer needs one appended.
namespace Routing::Agent {

/// The daemon as its operators reach it.
struct ControlTarget {
  const AgentView& view;
  AgentCommands& commands;
  RpFeed& feed;
};

/// Carries out everything but a watch and a reload. Raises RequestError.
std::string answerLine(const ControlTarget& target, const ControlRequest& request);
/// The answer to a reload.
std::string reloadedLine(const ReloadOutcome& outcome);
/// The answer to a request that is refused.
std::string refusalLine(RefusalCode code, std::string_view text);

/// What a watch tells of: the changes below `root` whose path begins with one of the attributes;
/// all changes if none is named.
struct WatchScope {
  std::shared_ptr<const Entity> root;
  std::vector<std::string_view> attributes;

  /// Whether a line of an attribute log is part of it.
  bool covers(std::string_view line) const;
};

/// Raises RequestError.
WatchScope watchScope(const AgentView& view, const ControlRequest& request);
/// Which instances a subscription is about. Raises RequestError for a topic that there is not.
RpFeed::Scope feedScope(const ControlRequest& request);
/// Tells of what there is and the mark, then of changes as long as the result lives. A line may
/// end subscriptions, not begin one.
[[nodiscard]] std::shared_ptr<void> follow(const ControlTarget& target,
                                           const ControlRequest& request, const RpFeed::Sink& sink);
/// The answer with which a subscription begins.
std::string subscribedLine(const ControlRequest& request);

/// The answer with which a watch begins.
std::string watchAcceptedLine(const ControlRequest& request);
/// One line of the attribute log.
std::string watchChangeLine(std::string_view change);
/// Ends the description of the present state; what follows are changes.
std::string_view watchLiveLine();

}  // namespace Routing::Agent
