"""The BSR falls silent: everything goes at its time, on the real clock with short times.

    BSR - - host --- r1 --- r2

    second    0        3         4          9          10    12
    gone      -        RP 0      the BSRs   zone's     zone  RP 1
                                            RP 2       with its RP 3

When its BSR is gone a router gives the RPs their hold time once more (RFC 5059 section 3.1.2).
"""

import itertools
import time

from kit.play import SANITIZED, Play
from kit.router import FAMILIES, IPV4, IPV6
from kit.wire import Bootstrap, GroupRange, Rp

BS_TIMEOUT = 4
SZ_TIMEOUT = 6
EARLY = 0.25  # the clock started before the message arrived, so events may only look late
LATE = 1.5 if SANITIZED else 0.75
ZONE = {IPV4: "239.1.0.0/16", IPV6: "ff05::/16"}


def has_rp(router, family, number):
    return any(family.rp(number) in rps for rps in router.rps(family).values())


PLAN = [
    (3, "RP 0", lambda router, family: not has_rp(router, family, 0)),
    (BS_TIMEOUT, "the BSR", lambda router, family: router.bsr(family) is None),
    (BS_TIMEOUT, "the zone's BSR", lambda router, family: router.bsr(family, ZONE[family]) is None),
    (BS_TIMEOUT, "the zone's hope",
     lambda router, family: router.zone(family, ZONE[family]).get("zone-expiration")),
    (BS_TIMEOUT + 5, "the zone's RP 2", lambda router, family: not has_rp(router, family, 2)),
    (BS_TIMEOUT + SZ_TIMEOUT, "the zone",
     lambda router, family: ZONE[family] not in router.zones(family) and
     not has_rp(router, family, 3)),
    (BS_TIMEOUT + 8, "RP 1", lambda router, family: not has_rp(router, family, 1)),
]


class Silence(Play):
    def test_everything_learned_expires_at_its_time(self):
        line = self.started_line(2, "--bs-timeout", BS_TIMEOUT, "--sz-timeout", SZ_TIMEOUT)
        sent = {family: self.send_all(line, family) for family in FAMILIES}
        for seconds, what, gone in PLAN:
            for family, router in itertools.product(FAMILIES, line.routers):
                self.goes_at(sent[family] + seconds, f"{what} of {router.node.name}",
                             lambda: gone(router, family))

    def send_all(self, line, family):
        """Sends the message for all groups and the zone's; returns when."""
        rps = [Rp(family.rp(number), holdtime) for number, holdtime in enumerate((3, 8, 5, 60))]
        everyone = GroupRange(family.all_groups, rps[:2])
        scoped = GroupRange(ZONE[family], rps[2:], zone=True)
        sent = time.monotonic()
        line.send(family, Bootstrap(family.bsr, [everyone]), Bootstrap(family.bsr, [scoped]))
        whole = {family.all_groups: {family.rp(0), family.rp(1)},
                 ZONE[family]: {family.rp(2), family.rp(3)}}
        self.await_rps(family, line.routers, whole, 1)
        return sent

    def goes_at(self, moment, what, gone):
        """The condition is false just before the moment and true just after it."""
        if time.monotonic() < moment - EARLY:
            time.sleep(moment - EARLY - time.monotonic())
            early = gone()
            self.assertFalse(early and time.monotonic() < moment, f"{what} went too early")
        self.eventually(moment + LATE - time.monotonic(), gone, f"{what} stays")
