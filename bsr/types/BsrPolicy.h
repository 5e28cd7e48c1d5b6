#pragma once

#include <cstdint>

namespace Routing::Pim::Bsr {

/// What a host may choose beyond the mechanism itself, given with the machine's inputs and fixed
/// for its life. By default nothing is chosen; `continuous()` chooses all of it, so that groups
/// keep their RP while routers restart, fail and come back.
struct BsrPolicy {
  /// A candidate that becomes elected while the last message it heard for the zone names another
  /// BSR takes the RPs of that message over that it does not hold itself, until their announced
  /// hold times end. So its first message carries the RPs.
  bool bridging = false;
  /// An RP whose hold time ends at the elected BSR is announced once with hold time 0, like one
  /// that withdraws (RFC 5059 section 4.2). So all routers drop it together.
  bool expiry = false;
  /// How many worse messages an elected BSR answers at once in a zone; another answer comes free
  /// every second. What is not answered at once is answered together when it is free. 0: no bound.
  std::uint32_t answers = 0;
  /// Seconds that the first back-off of a candidate lasts at the least, when it starts without
  /// being elected: long enough for its neighbours to prime it (RFC 5059 section 3.5) before.
  std::uint32_t primingWait = 0;
  /// A message that is forwarded on an interface where a triggered Hello is due does not stand in
  /// for priming: the new neighbour drops it, since it has heard no Hello yet.
  bool primeAfterHello = false;
  /// An elected BSR whose message found no neighbour on any interface, as after a restart, sends it
  /// again on each interface on which a first neighbour appears, and the next one within
  /// BS_Min_Interval.
  bool untilHeard = false;
  /// A candidate that waits to be elected takes the RPs in that worse BSRs announce, like everybody
  /// else, and PIM is shown the RPs of a zone without an elected BSR as well, if no wider zone has
  /// one.
  bool earlyView = false;
  /// A BSR that leaves office takes its own farewell, the message with priority 0, like everybody
  /// else: it goes on serving the RPs until another BSR speaks. Candidates take in what the BSR
  /// that they follow says last. A BSR whose address changes takes leave of the old one and speaks
  /// with the new one as soon as unicast routing knows it.
  bool handOver = false;
  /// The elected BSR shows PIM what it announced last, not what it has gathered since. So it
  /// chooses the RPs that all others choose.
  bool announcedView = false;
  /// A candidate that was elected before a restart does not resume its office if its last message
  /// is so old that all others have given it up: it stands for election like any candidate that
  /// starts.
  bool lapsingOffice = false;
  /// What an elected BSR withdraws stands in two messages, the second one within BS_Min_Interval:
  /// who missed the first, because routes were changing, would keep the RP until its hold time
  /// ends.
  bool withdrawTwice = false;

  /// All of it.
  static constexpr BsrPolicy continuous() {
    return {true, true, 16, 6, true, true, true, true, true, true, true};
  }

  friend bool operator==(const BsrPolicy&, const BsrPolicy&) = default;
};

}  // namespace Routing::Pim::Bsr
