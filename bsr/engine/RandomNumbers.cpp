#include "bsr/engine/RandomNumbers.h"

#include <algorithm>
#include <cstdlib>

namespace Routing::Pim::Bsr {
namespace {

constexpr double range = 0x1p31;

}  // namespace

void RandomNumbers::seed(double now) {
  if (!source_) std::srand(static_cast<unsigned>(now));
}

unsigned RandomNumbers::draw() {
  if (!source_) return static_cast<unsigned>(std::rand());
  return static_cast<unsigned>(std::clamp(source_() * range, 0.0, range - 1));
}

}  // namespace Routing::Pim::Bsr
