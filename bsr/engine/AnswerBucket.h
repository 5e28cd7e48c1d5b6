#pragma once

#include <cstdint>

#include "platform/Export.h"

namespace Routing::Pim::Bsr {

/// Bounds the answers of an elected BSR to worse messages (BsrPolicy::answers): so many at once,
/// one more each second. A neighbour can send worse messages as fast as it likes, and each answer
/// is the whole RP set on every interface.
class ROUTING_API AnswerBucket {
 public:
  /// `size` 0: every answer is free.
  explicit AnswerBucket(std::uint32_t size) : size_(size), level_(size) {}

  /// Takes an answer out. Returns the seconds after which it may be given: 0 at once. While one
  /// waits, further ones are given with it, and nothing more is taken out.
  double take(double now);

 private:
  static constexpr double perSecond = 1.0;

  std::uint32_t size_;
  double level_;
  double since_ = 0.0;    // when level_ held
  double waiting_ = 0.0;  // until when the last answer waits
};

}  // namespace Routing::Pim::Bsr
