#include "bsr/engine/AnswerBucket.h"

#include <algorithm>

namespace Routing::Pim::Bsr {

double AnswerBucket::take(double now) {
  if (size_ == 0) return 0.0;
  if (now < waiting_) return waiting_ - now;
  level_ = std::min<double>(size_, level_ + (now - since_) * perSecond) - 1.0;
  since_ = now;
  if (level_ >= 0.0) return 0.0;
  waiting_ = now - level_ / perSecond;
  return waiting_ - now;
}

}  // namespace Routing::Pim::Bsr
