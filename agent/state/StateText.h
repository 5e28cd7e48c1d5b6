#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/net/AddressFamily.h"
#include "platform/net/VrfName.h"

/// The text of a state file: a header, then batches of lines, each closed by a guard.
///   pimbsr-state 1 PRODUCT BOOT INSTANT ipv4 'VRF'
///   + 0/bootstrapRouter[224.0.0.0/4]
///   ...
///   . 1a2b3c4d
/// A guard is the CRC-32 of everything before it but the guards, so that no batch can be torn,
/// changed, dropped or exchanged without being seen.
namespace Routing::Agent {

/// Whose state it is. The format has a number of its own; the product's version is for people.
struct StateHeader {
  std::string product;
  std::string boot;      ///< the kernel's, new with every boot
  double instant = 0.0;  ///< when the file was begun, on the monotonic clock of that boot
  AddressFamily af = AddressFamily::unset;
  VrfName vrf;
};

/// Writes one state file from its beginning to its end. Lines come with their newlines.
class StateWriter {
 public:
  /// The header and the first batch.
  void begin(const StateHeader& header, std::string_view lines, std::string& out);
  void append(std::string_view lines, std::string& out);

 private:
  std::uint32_t check_ = 0;
};

/// Gives every line of a state file to `line`, without newline, the header and the guards left out.
/// Raises StateFault, before the first line, if the file is not whole, or of another format, boot,
/// VRF or family than `own`, or begun later than `own.instant`.
void readStateText(std::string_view text, const StateHeader& own,
                   const std::function<void(std::string_view line)>& line);

}  // namespace Routing::Agent
