#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace Routing::Sim {

/// What comes of one run.
struct RunResult {
  std::uint64_t seed = 0;
  bool passed = false;
  bool died = false;  ///< the run ended its process; nothing more is known of it
  std::uint64_t digest = 0;
  std::uint32_t judged = 0;     ///< expectations
  std::uint32_t skipped = 0;    ///< expectations that were not judged
  std::vector<double> figures;  ///< what else the command wants to know
  std::string text = {};        ///< what the run has written
};

/// One run. What it writes becomes the text of its result.
using Run = std::function<RunResult(std::uint64_t seed, std::ostream& out)>;

/// Results as octets, for the way from one process to another of the same program.
void writeResult(const RunResult& result, std::string& octets);
/// Takes the first result out of `octets`; nothing as long as it is not whole.
std::optional<RunResult> takeResult(std::string& octets);

}  // namespace Routing::Sim
