#pragma once

#include <cstddef>
#include <string>

namespace Routing::Agent {

/// The first `most` octets of a regular file. Raises std::runtime_error with the reason if it
/// cannot be read, and at once if it is anything else: a pipe may never end, and has nothing for a
/// second reading.
std::string regularFileText(const std::string& file, std::size_t most);

}  // namespace Routing::Agent
