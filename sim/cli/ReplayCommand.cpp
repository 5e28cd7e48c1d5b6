#include "sim/cli/ReplayCommand.h"

#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "observe/Capture.h"
#include "observe/Frame.h"
#include "sim/replay/ReplayReport.h"

namespace Routing::Sim {

int replayCommand(const Options& options) {
  const std::string& file = options.files.front();
  if (!std::filesystem::exists(file)) throw std::runtime_error(file + ": cannot be read");
  Observe::Capture capture(file);
  Replay replay;
  const auto take = [&](double time, std::span<const std::uint8_t> frame) {
    if (const auto packet = Observe::pimOf(capture.linkType(), frame)) replay.hear(time, *packet);
  };
  while (capture.read(take)) {
  }
  const nlohmann::json report = replayJson(replay);
  std::cout << (options.json ? report.dump(2) + "\n" : replayText(report));
  return allTaken(report) ? 0 : 1;
}

}  // namespace Routing::Sim
