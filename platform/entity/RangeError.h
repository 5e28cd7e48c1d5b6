#pragma once

#include <stdexcept>

#include "platform/Export.h"

namespace Routing {

/// A value outside the bounds of the attribute or value type that was to hold it. A programming
/// error of the writer: nothing received from a network or a file may get this far unchecked.
class ROUTING_API RangeError : public std::out_of_range {
 public:
  using std::out_of_range::out_of_range;
};

}  // namespace Routing
