#pragma once

#include <string>

#include "platform/pim/PimCodec.h"

namespace Routing::TestKit {

/// What a decoded message holds that the protocol forbids, in words; empty if nothing. Written from
/// the RFCs alone, without the codec's own checks, so that it can judge them.
std::string violation(const Pim::BootstrapMessage& bsm);
std::string violation(const Pim::CrpAdvMessage& adv);
std::string violation(const Pim::HelloMessage& hello);

/// The same for whatever decode() returned; a drop and another type violate nothing.
std::string violation(const Pim::DecodeResult& result);

/// The message of a result by its base, null if it holds none.
const Pim::PimMessage* messageOf(const Pim::DecodeResult& result);

/// All that a message says in one line of text, for comparison with a fact sheet.
std::string describe(const Pim::BootstrapMessage& bsm);
std::string describe(const Pim::CrpAdvMessage& adv);
std::string describe(const Pim::HelloMessage& hello);
/// The same for a result: also "type 3" or the name of the drop reason.
std::string describe(const Pim::DecodeResult& result);

}  // namespace Routing::TestKit
