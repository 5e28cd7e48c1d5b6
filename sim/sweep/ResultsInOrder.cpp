#include "sim/sweep/ResultsInOrder.h"

#include <iostream>
#include <utility>

namespace Routing::Sim {

void ResultsInOrder::add(std::vector<RunResult> results) {
  for (RunResult& result : results) {
    if (result.seed >= missing_.first) early_.emplace(result.seed, std::move(result));
  }
  while (!early_.empty() && early_.begin()->first == missing_.first) {
    RunResult& result = inOrder_.emplace_back(std::move(early_.extract(early_.begin()).mapped()));
    ++missing_.first;
    const std::string text = std::exchange(result.text, {});
    if (!text.empty()) std::cout << text << std::flush;
  }
}

}  // namespace Routing::Sim
