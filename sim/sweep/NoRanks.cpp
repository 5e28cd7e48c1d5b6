#include <stdexcept>

#include "sim/sweep/Ranks.h"

// What Ranks.h says, where no MPI is found.
namespace Routing::Sim {

Ranks::Ranks() = default;
Ranks::~Ranks() = default;

unsigned Ranks::count() {
  return 1;
}

bool Ranks::isFirst() {
  return true;
}

int Ranks::leave(int code) {
  return code;
}

std::vector<RunResult> eachSeedOfRanks(const SeedBlock&, const Run&) {
  throw std::logic_error("there is one rank only");
}

}  // namespace Routing::Sim
