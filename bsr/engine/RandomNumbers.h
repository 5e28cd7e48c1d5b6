#pragma once

#include <utility>

#include "platform/Export.h"
#include "platform/RandomSource.h"

namespace Routing::Pim::Bsr {

/// The whole numbers that the engine draws: fragment tags and delays. From the host's source, or
/// where it has none from rand().
class ROUTING_API RandomNumbers {
 public:
  explicit RandomNumbers(RandomSource source) : source_(std::move(source)) {}

  /// Seeds rand() with an instant, in seconds; a source of the host needs no seed.
  void seed(double now);
  /// 0 to 2^31 - 1.
  unsigned draw();

 private:
  RandomSource source_;
};

}  // namespace Routing::Pim::Bsr
