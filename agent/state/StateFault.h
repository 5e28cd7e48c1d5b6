#pragma once

#include <stdexcept>

namespace Routing::Agent {

/// Why a state file is not used; what() reads on after "the state file".
class StateFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Routing::Agent
