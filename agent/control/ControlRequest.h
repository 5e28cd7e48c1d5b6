#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/AddressFamily.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"

namespace Routing::Agent {

/// What an operator asks for: one line of the control protocol (docs/control-protocol.md).
struct ControlRequest {
  enum class Command : std::uint8_t {
    show,
    explain,
    clear,
    watch,
    subscribe,
    reload,
    upgrade,
    drain,
    undrain
  };

  Command command = Command::show;
  std::string topic{};
  AddressFamily af = AddressFamily::ipv4;
  VrfName vrf{std::string(VrfName::defaultName)};
  bool familyGiven = false;
  bool vrfGiven = false;
  std::string group{};                ///< of the topics "rp-hash" and "rp"
  std::vector<std::string> groups{};  ///< of "rp-hash": many, in place of one
  std::string zone{};                 ///< of BSRs and RPs
  std::string rp{};                   ///< to clear, or to explain why not
  std::string neighbor{};             ///< to clear; all if empty
  bool snapshot = true;               ///< of a watch: whether the present state comes first
};

/// Why a request is not carried out, as a word for programs.
enum class RefusalCode : std::uint8_t { badRequest, unknownVrf, busy, tooSlow };

/// Raised by whoever reads or carries out a request; what() is meant for the operator.
class RequestError : public std::runtime_error {
 public:
  RequestError(RefusalCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  RefusalCode code() const { return code_; }

 private:
  RefusalCode code_;
};

/// Reads one line, without its newline. Whatever is not exactly a request raises RequestError.
ControlRequest parseControlRequest(std::string_view line);

/// An address, or a zone's prefix, that a request names. Raises RequestError if it is none of the
/// family.
IpGenAddr addressFromText(const std::string& text, AddressFamily af);
IpGenPrefix zoneFromText(const std::string& text, AddressFamily af);

}  // namespace Routing::Agent
